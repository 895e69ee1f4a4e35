// Registration for real: what the entry points write to the registry, key by key, and what their removal leaves.
#include "registration/registry_snapshot.h"

#include "base/com_pointer.h"
#include "runner/runner.h"
#include "support/child_process.h"

#include <gtest/gtest.h>

#include <oleauto.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace zorvan::test {

namespace {

const std::wstring kClasses = L"Software\\Classes";
const std::wstring kClassId = L"{6F01F777-2AC8-452F-AE8A-CCF5F24CB5ED}";
const std::wstring kLibraryId = L"{7DC6F544-8B95-41AB-97FE-7F6293CB461B}";
const std::wstring kApplicationId = L"{AEE4DA7F-086F-441D-8EF9-430D82DBC750}";
const std::wstring kProgramId = L"zorvanlib.VirtualSerialLibrary";
const std::wstring kClassKey = L"CLSID\\" + kClassId;
const std::wstring kLibraryKey = L"TypeLib\\" + kLibraryId;

const std::pair<const wchar_t*, const wchar_t*> kInterfaces[] = {
    {L"{D047F3B5-7194-4A8D-9D44-127ACA83DB70}", L"IVirtualSerialLibrary"},
    {L"{F1559D5F-85F8-4CEC-894D-12CE2503F06E}", L"IVirtualSerialDevice"},
    {L"{FABF1DC6-8943-4F72-BA55-98E022942C6D}", L"ISocket"},
    {L"{EF2CCCAD-F2C2-41FA-8C42-82FA9BD22B95}", L"IPin"},
    {L"{5FD8DDDA-A69C-46F9-A881-570EA87B47D2}", L"IDeviceCollection"},
};

std::wstring libraryPath() {
    return siblingPath(L"..\\zorvanlib.dll");
}

std::vector<std::wstring> ourKeys() {
    std::vector<std::wstring> keys = {kProgramId,  kProgramId + L".3",          kClassKey,
                                      kLibraryKey, L"AppID\\" + kApplicationId, L"AppID\\zorvanlib.dll"};
    for (const auto& [identifier, name] : kInterfaces)
        keys.push_back(std::wstring(L"Interface\\") + identifier);
    return keys;
}

// Nothing but what is under our keys: the whole takes seconds.
Snapshot ourClasses(HKEY root) {
    Snapshot lines;
    for (const std::wstring& key : ourKeys())
        lines.merge(takeSnapshot(root, kClasses, key));
    return lines;
}

Snapshot operator+(Snapshot first, Snapshot second) {
    first.merge(second);
    return first;
}

// The lines that are expected, written down in the order of the scripts.

Snapshot key(const std::wstring& path) {
    return {keyLine(path)};
}

Snapshot value(const std::wstring& path, const std::wstring& name, const std::wstring& data) {
    return {valueLine(path, name, data)};
}

Snapshot text(const std::wstring& path, const std::wstring& defaultValue) {
    return key(path) + value(path, L"@", L"s " + defaultValue + L"|");
}

Snapshot scriptLines(const std::wstring& path) {
    return text(kProgramId + L".3", L"VirtualSerialLibrary Class") + text(kProgramId + L".3\\CLSID", kClassId) +
           text(kProgramId, L"VirtualSerialLibrary Class") + text(kProgramId + L"\\CLSID", kClassId) +
           text(kProgramId + L"\\CurVer", L"zorvanlib.VirtualSerialLibrary.3") +
           text(kClassKey, L"VirtualSerialLibrary Class") +
           value(kClassKey, L"LocalizedString", L"s @" + path + L",-1000|") +
           text(kClassKey + L"\\ProgID", L"zorvanlib.VirtualSerialLibrary.3") +
           text(kClassKey + L"\\VersionIndependentProgID", L"zorvanlib.VirtualSerialLibrary") +
           key(kClassKey + L"\\Programmable") + text(kClassKey + L"\\InprocServer32", path) +
           value(kClassKey + L"\\InprocServer32", L"ThreadingModel", L"s Both|") +
           text(kClassKey + L"\\TypeLib", kLibraryId) + text(kClassKey + L"\\Version", L"3.0") +
           key(kClassKey + L"\\Elevation") + value(kClassKey + L"\\Elevation", L"Enabled", L"d 01000000") +
           text(L"AppID\\" + kApplicationId, L"Portwright") +
           value(L"AppID\\" + kApplicationId, L"DllSurrogate", L"s |") + key(L"AppID\\zorvanlib.dll") +
           value(L"AppID\\zorvanlib.dll", L"AppID", L"s " + kApplicationId + L"|");
}

// As Wine writes them. The listener is not among the interfaces: it is not made for automation.
Snapshot typeLibraryLines(const std::wstring& path) {
    Snapshot lines = key(kLibraryKey) + text(kLibraryKey + L"\\3.0", L"zorvanlibLib") +
                     key(kLibraryKey + L"\\3.0\\409") + text(kLibraryKey + L"\\3.0\\409\\win64", path) +
                     text(kLibraryKey + L"\\3.0\\FLAGS", L"8") +
                     text(kLibraryKey + L"\\3.0\\HELPDIR", path.substr(0, path.find_last_of(L'\\')));
    for (const auto& [identifier, name] : kInterfaces) {
        const std::wstring entry = std::wstring(L"Interface\\") + identifier;
        lines = lines + text(entry, name) +
                text(entry + L"\\ProxyStubClsid", L"{00020424-0000-0000-C000-000000000046}") +
                text(entry + L"\\ProxyStubClsid32", L"{00020424-0000-0000-C000-000000000046}") +
                text(entry + L"\\TypeLib", kLibraryId) + value(entry + L"\\TypeLib", L"Version", L"s 3.0|");
    }
    return lines;
}

// The parents of ours, which a first registration creates and no removal deletes.
const Snapshot kSharedParents = {L"appid", L"clsid"};

// The path that the class is registered with; empty when it is not.
std::wstring registeredPath(HKEY root) {
    wchar_t path[1024] = {};
    DWORD size = sizeof path;
    const std::wstring key = kClasses + L"\\" + kClassKey + L"\\InprocServer32";
    RegGetValueW(root, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path, &size);
    return path;
}

UniqueRegistryKey createKey(const std::wstring& path, DWORD options = REG_OPTION_NON_VOLATILE) {
    UniqueRegistryKey key;
    EXPECT_EQ(
        ERROR_SUCCESS, RegCreateKeyExW(
                           HKEY_LOCAL_MACHINE, (kClasses + L"\\" + path).c_str(), 0, nullptr, options, KEY_ALL_ACCESS,
                           nullptr, key.put(), nullptr));
    return key;
}

void setText(const std::wstring& path, const wchar_t* name) {
    const UniqueRegistryKey key = createKey(path);
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4));
}

// Whatever became of a registration, this is the end of it.
void deleteEverything() {
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
        for (const std::wstring& key : ourKeys())
            RegDeleteTreeW(root, (kClasses + L"\\" + key).c_str());
}

// Registers and removes in a process of its own: per-user mode lasts as long as the process.
HRESULT call(const std::vector<std::wstring>& calls, const std::wstring& path = libraryPath()) {
    // No argument of a test ends with a backslash or holds a double quote.
    std::wstring commandLine = L'"' + siblingPath(L"..\\test_tools\\registrar.exe") + L"\" \"" + path + L'"';
    for (const std::wstring& text : calls)
        commandLine += L" \"" + text + L'"';
    return static_cast<HRESULT>(ChildProcess(commandLine).exitCode());
}

// The type library that answers is registered for one locale; a client may come with any.
HRESULT findMember(const std::wstring& programId) {
    CLSID clsid{};
    if (const HRESULT result = CLSIDFromProgID(programId.c_str(), &clsid); FAILED(result))
        return result;
    for (const LCID locale : {0x0407ul, 0x0409ul, LOCALE_NEUTRAL, LOCALE_USER_DEFAULT, LOCALE_SYSTEM_DEFAULT}) {
        ComPointer<IDispatch> object;
        EXPECT_EQ(
            S_OK, CoCreateInstance(
                      clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(object.put())));
        wchar_t name[] = L"CreateDevice"; // the case is not the declared one
        wchar_t* names[] = {name};
        DISPID id = 0;
        EXPECT_EQ(S_OK, object ? object->GetIDsOfNames(IID_NULL, names, 1, locale, &id) : E_POINTER) << locale;
        EXPECT_EQ(1000, id) << locale;
    }
    return S_OK;
}

// A copy of the DLL whose path has what is special in scripts: quotes, percent signs, a variable.
class LibraryCopy {
public:
    LibraryCopy() : folder_(siblingPath(L"it's 100% 'quoted' %MODULE%")) {
        std::filesystem::create_directories(folder_);
        std::filesystem::copy_file(libraryPath(), path(), std::filesystem::copy_options::overwrite_existing);
    }
    LibraryCopy(const LibraryCopy&) = delete;
    LibraryCopy& operator=(const LibraryCopy&) = delete;
    ~LibraryCopy() {
        std::error_code ignored; // a copy that is still open is no reason to end the program
        std::filesystem::remove_all(folder_, ignored);
    }

    std::filesystem::path path() const { return folder_ / L"zorvanlib.dll"; }

    // There is one such text.
    void damage(const std::string& text, const std::string& damage) const {
        std::ifstream original(path(), std::ios::binary);
        std::string content(std::istreambuf_iterator<char>(original), {});
        original.close();
        const std::size_t position = content.find(text);
        ASSERT_NE(std::string::npos, position) << text;
        EXPECT_EQ(std::string::npos, content.find(text, position + 1)) << text;
        content.replace(position, damage.size(), damage);
        std::ofstream(path(), std::ios::binary) << content;
    }

private:
    std::filesystem::path folder_;
};

} // namespace

// The machine may have the library registered. The tests start without, and register it again at the end; what a
// registration that broke off has left, they clear away.
class Registration : public testing::Test {
protected:
    static void SetUpTestSuite() {
        pathFound_ = registeredPath(HKEY_LOCAL_MACHINE);
        deleteEverything();
        machineBefore_ = takeSnapshot(HKEY_LOCAL_MACHINE, kClasses);
        userBefore_ = takeSnapshot(HKEY_CURRENT_USER, kClasses);
    }

    static void TearDownTestSuite() {
        expectGained(HKEY_LOCAL_MACHINE, {});
        expectGained(HKEY_CURRENT_USER, {});
        EXPECT_EQ(S_OK, pathFound_.empty() ? S_OK : call({L"register"}, pathFound_));
    }

    void TearDown() override { deleteEverything(); }

    // The whole of the classes, so that nothing has been written elsewhere.
    static void expectGained(HKEY root, const Snapshot& expected) {
        const Snapshot& before = root == HKEY_LOCAL_MACHINE ? machineBefore_ : userBefore_;
        const Snapshot now = takeSnapshot(root, kClasses);
        EXPECT_EQ(Snapshot{}, before - now) << "these are lost";
        EXPECT_EQ(Snapshot{}, kSharedParents - now) << "these belong to others too";
        expectEqual(expected, now - before - kSharedParents);
    }

    static void expectMachineHas(const Snapshot& expected) { expectEqual(expected, ourClasses(HKEY_LOCAL_MACHINE)); }

private:
    static void expectEqual(const Snapshot& expected, const Snapshot& actual) {
        EXPECT_EQ(Snapshot{}, expected - actual) << "these are missing";
        EXPECT_EQ(Snapshot{}, actual - expected) << "these are too many";
    }

    static inline std::wstring pathFound_;
    static inline Snapshot machineBefore_;
    static inline Snapshot userBefore_;
};

TEST_F(Registration, WritesAndRemovesExactlyItsEntries) {
    ASSERT_EQ(S_OK, call({L"register"}));
    expectGained(HKEY_LOCAL_MACHINE, scriptLines(libraryPath()) + typeLibraryLines(libraryPath()));
    EXPECT_EQ(S_OK, findMember(kProgramId));
    EXPECT_EQ(S_OK, findMember(kProgramId + L".3"));
    ASSERT_EQ(S_OK, call({L"unregister"}));
    expectMachineHas({});
    EXPECT_EQ(CO_E_CLASSSTRING, findMember(kProgramId));
    EXPECT_TRUE(FAILED(call({L"unregister"})));
    EXPECT_TRUE(FAILED(call({L"uninstall"})));
}

TEST_F(Registration, WritesTheClassFromScratchAndLeavesKeysOfOthers) {
    ASSERT_EQ(S_OK, call({L"register"}));
    setText(kClassKey, L"Stray");
    setText(kClassKey + L"\\Stray\\Deep", L"Stray");
    setText(kClassKey + L"\\InprocServer32", L"Stray");
    setText(kProgramId, L"Kept");
    createKey(kProgramId + L"\\Theirs");
    ASSERT_EQ(S_OK, call({L"register"}));
    const Snapshot kept = value(kProgramId, L"Kept", L"s x|") + key(kProgramId + L"\\Theirs");
    expectMachineHas(scriptLines(libraryPath()) + typeLibraryLines(libraryPath()) + kept);
    ASSERT_EQ(S_OK, call({L"unregister"}));
    expectMachineHas(kept + text(kProgramId, L"VirtualSerialLibrary Class"));
}

// Wine registers a type library for the whole machine even when asked for the user, and its COM does not look for
// classes under the user's key, so neither is tried here.
TEST_F(Registration, ForTheUserLeavesTheMachineAlone) {
    ASSERT_EQ(S_OK, call({L"install=user"}));
    expectGained(HKEY_CURRENT_USER, scriptLines(libraryPath()));
    expectMachineHas(typeLibraryLines(libraryPath()));
    ASSERT_EQ(S_OK, call({L"uninstall=user"}));
    expectGained(HKEY_CURRENT_USER, {});
    expectMachineHas({});
}

TEST_F(Registration, IsForTheUserOnceTheCommandLineIsUser) {
    const struct {
        std::vector<std::wstring> calls;
        bool forUser;
    } rows[] = {
        {{L"install"}, false},
        {{L"install=uSeR"}, true},
        {{L"install=users"}, false},
        {{L"install=use"}, false},
        {{L"install=/user"}, false},
        {{L"install=user", L"unregister", L"install=users"}, true}, // as long as the process lasts
        {{L"install=user", L"unregister", L"register"}, true},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(S_OK, call(row.calls));
        const std::wstring path = libraryPath();
        EXPECT_EQ(row.forUser ? path : L"", registeredPath(HKEY_CURRENT_USER)) << testing::PrintToString(row.calls);
        EXPECT_EQ(row.forUser ? L"" : path, registeredPath(HKEY_LOCAL_MACHINE)) << testing::PrintToString(row.calls);
        deleteEverything();
    }
}

// A key that vanishes with the session takes no lasting subkeys: an honest way to make one write fail. The type
// library would come after it.
TEST_F(Registration, StopsAtTheFirstFailureOfTheRegistry) {
    createKey(kProgramId, REG_OPTION_VOLATILE);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE), call({L"register"}));
    const Snapshot written = ourClasses(HKEY_LOCAL_MACHINE);
    EXPECT_TRUE(written.contains(keyLine(L"AppID\\" + kApplicationId)));
    EXPECT_FALSE(written.contains(keyLine(kClassKey)));
    EXPECT_FALSE(written.contains(keyLine(kLibraryKey)));
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE), call({L"install"}));
    expectMachineHas({});
}

TEST_F(Registration, IsUndoneWhenItFails) {
    const struct {
        const char* text;
        const char* damage;
        HRESULT result;
    } rows[] = {
        {"s 'Portwright'", "x", E_FAIL},         // the first script
        {"NoRemove CLSID", "'", E_FAIL},         // the second script
        {"MSFT\2", "?", TYPE_E_CANTLOADLIBRARY}, // the type library
    };
    for (const auto& row : rows) {
        const LibraryCopy copy;
        copy.damage(row.text, row.damage);
        EXPECT_EQ(row.result, call({L"install"}, copy.path().wstring())) << row.text;
        expectMachineHas({});
    }
}

// A quote in a path must not end the quoted text of a script, nor a percent sign start a variable.
TEST_F(Registration, TakesAnyPath) {
    const LibraryCopy copy;
    const std::wstring path = copy.path().wstring();
    EXPECT_EQ(S_OK, call({L"register"}, path));
    expectMachineHas(scriptLines(path) + typeLibraryLines(path));
    EXPECT_EQ(S_OK, call({L"unregister"}, path));
    expectMachineHas({});
}

} // namespace zorvan::test

// Registration for real: what the entry points write to the registry, key by key, and what their removal leaves.
#include "registration/registrar_process.h"
#include "registration/registry_snapshot.h"

#include "base/unique.h"
#include "runner/runner.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
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

Snapshot machineClasses() {
    return takeSnapshot(HKEY_LOCAL_MACHINE, kClasses);
}

Snapshot userClasses() {
    return takeSnapshot(HKEY_CURRENT_USER, kClasses);
}

// The lines that are expected, written down in the order of the scripts.
class Lines {
public:
    Lines& key(const std::wstring& path) {
        lines_.insert(keyLine(path));
        return *this;
    }

    Lines& value(const std::wstring& path, const std::wstring& name, const std::wstring& data) {
        lines_.insert(valueLine(path, name, data));
        return *this;
    }

    Lines& text(const std::wstring& path, const std::wstring& defaultValue) {
        return key(path).value(path, L"@", L"s " + defaultValue + L"|");
    }

    const Snapshot& get() const { return lines_; }

private:
    Snapshot lines_;
};

Snapshot scriptLines(const std::wstring& path) {
    return Lines()
        .text(kProgramId + L".3", L"VirtualSerialLibrary Class")
        .text(kProgramId + L".3\\CLSID", kClassId)
        .text(kProgramId, L"VirtualSerialLibrary Class")
        .text(kProgramId + L"\\CLSID", kClassId)
        .text(kProgramId + L"\\CurVer", L"zorvanlib.VirtualSerialLibrary.3")
        .text(kClassKey, L"VirtualSerialLibrary Class")
        .value(kClassKey, L"LocalizedString", L"s @" + path + L",-1000|")
        .text(kClassKey + L"\\ProgID", L"zorvanlib.VirtualSerialLibrary.3")
        .text(kClassKey + L"\\VersionIndependentProgID", L"zorvanlib.VirtualSerialLibrary")
        .key(kClassKey + L"\\Programmable")
        .text(kClassKey + L"\\InprocServer32", path)
        .value(kClassKey + L"\\InprocServer32", L"ThreadingModel", L"s Both|")
        .text(kClassKey + L"\\TypeLib", kLibraryId)
        .text(kClassKey + L"\\Version", L"3.0")
        .key(kClassKey + L"\\Elevation")
        .value(kClassKey + L"\\Elevation", L"Enabled", L"d 01000000")
        .text(L"AppID\\" + kApplicationId, L"Portwright")
        .value(L"AppID\\" + kApplicationId, L"DllSurrogate", L"s |")
        .key(L"AppID\\zorvanlib.dll")
        .value(L"AppID\\zorvanlib.dll", L"AppID", L"s " + kApplicationId + L"|")
        .get();
}

// As Wine writes them. The listener is not among the interfaces: it is not made for automation.
Snapshot typeLibraryLines(const std::wstring& path) {
    Lines lines;
    lines.key(kLibraryKey)
        .text(kLibraryKey + L"\\3.0", L"zorvanlibLib")
        .key(kLibraryKey + L"\\3.0\\409")
        .text(kLibraryKey + L"\\3.0\\409\\win64", path)
        .text(kLibraryKey + L"\\3.0\\FLAGS", L"8")
        .text(kLibraryKey + L"\\3.0\\HELPDIR", path.substr(0, path.find_last_of(L'\\')));
    for (const auto& [identifier, name] : kInterfaces) {
        const std::wstring key = std::wstring(L"Interface\\") + identifier;
        lines.text(key, name)
            .text(key + L"\\ProxyStubClsid", L"{00020424-0000-0000-C000-000000000046}")
            .text(key + L"\\ProxyStubClsid32", L"{00020424-0000-0000-C000-000000000046}")
            .text(key + L"\\TypeLib", kLibraryId)
            .value(key + L"\\TypeLib", L"Version", L"s 3.0|");
    }
    return lines.get();
}

Snapshot operator+(Snapshot first, Snapshot second) {
    first.merge(second);
    return first;
}

// The parents of ours, which a first registration creates and no removal deletes.
Snapshot sharedParents() {
    return Lines().key(L"CLSID").key(L"AppID").get();
}

// The path that the class is registered with.
std::optional<std::wstring> registeredPath(HKEY root) {
    wchar_t path[1024];
    DWORD size = sizeof path;
    const std::wstring key = kClasses + L"\\" + kClassKey + L"\\InprocServer32";
    if (RegGetValueW(root, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path, &size) != ERROR_SUCCESS)
        return std::nullopt;
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
    std::vector<std::wstring> keys = {kProgramId,  kProgramId + L".3",          kClassKey,
                                      kLibraryKey, L"AppID\\" + kApplicationId, L"AppID\\zorvanlib.dll"};
    for (const auto& interface : kInterfaces)
        keys.push_back(std::wstring(L"Interface\\") + interface.first);
    for (const HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
        for (const std::wstring& key : keys)
            RegDeleteTreeW(root, (kClasses + L"\\" + key).c_str());
}

HRESULT call(const std::vector<std::wstring>& calls, const std::wstring& path = libraryPath()) {
    std::vector<std::wstring> arguments{path};
    arguments.insert(arguments.end(), calls.begin(), calls.end());
    return runRegistrar(arguments);
}

// A folder beside this program that is gone with its contents when a test ends.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::wstring& name) : path_(siblingPath(name)) {
        std::filesystem::create_directories(path_);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored; // a copy that is still open is no reason to end the program
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// A copy of the DLL in which one text, of which there is one, is overwritten with another.
std::wstring damagedCopy(const TemporaryFolder& folder, const std::string& text, const std::string& damage) {
    std::ifstream original(std::filesystem::path(libraryPath()), std::ios::binary);
    std::string content(std::istreambuf_iterator<char>(original), {});
    const std::size_t position = content.find(text);
    EXPECT_NE(std::string::npos, position) << text;
    EXPECT_EQ(std::string::npos, content.find(text, position + 1)) << text;
    content.replace(position, damage.size(), damage);
    const std::filesystem::path copy = folder.path() / L"zorvanlib.dll";
    std::ofstream(copy, std::ios::binary) << content;
    return copy.wstring();
}

} // namespace

// The machine may have the library registered. The tests start without, and leave what they found; what a
// registration that broke off has left, they clear away.
class Registration : public testing::Test {
protected:
    static void SetUpTestSuite() {
        pathFound_ = registeredPath(HKEY_LOCAL_MACHINE);
        machineFound_ = machineClasses();
        deleteEverything();
        machineBefore_ = machineClasses();
        userBefore_ = userClasses();
    }

    static void TearDownTestSuite() {
        if (!pathFound_)
            return;
        EXPECT_EQ(S_OK, runRegistrar({*pathFound_, L"register"}));
        const Snapshot now = machineClasses();
        EXPECT_EQ("", toText(machineFound_ - now)) << "these are lost";
        EXPECT_EQ("", toText(now - machineFound_ - sharedParents())) << "these are left";
    }

    void TearDown() override { deleteEverything(); }

    static void expectMachineGained(const Snapshot& expected) {
        expectGained(machineBefore_, machineClasses(), expected);
    }

    static void expectUserGained(const Snapshot& expected) { expectGained(userBefore_, userClasses(), expected); }

private:
    static void expectGained(const Snapshot& before, const Snapshot& now, const Snapshot& expected) {
        const Snapshot gained = now - before - sharedParents();
        EXPECT_EQ("", toText(expected - gained)) << "these are missing";
        EXPECT_EQ("", toText(gained - expected)) << "these are too many";
        EXPECT_EQ("", toText(before - now)) << "these are lost";
    }

    static inline std::optional<std::wstring> pathFound_;
    static inline Snapshot machineFound_;
    static inline Snapshot machineBefore_;
    static inline Snapshot userBefore_;
};

TEST_F(Registration, WritesAndRemovesExactlyItsEntries) {
    ASSERT_EQ(S_OK, call({L"register"}));
    expectMachineGained(scriptLines(libraryPath()) + typeLibraryLines(libraryPath()));
    expectUserGained({});
    ASSERT_EQ(S_OK, call({L"unregister"}));
    expectMachineGained({});
    EXPECT_EQ("", toText(sharedParents() - machineClasses())) << "these belong to others too";
}

TEST_F(Registration, WritesTheClassFromScratch) {
    ASSERT_EQ(S_OK, call({L"register"}));
    setText(kClassKey, L"Stray");
    setText(kClassKey + L"\\Stray\\Deep", L"Stray");
    setText(kClassKey + L"\\InprocServer32", L"Stray");
    setText(kProgramId, L"Kept");
    ASSERT_EQ(S_OK, call({L"register"}));
    const Snapshot kept = Lines().value(kProgramId, L"Kept", L"s x|").get();
    expectMachineGained(scriptLines(libraryPath()) + typeLibraryLines(libraryPath()) + kept);
    ASSERT_EQ(S_OK, call({L"unregister"}));
    expectMachineGained({});
}

TEST_F(Registration, LeavesKeysOfOthers) {
    ASSERT_EQ(S_OK, call({L"register"}));
    createKey(kProgramId + L"\\Theirs");
    ASSERT_EQ(S_OK, call({L"unregister"}));
    expectMachineGained(Lines().text(kProgramId, L"VirtualSerialLibrary Class").key(kProgramId + L"\\Theirs").get());
}

TEST_F(Registration, CannotBeRemovedTwice) {
    ASSERT_EQ(S_OK, call({L"register"}));
    EXPECT_EQ(S_OK, call({L"unregister"}));
    EXPECT_TRUE(FAILED(call({L"unregister"})));
    EXPECT_TRUE(FAILED(call({L"uninstall"})));
}

// Wine registers a type library for the whole machine even when asked for the user, and its COM does not look for
// classes under the user's key, so neither is tried here.
TEST_F(Registration, ForTheUserLeavesTheMachineAlone) {
    ASSERT_EQ(S_OK, call({L"install=user"}));
    expectUserGained(scriptLines(libraryPath()));
    expectMachineGained(typeLibraryLines(libraryPath()));
    ASSERT_EQ(S_OK, call({L"uninstall=user"}));
    expectUserGained({});
    expectMachineGained({});
    EXPECT_EQ("", toText(sharedParents() - userClasses())) << "these belong to others too";
}

TEST_F(Registration, IsForTheUserOnlyWhenTheCommandLineIsUser) {
    const struct {
        const wchar_t* suffix;
        bool forUser;
    } rows[] = {
        {L"=user", true},   {L"=USER", true}, {L"=uSeR", true},   {L"", false},       {L"=", false},
        {L"=users", false}, {L"=use", false}, {L"=user ", false}, {L"=/user", false}, {L"=machine", false},
    };
    for (const auto& row : rows) {
        const std::wstring suffix = row.suffix;
        ASSERT_EQ(S_OK, call({L"install" + suffix}));
        EXPECT_EQ(row.forUser, registeredPath(HKEY_CURRENT_USER).has_value()) << testing::PrintToString(suffix);
        EXPECT_EQ(row.forUser, !registeredPath(HKEY_LOCAL_MACHINE).has_value()) << testing::PrintToString(suffix);
        ASSERT_EQ(S_OK, call({L"uninstall" + suffix}));
        EXPECT_FALSE(registeredPath(HKEY_CURRENT_USER).has_value()) << testing::PrintToString(suffix);
        EXPECT_FALSE(registeredPath(HKEY_LOCAL_MACHINE).has_value()) << testing::PrintToString(suffix);
    }
}

TEST_F(Registration, StaysForTheUserWithinTheProcess) {
    for (const wchar_t* next : {L"install", L"install=users", L"register"}) {
        ASSERT_EQ(S_OK, call({L"install=user", L"unregister", next}));
        EXPECT_EQ(libraryPath(), registeredPath(HKEY_CURRENT_USER));
        EXPECT_EQ(std::nullopt, registeredPath(HKEY_LOCAL_MACHINE));
        ASSERT_EQ(S_OK, call({L"uninstall=user"}));
        EXPECT_EQ(std::nullopt, registeredPath(HKEY_CURRENT_USER));
    }
}

// A key that vanishes with the session takes no lasting subkeys: an honest way to make one write fail.
TEST_F(Registration, StopsAtTheFirstFailureOfTheRegistry) {
    createKey(kProgramId, REG_OPTION_VOLATILE);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE), call({L"register"}));
    expectMachineGained(Lines()
                            .text(L"AppID\\" + kApplicationId, L"Portwright")
                            .value(L"AppID\\" + kApplicationId, L"DllSurrogate", L"s |")
                            .key(L"AppID\\zorvanlib.dll")
                            .value(L"AppID\\zorvanlib.dll", L"AppID", L"s " + kApplicationId + L"|")
                            .text(kProgramId + L".3", L"VirtualSerialLibrary Class")
                            .text(kProgramId + L".3\\CLSID", kClassId)
                            .text(kProgramId, L"VirtualSerialLibrary Class")
                            .get());
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE), call({L"install"}));
    expectMachineGained({});
}

TEST_F(Registration, IsUndoneWhenItFails) {
    const struct {
        const char* text;
        const char* damage;
        HRESULT result;
    } rows[] = {
        {"s 'Portwright'", "x", E_FAIL},         // the first script
        {"NoRemove CLSID", "'", E_FAIL},         // the second script
        {"%MODULE%,-1000", "%Q", E_FAIL},        // a variable that it does not have
        {"MSFT\2", "?", TYPE_E_CANTLOADLIBRARY}, // the type library
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder(L"damaged");
        EXPECT_EQ(row.result, call({L"install"}, damagedCopy(folder, row.text, row.damage))) << row.text;
        expectMachineGained({});
    }
}

// A quote in a path must not end the quoted text of a script, nor a percent sign start a variable.
TEST_F(Registration, TakesAnyPath) {
    const TemporaryFolder folder(L"it's 100% 'quoted' %MODULE%");
    const std::filesystem::path copy = folder.path() / L"zorvanlib.dll";
    std::filesystem::copy_file(libraryPath(), copy, std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(S_OK, call({L"register"}, copy.wstring()));
    expectMachineGained(scriptLines(copy.wstring()) + typeLibraryLines(copy.wstring()));
    EXPECT_EQ(S_OK, call({L"unregister"}, copy.wstring()));
    expectMachineGained({});
}

TEST_F(Registration, MakesTheClassAvailable) {
    EXPECT_EQ(CO_E_CLASSSTRING, runRegistrar({kProgramId}));
    ASSERT_EQ(S_OK, call({L"register"}));
    EXPECT_EQ(S_OK, runRegistrar({kProgramId}));
    EXPECT_EQ(S_OK, runRegistrar({kProgramId + L".3"}));
    ASSERT_EQ(S_OK, call({L"unregister"}));
    EXPECT_EQ(CO_E_CLASSSTRING, runRegistrar({kProgramId}));
}

} // namespace zorvan::test

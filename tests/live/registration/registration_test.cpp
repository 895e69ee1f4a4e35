// Registration for real: what the entry points write to the registry, key by key, and what their removal leaves.
#include "registry_snapshot.h"

#include "base/com_pointer.h"
#include "setup/difxapi_library.h"
#include "support/test_main.h"

#include <gtest/gtest.h>

#include <oleauto.h>

#include <bit>
#include <filesystem>
#include <utility>

namespace zorvan::test {

namespace {

const std::wstring kClasses = L"Software\\Classes";
const std::wstring kLibraryId = L"{7DC6F544-8B95-41AB-97FE-7F6293CB461B}";
const std::wstring kApplicationId = L"{AEE4DA7F-086F-441D-8EF9-430D82DBC750}";
const std::wstring kProgramId = L"zorvanlib.VirtualSerialLibrary";
const std::wstring kClassId = L"{6F01F777-2AC8-452F-AE8A-CCF5F24CB5ED}";
const std::wstring kClassKey = L"CLSID\\" + kClassId;
const std::wstring kLibraryKey = L"TypeLib\\" + kLibraryId;

std::wstring libraryPath() {
    return siblingPath(L"..\\zorvanlib.dll");
}

// A loaded library and its entry points. Per-user mode lasts as long as it is loaded.
class Server {
public:
    explicit Server(const std::wstring& path = libraryPath()) : module_(LoadLibraryW(path.c_str())) {}

    HRESULT add() const { return call<HRESULT WINAPI()>("DllRegisterServer"); }
    HRESULT remove() const { return call<HRESULT WINAPI()>("DllUnregisterServer"); }
    HRESULT install(bool install, const wchar_t* commandLine) const {
        return call<HRESULT WINAPI(BOOL, PCWSTR)>("DllInstall", install, commandLine);
    }

private:
    // A call may not change the locale of the thread that makes it.
    template <class Function, class... Arguments>
    HRESULT call(const char* name, Arguments... arguments) const {
        constexpr LCID kGerman = 0x0407;
        SetThreadLocale(kGerman);
        const HRESULT result = std::bit_cast<Function*>(GetProcAddress(module_.get(), name))(arguments...);
        EXPECT_EQ(kGerman, GetThreadLocale()) << name;
        return result;
    }

    setup::UniqueModule module_;
};

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
    return key(path) + value(path, L"@", L"1 " + defaultValue + L"|");
}

Snapshot scriptLines(const std::wstring& path) {
    return text(kProgramId + L".3", L"VirtualSerialLibrary Class") + text(kProgramId + L".3\\CLSID", kClassId) +
           text(kProgramId, L"VirtualSerialLibrary Class") + text(kProgramId + L"\\CLSID", kClassId) +
           text(kProgramId + L"\\CurVer", L"zorvanlib.VirtualSerialLibrary.3") +
           text(kClassKey, L"VirtualSerialLibrary Class") +
           value(kClassKey, L"LocalizedString", L"1 @" + path + L",-1000|") +
           text(kClassKey + L"\\ProgID", L"zorvanlib.VirtualSerialLibrary.3") +
           text(kClassKey + L"\\VersionIndependentProgID", L"zorvanlib.VirtualSerialLibrary") +
           key(kClassKey + L"\\Programmable") + text(kClassKey + L"\\InprocServer32", path) +
           value(kClassKey + L"\\InprocServer32", L"ThreadingModel", L"1 Both|") +
           text(kClassKey + L"\\TypeLib", kLibraryId) + text(kClassKey + L"\\Version", L"3.0") +
           key(kClassKey + L"\\Elevation") + value(kClassKey + L"\\Elevation", L"Enabled", L"4 01000000") +
           text(L"AppID\\" + kApplicationId, L"Portwright") +
           value(L"AppID\\" + kApplicationId, L"DllSurrogate", L"1 |") + key(L"AppID\\zorvanlib.dll") +
           value(L"AppID\\zorvanlib.dll", L"AppID", L"1 " + kApplicationId + L"|");
}

// As Wine writes them. The listener is not among the interfaces: it is not made for automation.
Snapshot typeLibraryLines(const std::wstring& path) {
    static const std::pair<const wchar_t*, const wchar_t*> kInterfaces[] = {
        {L"{D047F3B5-7194-4A8D-9D44-127ACA83DB70}", L"IVirtualSerialLibrary"},
        {L"{F1559D5F-85F8-4CEC-894D-12CE2503F06E}", L"IVirtualSerialDevice"},
        {L"{FABF1DC6-8943-4F72-BA55-98E022942C6D}", L"ISocket"},
        {L"{EF2CCCAD-F2C2-41FA-8C42-82FA9BD22B95}", L"IPin"},
        {L"{5FD8DDDA-A69C-46F9-A881-570EA87B47D2}", L"IDeviceCollection"},
    };
    const std::wstring automation = L"{00020424-0000-0000-C000-000000000046}";
    Snapshot lines = key(kLibraryKey) + text(kLibraryKey + L"\\3.0", L"zorvanlibLib") +
                     key(kLibraryKey + L"\\3.0\\409") + text(kLibraryKey + L"\\3.0\\409\\win64", path) +
                     text(kLibraryKey + L"\\3.0\\FLAGS", L"8") +
                     text(kLibraryKey + L"\\3.0\\HELPDIR", path.substr(0, path.find_last_of(L'\\')));
    for (const auto& [identifier, name] : kInterfaces) {
        const std::wstring entry = std::wstring(L"Interface\\") + identifier;
        lines = lines + text(entry, name) + text(entry + L"\\ProxyStubClsid", automation) +
                text(entry + L"\\ProxyStubClsid32", automation) + text(entry + L"\\TypeLib", kLibraryId) +
                value(entry + L"\\TypeLib", L"Version", L"1 3.0|");
    }
    return lines;
}

// The path that the class is registered with; empty when it is not.
std::wstring registeredPath(HKEY root) {
    wchar_t path[1024] = {};
    DWORD size = sizeof path;
    const std::wstring key = kClasses + L"\\" + kClassKey + L"\\InprocServer32";
    RegGetValueW(root, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path, &size);
    return path;
}

// Adds a value to a key, which is created when it is not there.
void addStray(const std::wstring& path, HKEY root = HKEY_LOCAL_MACHINE) {
    EXPECT_EQ(ERROR_SUCCESS, RegSetKeyValueW(root, (kClasses + L"\\" + path).c_str(), L"Stray", REG_SZ, L"x", 4));
}

// The type library that answers is registered for one locale; a client may come with any.
void expectToFindMembers(const std::wstring& programId) {
    CLSID clsid{};
    ASSERT_EQ(S_OK, CLSIDFromProgID(programId.c_str(), &clsid));
    for (const LCID locale : {0x0407ul, 0x0409ul, LOCALE_NEUTRAL, LOCALE_USER_DEFAULT, LOCALE_SYSTEM_DEFAULT}) {
        ComPointer<IDispatch> object;
        ASSERT_EQ(
            S_OK, CoCreateInstance(
                      clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(object.put())));
        wchar_t name[] = L"CreateDevice"; // the case is not the declared one
        wchar_t* names[] = {name};
        DISPID id = 0;
        EXPECT_EQ(S_OK, object->GetIDsOfNames(IID_NULL, names, 1, locale, &id)) << locale;
        EXPECT_EQ(1000, id) << locale;
    }
    CoFreeUnusedLibrariesEx(0, 0);
}

// A copy of the DLL whose path has what is special in scripts: quotes, percent signs, a variable.
class LibraryCopy {
public:
    LibraryCopy() {
        std::filesystem::create_directories(folder_);
        std::filesystem::copy_file(libraryPath(), path(), std::filesystem::copy_options::overwrite_existing);
    }
    LibraryCopy(const LibraryCopy&) = delete;
    LibraryCopy& operator=(const LibraryCopy&) = delete;
    ~LibraryCopy() {
        std::error_code ignored; // a copy that is still open is no reason to end the program
        std::filesystem::remove_all(folder_, ignored);
    }

    std::wstring path() const { return (folder_ / L"zorvanlib.dll").wstring(); }

private:
    std::filesystem::path folder_ = siblingPath(L"it's 100% 'quoted' %MODULE%");
};

// The machine may have the library registered. The tests start without, and register it again at the end.
class Registration : public testing::Test {
protected:
    static void SetUpTestSuite() {
        pathFound_ = registeredPath(HKEY_LOCAL_MACHINE);
        Server().remove();
        machineBefore_ = takeSnapshot(HKEY_LOCAL_MACHINE, kClasses);
        userBefore_ = takeSnapshot(HKEY_CURRENT_USER, kClasses);
    }

    static void TearDownTestSuite() { EXPECT_EQ(S_OK, pathFound_.empty() ? S_OK : Server(pathFound_).add()); }

    void TearDown() override { expectGained({}, {}); }

    // The whole of the classes, so that nothing has been written elsewhere.
    static void expectGained(const Snapshot& ofMachine, const Snapshot& ofUser) {
        expectGained(HKEY_LOCAL_MACHINE, machineBefore_, ofMachine);
        expectGained(HKEY_CURRENT_USER, userBefore_, ofUser);
    }

private:
    static void expectGained(HKEY root, const Snapshot& before, const Snapshot& expected) {
        // The parents of ours, which a first registration creates and no removal deletes.
        static const Snapshot kSharedParents = {L"appid", L"clsid"};
        const Snapshot now = takeSnapshot(root, kClasses);
        EXPECT_EQ(Snapshot{}, before + expected - now) << "these are missing";
        EXPECT_EQ(Snapshot{}, now - before - expected - kSharedParents) << "these are too many";
    }

    static inline std::wstring pathFound_;
    static inline Snapshot machineBefore_;
    static inline Snapshot userBefore_;
};

// A quote in the path must not end the quoted text of a script, nor a percent sign start a variable.
TEST_F(Registration, WritesAndRemovesExactlyItsEntries) {
    const LibraryCopy copy;
    const auto path = copy.path();
    const Server server(path);
    ASSERT_EQ(S_OK, server.add());
    expectGained(scriptLines(path) + typeLibraryLines(path), {});
    expectToFindMembers(kProgramId);
    expectToFindMembers(kProgramId + L".3");
    ASSERT_EQ(S_OK, server.remove());
    expectGained({}, {});
    EXPECT_TRUE(FAILED(server.remove()));
    EXPECT_TRUE(FAILED(server.install(false, nullptr)));
}

TEST_F(Registration, WritesTheClassFromScratchAndRemovesWholeKeys) {
    const Server server;
    ASSERT_EQ(S_OK, server.add());
    for (const auto* stray : {L"", L"\\Stray\\Deep", L"\\InprocServer32"})
        addStray(kClassKey + stray);
    addStray(kProgramId + L"\\Theirs");
    ASSERT_EQ(S_OK, server.add());
    const auto theirs = key(kProgramId + L"\\Theirs") + value(kProgramId + L"\\Theirs", L"Stray", L"1 x|");
    expectGained(scriptLines(libraryPath()) + typeLibraryLines(libraryPath()) + theirs, {});
    ASSERT_EQ(S_OK, server.remove());
}

// Wine registers a type library for the whole machine even when asked for the user, and its COM does not look for
// classes under the user's key, so neither is tried here.
TEST_F(Registration, IsForTheUserOnceTheCommandLineIsUser) {
    const auto path = libraryPath();
    {
        const Server server;
        addStray(L"CLSID", HKEY_CURRENT_USER);
        const auto theirs = value(L"CLSID", L"Stray", L"1 x|");
        ASSERT_EQ(S_OK, server.install(true, L"uSeR"));
        expectGained(typeLibraryLines(path), scriptLines(path) + theirs);
        ASSERT_EQ(S_OK, server.remove());
        expectGained({}, theirs);
        RegDeleteKeyValueW(HKEY_CURRENT_USER, (kClasses + L"\\CLSID").c_str(), L"Stray");
        ASSERT_EQ(S_OK, server.install(true, L"users"));
        EXPECT_EQ(path, registeredPath(HKEY_CURRENT_USER)) << "as long as the library is loaded";
        EXPECT_EQ(L"", registeredPath(HKEY_LOCAL_MACHINE));
        ASSERT_EQ(S_OK, server.remove());
    }
    for (const wchar_t* commandLine : {static_cast<const wchar_t*>(nullptr), L"users", L"use", L"/user"}) {
        const Server server;
        ASSERT_EQ(S_OK, server.install(true, commandLine));
        EXPECT_EQ(L"", registeredPath(HKEY_CURRENT_USER));
        EXPECT_EQ(path, registeredPath(HKEY_LOCAL_MACHINE));
        ASSERT_EQ(S_OK, server.install(false, commandLine));
    }
}

} // namespace

} // namespace zorvan::test

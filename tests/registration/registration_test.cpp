// Registration for real: what the entry points write to the registry, key by key, and what their removal leaves.
#include "registration/registrar_process.h"
#include "registration/registry_snapshot.h"

#include "base/unique.h"
#include "runner/runner.h"

#include <gtest/gtest.h>

#include <filesystem>
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

// As the system writes them. The listener is not among the interfaces: it is not made for automation.
Snapshot typeLibraryLines(const std::wstring& path) {
    const std::wstring library = L"TypeLib\\" + kLibraryId;
    Lines lines;
    lines.key(library)
        .text(library + L"\\3.0", L"zorvanlibLib")
        .key(library + L"\\3.0\\409")
        .text(library + L"\\3.0\\409\\win64", path)
        .text(library + L"\\3.0\\FLAGS", L"8")
        .text(library + L"\\3.0\\HELPDIR", path.substr(0, path.find_last_of(L'\\')));
    const std::pair<const wchar_t*, const wchar_t*> interfaces[] = {
        {L"{D047F3B5-7194-4A8D-9D44-127ACA83DB70}", L"IVirtualSerialLibrary"},
        {L"{F1559D5F-85F8-4CEC-894D-12CE2503F06E}", L"IVirtualSerialDevice"},
        {L"{FABF1DC6-8943-4F72-BA55-98E022942C6D}", L"ISocket"},
        {L"{EF2CCCAD-F2C2-41FA-8C42-82FA9BD22B95}", L"IPin"},
        {L"{5FD8DDDA-A69C-46F9-A881-570EA87B47D2}", L"IDeviceCollection"},
    };
    for (const auto& [identifier, name] : interfaces) {
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

std::optional<std::wstring> registeredPath() {
    wchar_t path[MAX_PATH];
    DWORD size = sizeof path;
    const std::wstring key = kClasses + L"\\" + kClassKey + L"\\InprocServer32";
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path, &size) != ERROR_SUCCESS)
        return std::nullopt;
    return path;
}

UniqueRegistryKey createKey(HKEY root, const std::wstring& path, DWORD options = REG_OPTION_NON_VOLATILE) {
    UniqueRegistryKey key;
    EXPECT_EQ(
        ERROR_SUCCESS, RegCreateKeyExW(
                           root, (kClasses + L"\\" + path).c_str(), 0, nullptr, options, KEY_ALL_ACCESS, nullptr,
                           key.put(), nullptr));
    return key;
}

void setText(HKEY key, const wchar_t* name) {
    EXPECT_EQ(ERROR_SUCCESS, RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(L"x"), 4));
}

} // namespace

// The machine may have the library registered. The tests start without, and leave what they found.
class Registration : public testing::Test {
protected:
    static void SetUpTestSuite() {
        found_ = machineClasses();
        foundPath_ = registeredPath();
        if (foundPath_) {
            EXPECT_EQ(S_OK, runRegistrar({*foundPath_, L"unregister"}));
        }
    }

    static void TearDownTestSuite() {
        if (foundPath_) {
            EXPECT_EQ(S_OK, runRegistrar({*foundPath_, L"register"}));
        }
        EXPECT_EQ("", toText(found_ - machineClasses()));
        EXPECT_EQ("", toText(machineClasses() - found_ - sharedParents()));
    }

    void SetUp() override {
        machineBefore_ = machineClasses();
        userBefore_ = userClasses();
    }

    // A test that failed may have left anything registered; nothing is left by one that did not, and then both calls
    // fail.
    void TearDown() override {
        call({L"uninstall=user"});
        call({L"unregister"});
        EXPECT_EQ("", toText(machineClasses() - machineBefore_ - sharedParents()));
        EXPECT_EQ("", toText(userClasses() - userBefore_ - sharedParents()));
    }

    static HRESULT call(const std::vector<std::wstring>& calls, const std::wstring& path = libraryPath()) {
        std::vector<std::wstring> arguments{path};
        arguments.insert(arguments.end(), calls.begin(), calls.end());
        return runRegistrar(arguments);
    }

    void expectMachineGained(const Snapshot& expected) const {
        expectGained(machineBefore_, machineClasses(), expected);
    }

    void expectUserGained(const Snapshot& expected) const { expectGained(userBefore_, userClasses(), expected); }

private:
    static void expectGained(const Snapshot& before, const Snapshot& now, const Snapshot& expected) {
        const Snapshot gained = now - before - sharedParents();
        EXPECT_EQ("", toText(expected - gained)) << "these are missing";
        EXPECT_EQ("", toText(gained - expected)) << "these are too many";
        EXPECT_EQ("", toText(before - now)) << "these are lost";
    }

    static inline Snapshot found_;
    static inline std::optional<std::wstring> foundPath_;
    Snapshot machineBefore_;
    Snapshot userBefore_;
};

TEST_F(Registration, WritesAndRemovesExactlyItsEntries) {
    for (const wchar_t* how : {L"register", L"install", L"install=", L"install=users", L"install=use"}) {
        ASSERT_EQ(S_OK, call({how}));
        expectMachineGained(scriptLines(libraryPath()) + typeLibraryLines(libraryPath()));
        expectUserGained({});
        ASSERT_EQ(S_OK, call({how[0] == L'r' ? L"unregister" : L"uninstall"}));
        expectMachineGained({});
        EXPECT_EQ("", toText(sharedParents() - machineClasses())) << "these belong to others too";
    }
}

TEST_F(Registration, CanBeRepeated) {
    ASSERT_EQ(S_OK, call({L"register", L"register"}));
    expectMachineGained(scriptLines(libraryPath()) + typeLibraryLines(libraryPath()));
}

TEST_F(Registration, FailsToRemoveWhatIsNotThere) {
    EXPECT_TRUE(FAILED(call({L"unregister"})));
    EXPECT_TRUE(FAILED(call({L"uninstall"})));
}

TEST_F(Registration, WritesTheClassFromScratch) {
    ASSERT_EQ(S_OK, call({L"register"}));
    setText(createKey(HKEY_LOCAL_MACHINE, kClassKey).get(), L"Stray");
    setText(createKey(HKEY_LOCAL_MACHINE, kClassKey + L"\\Stray\\Deep").get(), L"Stray");
    setText(createKey(HKEY_LOCAL_MACHINE, kClassKey + L"\\InprocServer32").get(), L"Stray");
    setText(createKey(HKEY_LOCAL_MACHINE, kProgramId).get(), L"Kept");
    ASSERT_EQ(S_OK, call({L"register"}));
    const Snapshot kept = Lines().value(kProgramId, L"Kept", L"s x|").get();
    expectMachineGained(scriptLines(libraryPath()) + typeLibraryLines(libraryPath()) + kept);
    ASSERT_EQ(S_OK, call({L"unregister"}));
    expectMachineGained({});
}

TEST_F(Registration, LeavesKeysOfOthers) {
    ASSERT_EQ(S_OK, call({L"register"}));
    createKey(HKEY_LOCAL_MACHINE, kProgramId + L"\\Theirs");
    ASSERT_EQ(S_OK, call({L"unregister"}));
    expectMachineGained(Lines().text(kProgramId, L"VirtualSerialLibrary Class").key(kProgramId + L"\\Theirs").get());
    EXPECT_EQ(ERROR_SUCCESS, RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kClasses + L"\\" + kProgramId).c_str()));
}

// Wine registers a type library for the whole machine even when asked for the user, and its COM does not look for
// classes under the user's key, so neither is tried here.
TEST_F(Registration, ForTheUserLeavesTheMachineAlone) {
    for (const wchar_t* how : {L"install=user", L"install=USER", L"install=uSeR"}) {
        ASSERT_EQ(S_OK, call({how}));
        expectUserGained(scriptLines(libraryPath()));
        expectMachineGained(typeLibraryLines(libraryPath()));
        ASSERT_EQ(S_OK, call({L"uninstall=user"}));
        expectUserGained({});
        expectMachineGained({});
        EXPECT_EQ("", toText(sharedParents() - userClasses())) << "these belong to others too";
    }
}

TEST_F(Registration, StaysForTheUserWithinTheProcess) {
    for (const wchar_t* next : {L"install", L"install=", L"install=users", L"register"}) {
        ASSERT_EQ(S_OK, call({L"install=user", L"uninstall", next}));
        expectUserGained(scriptLines(libraryPath()));
        ASSERT_EQ(S_OK, call({L"uninstall=USER"}));
        expectUserGained({});
    }
    ASSERT_EQ(S_OK, call({L"install=user", L"unregister"}));
    expectUserGained({});
}

// A key that vanishes with the session takes no lasting subkeys: an honest way to make one write fail.
TEST_F(Registration, IsUndoneWhenItFails) {
    const struct {
        std::wstring key;
        HRESULT result;
    } rows[] = {
        {kProgramId, HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE)},
        {L"TypeLib\\" + kLibraryId, TYPE_E_REGISTRYACCESS},
    };
    for (const auto& row : rows) {
        const UniqueRegistryKey blocker = createKey(HKEY_LOCAL_MACHINE, row.key, REG_OPTION_VOLATILE);
        EXPECT_EQ(row.result, call({L"install"})) << testing::PrintToString(row.key);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kClasses + L"\\" + row.key).c_str());
        expectMachineGained({});
    }
}

TEST_F(Registration, StopsAtTheFirstFailure) {
    const UniqueRegistryKey blocker = createKey(HKEY_LOCAL_MACHINE, kProgramId, REG_OPTION_VOLATILE);
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_CHILD_MUST_BE_VOLATILE), call({L"register"}));
    const Snapshot now = machineClasses();
    EXPECT_TRUE(now.contains(keyLine(L"AppID\\" + kApplicationId)));
    EXPECT_TRUE(now.contains(keyLine(kProgramId + L".3\\CLSID")));
    EXPECT_FALSE(now.contains(keyLine(kClassKey)));
    EXPECT_FALSE(now.contains(keyLine(L"TypeLib\\" + kLibraryId)));
    EXPECT_EQ(S_OK, call({L"install", L"uninstall"})) << "the way is free again";
}

// A quote in a path must not end the quoted text of a script, nor a percent sign start a variable.
TEST_F(Registration, TakesAnyPath) {
    const std::filesystem::path folder = siblingPath(L"it's 100% 'quoted' %MODULE%");
    std::filesystem::create_directories(folder);
    const std::filesystem::path copy = folder / L"zorvanlib.dll";
    std::filesystem::copy_file(libraryPath(), copy, std::filesystem::copy_options::overwrite_existing);
    EXPECT_EQ(S_OK, call({L"register"}, copy.wstring()));
    expectMachineGained(scriptLines(copy.wstring()) + typeLibraryLines(copy.wstring()));
    EXPECT_EQ(S_OK, call({L"unregister"}, copy.wstring()));
    expectMachineGained({});
    std::filesystem::remove_all(folder);
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

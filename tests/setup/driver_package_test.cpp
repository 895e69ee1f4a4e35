// The driver package for real: taken out of the system and put in again by the installed library, through the
// development kit's framework library. The tests find the package installed and leave it so.
#include "client.h"
#include "programs.h"

#include "base/unique.h"
#include "registration/registry_snapshot.h"
#include "runner/runner.h"
#include "setup/difxapi.h"

#include <filesystem>
#include <stdexcept>

namespace zorvan::test {

namespace {

namespace fs = std::filesystem;

constexpr int kInstall = 0;
constexpr int kReinstall = 2;
constexpr int kUninstall = 3;

constexpr wchar_t kSystem[] = L"System\\CurrentControlSet";
constexpr const wchar_t* kStoredFiles[] = {
    L"C:\\windows\\inf\\zorvan.inf",
    L"C:\\windows\\inf\\zorvan.sys",
    L"C:\\windows\\inf\\zorvan_engine.dll",
    L"C:\\windows\\inf\\zorvan_host.exe",
};
constexpr wchar_t kSetupNote[] = L"C:\\windows\\inf\\zorvan.pnf"; // setupapi's, once there was a port
constexpr const wchar_t* kInstalledFiles[] = {
    L"C:\\windows\\system32\\drivers\\zorvan.sys",
    L"C:\\windows\\system32\\zorvan_engine.dll",
    L"C:\\windows\\system32\\zorvan_host.exe",
};

struct ModuleTraits {
    using Value = HMODULE;
    static Value invalid() { return nullptr; }
    static void close(Value module) { FreeLibrary(module); }
};
using UniqueModule = Unique<ModuleTraits>;

template <class Function>
Function* entryPoint(HMODULE module, const char* name) {
    // GetProcAddress has one type for every function.
    auto* function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    if (function == nullptr)
        throw std::runtime_error(std::string("there is no entry point ") + name);
    return function;
}

class ScratchFolder {
public:
    ScratchFolder() : path_(fs::temp_directory_path() / L"zorvanlib setup") {
        fs::remove_all(path_);
        fs::create_directory(path_);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored; // the next one tries again
        fs::remove_all(path_, ignored);
    }

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

bool exists(const wchar_t* path) {
    return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

bool isService() {
    UniqueRegistryKey key;
    const std::wstring path = std::wstring(kSystem) + L"\\Services\\zorvan";
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

void expectFiles(bool stored, bool installed) {
    for (const wchar_t* file : kStoredFiles)
        EXPECT_EQ(stored, exists(file)) << std::wstring(file);
    for (const wchar_t* file : kInstalledFiles)
        EXPECT_EQ(installed, exists(file)) << std::wstring(file);
    EXPECT_EQ(installed, isService());
}

// Without the count of the processes that have ever run services.
Snapshot systemSettings() {
    Snapshot lines = takeSnapshot(HKEY_LOCAL_MACHINE, kSystem);
    std::erase_if(lines, [](const std::wstring& line) { return line.starts_with(L"control\\servicecurrent : "); });
    return lines;
}

class DriverPackageTest : public SystemTest {
protected:
    void TearDown() override {
        deletePorts();
        EXPECT_EQ(S_OK, autoInstall(kInstall));
        SystemTest::TearDown();
    }

    // Of the installed library, which the fixture's object keeps loaded.
    static HRESULT autoInstall(int mode) {
        const HMODULE library = GetModuleHandleW(L"zorvanlib");
        return entryPoint<HRESULT WINAPI(UINT_PTR, int)>(library, "AutoInstallEx")(0, mode);
    }
};

TEST_F(DriverPackageTest, IsTakenOutWithAllThatItHasPutIn) {
    create();
    deletePorts();
    expectFiles(true, true);
    ASSERT_EQ(S_OK, autoInstall(kUninstall));
    expectFiles(false, false);
    const Snapshot before = systemSettings();

    ASSERT_EQ(S_OK, autoInstall(kInstall));
    expectFiles(true, false);
    create();
    create();
    expectFiles(true, true);
    deletePorts();
    ASSERT_EQ(S_OK, autoInstall(kUninstall));
    expectFiles(false, false);
    const Snapshot after = systemSettings();
    EXPECT_EQ(Snapshot{}, before - after) << "these are lost";
    EXPECT_EQ(Snapshot{}, after - before) << "these are too many";

    EXPECT_FALSE(exists(kSetupNote));
    EXPECT_EQ(S_OK, autoInstall(kUninstall)) << "a package that is not there";
}

TEST_F(DriverPackageTest, StaysInUseUntilTheLastPortIsGone) {
    const auto port = create();
    EXPECT_EQ(S_FALSE, autoInstall(kUninstall));
    expectFiles(false, true);
    EXPECT_TRUE(UniqueHandle(openPort(path(*port))));
    EXPECT_EQ(S_FALSE, autoInstall(kUninstall)) << "still in use";

    deletePorts();
    EXPECT_EQ(S_OK, autoInstall(kUninstall));
    expectFiles(false, false);
}

TEST_F(DriverPackageTest, MayBeInstalledAgain) {
    const auto port = create();
    EXPECT_EQ(S_OK, autoInstall(kReinstall));
    EXPECT_EQ(S_FALSE, autoInstall(kUninstall));
    EXPECT_EQ(S_OK, autoInstall(kReinstall));
    EXPECT_NE(portName(*port), portName(*create()));
}

// The setup program with a library that was put into a folder of its own.
TEST_F(DriverPackageTest, IsNotInstalledWithAPartMissing) {
    const fs::path built = siblingPath(L"..");
    const fs::path framework = built / L"devkit" / L"difxapi" / L"DIFxAPI.dll";
    const struct {
        const wchar_t* libraryName;
        fs::path framework; // none when empty
        const char* status;
    } rows[] = {
        {L"zorvanlib.dll", {}, "0x8007007E"},
        {L"zorvanlib.dll", built / L"devkit" / L"driver" / L"zorvan.inf", "0x800700C1"}, // no library at all
        {L"zorvanlib.dll", framework, "0x80070002"},                                     // no package
        {L"renamed.dll", framework, "0x8007007E"},
    };
    for (const auto& row : rows) {
        const ScratchFolder folder;
        const fs::path library = folder.path() / L"bin" / row.libraryName;
        fs::create_directory(library.parent_path());
        fs::copy_file(built / L"zorvanlib.dll", library);
        if (!row.framework.empty())
            fs::copy_file(row.framework, library.parent_path() / L"DIFxAPI.dll");
        const auto setup = runProgram(
            siblingPath(L"..\\devkit\\tools\\driver_setup.exe") + L" \"" + library.wstring() + L"\" install");
        EXPECT_EQ(2U, setup.exitCode) << row.status;
        EXPECT_NE(std::string::npos, setup.output.find(row.status)) << setup.output;
    }
}

// What clients of the framework library rely on besides.
TEST_F(DriverPackageTest, IsGuardedByTheFramework) {
    const UniqueModule framework(LoadLibraryW(siblingPath(L"..\\devkit\\difxapi\\DIFxAPI.dll").c_str()));
    ASSERT_TRUE(framework);
    const std::wstring inf = siblingPath(L"..\\devkit\\driver\\zorvan.inf");
    auto* const preinstall =
        entryPoint<decltype(DriverPackagePreinstallW)>(framework.get(), "DriverPackagePreinstallW");
    const struct {
        const wchar_t* inf;
        DWORD flags;
        DWORD result;
    } rows[] = {
        {nullptr, 0, ERROR_INVALID_PARAMETER},
        {L"zorvan.inf", DRIVER_PACKAGE_REPAIR, ERROR_INVALID_NAME},
        {L"C:\\absent.inf", DRIVER_PACKAGE_REPAIR, ERROR_FILE_NOT_FOUND},
        {inf.c_str(), DRIVER_PACKAGE_DELETE_FILES, ERROR_INVALID_FLAGS},
        {inf.c_str(), 0, ERROR_ALREADY_EXISTS},
        {inf.c_str(), DRIVER_PACKAGE_REPAIR, ERROR_SUCCESS},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.result, preinstall(row.inf, row.flags)) << (row.inf == nullptr ? L"null" : row.inf);

    BOOL needReboot = TRUE;
    auto* const install = entryPoint<decltype(DriverPackageInstallW)>(framework.get(), "DriverPackageInstallW");
    EXPECT_EQ(ERROR_CALL_NOT_IMPLEMENTED, install(inf.c_str(), 0, nullptr, &needReboot));
    expectFiles(true, exists(kInstalledFiles[0]));
}

} // namespace

} // namespace zorvan::test

// The exported installer of the driver package, over a simulated framework library.
#include "setup/difxapi.h"
#include "simulation/simulation_test.h"

#include <setupapi.h>

#include <algorithm>
#include <climits>

namespace zorvan::simulation {

namespace {

constexpr int kInstall = 0;
constexpr int kUninstall = 3;
constexpr DWORD kAlreadyAnHResult = 0x80070005;

class AutoInstall : public SimulationTest {
protected:
    void SetUp() override {
        placeLibrary(L"C:\\Product\\bin\\zorvanlib.dll", L"C:\\Product\\bin\\DIFxAPI.dll");
        dll();
        machine.calls.clear();
    }

    void placeLibrary(const std::wstring& path, const std::wstring& framework) {
        machine.modules.libraryPath = path;
        machine.modules.loadable = {framework};
    }

    // As if nothing had been called before.
    HRESULT autoInstall(int mode) {
        const HRESULT status = dll().autoInstallEx(mode);
        calls_ = machine.calls.texts();
        machine.calls.clear();
        return status;
    }

    // Whether there was a call that starts so.
    bool called(const std::string& start) const {
        return std::any_of(calls_.begin(), calls_.end(), [&](const auto& call) { return call.starts_with(start); });
    }

private:
    std::vector<std::string> calls_;
};

TEST_F(AutoInstall, DoesWhatTheModeAsksFor) {
    const struct {
        int mode;
        bool installs;
        bool removes;
    } rows[] = {{0, true, false},  {1, false, false}, {2, true, false},       {3, false, true},
                {-1, false, true}, {4, false, true},  {INT_MAX, false, true}, {INT_MIN, false, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        EXPECT_RESULT(S_OK, autoInstall(row.mode));
        EXPECT_EQ(called("LoadLibraryW(C:\\Product\\bin\\DIFxAPI.dll)"), row.installs || row.removes);
        EXPECT_EQ(called("DriverPackagePreinstallW(C:\\Product\\zorvan.inf, 1)"), row.installs);
        EXPECT_EQ(called("DriverPackageUninstallW(C:\\Product\\zorvan.inf, 0, "), row.removes);
        for (const auto* file : {"zorvan32.dll", "zorvan64.dll"})
            EXPECT_EQ(called("DeleteFileW(C:\\windows\\system32drivers\\umdf\\" + std::string(file)), row.removes);
    }
    EXPECT_TRUE(machine.driverPackages.installer.starts_with(
        L"Qeltra Software.Portwright Free.{0EB3618F-360F-40DD-ACC8-15B57A757D8E}|"
        L"Qeltra Software Portwright Free Virtual Serial Port Driver|Qeltra Software Portwright Free|"
        L"Qeltra Software Ltd.|"));
}

TEST_F(AutoInstall, MapsWhatTheFrameworkReturns) {
    const struct {
        DWORD code;
        bool restartNeeded;
        DWORD installed;   // status of the installation, which knows of no restart
        DWORD uninstalled; // status of the removal
        bool deletes;      // whether the removal deletes the driver's binaries
    } rows[] = {
        {ERROR_SUCCESS, true, 0, 1, true},
        {ERROR_DRIVER_PACKAGE_NOT_IN_STORE, true, 0xE0000302, 1, true},
        {ERROR_NO_SUCH_DEVINST, true, 0, 1, false},
        {ERROR_ACCESS_DENIED, true, 0x80070005, 0x80070005, false},
        {0x12345678, false, 0x80075678, 0x80075678, false}, // only the low half of a positive code is kept
        {kAlreadyAnHResult, false, kAlreadyAnHResult, kAlreadyAnHResult, false},
        {0xE0000300, true, 0xE0000300, 0xE0000300, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << row.code << " restart: " << row.restartNeeded);
        machine.driverPackages.restartNeeded = row.restartNeeded;
        if (row.code != ERROR_SUCCESS) {
            machine.fail("DriverPackagePreinstallW", 1, row.code);
            machine.fail("DriverPackageUninstallW", 1, row.code);
        }
        EXPECT_RESULT(row.installed, dll().autoInstallEx(kInstall));
        EXPECT_RESULT(row.uninstalled, autoInstall(kUninstall));
        EXPECT_EQ(row.deletes, called("DeleteFileW("));
    }
}

TEST_F(AutoInstall, LooksInItsOwnFolderAndTheOneAbove) {
    // With the library's name, this fills the buffer but for the terminator.
    const std::wstring longest = L"C:\\a\\" + std::wstring(240, L'b') + L"\\";
    const struct {
        std::wstring path; // without the name
        std::wstring framework;
        std::wstring inf;
    } rows[] = {
        {L"", L"DIFxAPI.dll", L"zorvan.inf"},
        {L"C:\\", L"C:\\DIFxAPI.dll", L"zorvan.inf"},
        {L"bin\\", L"bin\\DIFxAPI.dll", L"zorvan.inf"},
        {L"C:\\a\\\\", L"C:\\a\\\\DIFxAPI.dll", L"C:\\a\\zorvan.inf"},
        {L"C:/a\\b/", L"C:/a\\DIFxAPI.dll", L"zorvan.inf"}, // a slash separates nothing
        {L"\\\\?\\C:\\a b\\bin\\", L"\\\\?\\C:\\a b\\bin\\DIFxAPI.dll", L"\\\\?\\C:\\a b\\zorvan.inf"},
        {longest, longest + L"DIFxAPI.dll", L"C:\\a\\zorvan.inf"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(describe(row.path));
        placeLibrary(row.path + L"zorvanlib.dll", row.framework);
        EXPECT_RESULT(S_OK, autoInstall(kInstall));
        EXPECT_TRUE(called("DriverPackagePreinstallW(" + describe(row.inf) + ","));
        EXPECT_RESULT(S_OK, autoInstall(kUninstall));
        EXPECT_TRUE(called("DriverPackageUninstallW(" + describe(row.inf) + ","));
    }
}

TEST_F(AutoInstall, RefusesAPathThatWasCutOff) {
    for (const std::size_t length : {260, 261, 1000}) {
        placeLibrary(L"C:\\" + std::wstring(length - 3, L'b'), L"C:\\DIFxAPI.dll");
        EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER), autoInstall(kInstall)) << length;
        EXPECT_FALSE(called("LoadLibraryW(")) << length;
    }
}

} // namespace

} // namespace zorvan::simulation

// The driver package for real: taken out of the system and put in again by the installed library, through the
// development kit's framework library. The test finds the package installed and leaves it so.
#include "client.h"

#include "base/unique.h"
#include "registry_snapshot.h"

#include <bit>
#include <filesystem>

namespace zorvan::test {

namespace {

constexpr wchar_t kSystem[] = L"System\\CurrentControlSet";
constexpr int kInstall = 0;
constexpr int kReinstall = 2;
constexpr int kUninstall = 3;

// The library is the installed one, which the fixture's object keeps loaded.
HRESULT autoInstall(int mode) {
    const auto function = GetProcAddress(GetModuleHandleW(L"zorvanlib"), "AutoInstallEx");
    return std::bit_cast<HRESULT(WINAPI*)(UINT_PTR, int)>(function)(0, mode);
}

void expectFiles(bool stored, bool installed) {
    const std::filesystem::path windows = L"C:\\windows";
    for (const auto* name : {L"zorvan.inf", L"zorvan.sys", L"zorvan_engine.dll", L"zorvan_host.exe"})
        EXPECT_EQ(stored, exists(windows / L"inf" / name)) << testing::PrintToString(name);
    for (const auto* name : {L"drivers\\zorvan.sys", L"zorvan_engine.dll", L"zorvan_host.exe"})
        EXPECT_EQ(installed, exists(windows / L"system32" / name)) << testing::PrintToString(name);
    UniqueRegistryKey service;
    const auto path = std::wstring(kSystem) + L"\\Services\\zorvan";
    EXPECT_EQ(
        installed, RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, service.put()) == ERROR_SUCCESS);
}

// Without the count of the processes that have ever run services.
Snapshot systemSettings() {
    Snapshot lines = takeSnapshot(HKEY_LOCAL_MACHINE, kSystem);
    std::erase_if(lines, [](const std::wstring& line) { return line.starts_with(L"control\\servicecurrent : "); });
    return lines;
}

class DriverPackage : public SystemTest {
protected:
    void TearDown() override {
        deletePorts();
        EXPECT_EQ(S_OK, autoInstall(kInstall));
        SystemTest::TearDown();
    }
};

TEST_F(DriverPackage, IsTakenOutWithAllThatItHasPutIn) {
    create(); // the first port of all leaves what is the system's: the port database and the classes of interfaces
    deletePorts();
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
    EXPECT_FALSE(std::filesystem::exists(L"C:\\windows\\inf\\zorvan.pnf")) << "setupapi's note of a used package";
    EXPECT_EQ(S_OK, autoInstall(kUninstall)) << "a package that is not there";
}

TEST_F(DriverPackage, StaysInUseUntilTheLastPortIsGone) {
    const auto name = portName(create());
    EXPECT_EQ(S_OK, autoInstall(kReinstall));
    EXPECT_NE(name, portName(create()));
    EXPECT_EQ(S_FALSE, autoInstall(kUninstall));
    expectFiles(false, true);
    EXPECT_EQ(S_FALSE, autoInstall(kUninstall)) << "still in use";
    EXPECT_EQ(1U, presentPortNames().count(name));

    deletePorts();
    EXPECT_EQ(S_OK, autoInstall(kUninstall));
    expectFiles(false, false);
}

} // namespace

} // namespace zorvan::test

// The Ports class installer and DiInstallDevice, which calls it.
#include "database_fixture.h"
#include "test_device.h"

#include <gtest/gtest.h>

namespace zorvan::test {

class PortsClassInstallerTest : public DatabaseTest {
protected:
    bool install(TestDevice& device, BOOL* needReboot = nullptr) {
        constexpr DWORD kShowSearchUi = 1;
        SetLastError(ERROR_SUCCESS);
        return standIns_.installDevice(nullptr, device.set(), device.element(), nullptr, kShowSearchUi, needReboot);
    }

    static bool remove(TestDevice& device) {
        return SetupDiCallClassInstaller(DIF_REMOVE, device.set(), device.element());
    }

    TestPackage package_;
};

namespace {

DWORD numberOf(const std::wstring& portName) {
    return std::stoul(portName.substr(3));
}

} // namespace

TEST_F(PortsClassInstallerTest, GivesANewPortTheNextFreeNumberAndTakesItBack) {
    TestDevice device;
    BOOL needReboot = TRUE;
    ASSERT_TRUE(install(device, &needReboot)) << GetLastError();
    EXPECT_FALSE(needReboot);

    const std::wstring name = device.portName();
    ASSERT_EQ(name.substr(0, 3), L"COM");
    EXPECT_TRUE(isUsed(numberOf(name)));
    EXPECT_EQ(usedCount(), 1U);
    EXPECT_EQ(device.friendlyName(), std::wstring(kTestDescription) + L" (" + name + L")");

    ASSERT_TRUE(remove(device)) << GetLastError();
    EXPECT_FALSE(device.exists());
    EXPECT_EQ(usedCount(), 0U);
}

TEST_F(PortsClassInstallerTest, GivesTwoPortsDifferentNumbers) {
    TestDevice first;
    TestDevice second;
    ASSERT_TRUE(install(first));
    ASSERT_TRUE(install(second));
    EXPECT_NE(first.portName(), second.portName());
    EXPECT_EQ(usedCount(), 2U);
}

TEST_F(PortsClassInstallerTest, KeepsTheNameThatAPortHasBeforehand) {
    ASSERT_EQ(standIns_.claimPort(database_, 77, TRUE, nullptr), ERROR_SUCCESS);
    TestDevice device;
    device.setPortName(L"COM77");
    ASSERT_TRUE(install(device)) << GetLastError();
    EXPECT_EQ(device.portName(), L"COM77");
    EXPECT_EQ(device.friendlyName(), std::wstring(kTestDescription) + L" (COM77)");
    EXPECT_EQ(usedCount(), 1U);

    ASSERT_TRUE(remove(device)) << GetLastError();
    EXPECT_FALSE(isUsed(77));
}

TEST_F(PortsClassInstallerTest, TakesBackTheNumberOfTheNameThatAPortHasAtItsEnd) {
    TestDevice device;
    ASSERT_TRUE(install(device));
    const DWORD given = numberOf(device.portName());
    ASSERT_EQ(standIns_.releasePort(database_, given), ERROR_SUCCESS);
    ASSERT_EQ(standIns_.claimPort(database_, 78, TRUE, nullptr), ERROR_SUCCESS);
    device.setPortName(L"COM78");
    ASSERT_TRUE(remove(device));
    EXPECT_EQ(usedCount(), 0U);
}

TEST_F(PortsClassInstallerTest, APortWithoutANumberIsRemovedAllTheSame) {
    ASSERT_EQ(standIns_.claimPort(database_, 7, TRUE, nullptr), ERROR_SUCCESS);
    for (const wchar_t* name : {L"PORT", L"LPT7", L"COM", L"COM9999"}) {
        TestDevice device;
        device.setPortName(name);
        EXPECT_TRUE(remove(device)) << GetLastError();
        EXPECT_FALSE(device.exists());
    }
    EXPECT_EQ(usedCount(), 1U);
}

TEST_F(PortsClassInstallerTest, AFailedInstallationGivesBackWhatItClaimed) {
    TestDevice device;
    // Without a driver selected, the default action fails.
    EXPECT_FALSE(SetupDiCallClassInstaller(DIF_INSTALLDEVICE, device.set(), device.element()));
    EXPECT_EQ(GetLastError(), ERROR_NO_DRIVER_SELECTED);
    EXPECT_EQ(device.portName(), L"");
    EXPECT_EQ(usedCount(), 0U);
}

TEST_F(PortsClassInstallerTest, AFailedInstallationKeepsTheNameThatItFound) {
    ASSERT_EQ(standIns_.claimPort(database_, 77, TRUE, nullptr), ERROR_SUCCESS);
    TestDevice device;
    device.setPortName(L"COM77");
    EXPECT_FALSE(SetupDiCallClassInstaller(DIF_INSTALLDEVICE, device.set(), device.element()));
    EXPECT_EQ(device.portName(), L"COM77");
    EXPECT_TRUE(isUsed(77));
}

TEST_F(PortsClassInstallerTest, APortThatNoNumberIsLeftForIsNotInstalled) {
    for (DWORD number = 1; number <= COMDB_MIN_PORTS_ARBITRATED; ++number)
        ASSERT_EQ(standIns_.claimPort(database_, number, FALSE, nullptr), ERROR_SUCCESS);
    TestDevice device;
    EXPECT_FALSE(install(device));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_LOG_SPACE));
    EXPECT_EQ(device.portName(), L"");
}

TEST_F(PortsClassInstallerTest, ADeviceThatNoDriverIsForIsNotInstalled) {
    TestDevice device(TestDevice::Driver::None);
    BOOL needReboot = TRUE;
    EXPECT_FALSE(install(device, &needReboot));
    EXPECT_EQ(GetLastError(), ERROR_NO_COMPAT_DRIVERS);
    EXPECT_FALSE(needReboot);
    EXPECT_EQ(device.portName(), L"");
    EXPECT_EQ(usedCount(), 0U);
}

TEST_F(PortsClassInstallerTest, TheNeedForARestartIsReported) {
    for (const DWORD flag : {DI_NEEDREBOOT, DI_NEEDRESTART}) {
        TestDevice device;
        SP_DEVINSTALL_PARAMS_W params{};
        params.cbSize = sizeof params;
        ASSERT_TRUE(SetupDiGetDeviceInstallParamsW(device.set(), device.element(), &params));
        params.Flags |= flag;
        ASSERT_TRUE(SetupDiSetDeviceInstallParamsW(device.set(), device.element(), &params));
        BOOL needReboot = FALSE;
        EXPECT_TRUE(install(device, &needReboot));
        EXPECT_TRUE(needReboot);
    }
}

TEST_F(PortsClassInstallerTest, DiInstallDeviceRefusesWhatItCannotDo) {
    TestDevice device;
    SP_DRVINFO_DATA_W driver{};
    struct Row {
        HDEVINFO set;
        PSP_DRVINFO_DATA_W driver;
        DWORD flags;
        DWORD error;
    };
    const Row rows[] = {
        {device.set(), nullptr, 0x10, ERROR_INVALID_FLAGS},
        {device.set(), nullptr, 0x4, ERROR_CALL_NOT_IMPLEMENTED},
        {device.set(), &driver, 0, ERROR_CALL_NOT_IMPLEMENTED},
        {INVALID_HANDLE_VALUE, nullptr, 0, ERROR_INVALID_HANDLE},
    };
    for (const Row& row : rows) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(standIns_.installDevice(nullptr, row.set, device.element(), row.driver, row.flags, nullptr));
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_EQ(device.portName(), L"");
}

} // namespace zorvan::test

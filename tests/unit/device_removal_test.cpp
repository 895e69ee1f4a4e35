// deleteDevice: its steps, and what the system asks for afterwards.
#include "one_port.h"

namespace zorvan::simulation {

namespace {

using DeviceRemoval = OnePort;

TEST_F(DeviceRemoval, TakesTheStepsInTheirOrder) {
    EXPECT_RESULT(S_OK, device5().deleteDevice());
    EXPECT_EQ(
        machine.calls.texts(), (std::vector<std::string>{
                                   "SetupDiCreateDeviceInfoList(null, no window)",
                                   "SetupDiOpenDeviceInterfaceW(" + describe(*port().controlPath) + ", 0)",
                                   "SetupDiEnumDeviceInfo(0)",
                                   "SetupDiSetClassInstallParamsW(8, 0x5, 16)",
                                   "SetupDiCallClassInstaller(0x5)",
                                   "SetupDiGetDeviceInstallParamsW(584)",
                                   "SetupDiDeleteDeviceInterfaceData(control)",
                                   "SetupDiDestroyDeviceInfoList()",
                               }));
    EXPECT_FALSE(port().present);
    EXPECT_TRUE(port().driver.requests.empty());
}

TEST_F(DeviceRemoval, ObjectLearnsOfItFromTheNextLookOnly) {
    EXPECT_RESULT(S_OK, device5().deleteDevice());
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    refresh(*readObject(device5(), &IVirtualSerialDevice::get_vLibrary));
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_RESULT(E_HANDLE, device5().deleteDevice());
}

TEST_F(DeviceRemoval, SecondRemovalReportsThatTheInterfaceIsGone) {
    EXPECT_RESULT(S_OK, device5().deleteDevice());
    EXPECT_RESULT(0xE0000225, device5().deleteDevice()); // a negative error passes unchanged
}

TEST_F(DeviceRemoval, RestartThatIsNeededIsAnotherSuccess) {
    const std::pair<DWORD, HRESULT> rows[] = {
        {DI_NEEDREBOOT, S_FALSE}, {DI_NEEDRESTART, S_FALSE}, {~DWORD{DI_NEEDREBOOT | DI_NEEDRESTART}, S_OK}};
    for (const auto& [flags, result] : rows) {
        port().present = true;
        port().installFlags = 0;
        port().removalInstallFlags = flags;
        EXPECT_RESULT(result, device5().deleteDevice());
    }
}

} // namespace

} // namespace zorvan::simulation

// createDevice: the requested number, the exact steps of the installation, and the wait.
#include "simulation/simulation_test.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

constexpr HRESULT kRestartNeeded = static_cast<HRESULT>(0x80070BC2);
constexpr HRESULT kNumberTaken = static_cast<HRESULT>(0x800702BA);
const std::wstring kHardwareIds(L"QELTRAVIRT\\QeltraZorvan3\0\0", 26);

class DeviceCreation : public SimulationTest {
protected:
    void SetUp() override { library_ = createLibrary(); }

    void TearDown() override {
        library_ = {};
        SimulationTest::TearDown();
    }

    IVirtualSerialLibrary& library() { return *library_; }

    HRESULT create(const VARIANT& portName) {
        ComPointer<IVirtualSerialDevice> device;
        const HRESULT result = library_->createDevice(portName, device.put());
        EXPECT_EQ(static_cast<bool>(device), SUCCEEDED(result));
        return result;
    }
    HRESULT create(const wchar_t* portName) { return create(Variant(portName)); }

    // From opening the port database to closing it.
    std::vector<std::string> installationSteps() {
        const auto all = machine.calls.texts();
        const auto first = std::find(all.begin(), all.end(), "ComDBOpen()");
        const auto last = std::find(first, all.end(), "ComDBClose()");
        return {first, last == all.end() ? last : last + 1};
    }

    std::size_t nodes() { return machine.plugAndPlay.nodes().size(); }
    DeviceNode& created() { return machine.plugAndPlay.latest(); }

private:
    ComPointer<IVirtualSerialLibrary> library_;
};

TEST_F(DeviceCreation, YieldsTheDeviceThatListingsShow) {
    const auto device = createDevice(library(), L"COM7");
    EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_portName), L"COM7");
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_mode), VSDM_Listening);
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    EXPECT_EQ(SimulationTest::device(library(), L"COM7").get(), device.get());
    EXPECT_EQ(created().hardwareIds, kHardwareIds);
    EXPECT_TRUE(created().installed);
}

TEST_F(DeviceCreation, TakesTheStepsInTheirOrder) {
    machine.addSerialPort(L"COM1");
    machine.calls.clear();
    ASSERT_RESULT(S_OK, create(L"COM7"));
    EXPECT_EQ(
        machine.calls.texts("SetupDiGetClassDevsExW").front(), "SetupDiGetClassDevsExW(serial, 0x12, new, null)");
    EXPECT_EQ(machine.calls.texts("SetupDiOpenDevRegKey").front(), "SetupDiOpenDevRegKey(1, 0, 1, 0x2001f)");
    EXPECT_EQ(
        installationSteps(), (std::vector<std::string>{
                                 "ComDBOpen()",
                                 "SetupDiCreateDeviceInfoList(Ports, no window)",
                                 "SetupDiClassNameFromGuidW(Ports, 32)",
                                 "SetupDiCreateDeviceInfoW(Ports, Ports, null, 0x1)",
                                 "SetupDiSetDeviceRegistryPropertyW(1, 52)",
                                 "SetupDiCallClassInstaller(0x19)",
                                 "ComDBClaimPort(7, force)",
                                 "SetupDiCreateDevRegKeyW(1, 0, 1, no INF, no section)",
                                 "RegSetValueExW(key of ROOT\\PORTS\\0001, PortName, 1, COM7, 10)",
                                 "RegCloseKey(key of ROOT\\PORTS\\0001)",
                                 "DiInstallDevice(best driver, 0x1)",
                                 "SetupDiGetDeviceInstallParamsW(584)",
                                 "CM_Get_Device_IDW(2, 200, 0)",
                                 "SetupDiDestroyDeviceInfoList()",
                                 "ComDBClose()",
                             }));
}

TEST_F(DeviceCreation, LeavesTheNumberToTheSystemWhenNoneIsAskedFor) {
    machine.portDatabase.claimed = {1, 2};
    machine.calls.clear();
    ASSERT_RESULT(S_OK, create(Variant()));
    EXPECT_EQ(created().portName(), L"COM3");
    for (const auto* function : {"ComDBClaimPort", "SetupDiCreateDevRegKeyW", "RegSetValueExW"})
        EXPECT_EQ(machine.calls.count(function), 0) << function;
    EXPECT_EQ(machine.calls.count("SetupDiGetClassDevsExW"), 2 * 2); // of two refreshes; used numbers are not listed
    EXPECT_RESULT(S_OK, create(Variant::omitted()));
    Variant nullText;
    nullText.vt = VT_BSTR;
    EXPECT_RESULT(S_OK, create(nullText));
    EXPECT_EQ(created().portName(), L"COM5");
}

TEST_F(DeviceCreation, RefusesNumbersOfPresentPortsOnly) {
    for (const auto* name : {L"COM10", L"COM1", L"COM3", L"COM3", L"TTY5", L"COM6extra"}) // twice is no fault
        machine.addSerialPort(name);
    machine.addPort(L"COM7");
    machine.addSerialPort(L"").key.values[L"PortName"] = textValue(L"COM4", REG_EXPAND_SZ);
    machine.addSerialPort(L"COM20").present = false;
    machine.addSerialPort(L"COM21").key.openError = ERROR_ACCESS_DENIED;
    machine.addSerialPort(L"COM22").key.exists = false;
    machine.portDatabase.claimed = {20, 23}; // what the database alone holds is taken over
    const auto before = nodes();
    machine.calls.clear();
    for (const auto* name : {L"COM1", L"COM3", L"COM4", L"COM5", L"COM6", L"COM7", L"COM10", L"XYZ3"})
        EXPECT_RESULT(kNumberTaken, create(name)) << describe(name);
    EXPECT_EQ(nodes(), before);
    EXPECT_EQ(machine.calls.count("ComDBOpen"), 0);
    for (const auto* name : {L"COM2", L"COM11", L"COM20", L"COM21", L"COM22", L"COM23"})
        EXPECT_RESULT(S_OK, create(name)) << describe(name);
}

TEST_F(DeviceCreation, FailedInstallationReleasesTheNumberUnlessARestartIsNeeded) {
    machine.plugAndPlay.installation.error = ERROR_CANCELLED;
    machine.calls.clear();
    // Intended: the number is released before the error is read.
    machine.calls.after("ComDBReleasePort", 1, [] { SetLastError(ERROR_BUSY); });
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_BUSY), create(L"COM7"));
    EXPECT_EQ(machine.calls.texts("ComDBReleasePort"), std::vector<std::string>{"ComDBReleasePort(7)"});
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_CANCELLED), create(L"")); // none claimed, none released
    machine.plugAndPlay.installation.rebootNeeded = true;
    EXPECT_RESULT(kRestartNeeded, create(L"COM8"));
    EXPECT_EQ(machine.calls.count("ComDBReleasePort"), 1);
    EXPECT_EQ(machine.portDatabase.claimed, (std::set<DWORD>{8}));
}

TEST_F(DeviceCreation, RestartThatIsNeededIsReported) {
    const struct {
        bool rebootNeeded;
        DWORD installFlags;
        HRESULT result;
    } rows[] = {
        {true, 0, kRestartNeeded},
        {false, DI_NEEDREBOOT, kRestartNeeded},
        {false, DI_NEEDRESTART, kRestartNeeded},
        {false, ~DWORD{DI_NEEDREBOOT | DI_NEEDRESTART}, S_OK},
    };
    for (const auto& row : rows) {
        machine.plugAndPlay.installation.rebootNeeded = row.rebootNeeded;
        machine.plugAndPlay.installation.installFlags = row.installFlags;
        machine.calls.clear();
        EXPECT_RESULT(row.result, create(L""));
        EXPECT_EQ(machine.calls.count("Sleep") == 0, row.result != S_OK);
    }
}

TEST_F(DeviceCreation, LooksForTheDeviceEveryHalfSecondAndGivesUpAfterAMinute) {
    const struct {
        int looksUntilPresent;
        HRESULT result;
        std::size_t pauses;
    } rows[] = {
        {0, S_OK, 1},
        {5, S_OK, 6},
        {118, S_OK, 119},
        {119, kRestartNeeded, 119},
        {Installation::kNever, kRestartNeeded, 119},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.looksUntilPresent);
        machine.plugAndPlay.installation.looksUntilPresent = row.looksUntilPresent;
        machine.calls.clear();
        EXPECT_RESULT(row.result, create(L""));
        EXPECT_EQ(machine.calls.texts("Sleep"), std::vector<std::string>(row.pauses, "Sleep(500)"));
        EXPECT_EQ(machine.calls.count("SetupDiGetClassDevsExW"), 2 * (1 + static_cast<int>(row.pauses)));
    }
}

TEST_F(DeviceCreation, DeviceThatAppearsBrokenIsReturnedAsItIs) {
    machine.calls.after("DiInstallDevice", 1, [&] { created().openError = ERROR_ACCESS_DENIED; });
    EXPECT_EQ(read(*createDevice(library(), L"COM7"), &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
}

} // namespace

} // namespace zorvan::simulation

// createDevice and deleteDevice: the requested number, the exact steps, the wait, and what the system asks for.
#include "one_port.h"
#include "simulation/subscribers.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

class Creation : public OnePort {
protected:
    HRESULT create(const VARIANT& portName) {
        ComPointer<IVirtualSerialDevice> device;
        const HRESULT result = library()->createDevice(portName, device.put());
        EXPECT_EQ(static_cast<bool>(device), SUCCEEDED(result));
        return result;
    }
    HRESULT create(const wchar_t* portName) { return create(Variant(portName)); }

    DeviceNode& node() { return machine.plugAndPlay.latest(); }
};

TEST_F(Creation, TakesTheStepsInTheirOrder) {
    const auto device = createDevice(*library(), L"COM7");
    EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_portName), L"COM7");
    EXPECT_EQ(node().hardwareIds, std::wstring(L"QELTRAVIRT\\QeltraZorvan3\0\0", 26));
    EXPECT_EQ(
        machine.calls.texts("SetupDiGetClassDevsExW").front(),
        "SetupDiGetClassDevsExW(serial, null, null, 18, null, null, null)");
    EXPECT_EQ(
        machine.calls.texts("SetupDiOpenDevRegKey").front(),
        "SetupDiOpenDevRegKey(device information set, ..., 1, 0, 1, 0x2001f)");
    const auto all = machine.calls.texts();
    const auto first = std::find(all.begin(), all.end(), "ComDBOpen(...)");
    EXPECT_EQ(
        Texts(first, std::find(first, all.end(), "Sleep(500)")),
        (Texts{
            "ComDBOpen(...)", "SetupDiCreateDeviceInfoList(Ports, null)",
            "SetupDiClassNameFromGuidW(Ports, ..., 32, null)",
            "SetupDiCreateDeviceInfoW(device information set, Ports, Ports, null, null, 1, ...)",
            "SetupDiSetDeviceRegistryPropertyW(device information set, ..., 1, ..., 52)",
            "SetupDiCallClassInstaller(25, device information set, ...)", "ComDBClaimPort(port database, 7, 1, null)",
            "SetupDiCreateDevRegKeyW(device information set, ..., 1, 0, 1, null, null)",
            "RegSetValueExW(key of ROOT\\PORTS\\0001, PortName, 0, 1, ..., 10)",
            "RegCloseKey(key of ROOT\\PORTS\\0001)",
            "DiInstallDevice(null, device information set, ..., null, 1, ...)",
            "SetupDiGetDeviceInstallParamsW(device information set, ..., ...)", "CM_Get_Device_IDW(2, ..., 200, 0)",
            "SetupDiDestroyDeviceInfoList(device information set)", "ComDBClose(port database)"}));
}

TEST_F(Creation, LeavesTheNumberToTheSystemWhenNoneIsAskedFor) {
    machine.portDatabase.claimed = {1, 2};
    Variant nullText;
    nullText.vt = VT_BSTR;
    EXPECT_RESULT(S_OK, create(nullText));
    EXPECT_RESULT(S_OK, create(Variant()));
    EXPECT_RESULT(S_OK, create(Variant::omitted()));
    EXPECT_EQ(node().portName(), L"COM5");
    EXPECT_EQ(callsOf(machine, {"ComDBClaimPort", "SetupDiCreateDevRegKeyW", "RegSetValueExW"}), Texts());
}

TEST_F(Creation, RefusesNumbersOfPresentPortsOnly) {
    machine.addSerialPort(L"COM3");
    machine.addSerialPort(L"COM3"); // twice is no fault
    machine.addSerialPort(L"COM20").present = false;
    machine.addSerialPort(L"COM21").key.openError = ERROR_ACCESS_DENIED;
    machine.portDatabase.claimed = {20, 23}; // what the database alone holds is taken over
    EXPECT_RESULT(kNumberTaken, create(L"XYZ3"));
    EXPECT_EQ(machine.calls.count("ComDBOpen"), 0);
    for (const auto* name : {L"COM20", L"COM21", L"COM23"})
        EXPECT_RESULT(S_OK, create(name)) << describe(name);
}

TEST_F(Creation, FailedInstallationReleasesTheNumberUnlessARestartIsNeeded) {
    machine.plugAndPlay.installation.error = ERROR_CANCELLED;
    // Intended: the number is released before the error is read.
    machine.calls.after("ComDBReleasePort", 1, [] { SetLastError(ERROR_BUSY); });
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_BUSY), create(L"COM7"));
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_CANCELLED), create(L"")); // none claimed, none released
    machine.plugAndPlay.installation.rebootNeeded = true;
    EXPECT_RESULT(kRestartNeeded, create(L"COM8"));
    EXPECT_EQ(machine.calls.texts("ComDBReleasePort"), Texts{"ComDBReleasePort(port database, 7)"});
    EXPECT_EQ(machine.portDatabase.claimed, (std::set<DWORD>{8}));
}

// At most 119 pauses of half a second; none when a restart is needed anyway.
TEST_F(Creation, LooksForTheDeviceUntilItAppearsOrARestartIsNeeded) {
    const std::pair<Installation, std::size_t> rows[] = {
        {{ERROR_SUCCESS, true, 0, 0}, 0},
        {{ERROR_SUCCESS, false, DI_NEEDREBOOT, 0}, 0},
        {{ERROR_SUCCESS, false, DI_NEEDRESTART, 0}, 0},
        {{ERROR_SUCCESS, false, ~DWORD{DI_NEEDREBOOT | DI_NEEDRESTART}, 0}, 1},
        {{ERROR_SUCCESS, false, 0, 118}, 119},
        {{ERROR_SUCCESS, false, 0, Installation::kNever}, 119},
    };
    for (const auto& [installation, pauses] : rows) {
        SCOPED_TRACE(pauses);
        const bool appears = pauses != 0 && installation.looksUntilPresent != Installation::kNever;
        machine.plugAndPlay.installation = installation;
        machine.calls.clear();
        EXPECT_RESULT(appears ? S_OK : kRestartNeeded, create(L""));
        EXPECT_EQ(machine.calls.texts("Sleep"), Texts(pauses, "Sleep(500)"));
    }
}

// Another program deletes COM5 just before its device instance ID is given away, and no refresh comes in between.
TEST_F(Creation, NeverYieldsTheDeviceOfADeletedNode) {
    Journal journal;
    Listener listener(journal, "listener");
    const auto owner = library();
    ASSERT_RESULT(S_OK, owner->addListener(&listener));
    machine.calls.after("ComDBOpen", 1, [this] { port().present = false; });
    machine.calls.after("SetupDiCreateDeviceInfoW", 1, [this] { node().instanceId = port().instanceId; });
    const auto created = createDevice(*owner, L"COM7");
    EXPECT_NE(created.get(), &device5());
    EXPECT_EQ(readText(*created, &IVirtualSerialDevice::get_portName), L"COM7");
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(journal.texts(), (Texts{"listener added COM7", "listener deleted COM5"}));
    EXPECT_RESULT(S_OK, owner->removeListener(&listener));
}

TEST_F(Creation, IsUndoneStepByStep) {
    const auto device = createDevice(*library(), L"COM7");
    machine.calls.clear();
    EXPECT_RESULT(S_OK, device->deleteDevice());
    EXPECT_EQ(
        machine.calls.names(),
        (Texts{
            "SetupDiCreateDeviceInfoList", "SetupDiOpenDeviceInterfaceW", "SetupDiEnumDeviceInfo",
            "SetupDiSetClassInstallParamsW", "SetupDiCallClassInstaller", "SetupDiGetDeviceInstallParamsW",
            "SetupDiDeleteDeviceInterfaceData", "SetupDiDestroyDeviceInfoList"}));
    EXPECT_FALSE(node().present);
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE); // the next look tells
    EXPECT_RESULT(0xE0000225, device->deleteDevice());                           // a negative error passes unchanged
    for (const DWORD flags : {DWORD{DI_NEEDREBOOT}, DWORD{DI_NEEDRESTART}, ~DWORD{DI_NEEDREBOOT | DI_NEEDRESTART}}) {
        node().present = true;
        node().installFlags = 0;
        node().removalInstallFlags = flags;
        EXPECT_RESULT((flags & (DI_NEEDREBOOT | DI_NEEDRESTART)) != 0 ? S_FALSE : S_OK, device->deleteDevice());
        node().present = true;
        machine.fail("SetupDiGetDeviceInstallParamsW", 1, ERROR_GEN_FAILURE);
        EXPECT_RESULT(S_OK, device->deleteDevice());
    }
}

} // namespace

} // namespace zorvan::simulation

// What the library sees of the machine: its first look and those that follow.
#include "simulation/simulation_test.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

using Names = std::set<std::wstring>;

class Refresh : public SimulationTest {
protected:
    // The control paths that were opened, in order, as "set" by the event hand-over of each new device.
    std::vector<std::wstring> openedInOrder() {
        std::vector<std::wstring> ids;
        for (const auto& text : machine.calls.texts("CreateFileW"))
            for (const auto& node : machine.plugAndPlay.nodes())
                if (node.controlPath && text.find(describe(*node.controlPath)) != std::string::npos)
                    if (ids.empty() || ids.back() != node.instanceId)
                        ids.push_back(node.instanceId);
        return ids;
    }
};

TEST_F(Refresh, FirstLookFindsThePortsOfTheDriverOnly) {
    machine.addSerialPort(L"COM1");
    machine.addPort(L"COM5");
    machine.addPort(L"COM6");
    EXPECT_EQ(portNames(*createLibrary()), (Names{L"COM5", L"COM6"}));
}

TEST_F(Refresh, AsksForBothInterfaceClassesIntoOneSet) {
    machine.addPort(L"COM5");
    createLibrary();
    EXPECT_EQ(
        machine.calls.texts("SetupDiGetClassDevsExW"), (std::vector<std::string>{
                                                           "SetupDiGetClassDevsExW(control, 0x12, new, null)",
                                                           "SetupDiGetClassDevsExW(serial, 0x12, extend, null)"}));
    EXPECT_EQ(machine.calls.texts("CM_Get_Device_IDW"), std::vector<std::string>{"CM_Get_Device_IDW(1, 200, 0)"});
    EXPECT_EQ(machine.calls.count("SetupDiDestroyDeviceInfoList"), 1);
}

// Ordinal: upper case before lower case, and identifiers that differ in case are two devices.
TEST_F(Refresh, NewDevicesAreOpenedInTheOrderOfTheirIdentifiers) {
    for (const auto* id : {L"ROOT\\PORTS\\b", L"ROOT\\PORTS\\B", L"ROOT\\PORTS\\10", L"ROOT\\PORTS\\2"}) {
        auto& node = machine.plugAndPlay.addNode(id);
        serve(node, machine);
        node.setPortName(std::wstring(L"COM") + std::to_wstring(node.instance));
    }
    const auto library = createLibrary();
    EXPECT_EQ(
        openedInOrder(),
        (std::vector<std::wstring>{L"ROOT\\PORTS\\10", L"ROOT\\PORTS\\2", L"ROOT\\PORTS\\B", L"ROOT\\PORTS\\b"}));
    EXPECT_EQ(portNames(*library), (Names{L"COM1", L"COM2", L"COM3", L"COM4"}));
}

TEST_F(Refresh, KnownDevicesAreNeitherOpenedAgainNorChanged) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    const auto before = device(*library, L"COM5");
    port.setPortName(L"COM9");
    port.driver.requests.clear();
    refresh(*library);
    EXPECT_EQ(device(*library, L"COM5").get(), before.get());
    EXPECT_TRUE(port.driver.requests.empty());
}

TEST_F(Refresh, DeviceThatCannotBeOpenedIsLeftOutAndTriedAgain) {
    auto& port = machine.addPort(L"COM5");
    machine.addPort(L"COM6");
    auto path = std::exchange(port.serialPath, std::nullopt);
    machine.fail("CreateEventW", 2, ERROR_NOT_ENOUGH_MEMORY);
    const auto library = createLibrary();
    EXPECT_EQ(portNames(*library), Names());
    port.serialPath = std::move(path);
    refresh(*library);
    EXPECT_EQ(portNames(*library), (Names{L"COM1", L"COM5", L"COM6"})); // COM1 is the refresh's own
}

TEST_F(Refresh, MachineThatCannotBeListedIsEmpty) {
    machine.addPort(L"COM5");
    // Without the serial interfaces no device can be opened; the set of the first listing must not be lost.
    for (const int nth : {CallLog::kEvery, 2}) {
        machine.calls.clear();
        machine.fail("SetupDiGetClassDevsExW", nth, ERROR_GEN_FAILURE);
        EXPECT_EQ(portNames(*createLibrary()), Names());
    }
}

TEST_F(Refresh, KnownDevicesAreDeletedWhenTheMachineCannotBeListed) {
    machine.addPort(L"COM5");
    const auto library = createLibrary();
    const auto known = device(*library, L"COM5");
    machine.plugAndPlay.installation.looksUntilPresent = 1;
    machine.fail("SetupDiGetClassDevsExW", 1, ERROR_GEN_FAILURE);
    ComPointer<IVirtualSerialDevice> created; // the first look fails, the second sees the new port
    EXPECT_RESULT(S_OK, library->createDevice(Variant(), created.put()));
    EXPECT_EQ(read(*known, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_NE(device(*library, L"COM5").get(), known.get());
}

TEST_F(Refresh, IdentifierThatCannotBeReadHurtsNobodyElse) {
    machine.addPort(L"COM5");
    machine.addPort(L"COM6");
    machine.fail("CM_Get_Device_IDW", 1, 13 /* CR_NO_SUCH_DEVNODE */);
    const auto names = portNames(*createLibrary());
    EXPECT_EQ(names.count(L"COM6"), 1U);
}

// A device may vanish between being listed and being opened.
TEST_F(Refresh, DeviceThatVanishesWhileBeingOpenedIsNotAlive) {
    auto& port = machine.addPort(L"COM5");
    machine.calls.after("SetupDiGetDeviceInterfaceDetailW", 4, [&] { port.present = false; });
    const auto library = createLibrary();
    const auto devices = collection(*library);
    ASSERT_EQ(read(*devices, &IDeviceCollection::get_Count), 1);
    ComPointer<IVirtualSerialDevice> device;
    EXPECT_RESULT(S_OK, devices->get_Item(Variant(0L), device.put()));
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    refresh(*library);
    EXPECT_EQ(portNames(*library), (Names{L"COM1"}));
}

} // namespace

} // namespace zorvan::simulation

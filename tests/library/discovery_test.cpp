// What the library sees of the machine, and how it opens a device: its paths, its port name, and the event that is
// handed to the driver's host process.
#include "one_port.h"

namespace zorvan::simulation {

namespace {

using protocol::Set;
using Names = std::set<std::wstring>;
using Texts = std::vector<std::string>;

class Discovery : public SimulationTest {
protected:
    // Null when a new library has no device.
    ComPointer<IVirtualSerialDevice> firstDevice() {
        const auto devices = collection(*createLibrary());
        ComPointer<IVirtualSerialDevice> device;
        if (read(*devices, &IDeviceCollection::get_Count) != 0)
            require(devices->get_Item(Variant(0L), device.put()), "Item");
        return device;
    }

    bool opensAlive() {
        const auto device = firstDevice();
        return device && read(*device, &IVirtualSerialDevice::get_deleted) == VARIANT_FALSE;
    }
};

using KnownDevice = OnePort;

TEST_F(Discovery, ListsBothInterfaceClassesAndHandsTheDriverAnEvent) {
    machine.addSerialPort(L"COM1");
    auto& port = machine.addPort(L"COM5");
    auto& host = machine.hostOf(port);
    host.needsDebugPrivilege = true;
    ASSERT_TRUE(opensAlive());
    EXPECT_EQ(machine.calls.texts("CreateEventW").front(), "CreateEventW(null, 0, 0, null)");
    EXPECT_EQ(host.handles.size(), 1U);
    EXPECT_TRUE(machine.processes.debugPrivilegeEnabled); // intended: it stays enabled
    const auto id = std::to_string(host.id);
    EXPECT_EQ(
        callsOf(
            machine, {"SetupDiGetClassDevsExW", "CM_Get_Device_IDW", "OpenProcess", "DuplicateHandle", "Lookup",
                      "AdjustTokenPrivileges", "CloseHandle(token)", "SetupDiOpenDevRegKey", "RegQueryValueExW"}),
        (Texts{
            "SetupDiGetClassDevsExW(control, null, null, 18, null, null, null)", "CM_Get_Device_IDW(2, ..., 200, 0)",
            "SetupDiGetClassDevsExW(serial, null, null, 18, device information set, null, null)",
            "OpenProcess(64, 0, " + id + ")", "OpenProcessToken(own, 40, ...)",
            "LookupPrivilegeValueW(null, SeDebugPrivilege, ...)",
            "AdjustTokenPrivileges(token, 0, ..., 16, ..., ...)", "OpenProcess(64, 0, " + id + ")",
            "CloseHandle(token)", "DuplicateHandle(own, ..., process " + id + ", ..., 0, 0, 2)",
            "SetupDiOpenDevRegKey(device information set, ..., 1, 0, 1, 0x20019)",
            "RegQueryValueExW(key of ROOT\\PORTS\\0001, PortName, null, ..., ..., ...)",
            "DuplicateHandle(own, ..., own, ..., 0, 0, 2)"})); // the event thread's
}

// No error: the driver is told that there is no event. Without the privilege a second attempt is useless.
TEST_F(Discovery, EventThatCannotBeHandedOverIsSentAsZero) {
    auto& port = machine.addPort(L"COM5");
    machine.hostOf(port).openError = ERROR_ACCESS_DENIED;
    for (const auto& [failing, openings] : {std::pair{"nothing", 2}, {"AdjustTokenPrivileges", 1}}) {
        SCOPED_TRACE(failing);
        machine.calls.clear();
        port.driver.requests.clear();
        machine.fail(failing, 1, ERROR_GEN_FAILURE);
        EXPECT_TRUE(opensAlive());
        EXPECT_EQ(machine.calls.count("OpenProcess"), openings);
        EXPECT_EQ(port.driver.records(Set::HostEvent), std::vector<Bytes>{Bytes(8)});
    }
}

TEST_F(Discovery, DriverThatRefusesYieldsADeviceThatIsNotAlive) {
    auto& port = machine.addPort(L"COM5");
    for (const auto code : {std::uint32_t{0x81F16004}, std::uint32_t{0x81F1A034}}) {
        SCOPED_TRACE(code);
        port.driver.refuse(code, ERROR_NOT_SUPPORTED);
        const auto device = firstDevice();
        port.driver.answer(code, {});
        ASSERT_TRUE(device);
        EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
        EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_path), port.serialPath); // known all the same
    }
    port.openError = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(opensAlive());
}

// Ordinal: upper case before lower case, and identifiers that differ in case are two devices.
TEST_F(Discovery, NewDevicesAreOpenedInTheOrderOfTheirIdentifiers) {
    for (const auto* id : {L"ROOT\\PORTS\\b", L"ROOT\\PORTS\\B", L"ROOT\\PORTS\\10", L"ROOT\\PORTS\\2"}) {
        auto& node = machine.plugAndPlay.addNode(id);
        serve(node, machine);
        node.setPortName(std::wstring(L"COM") + std::to_wstring(node.instance));
    }
    EXPECT_EQ(portNames(*createLibrary()), (Names{L"COM1", L"COM2", L"COM3", L"COM4"}));
    const auto key = [](const char* id) {
        return "RegQueryValueExW(key of ROOT\\PORTS\\" + std::string(id) + ", PortName, null, ..., ..., ...)";
    };
    EXPECT_EQ(machine.calls.texts("RegQueryValueExW"), (Texts{key("10"), key("2"), key("B"), key("b")}));
}

TEST_F(KnownDevice, IsNeitherOpenedAgainNorChanged) {
    port().setPortName(L"COM9");
    refresh(*library());
    EXPECT_EQ(device(*library(), L"COM5").get(), &device5());
    EXPECT_TRUE(driver().requests.empty());
}

TEST_F(KnownDevice, IsReplacedAfterALookThatFailed) {
    machine.plugAndPlay.installation.looksUntilPresent = 1;
    machine.fail("SetupDiGetClassDevsExW", 1, ERROR_GEN_FAILURE);
    createDevice(*library(), L""); // the first look fails, the second sees the new port
    EXPECT_EQ(
        machine.calls.texts("SetupDiGetClassDevsExW").at(1),
        "SetupDiGetClassDevsExW(serial, null, null, 18, own, null, null)"); // the set that there is not
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_NE(device(*library(), L"COM5").get(), &device5());
}

} // namespace

} // namespace zorvan::simulation

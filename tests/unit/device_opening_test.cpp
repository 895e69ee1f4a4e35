// Opening a device: its paths, its port name, and the event that is handed to the driver's host process.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

using protocol::Set;

class DeviceOpening : public SimulationTest {
protected:
    void SetUp() override { port_ = &machine.addPort(L"COM5"); }

    DeviceNode& port() { return *port_; }
    Process& host() { return machine.hostOf(*port_); }

    // The only device of a new library; null when there is none.
    ComPointer<IVirtualSerialDevice> open() {
        const auto devices = collection(*createLibrary());
        ComPointer<IVirtualSerialDevice> device;
        if (read(*devices, &IDeviceCollection::get_Count) != 0) {
            EXPECT_RESULT(S_OK, devices->get_Item(Variant(0L), device.put()));
        }
        return device;
    }

    bool opensAlive() {
        const auto device = open();
        return device && read(*device, &IVirtualSerialDevice::get_deleted) == VARIANT_FALSE;
    }

    // The calls of one kind of function, in order, without the rest.
    std::vector<std::string> callsOf(const std::set<std::string>& functions) {
        std::vector<std::string> texts;
        for (const auto& text : machine.calls.texts())
            if (functions.count(text.substr(0, text.find('('))) != 0)
                texts.push_back(text);
        return texts;
    }

private:
    DeviceNode* port_ = nullptr;
};

TEST_F(DeviceOpening, HandsTheDriverAnEventThatIsValidInItsHost) {
    const auto id = std::to_string(host().id);
    ASSERT_TRUE(opensAlive());
    ASSERT_FALSE(machine.kernel.events.empty());
    const auto event = machine.kernel.events.front();
    EXPECT_FALSE(event->manualReset);
    EXPECT_FALSE(event->initiallySignalled);
    EXPECT_FALSE(event->hadAttributes);
    EXPECT_EQ(event->name, std::nullopt);
    EXPECT_EQ(
        callsOf({"OpenProcess", "DuplicateHandle", "OpenProcessToken"}),
        (std::vector<std::string>{
            "OpenProcess(0x40, not inheritable, " + id + ")",
            "DuplicateHandle(own, event, process " + id + ", 0x0, not inheritable, 0x2)",
            "DuplicateHandle(own, event, own, 0x0, not inheritable, 0x2)"})); // the event thread's

    const auto records = port().driver.records(Set::HostEvent);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records.front().size(), 8U);
    EXPECT_EQ(host().handles.at(port().driver.state.hostEvent), event);
}

TEST_F(DeviceOpening, AccessToTheHostIsGainedByTheDebugPrivilege) {
    host().needsDebugPrivilege = true;
    ASSERT_TRUE(opensAlive());
    const auto open = "OpenProcess(0x40, not inheritable, " + std::to_string(host().id) + ")";
    EXPECT_EQ(
        callsOf({"OpenProcess", "OpenProcessToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges"}),
        (std::vector<std::string>{
            open, "OpenProcessToken(own, 0x28)", "LookupPrivilegeValueW(null, SeDebugPrivilege)",
            "AdjustTokenPrivileges(adjust, 20=2, 16)", open}));
    EXPECT_NE(port().driver.state.hostEvent, 0U);
    EXPECT_TRUE(machine.processes.debugPrivilegeEnabled); // intended: it stays enabled
}

// None of these is an error: the driver is told that there is no event.
TEST_F(DeviceOpening, EventThatCannotBeHandedOverIsSentAsZero) {
    const struct {
        const char* failing;
        DWORD openError;
        bool holdsPrivilege;
        int openings;
    } rows[] = {
        {"OpenProcess", 0, true, 1},
        {"OpenProcessToken", 0, true, 1},
        {"LookupPrivilegeValueW", 0, true, 2},
        {"AdjustTokenPrivileges", 0, true, 1},
        {"DuplicateHandle", 0, true, 2},
        {"", 0, false, 2}, // the adjustment that assigns nothing reports success
        {"", ERROR_ACCESS_DENIED, true, 2},
        {"", ERROR_INVALID_PARAMETER, true, 1}, // no privilege would help
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        machine.calls.clear();
        machine.processes.debugPrivilegeEnabled = false;
        machine.processes.holdsDebugPrivilege = row.holdsPrivilege;
        host().needsDebugPrivilege = row.openError == 0;
        host().openError = row.openError;
        port().driver.requests.clear();
        if (*row.failing != 0)
            machine.fail(row.failing, 1, ERROR_GEN_FAILURE);
        EXPECT_TRUE(opensAlive());
        EXPECT_EQ(machine.calls.count("OpenProcess"), row.openings);
        EXPECT_EQ(port().driver.records(Set::HostEvent), std::vector<Bytes>{Bytes(8)});
    }
}

TEST_F(DeviceOpening, DriverThatRefusesYieldsADeviceThatIsNotAlive) {
    for (const auto code : {std::uint32_t{0x81F16004}, std::uint32_t{0x81F1A034}}) {
        SCOPED_TRACE(code);
        port().driver.refuse(code, ERROR_NOT_SUPPORTED);
        const auto device = open();
        port().driver.answer(code, {});
        ASSERT_TRUE(device);
        EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
        EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_portName), L"");
        VirtualSerialDeviceMode mode{};
        EXPECT_RESULT(E_HANDLE, device->get_mode(&mode));
        // Its path is known all the same.
        EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_path), port().serialPath);
    }
    port().openError = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(opensAlive());
}

TEST_F(DeviceOpening, MissingInterfacesLeaveTheDeviceOut) {
    const std::pair<const char*, int> rows[] = {
        {"SetupDiEnumDeviceInterfaces", 1},      {"SetupDiEnumDeviceInterfaces", 2},
        {"SetupDiGetDeviceInterfaceDetailW", 1}, {"SetupDiGetDeviceInterfaceDetailW", 2},
        {"SetupDiGetDeviceInterfaceDetailW", 3}, {"SetupDiGetDeviceInterfaceDetailW", 4},
    };
    for (const auto& [function, nth] : rows) {
        SCOPED_TRACE(std::string(function) + std::to_string(nth));
        machine.calls.clear();
        machine.fail(function, nth, ERROR_GEN_FAILURE);
        EXPECT_FALSE(open());
        EXPECT_EQ(machine.calls.count("CreateFileW"), 0);
    }
}

TEST_F(DeviceOpening, KeyIsOpenedForReadingOnly) {
    ASSERT_TRUE(opensAlive());
    EXPECT_EQ(
        machine.calls.texts("SetupDiOpenDevRegKey"),
        std::vector<std::string>{"SetupDiOpenDevRegKey(1, 0, 1, 0x20019)"});
    EXPECT_EQ(
        machine.calls.texts("RegQueryValueExW"),
        std::vector<std::string>{"RegQueryValueExW(key of ROOT\\PORTS\\0000, PortName, 520)"});
}

TEST_F(DeviceOpening, DeviceWithoutAReadableNameIsAlive) {
    const std::function<void()> spoil[] = {
        [&] { port().key.exists = false; },
        [&] { port().key.openError = ERROR_ACCESS_DENIED; },
        [&] { port().key.values.clear(); },
        [&] { machine.fail("RegQueryValueExW", 1, ERROR_GEN_FAILURE); },
    };
    for (const auto& change : spoil) {
        port().key = RegistryKey();
        port().setPortName(L"COM5");
        change();
        const auto device = open();
        ASSERT_TRUE(device);
        Bstr name;
        EXPECT_RESULT(S_OK, device->get_portName(name.put()));
        EXPECT_EQ(name.get(), nullptr);
        EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    }
}

} // namespace

} // namespace zorvan::simulation

// The library's own thread: what it sets up, and what it waits for.
#include "one_port.h"

#include <dbt.h>

namespace zorvan::simulation {

namespace {

using EventThread = SimulationTest;
using Texts = std::vector<std::string>;

TEST_F(EventThread, SetsUpAWindowForNotificationsAndTakesAllDown) {
    createLibrary();
    EXPECT_EQ(
        callsOf(
            machine, {"RegisterClassExW", "CreateWindowExW", "RegisterDeviceNotificationW", "PostMessageW",
                      "UnregisterDeviceNotification", "DestroyWindow", "UnregisterClassW"}),
        (Texts{
            "RegisterClassExW(...)",
            "CreateWindowExW(0, ZorvanlibEventWindow, null, 0x56000000, 0, 0, 0, 0, -3, null, ..., ...)",
            "RegisterDeviceNotificationW(..., ..., 0)", "PostMessageW(..., 18, 0, 0)",
            "UnregisterDeviceNotification(device notification)", "DestroyWindow(...)",
            "UnregisterClassW(ZorvanlibEventWindow, ...)"}));
    const auto library = createLibrary();
    machine.calls.clear();
    createLibrary();
    EXPECT_EQ(callsOf(machine, {"RegisterClassExW", "UnregisterClassW"}), Texts()) << "the class is shared";
}

TEST_F(EventThread, OnlyNewsOfDeviceInterfacesLeadToALook) {
    const std::tuple<WPARAM, std::optional<DWORD>, bool> rows[] = {
        {DBT_DEVNODES_CHANGED, DBT_DEVTYP_DEVICEINTERFACE, true},
        {DBT_DEVICEARRIVAL, DBT_DEVTYP_DEVICEINTERFACE, true},
        {DBT_DEVICEREMOVECOMPLETE, DBT_DEVTYP_DEVICEINTERFACE, true},
        {DBT_DEVICEQUERYREMOVE, DBT_DEVTYP_DEVICEINTERFACE, false},
        {DBT_DEVICEARRIVAL, DBT_DEVTYP_PORT, false},
        {DBT_DEVNODES_CHANGED, std::nullopt, false},
    };
    const auto library = createLibrary();
    for (const auto& [event, dataType, looks] : rows) {
        machine.calls.clear();
        machine.announce(event, dataType);
        EXPECT_EQ(machine.calls.count("SetupDiGetClassDevsExW"), looks ? 2 : 0) << event;
        machine.threads.awaitSettled();
    }
}

// Each pass duplicates the events anew. A device whose event cannot be duplicated is left out of one.
TEST_F(EventThread, WaitsOnDuplicatesOfTheDevicesEvents) {
    machine.addPort(L"COM5");
    machine.addPort(L"COM6");
    machine.fail("DuplicateHandle", 3, ERROR_GEN_FAILURE); // the first two are the driver's
    const auto library = createLibrary();
    machine.announce();
    machine.threads.awaitSettled();
    auto texts = callsOf(machine, {"DuplicateHandle", "MsgWaitForMultipleObjects"});
    texts.erase(texts.begin(), texts.begin() + 2);
    const std::string duplicate = "DuplicateHandle(own, ..., own, ..., 0, 0, 2)";
    EXPECT_EQ(
        texts, (Texts{
                   duplicate, duplicate, "MsgWaitForMultipleObjects(1, ..., 0, 0xffffffff, 7423)", duplicate,
                   duplicate, "MsgWaitForMultipleObjects(2, ..., 0, 0xffffffff, 7423)"}));
}

} // namespace

} // namespace zorvan::simulation

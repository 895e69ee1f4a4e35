// The library's own thread: what it sets up, what it makes of what it hears, and how it ends.
#include "one_port.h"
#include "simulation/subscribers.h"
#include "support/latch.h"

#include <dbt.h>

#include <thread>

namespace zorvan::simulation {

namespace {

class EventThread : public SimulationTest {
protected:
    Journal journal;
    Listener listener{journal, "listener"};
    Listener other{journal, "other"};

    ComPointer<IVirtualSerialLibrary> listenedTo() {
        auto library = createLibrary();
        EXPECT_RESULT(S_OK, library->addListener(&listener));
        return library;
    }
};

TEST_F(EventThread, SetsUpAWindowForNotificationsAndTakesAllDown) {
    createLibrary();
    EXPECT_EQ(
        callsOf(
            machine, {"RegisterClassExW", "CreateWindowExW", "RegisterDeviceNotificationW", "PostMessageW",
                      "UnregisterDeviceNotification", "DestroyWindow", "UnregisterClassW"}),
        (Texts{
            "RegisterClassExW()", "CreateWindowExW(0x0, 0x56000000, message-only)",
            "RegisterDeviceNotificationW(32, 5, control, 0)", "PostMessageW(0x12)", "UnregisterDeviceNotification()",
            "DestroyWindow()", "UnregisterClassW()"}));
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
    const std::string duplicate = "DuplicateHandle(own, event, own, 0x0, not inheritable, 0x2)";
    EXPECT_EQ(
        texts, (Texts{
                   duplicate, duplicate, "MsgWaitForMultipleObjects(1, any, 4294967295, 0x1cff)", duplicate,
                   duplicate, "MsgWaitForMultipleObjects(2, any, 4294967295, 0x1cff)"}));
}

// The system waits for 63 handles beside the messages. Beyond that no change is heard of; the library must still end.
TEST_F(EventThread, SixtyThreeDevicesAreHeardAndMoreAreSurvived) {
    for (int i = 1; i <= 63; ++i)
        machine.addPort(L"COM" + std::to_wstring(i));
    auto library = listenedTo();
    machine.signal(machine.plugAndPlay.latest());
    journal.await(1);
    EXPECT_EQ(journal.texts(), (Texts{"listener changed COM63 mode"}));
    machine.addPort(L"COM64");
    library = createLibrary();
    EXPECT_EQ(portNames(*library).size(), 64U);
}

// On the event thread, which cannot wait for its own end and outlives the call, and on the client's. Listeners after
// that one are still told.
TEST_F(EventThread, LastReferencesMayGoInsideAListener) {
    ComPointer<IVirtualSerialLibrary> library;
    ComPointer<IVirtualSerialDevice> device;
    const std::function<void(DeviceNode&)> events[] = {
        [&](DeviceNode& port) { machine.signal(port); },
        [&](DeviceNode&) {
            machine.change([&] { machine.addPort(L"COM7"); });
            machine.announce();
        },
        [&](DeviceNode&) { EXPECT_RESULT(S_OK, put(*device, L"portName", Variant(L"COM6"))); },
        [&](DeviceNode&) { createDevice(*library, L""); },
    };
    for (const auto& event : events) {
        SCOPED_TRACE(&event - events);
        journal.clear();
        machine.plugAndPlay.nodes().clear();
        auto& port = machine.addPort(L"COM5");
        library = listenedTo();
        device = SimulationTest::device(*library, L"COM5");
        EXPECT_RESULT(S_OK, library->addListener(&other));
        listener.onEvent = [&] {
            library = {};
            device = {};
            return S_OK;
        };
        event(port);
        machine.threads.awaitEnd();
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
        EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"});
        EXPECT_EQ(listener.references() + other.references(), 0);
        EXPECT_EQ(journal.texts().size(), 2U);
    }
}

// While it does not return, everything else goes on that does not wait for its report to end.
TEST_F(EventThread, ListenerMayTakeItsTime) {
    test::Latch arrived(1);
    test::Latch released(1);
    Callback script(journal, "script");
    machine.addPort(L"COM5");
    auto library = listenedTo();
    auto port = device(*library, L"COM5");
    listener.onEvent = [&] {
        arrived.arrive();
        released.wait();
        return E_FAIL;
    };
    machine.change([&] { machine.addPort(L"COM6"); });
    std::thread announcing([&] { machine.announce(); });
    arrived.wait();
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM5", L"COM6"}));
    EXPECT_RESULT(S_OK, port->disconnectDevice());
    LONG id = 0;
    EXPECT_RESULT(S_OK, library->added(script.variant(), &id));
    EXPECT_RESULT(S_OK, library->stopEventDispatching());
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    port = {};
    library = {}; // the report has a reference of its own
    released.arrive();
    announcing.join();
    machine.threads.awaitEnd();
    EXPECT_EQ(journal.texts(), Texts{"listener added COM6"});
}

// A device signals while the last release waits for the thread.
TEST_F(EventThread, NobodyIsToldAfterTheLastRelease) {
    auto& port = machine.addPort(L"COM5");
    auto library = listenedTo();
    machine.calls.after("PostMessageW", 1, [&] {
        machine.signal(port);
        ::Sleep(50); // the thread takes the signal before the message
    });
    library = {};
    EXPECT_EQ(journal.texts(), Texts());
}

} // namespace

} // namespace zorvan::simulation

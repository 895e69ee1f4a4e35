// The library's own thread: what it sets up, what it makes of what it hears, and how it ends.
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

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

    // After the last release, which may have left the thread to itself.
    void expectNothingLeft() {
        machine.threads.awaitEnd();
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
        EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"});
        EXPECT_EQ(listener.references(), 0);
    }

    // The calls of these functions, in order.
    Texts calls(const std::set<std::string>& functions) const {
        Texts found;
        for (const auto& text : machine.calls.texts())
            if (functions.count(text.substr(0, text.find('('))) != 0)
                found.push_back(text);
        return found;
    }
};

TEST_F(EventThread, SetsUpAWindowForNotificationsAndTakesAllDown) {
    createLibrary();
    EXPECT_EQ(
        calls(
            {"RegisterClassExW", "CreateWindowExW", "RegisterDeviceNotificationW", "PostMessageW",
             "UnregisterDeviceNotification", "DestroyWindow", "UnregisterClassW"}),
        (Texts{
            "RegisterClassExW()", "CreateWindowExW(0x0, 0x56000000, message-only)",
            "RegisterDeviceNotificationW(32, 5, control, 0)", "PostMessageW(0x12)", "UnregisterDeviceNotification()",
            "DestroyWindow()", "UnregisterClassW()"}));
}

TEST_F(EventThread, WindowClassIsSharedByTheLibrariesOfTheModule) {
    const auto first = createLibrary();
    auto second = createLibrary();
    second = {};
    EXPECT_EQ(calls({"RegisterClassExW", "UnregisterClassW"}), (Texts{"RegisterClassExW()"}));
    EXPECT_TRUE(createLibrary());
}

// It then hears of nothing, or only of what devices signal; everything else works.
TEST_F(EventThread, LibraryWorksWithoutWindowOrNotifications) {
    const struct {
        const char* function;
        Texts hears;
    } rows[] = {
        {"RegisterClassExW", {}},
        {"CreateWindowExW", {}},
        {"RegisterDeviceNotificationW", {"listener changed COM5 mode"}},
    };
    auto& port = machine.addPort(L"COM5");
    std::size_t heard = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        machine.fail(row.function, 1, ERROR_GEN_FAILURE);
        auto library = listenedTo();
        machine.announce();
        machine.signal(port);
        journal.await(heard += row.hears.size());
        EXPECT_EQ(journal.texts(), row.hears);
        EXPECT_EQ(portNames(*library), std::set<std::wstring>{L"COM5"});
        library = {};
        expectNothingLeft();
    }
    MSG message;
    EXPECT_FALSE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE)) << "this thread was told to quit";
}

TEST_F(EventThread, OnlyNewsOfDeviceInterfacesLeadToALook) {
    const struct {
        WPARAM event;
        std::optional<DWORD> dataType;
        bool looks;
    } rows[] = {
        {DBT_DEVNODES_CHANGED, DBT_DEVTYP_DEVICEINTERFACE, true},
        {DBT_DEVICEARRIVAL, DBT_DEVTYP_DEVICEINTERFACE, true},
        {DBT_DEVICEREMOVECOMPLETE, DBT_DEVTYP_DEVICEINTERFACE, true},
        {DBT_DEVICEQUERYREMOVE, DBT_DEVTYP_DEVICEINTERFACE, false},
        {DBT_CONFIGCHANGED, DBT_DEVTYP_DEVICEINTERFACE, false},
        {DBT_DEVICEARRIVAL, DBT_DEVTYP_PORT, false},
        {DBT_DEVICEARRIVAL, DBT_DEVTYP_HANDLE, false},
        {DBT_DEVNODES_CHANGED, std::nullopt, false},
        {DBT_DEVICEARRIVAL, std::nullopt, false},
    };
    const auto library = createLibrary();
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        machine.calls.clear();
        machine.announce(row.event, row.dataType);
        EXPECT_EQ(machine.calls.count("SetupDiGetClassDevsExW"), row.looks ? 2 : 0);
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
    auto texts = calls({"DuplicateHandle", "MsgWaitForMultipleObjects"});
    texts.erase(texts.begin(), texts.begin() + 2);
    const std::string duplicate = "DuplicateHandle(own, event, own, 0x0, not inheritable, 0x2)";
    EXPECT_EQ(
        texts, (Texts{
                   duplicate, duplicate, "MsgWaitForMultipleObjects(1, any, 4294967295, 0x1cff)", duplicate,
                   duplicate, "MsgWaitForMultipleObjects(2, any, 4294967295, 0x1cff)"}));
}

TEST_F(EventThread, DeviceOfAnotherThreadsCreationIsWaitedForFromTheNextPassOn) {
    const auto library = listenedTo();
    createDevice(*library, L"COM5");
    machine.announce();
    machine.signal(machine.plugAndPlay.latest());
    journal.await(2);
    EXPECT_EQ(journal.texts(), (Texts{"listener added COM5", "listener changed COM5 mode"}));
}

// The system waits for 63 handles beside the messages. Beyond that no change is heard of; the library must still end.
TEST_F(EventThread, SixtyThreeDevicesAreHeardAndMoreAreSurvived) {
    for (int i = 1; i <= 63; ++i)
        machine.addPort(L"COM" + std::to_wstring(i));
    auto library = listenedTo();
    machine.signal(machine.plugAndPlay.latest());
    journal.await(1);
    EXPECT_EQ(journal.texts(), (Texts{"listener changed COM63 mode"}));
    library = {};
    expectNothingLeft();

    machine.addPort(L"COM64");
    library = createLibrary();
    EXPECT_EQ(portNames(*library).size(), 64U);
    library = {};
    expectNothingLeft();
}

// From inside a listener on the event thread, which cannot wait for its own end: it outlives the call. Listeners
// after that one are still told, and nobody is told of anything later.
TEST_F(EventThread, LastReferenceMayGoInsideAListener) {
    enum class Event { Added, Deleted, Changed };
    for (const auto event : {Event::Added, Event::Deleted, Event::Changed}) {
        SCOPED_TRACE(static_cast<int>(event));
        machine.plugAndPlay.nodes().clear();
        auto& port = machine.addPort(L"COM5");
        machine.addPort(L"COM6");
        auto library = listenedTo();
        EXPECT_RESULT(S_OK, library->addListener(&other));
        const auto before = journal.texts().size();
        listener.onEvent = [&] {
            library = {};
            return S_OK;
        };
        if (event == Event::Added)
            machine.change([&] { machine.addPort(L"COM7"); });
        if (event == Event::Deleted)
            machine.change([&] { port.present = false; });
        if (event == Event::Changed)
            machine.signal(port);
        else
            machine.announce();
        expectNothingLeft();
        EXPECT_EQ(other.references(), 0);
        EXPECT_EQ(journal.texts().size(), before + 2);
    }
}

// The thread's own reference is then the last one.
TEST_F(EventThread, LastReferenceMayGoElsewhereWhileAListenerIsCalled) {
    auto& port = machine.addPort(L"COM5");
    auto library = listenedTo();
    std::atomic<bool> released = false;
    listener.onEvent = [&] {
        while (!released)
            ::Sleep(1);
        return S_OK;
    };
    machine.signal(port);
    journal.await(1);
    library = {};
    EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
    released = true;
    expectNothingLeft();
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
    expectNothingLeft();
}

// A listener may keep what it is given, and release it last.
TEST_F(EventThread, DeviceThatAListenerKeptKeepsTheLibrary) {
    auto& port = machine.addPort(L"COM5");
    auto library = listenedTo();
    const auto kept = device(*library, L"COM5");
    listener.onEvent = [&] {
        library = {};
        return S_OK;
    };
    machine.signal(port);
    journal.await(1);
    EXPECT_EQ(readText(*kept, &IVirtualSerialDevice::get_portName), L"COM5");
    machine.signal(port); // its library still listens
    journal.await(2);
    EXPECT_RESULT(S_OK, readObject(*kept, &IVirtualSerialDevice::get_vLibrary)->removeListener(&listener));
}

} // namespace

} // namespace zorvan::simulation

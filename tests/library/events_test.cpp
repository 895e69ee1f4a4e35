// Who is told of what, in which order and on which thread; what runs in dispatchEvents, and what ends it.
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"
#include "support/signal.h"

#include <thread>

namespace zorvan::simulation {

namespace {

using Method = HRESULT (STDMETHODCALLTYPE IVirtualSerialLibrary::*)(VARIANT, LONG*);
constexpr Method kMethods[] = {
    &IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed};

class Events : public SimulationTest {
protected:
    Journal journal;
    Listener first{journal, "first"};
    Listener second{journal, "second"};
    Callback script{journal, "script"};
    Callback other{journal, "other"};
    Callback keepAlive{journal, "keep-alive"};

    static void listen(IVirtualSerialLibrary& library, std::initializer_list<Listener*> listeners) {
        for (auto* listener : listeners)
            EXPECT_RESULT(S_OK, library.addListener(listener));
    }

    void expectAllOn(DWORD thread) const {
        for (const auto& entry : journal.entries())
            EXPECT_EQ(entry.thread, thread) << entry.text;
    }
    void expectAllOnTheEventThread() const { expectAllOn(machine.threads.all().front()->id); }

    static LONG
    subscribe(IVirtualSerialLibrary& library, Callback& callback, Method method = &IVirtualSerialLibrary::added) {
        LONG id = 0;
        EXPECT_RESULT(S_OK, (library.*method)(callback.variant(), &id));
        return id;
    }

    static void stop(IVirtualSerialLibrary& library) { EXPECT_RESULT(S_OK, library.stopEventDispatching()); }

    // Everything that waits in the queue runs now.
    static void runQueue(IVirtualSerialLibrary& library) {
        stop(library);
        EXPECT_RESULT(S_OK, library.dispatchEvents(nullptr, INFINITE));
    }

    // COM5 goes, COM6 and COM7 come.
    void changePorts(DeviceNode& port5) {
        machine.change([&] {
            port5.present = false;
            machine.addPort(L"COM6");
            machine.addPort(L"COM7");
        });
        machine.announce();
    }
};

TEST_F(Events, AddedBeforeDeletedAndListenersInTheirOrderOnTheEventThread) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    listen(*library, {&first, &second});
    first.onEvent = [] { return E_FAIL; }; // which nobody looks at
    changePorts(port);
    EXPECT_EQ(
        journal.texts(),
        (Texts{"first added COM6 COM7", "second added COM6 COM7", "first deleted COM5", "second deleted COM5"}));
    expectAllOnTheEventThread();
}

TEST_F(Events, ScriptsAreToldInTheOrderOfTheQueueOnTheDispatchingThreadOnly) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    subscribe(*library, other, &IVirtualSerialLibrary::deleted);
    subscribe(*library, script);
    subscribe(*library, script);
    subscribe(*library, other);
    subscribe(*library, script, &IVirtualSerialLibrary::changed);
    changePorts(port);
    EXPECT_RESULT(S_OK, device(*library, L"COM6")->put_portName(Bstr(L"COM9").get()));
    EXPECT_EQ(journal.texts(), Texts());
    runQueue(*library);
    // A device tells its name of now, not that of when the event was queued.
    EXPECT_EQ(
        journal.texts(),
        (Texts{"script COM9 COM7", "script COM9 COM7", "other COM9 COM7", "other COM5", "script COM9 name"}));
    expectAllOn(GetCurrentThreadId());
}

// And of a rename by another program, if there was one and the name can be looked up.
TEST_F(Events, DriversSignalIsOneChangeOfModeOnTheEventThread) {
    machine.addPort(L"COM5");
    auto& port = machine.addPort(L"COM6");
    const auto library = createLibrary();
    listen(*library, {&first});
    const auto signal = [&](std::size_t reports) {
        machine.signal(port);
        journal.await(reports);
        machine.threads.awaitSettled(); // it has looked for the name, too
    };
    signal(1);
    machine.change([&] { port.setPortName(L"COM9"); });
    machine.fail("RegQueryValueExW", 1, ERROR_GEN_FAILURE);
    machine.fail("RegQueryValueExW", 2, ERROR_GEN_FAILURE);
    signal(2);
    signal(3);
    EXPECT_EQ(
        journal.texts(), (Texts{
                             "first changed COM6 mode", "first changed COM6 mode", "first changed COM6 mode",
                             "first changed COM9 name"}));
    expectAllOnTheEventThread();
}

TEST_F(Events, ListenerAddedTwiceIsCalledTwiceAndRemovedOnceAtATime) {
    const auto library = createLibrary();
    const auto report = [&](const wchar_t* name) {
        journal.clear();
        createDevice(*library, name);
        return journal.texts();
    };
    listen(*library, {&first, &second, &first});
    EXPECT_EQ(report(L"COM1"), (Texts{"first added COM1", "second added COM1", "first added COM1"}));
    EXPECT_RESULT(S_OK, library->removeListener(&first)); // the earlier one
    EXPECT_EQ(report(L"COM2"), (Texts{"second added COM2", "first added COM2"}));
    EXPECT_RESULT(S_OK, library->removeListener(&first));
    EXPECT_RESULT(S_OK, library->removeListener(&first)); // no longer there
    EXPECT_EQ(report(L"COM3"), (Texts{"second added COM3"}));
    EXPECT_EQ(first.references(), 0);
    expectAllOn(GetCurrentThreadId()); // whose call it is
    machine.fail("SafeArrayLock", 1, static_cast<DWORD>(DISP_E_ARRAYISLOCKED));
    ComPointer<IVirtualSerialDevice> created;
    EXPECT_RESULT(DISP_E_ARRAYISLOCKED, library->createDevice(Variant(), created.put()));
}

TEST_F(Events, SubscribersMayCallBackWhileTheyAreLetGo) {
    const auto library = createLibrary();
    LONG id = 0;
    listen(*library, {&first, &second});
    subscribe(*library, script);
    subscribe(*library, other);
    first.onLastRelease = [&] { EXPECT_RESULT(S_OK, library->removeListener(&second)); };
    script.onLastRelease = [&] { EXPECT_RESULT(S_OK, library->added(Variant(2L), &id)); };
    EXPECT_RESULT(S_OK, library->removeListener(&first));
    EXPECT_RESULT(S_OK, library->added(Variant(1L), &id));
    EXPECT_EQ(second.references(), 0);
    EXPECT_EQ(other.references(), 0);
}

// Numbered from 1 across all events, none used again. Intended: whichever method is given the number of a
// subscription ends it. What was queued before still runs.
TEST_F(Events, SubscriptionEndsByItsNumber) {
    const auto library = createLibrary();
    LONG number = 0;
    LONG id = 4711;
    for (const auto method : kMethods) {
        EXPECT_EQ(subscribe(*library, script), ++number);
        EXPECT_RESULT(S_OK, (library.get()->*method)(Variant(number + 1), &id));
        EXPECT_RESULT(DISP_E_TYPEMISMATCH, (library.get()->*method)(Variant(L"added"), &id));
        EXPECT_EQ(script.references(), 1);
        EXPECT_RESULT(S_OK, (library.get()->*method)(Variant(std::to_wstring(number).c_str()), &id));
        EXPECT_EQ(script.references(), 0);
    }
    EXPECT_EQ(id, 4711);
    subscribe(*library, script);
    createDevice(*library, L"COM7");
    EXPECT_RESULT(S_OK, library->changed(Variant(4L), nullptr)); // there is no number to return
    createDevice(*library, L"COM8");
    runQueue(*library);
    EXPECT_EQ(journal.texts(), Texts{"script COM7"});
    EXPECT_EQ(script.references(), 0);
}

TEST_F(Events, QueuedEventsKeepNeitherTheLibraryNorItsDevices) {
    auto& port = machine.addPort(L"COM5");
    auto library = createLibrary();
    for (const auto method : kMethods)
        subscribe(*library, script, method);
    EXPECT_RESULT(S_OK, device(*library, L"COM5")->put_portName(Bstr(L"COM9").get()));
    changePorts(port);
    EXPECT_EQ(script.references(), 3); // its subscriptions; events add none
    library = {};
    EXPECT_EQ(script.references(), 0);
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
    EXPECT_EQ(journal.texts(), Texts());
}

// The system waits for 63 handles beside the messages. Beyond that no change is heard of; the library must still end.
TEST_F(Events, SixtyThreeDevicesAreHeardAndMoreAreSurvived) {
    for (int i = 1; i <= 63; ++i)
        machine.addPort(L"COM" + std::to_wstring(i));
    auto library = createLibrary();
    listen(*library, {&first});
    machine.signal(machine.plugAndPlay.latest());
    journal.await(1);
    EXPECT_EQ(journal.texts(), (Texts{"first changed COM63 mode"}));
    machine.addPort(L"COM64");
    library = createLibrary();
    EXPECT_EQ(portNames(*library).size(), 64U);
}

// On the event thread, which cannot wait for its own end and outlives the call, and on the client's. Listeners after
// that one are still told.
TEST_F(Events, LastReferencesMayGoInsideAListener) {
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
        library = createLibrary();
        device = SimulationTest::device(*library, L"COM5");
        listen(*library, {&first, &second});
        first.onEvent = [&] {
            library = {};
            device = {};
            return S_OK;
        };
        event(port);
        machine.threads.awaitEnd();
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
        EXPECT_EQ(machine.held(), std::vector<std::string>{"handle"});
        EXPECT_EQ(first.references() + second.references(), 0);
        EXPECT_EQ(journal.texts().size(), 2U);
    }
}

// While it does not return, everything else goes on that does not wait for its report to end.
TEST_F(Events, ListenerMayTakeItsTime) {
    Signal arrived;
    Signal released;
    machine.addPort(L"COM5");
    auto library = createLibrary();
    listen(*library, {&first});
    auto port = device(*library, L"COM5");
    first.onEvent = [&] {
        arrived.tell();
        released.wait();
        return E_FAIL;
    };
    machine.change([&] { machine.addPort(L"COM6"); });
    std::thread announcing([&] { machine.announce(); });
    arrived.wait();
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM5", L"COM6"}));
    EXPECT_RESULT(S_OK, port->disconnectDevice());
    subscribe(*library, script);
    runQueue(*library);
    port = {};
    library = {}; // the report has a reference of its own
    released.tell();
    announcing.join();
    machine.threads.awaitEnd();
    EXPECT_EQ(journal.texts(), Texts{"first added COM6"});
}

// As a message box does, or a call into a thread that has a window.
TEST_F(Events, ListenerMayLetMessagesIn) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    listen(*library, {&first});
    int next = 5;
    first.onEvent = [&] {
        if (++next <= 8) {
            machine.change([&] { machine.addPort(L"COM" + std::to_wstring(next)); });
            machine.announce();
        }
        return S_OK;
    };
    machine.signal(port);
    journal.await(4);
    EXPECT_EQ(
        journal.texts(),
        (Texts{"first changed COM5 mode", "first added COM6", "first added COM7", "first added COM8"}));
}

TEST_F(Events, LooksComeOneAfterAnother) {
    Signal arrived;
    Signal released;
    const auto library = createLibrary();
    machine.calls.after("SetupDiGetClassDevsExW", 1, [&] {
        arrived.tell();
        simulationMutex().unlock(); // the machine goes on
        released.wait();
        simulationMutex().lock();
    });
    std::thread announcing([&] { machine.announce(); });
    arrived.wait();
    const int looks = machine.calls.count("SetupDiGetClassDevsExW");
    std::thread creating([&] { createDevice(*library, L""); });
    while (machine.calls.count("DiInstallDevice") == 0)
        ::Sleep(1);
    ::Sleep(50); // it would look by now
    EXPECT_EQ(machine.calls.count("SetupDiGetClassDevsExW"), looks);
    released.tell();
    announcing.join();
    creating.join();
}

// A script's callback belongs to the thread that subscribed it.
TEST_F(Events, LastReleaseDuringALookDestroysOnItsOwnThread) {
    Signal arrived;
    Signal released;
    auto library = createLibrary();
    listen(*library, {&first});
    subscribe(*library, script);
    DWORD releasedOn = 0;
    script.onLastRelease = [&] { releasedOn = GetCurrentThreadId(); };
    machine.change([&] {
        machine.addPort(L"COM5").driver.beforeAnswer = [&](std::uint32_t) {
            arrived.tell();
            released.wait();
        };
    });
    std::thread announcing([&] { machine.announce(); });
    arrived.wait();
    machine.calls.after("PostMessageW", 1, [&] { released.tell(); });
    library = {};
    released.tell(); // in case that nothing was posted
    announcing.join();
    machine.threads.awaitEnd();
    EXPECT_EQ(releasedOn, GetCurrentThreadId());
    EXPECT_EQ(journal.texts(), Texts()); // nobody is left to be told
}

// A device signals while the last release waits for the thread.
TEST_F(Events, NobodyIsToldAfterTheLastRelease) {
    auto& port = machine.addPort(L"COM5");
    auto library = createLibrary();
    listen(*library, {&first});
    machine.calls.after("PostMessageW", 1, [&] {
        machine.signal(port);
        ::Sleep(50); // the thread takes the signal before the message
    });
    library = {};
    EXPECT_EQ(journal.texts(), Texts());
}

TEST_F(Events, KeepAliveDecidesByItsResultAndItsAnswer) {
    Variant object = script.variant();
    object.vt = VT_UNKNOWN;
    std::tuple<HRESULT, Variant, HRESULT> rows[] = {
        {S_OK, Variant(0L), S_OK},
        {S_OK, Variant(), S_OK},
        {S_OK, Variant(L"False"), S_OK},
        {S_OK, Variant(L"stop"), DISP_E_TYPEMISMATCH},
        {S_OK, std::move(object), DISP_E_TYPEMISMATCH},
        {E_ACCESSDENIED, Variant(), E_ACCESSDENIED},
    };
    const auto library = createLibrary();
    for (auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        auto& [result, answer, expected] = row;
        journal.clear();
        keepAlive.onCall = [&](VARIANT& given) {
            VariantCopy(&given, &answer);
            return result;
        };
        EXPECT_RESULT(expected, library->dispatchEvents(&keepAlive, 0));
        EXPECT_EQ(journal.texts().size(), 1U);
        EXPECT_EQ(script.references(), 1); // the row's
    }
}

TEST_F(Events, KeepAliveIsAskedAfterEachIntervalUntilItSaysStop) {
    const auto library = createLibrary();
    int left = 3;
    keepAlive.onCall = [&](VARIANT& result) {
        const auto waits = machine.calls.texts("SleepConditionVariableSRW");
        EXPECT_TRUE(!waits.empty() && waits.front() != "SleepConditionVariableSRW(..., ..., 0, 0)")
            << "it has not waited";
        machine.calls.clear();
        result.vt = VT_BOOL;
        result.boolVal = --left > 0 ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    };
    machine.calls.clear();
    EXPECT_RESULT(S_OK, library->dispatchEvents(&keepAlive, 100));
    EXPECT_EQ(journal.texts(), Texts(3, "keep-alive called"));
}

TEST_F(Events, WithoutAnIntervalTheKeepAliveIsAskedWheneverTheQueueIsEmpty) {
    const auto library = createLibrary();
    subscribe(*library, script);
    subscribe(*library, script);
    createDevice(*library, L"COM5");
    int calls = 0;
    keepAlive.onCall = [&](VARIANT& result) {
        if (++calls == 1)
            createDevice(*library, L"COM6");
        result.vt = VT_BOOL;
        result.boolVal = calls < 3 ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    };
    EXPECT_RESULT(S_OK, library->dispatchEvents(&keepAlive, 0));
    EXPECT_EQ(
        journal.texts(), (Texts{
                             "script COM5", "script COM5", "keep-alive called", "script COM6", "script COM6",
                             "keep-alive called", "keep-alive called"}));
}

// A stop is an item like any other, also when a callback asks for it. What callbacks return is given back.
TEST_F(Events, StopLetsEarlierItemsRun) {
    const auto library = createLibrary();
    subscribe(*library, script);
    script.onCall = [&](VARIANT& result) {
        result.vt = VT_UNKNOWN;
        result.punkVal = &keepAlive;
        keepAlive.AddRef();
        stop(*library);
        return DISP_E_EXCEPTION;
    };
    createDevice(*library, L"COM5");
    createDevice(*library, L"COM6");
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "script COM6"}));
    createDevice(*library, L"COM7");
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE)); // the second stop came before
    EXPECT_EQ(journal.texts().size(), 2U);
    EXPECT_EQ(keepAlive.references(), 0);
}

TEST_F(Events, EndlessLoopWakesForAnEventAndForAStopOfOtherThreads) {
    const auto library = createLibrary();
    subscribe(*library, script);
    std::thread client([&] {
        createDevice(*library, L"COM5");
        journal.await(1);
        stop(*library);
    });
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    client.join();
    EXPECT_EQ(journal.texts(), Texts{"script COM5"});
}

// The loop keeps the library until it returns, whatever a callback or a keep-alive lets go of. In the callback's case
// the event's device is one that only the event still holds.
TEST_F(Events, EverythingMayBeReleasedInsideTheLoop) {
    for (const bool inKeepAlive : {false, true}) {
        auto& port = machine.addPort(L"COM5");
        auto library = createLibrary();
        auto* dispatching = library.get();
        subscribe(*library, script, &IVirtualSerialLibrary::deleted);
        (inKeepAlive ? keepAlive : script).onCall = [&](VARIANT&) {
            library = {};
            EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
            return S_OK;
        };
        machine.change([&] { port.present = false; });
        machine.announce();
        if (!inKeepAlive)
            stop(*library);
        EXPECT_RESULT(S_OK, dispatching->dispatchEvents(&keepAlive, inKeepAlive ? 0 : INFINITE));
        EXPECT_EQ(script.references(), 0);
        script.onCall = [](VARIANT&) { return S_OK; };
    }
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "script COM5", "keep-alive called"}));
}

} // namespace

} // namespace zorvan::simulation

// Who is told of what, in which order and on which thread.
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

namespace zorvan::simulation {

namespace {

using Method = HRESULT (STDMETHODCALLTYPE IVirtualSerialLibrary::*)(VARIANT, LONG*);
constexpr Method kMethods[] = {
    &IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed};

class EventDelivery : public SimulationTest {
protected:
    Journal journal;
    Listener first{journal, "first"};
    Listener second{journal, "second"};
    Callback script{journal, "script"};
    Callback other{journal, "other"};

    ComPointer<IVirtualSerialLibrary> listenedTo() {
        auto library = createLibrary();
        EXPECT_RESULT(S_OK, library->addListener(&first));
        return library;
    }

    DWORD eventThread() const { return machine.threads.all().front()->id; }

    void expectAllOn(DWORD thread) const {
        for (const auto& entry : journal.entries())
            EXPECT_EQ(entry.thread, thread) << entry.text;
    }

    static LONG subscribe(IVirtualSerialLibrary& library, Method method, Callback& callback) {
        LONG id = 0;
        EXPECT_RESULT(S_OK, (library.*method)(callback.variant(), &id));
        return id;
    }

    // Everything that waits in the queue runs now.
    static void runQueue(IVirtualSerialLibrary& library) {
        EXPECT_RESULT(S_OK, library.stopEventDispatching());
        EXPECT_RESULT(S_OK, library.dispatchEvents(nullptr, INFINITE));
    }
};

TEST_F(EventDelivery, AddedBeforeDeletedAndListenersInTheirOrderOnTheEventThread) {
    auto& going = machine.addPort(L"COM5");
    const auto library = listenedTo();
    first.onEvent = [] { return E_FAIL; }; // which nobody looks at
    EXPECT_RESULT(S_OK, library->addListener(&second));
    machine.change([&] {
        going.present = false;
        machine.addPort(L"COM6");
        machine.addPort(L"COM7");
    });
    machine.announce();
    EXPECT_EQ(
        journal.texts(),
        (Texts{"first added COM6 COM7", "second added COM6 COM7", "first deleted COM5", "second deleted COM5"}));
    expectAllOn(eventThread());
    EXPECT_EQ(machine.calls.count("SafeArrayCreateVector"), 2);
}

TEST_F(EventDelivery, ScriptsAreToldInTheOrderOfTheQueueOnTheDispatchingThreadOnly) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    subscribe(*library, &IVirtualSerialLibrary::deleted, other);
    subscribe(*library, &IVirtualSerialLibrary::added, script);
    subscribe(*library, &IVirtualSerialLibrary::added, other);
    subscribe(*library, &IVirtualSerialLibrary::changed, script);
    machine.change([&] {
        port.present = false;
        machine.addPort(L"COM6");
        machine.addPort(L"COM7");
    });
    machine.announce();
    EXPECT_RESULT(S_OK, device(*library, L"COM6")->put_portName(Bstr(L"COM9").get()));
    EXPECT_EQ(journal.texts(), Texts());
    runQueue(*library);
    // A device tells its name of now, not that of when the event was queued.
    EXPECT_EQ(journal.texts(), (Texts{"script COM9 COM7", "other COM9 COM7", "other COM5", "script COM9 name"}));
    expectAllOn(GetCurrentThreadId());
}

TEST_F(EventDelivery, CallsOfThisThreadAreReportedOnItBeforeTheyReturn) {
    const auto library = listenedTo();
    const auto port = createDevice(*library, L"COM7");
    EXPECT_EQ(journal.texts(), (Texts{"first added COM7"}));
    EXPECT_RESULT(S_OK, port->put_portName(Bstr(L"COM6").get()));
    EXPECT_EQ(journal.texts(), (Texts{"first added COM7", "first changed COM6 name"}));
    expectAllOn(GetCurrentThreadId());
}

TEST_F(EventDelivery, DriversSignalIsOneChangeOfModeOnTheEventThread) {
    machine.addPort(L"COM5");
    const auto& port = machine.addPort(L"COM6");
    const auto library = listenedTo();
    for (std::size_t i = 1; i <= 3; ++i) {
        machine.signal(port);
        journal.await(i);
    }
    machine.announce(); // whatever else the thread had to say, it has said now
    EXPECT_EQ(journal.texts(), Texts(3, "first changed COM6 mode"));
    expectAllOn(eventThread());
}

TEST_F(EventDelivery, RenameOfAnotherProgramIsReportedWhenTheDriverSignals) {
    auto& port = machine.addPort(L"COM5");
    const auto library = listenedTo();
    subscribe(*library, &IVirtualSerialLibrary::changed, script);
    machine.change([&] { port.setPortName(L"COM9"); });
    machine.signal(port);
    journal.await(2);
    EXPECT_EQ(journal.texts(), (Texts{"first changed COM9 name", "first changed COM9 mode"}));
    expectAllOn(eventThread());
    machine.threads.awaitSettled();
    machine.announce();
    runQueue(*library);
    EXPECT_EQ(
        journal.texts(),
        (Texts{"first changed COM9 name", "first changed COM9 mode", "script COM9 name", "script COM9 mode"}));
}

// What stops the look at the name: the change of mode is reported all the same.
TEST_F(EventDelivery, NameThatCannotBeLookedUpStays) {
    auto& port = machine.addPort(L"COM5");
    const auto library = listenedTo();
    machine.change([&] { port.setPortName(L"COM9"); });
    std::size_t count = 0;
    for (const auto* function :
         {"SetupDiCreateDeviceInfoList", "SetupDiOpenDeviceInfoW", "SetupDiOpenDevRegKey", "RegQueryValueExW"}) {
        SCOPED_TRACE(function);
        machine.fail(function, 1, ERROR_GEN_FAILURE);
        machine.signal(port);
        journal.await(++count);
        EXPECT_EQ(journal.texts().back(), "first changed COM5 mode");
    }
}

TEST_F(EventDelivery, ListenerAddedTwiceIsCalledTwiceAndRemovedOnceAtATime) {
    const auto library = createLibrary();
    const auto report = [&](const wchar_t* name) {
        journal.clear();
        createDevice(*library, name);
        return journal.texts();
    };
    for (auto* listener : {&first, &second, &first})
        EXPECT_RESULT(S_OK, library->addListener(listener));
    EXPECT_EQ(report(L"COM1"), (Texts{"first added COM1", "second added COM1", "first added COM1"}));
    EXPECT_RESULT(S_OK, library->removeListener(&first)); // the earlier one
    EXPECT_EQ(report(L"COM2"), (Texts{"second added COM2", "first added COM2"}));
    EXPECT_RESULT(S_OK, library->removeListener(&first));
    EXPECT_RESULT(S_OK, library->removeListener(&first)); // no longer there
    EXPECT_EQ(report(L"COM3"), (Texts{"second added COM3"}));
    EXPECT_EQ(first.references(), 0);
}

TEST_F(EventDelivery, SubscribersMayCallBackWhileTheyAreLetGo) {
    const auto library = createLibrary();
    LONG id = 0;
    for (auto* listener : {&first, &second})
        EXPECT_RESULT(S_OK, library->addListener(listener));
    subscribe(*library, &IVirtualSerialLibrary::added, script);
    subscribe(*library, &IVirtualSerialLibrary::added, other);
    first.onLastRelease = [&] { EXPECT_RESULT(S_OK, library->removeListener(&second)); };
    script.onLastRelease = [&] { EXPECT_RESULT(S_OK, library->added(Variant(2L), &id)); };
    EXPECT_RESULT(S_OK, library->removeListener(&first));
    EXPECT_RESULT(S_OK, library->added(Variant(1L), &id));
    EXPECT_EQ(second.references(), 0);
    EXPECT_EQ(other.references(), 0);
}

TEST_F(EventDelivery, NothingIsMadeForNobody) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    machine.calls.clear();
    createDevice(*library, L"COM6");
    EXPECT_RESULT(S_OK, device(*library, L"COM5")->put_portName(Bstr(L"COM9").get()));
    machine.signal(port);
    machine.change([&] { port.present = false; });
    machine.announce();
    EXPECT_EQ(machine.calls.count("SafeArrayCreateVector"), 0);
    for (const auto method : kMethods)
        subscribe(*library, method, script);
    runQueue(*library);
    EXPECT_EQ(journal.texts(), Texts());
}

TEST_F(EventDelivery, ArrayThatCannotBeMadeIsReportedToTheProducer) {
    const struct {
        const char* function;
        DWORD error;
        HRESULT result;
    } rows[] = {
        {"SafeArrayCreateVector", ERROR_GEN_FAILURE, E_OUTOFMEMORY},
        {"SafeArrayLock", static_cast<DWORD>(DISP_E_ARRAYISLOCKED), DISP_E_ARRAYISLOCKED},
    };
    const auto library = listenedTo();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        machine.fail(row.function, 1, row.error);
        ComPointer<IVirtualSerialDevice> created;
        EXPECT_RESULT(row.result, library->createDevice(Variant(), created.put()));
        EXPECT_EQ(journal.texts(), Texts());
    }
}

TEST_F(EventDelivery, SubscriptionsAreNumberedFromOneAcrossAllEvents) {
    const auto library = createLibrary();
    LONG expected = 0;
    for (const auto method : kMethods)
        EXPECT_EQ(subscribe(*library, method, script), ++expected);
    LONG id = 0;
    EXPECT_RESULT(S_OK, library->added(Variant(2L), &id));
    EXPECT_EQ(subscribe(*library, &IVirtualSerialLibrary::deleted, script), 4); // none is used again
}

Variant real(double value) {
    Variant variant;
    variant.vt = VT_R8;
    variant.dblVal = value;
    return variant;
}

// Intended: whichever method is given the number, it ends the subscription that has it.
TEST_F(EventDelivery, AnythingButAnObjectIsTheNumberOfASubscription) {
    Variant noObject;
    noObject.vt = VT_DISPATCH;
    const struct {
        const Variant argument;
        HRESULT result;
        bool ends;
    } rows[] = {
        {Variant(1L), S_OK, true},
        {Variant(L"1"), S_OK, true},
        {real(1), S_OK, true},
        {Variant(2L), S_OK, false},
        {Variant(), S_OK, false},
        {real(3e9), DISP_E_OVERFLOW, false},
        {Variant(L"added"), DISP_E_TYPEMISMATCH, false},
        {Variant::omitted(), DISP_E_TYPEMISMATCH, false},
        {std::move(noObject), E_INVALIDARG, false},
    };
    for (const auto& row : rows)
        for (const auto method : kMethods) {
            SCOPED_TRACE(&row - rows);
            const auto library = createLibrary();
            subscribe(*library, &IVirtualSerialLibrary::deleted, script);
            LONG id = 4711;
            EXPECT_RESULT(row.result, (library.get()->*method)(row.argument, &id));
            EXPECT_EQ(id, 4711);
            EXPECT_EQ(script.references(), row.ends ? 0 : 1);
        }
}

TEST_F(EventDelivery, SameCallbackMaySubscribeTwice) {
    const auto library = createLibrary();
    subscribe(*library, &IVirtualSerialLibrary::added, script);
    subscribe(*library, &IVirtualSerialLibrary::added, script);
    createDevice(*library, L"COM5");
    LONG id = 0;
    EXPECT_RESULT(S_OK, library->added(Variant(1L), &id));
    runQueue(*library); // what was queued before the end of a subscription still runs
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "script COM5"}));
    createDevice(*library, L"COM6");
    runQueue(*library);
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "script COM5", "script COM6"}));
}

TEST_F(EventDelivery, QueuedEventsKeepNeitherTheLibraryNorItsDevices) {
    auto& port = machine.addPort(L"COM5");
    auto library = createLibrary();
    for (const auto method : kMethods)
        subscribe(*library, method, script);
    EXPECT_RESULT(S_OK, device(*library, L"COM5")->put_portName(Bstr(L"COM9").get()));
    machine.change([&] {
        port.present = false;
        machine.addPort(L"COM6");
    });
    machine.announce();
    EXPECT_EQ(script.references(), 3); // its subscriptions; events add none
    library = {};
    EXPECT_EQ(script.references(), 0);
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
    EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"});
    EXPECT_EQ(journal.texts(), Texts());
}

} // namespace

} // namespace zorvan::simulation

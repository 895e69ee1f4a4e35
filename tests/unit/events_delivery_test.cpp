// Who is told of what, in which order and on which thread.
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

class EventDelivery : public SimulationTest {
protected:
    Journal journal;
    Listener first{journal, "first"};
    Listener second{journal, "second"};
    Callback script{journal, "script"};
    Callback other{journal, "other"};

    DWORD eventThread() const { return machine.threads.all().front()->id; }

    void expectAllOn(DWORD thread) const {
        for (const auto& entry : journal.entries())
            EXPECT_EQ(entry.thread, thread) << entry.text;
    }

    static LONG subscribe(
        IVirtualSerialLibrary& library, HRESULT (STDMETHODCALLTYPE IVirtualSerialLibrary::*method)(VARIANT, LONG*),
        Callback& callback) {
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
    const auto library = createLibrary();
    EXPECT_RESULT(S_OK, library->addListener(&first));
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

TEST_F(EventDelivery, CreationReportsOnTheCreatingThreadBeforeItReturns) {
    const auto library = createLibrary();
    EXPECT_RESULT(S_OK, library->addListener(&first));
    createDevice(*library, L"COM7");
    EXPECT_EQ(journal.texts(), (Texts{"first added COM7"}));
    expectAllOn(GetCurrentThreadId());
}

TEST_F(EventDelivery, DriversSignalIsOneChangeOfModeOnTheEventThread) {
    machine.addPort(L"COM5");
    const auto& port = machine.addPort(L"COM6");
    const auto library = createLibrary();
    EXPECT_RESULT(S_OK, library->addListener(&first));
    for (std::size_t i = 1; i <= 3; ++i) {
        machine.signal(port);
        journal.await(i);
    }
    machine.announce(); // whatever else the thread had to say, it has said now
    EXPECT_EQ(
        journal.texts(), (Texts{"first changed COM6 mode", "first changed COM6 mode", "first changed COM6 mode"}));
    expectAllOn(eventThread());
}

TEST_F(EventDelivery, RenameIsReportedOnTheRenamingThread) {
    machine.addPort(L"COM5");
    const auto library = createLibrary();
    EXPECT_RESULT(S_OK, library->addListener(&first));
    EXPECT_RESULT(S_OK, device(*library, L"COM5")->put_portName(Bstr(L"COM6").get()));
    EXPECT_EQ(journal.texts(), (Texts{"first changed COM6 name"}));
    expectAllOn(GetCurrentThreadId());
}

TEST_F(EventDelivery, RenameOfAnotherProgramIsReportedWhenTheDriverSignals) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    EXPECT_RESULT(S_OK, library->addListener(&first));
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
    const auto library = createLibrary();
    EXPECT_RESULT(S_OK, library->addListener(&first));
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
    const auto report = [&] {
        machine.change([&] { machine.addPort(L"COM" + std::to_wstring(machine.plugAndPlay.nodes().size() + 1)); });
        machine.announce();
        Texts told = journal.texts();
        return Texts(told.end() - std::min<std::ptrdiff_t>(3, static_cast<std::ptrdiff_t>(told.size())), told.end());
    };
    for (auto* listener : {&first, &second, &first})
        EXPECT_RESULT(S_OK, library->addListener(listener));
    EXPECT_EQ(report(), (Texts{"first added COM1", "second added COM1", "first added COM1"}));
    EXPECT_RESULT(S_OK, library->removeListener(&first)); // the earlier one
    EXPECT_EQ(report(), (Texts{"first added COM1", "second added COM2", "first added COM2"}));
    EXPECT_EQ(first.references(), 1);
    EXPECT_RESULT(S_OK, library->removeListener(&first));
    EXPECT_RESULT(S_OK, library->removeListener(&first)); // no longer there
    EXPECT_EQ(report(), (Texts{"second added COM2", "first added COM2", "second added COM3"}));
    EXPECT_EQ(first.references(), 0);
}

TEST_F(EventDelivery, SubscribersMayCallBackWhileTheyAreLetGo) {
    const auto library = createLibrary();
    LONG id = 0;
    EXPECT_RESULT(S_OK, library->addListener(&first));
    EXPECT_RESULT(S_OK, library->addListener(&second));
    subscribe(*library, &IVirtualSerialLibrary::added, script);
    subscribe(*library, &IVirtualSerialLibrary::added, other);
    first.onLastRelease = [&] { EXPECT_RESULT(S_OK, library->removeListener(&second)); };
    script.onLastRelease = [&] { EXPECT_RESULT(S_OK, library->added(Variant(2L), &id)); };
    EXPECT_RESULT(S_OK, library->removeListener(&first));
    EXPECT_RESULT(S_OK, library->added(Variant(1L), &id));
    EXPECT_EQ(second.references(), 0);
    EXPECT_EQ(other.references(), 0);
}

TEST_F(EventDelivery, WhatListenersReturnIsNotLookedAt) {
    const auto library = createLibrary();
    first.onEvent = [] { return E_FAIL; };
    for (auto* listener : {&first, &second})
        EXPECT_RESULT(S_OK, library->addListener(listener));
    for (const auto* name : {L"COM5", L"COM6"})
        createDevice(*library, name);
    EXPECT_EQ(
        journal.texts(), (Texts{"first added COM5", "second added COM5", "first added COM6", "second added COM6"}));
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
    for (const auto method :
         {&IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed})
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
    const auto library = createLibrary();
    EXPECT_RESULT(S_OK, library->addListener(&first));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        machine.fail(row.function, 1, row.error);
        ComPointer<IVirtualSerialDevice> created;
        EXPECT_RESULT(row.result, library->createDevice(Variant(), created.put()));
        EXPECT_EQ(journal.texts(), Texts());
    }
    // On the event thread there is nobody to tell; it goes on.
    machine.fail("SafeArrayCreateVector", 1, ERROR_GEN_FAILURE);
    machine.change([&] { machine.addPort(L"COM8"); });
    machine.announce();
    machine.change([&] { machine.addPort(L"COM9"); });
    machine.announce();
    EXPECT_EQ(journal.texts(), (Texts{"first added COM9"}));
    EXPECT_EQ(portNames(*library).count(L"COM8"), 1U);
}

TEST_F(EventDelivery, SubscriptionsAreNumberedFromOneAcrossAllEvents) {
    const auto library = createLibrary();
    EXPECT_EQ(subscribe(*library, &IVirtualSerialLibrary::added, script), 1);
    EXPECT_EQ(subscribe(*library, &IVirtualSerialLibrary::deleted, script), 2);
    EXPECT_EQ(subscribe(*library, &IVirtualSerialLibrary::changed, script), 3);
    LONG id = 0;
    EXPECT_RESULT(S_OK, library->added(Variant(2L), &id));
    EXPECT_EQ(subscribe(*library, &IVirtualSerialLibrary::deleted, script), 4); // none is used again
}

// Intended: whichever method is given the number, it ends the subscription that has it.
TEST_F(EventDelivery, AnythingButAnObjectIsTheNumberOfASubscription) {
    Variant real;
    real.vt = VT_R8;
    real.dblVal = 1.0;
    Variant tooLarge;
    tooLarge.vt = VT_R8;
    tooLarge.dblVal = 3e9;
    Variant unsignedByte;
    unsignedByte.vt = VT_UI1;
    unsignedByte.bVal = 1;
    const struct {
        const Variant argument;
        HRESULT result;
        bool ends;
    } rows[] = {
        {Variant(1L), S_OK, true},
        {Variant(L"1"), S_OK, true},
        {std::move(real), S_OK, true},
        {std::move(unsignedByte), S_OK, true},
        {Variant(2L), S_OK, false},
        {Variant(-1L), S_OK, false},
        {Variant(), S_OK, false},
        {std::move(tooLarge), DISP_E_OVERFLOW, false},
        {Variant(L"added"), DISP_E_TYPEMISMATCH, false},
        {Variant(L""), DISP_E_TYPEMISMATCH, false},
        {Variant::omitted(), DISP_E_TYPEMISMATCH, false},
    };
    const auto methods = {
        &IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed};
    for (const auto& row : rows)
        for (const auto method : methods) {
            SCOPED_TRACE(&row - rows);
            const auto library = createLibrary();
            subscribe(*library, &IVirtualSerialLibrary::deleted, script);
            LONG id = 4711;
            EXPECT_RESULT(row.result, (library.get()->*method)(row.argument, &id));
            EXPECT_EQ(id, 4711);
            EXPECT_EQ(script.references(), row.ends ? 0 : 1);
        }
}

TEST_F(EventDelivery, ScriptHostsSubscribeAndDispatchByName) {
    const auto library = createLibrary();
    const auto call = [&](const wchar_t* method, std::vector<Variant> arguments) {
        Variant result;
        EXPECT_RESULT(S_OK, dispatch(*library, method, DISPATCH_METHOD, std::move(arguments), &result));
        return result.vt == VT_I4 ? result.lVal : -1;
    };
    const auto list = [](auto&&... arguments) {
        std::vector<Variant> all;
        (all.push_back(std::move(arguments)), ...);
        return all;
    };
    EXPECT_EQ(call(L"added", list(script.variant())), 1);
    EXPECT_EQ(call(L"changed", list(other.variant())), 2);
    EXPECT_RESULT(S_OK, createDevice(*library, L"COM5")->put_portName(Bstr(L"COM6").get()));
    call(L"deleted", list(Variant(L"2")));
    call(L"dispatchEvents", list(other.variant(), Variant(0L))); // its empty answer says stop
    EXPECT_EQ(journal.texts(), (Texts{"script COM6", "other COM6 name", "other called"}));
    call(L"stopEventDispatching", {});
    call(L"dispatchEvents", list(other.variant(), Variant(-1L)));
    EXPECT_EQ(journal.texts().size(), 3U);
}

TEST_F(EventDelivery, ObjectThatIsNoneIsRefused) {
    Variant nothing;
    nothing.vt = VT_DISPATCH;
    LONG id = 0;
    EXPECT_RESULT(E_INVALIDARG, createLibrary()->added(nothing, &id));
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
    for (const auto method :
         {&IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed})
        subscribe(*library, method, script);
    EXPECT_RESULT(S_OK, device(*library, L"COM5")->put_portName(Bstr(L"COM9").get()));
    machine.change([&] {
        port.present = false;
        machine.addPort(L"COM6");
    });
    machine.announce();
    EXPECT_EQ(script.references(), 6); // three subscriptions and three events
    library = {};
    EXPECT_EQ(script.references(), 0);
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
    EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"});
    EXPECT_EQ(journal.texts(), Texts());
}

// A queued event brings devices back to life whose library has only its own client left.
TEST_F(EventDelivery, DeviceOfAQueuedEventLeadsToItsLibrary) {
    auto& port = machine.addPort(L"COM5");
    auto library = createLibrary();
    subscribe(*library, &IVirtualSerialLibrary::deleted, script);
    machine.change([&] { port.present = false; });
    machine.announce();
    auto* dispatching = library.get();
    script.onCall = [&](VARIANT&) {
        library = {};
        return S_OK;
    };
    EXPECT_RESULT(S_OK, dispatching->stopEventDispatching());
    EXPECT_RESULT(S_OK, dispatching->dispatchEvents(nullptr, INFINITE));
    EXPECT_EQ(journal.texts(), (Texts{"script COM5"}));
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

} // namespace

} // namespace zorvan::simulation

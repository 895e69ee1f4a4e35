// dispatchEvents: what runs in it, and what ends it.
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

#include <thread>

namespace zorvan::simulation {

namespace {

class EventDispatch : public SimulationTest {
protected:
    Journal journal;
    Callback keepAlive{journal, "keep-alive"};
    Callback script{journal, "script"};

    void subscribe(IVirtualSerialLibrary& library, Callback& callback) {
        LONG id = 0;
        EXPECT_RESULT(S_OK, library.added(callback.variant(), &id));
    }

    // One event for each subscription.
    void produce(const wchar_t* portName) {
        machine.change([&] { machine.addPort(portName); });
        machine.announce();
    }

    static void stop(IVirtualSerialLibrary& library) { EXPECT_RESULT(S_OK, library.stopEventDispatching()); }
};

// A script's object counts its references for its own thread alone.
TEST_F(EventDispatch, ReferencesToACallbackAreCountedOnTheThreadThatSubscribes) {
    const auto library = createLibrary();
    subscribe(*library, script);
    const auto references = script.references();
    produce(L"COM5"); // reported on the event thread
    machine.threads.awaitSettled();
    EXPECT_EQ(script.references(), references);

    stop(*library);
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    EXPECT_EQ(journal.texts(), Texts{"script COM5"});
    EXPECT_EQ(script.references(), references);
}

TEST_F(EventDispatch, KeepAliveDecidesByItsResultAndItsAnswer) {
    const auto text = [](const wchar_t* answer) {
        return [=](VARIANT& result) {
            result.vt = VT_BSTR;
            result.bstrVal = SysAllocString(answer);
            return S_OK;
        };
    };
    const auto value = [](VARTYPE type, LONG answer) {
        return [=](VARIANT& result) {
            result.vt = type;
            result.lVal = answer;
            return S_OK;
        };
    };
    const struct {
        const char* name;
        std::function<HRESULT(VARIANT&)> answer;
        HRESULT result;
    } rows[] = {
        {"false", value(VT_BOOL, VARIANT_FALSE), S_OK},
        {"nothing", value(VT_EMPTY, 0), S_OK},
        {"zero", value(VT_I4, 0), S_OK},
        {"text of a boolean", text(L"False"), S_OK},
        {"another text", text(L"stop"), DISP_E_TYPEMISMATCH},
        {"a script's null", value(VT_NULL, 0), DISP_E_TYPEMISMATCH},
        {"an object",
         [this](VARIANT& result) {
             result.vt = VT_UNKNOWN;
             result.punkVal = &script;
             script.AddRef();
             return S_OK;
         },
         DISP_E_TYPEMISMATCH},
        {"failure", [](VARIANT&) { return E_ACCESSDENIED; }, E_ACCESSDENIED},
        {"script error", [](VARIANT&) { return DISP_E_EXCEPTION; }, DISP_E_EXCEPTION},
    };
    const auto library = createLibrary();
    std::size_t calls = 0;
    for (const auto& row : rows)
        for (const ULONG interval : {0UL, 3UL}) {
            SCOPED_TRACE(row.name);
            keepAlive.onCall = row.answer;
            EXPECT_RESULT(row.result, library->dispatchEvents(&keepAlive, interval));
            EXPECT_EQ(journal.texts().size(), ++calls);
            EXPECT_EQ(script.references(), 0);
        }
}

TEST_F(EventDispatch, KeepAliveIsAskedAfterEachIntervalUntilItSaysStop) {
    const auto library = createLibrary();
    int left = 3;
    keepAlive.onCall = [&](VARIANT& result) {
        const auto waits = machine.calls.texts("SleepConditionVariableSRW");
        EXPECT_TRUE(!waits.empty() && waits.front() != "SleepConditionVariableSRW(0)") << "it has not waited";
        machine.calls.clear();
        result.vt = VT_BOOL;
        result.boolVal = --left > 0 ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    };
    machine.calls.clear();
    EXPECT_RESULT(S_OK, library->dispatchEvents(&keepAlive, 100));
    EXPECT_EQ(journal.texts(), Texts(3, "keep-alive called"));
}

TEST_F(EventDispatch, WithoutAnIntervalTheKeepAliveIsAskedWheneverTheQueueIsEmpty) {
    const auto library = createLibrary();
    subscribe(*library, script);
    subscribe(*library, script);
    produce(L"COM5");
    int calls = 0;
    keepAlive.onCall = [&](VARIANT& result) {
        if (++calls == 1)
            produce(L"COM6");
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

TEST_F(EventDispatch, UnlimitedWaitNeverAsksAndEndsWithAStop) {
    const auto library = createLibrary();
    machine.calls.clear();
    std::thread stopper([&] {
        while (machine.calls.count("SleepConditionVariableSRW") == 0)
            ::Sleep(1);
        stop(*library);
    });
    EXPECT_RESULT(S_OK, library->dispatchEvents(&keepAlive, 0xFFFFFFFF));
    stopper.join();
    EXPECT_EQ(journal.texts(), Texts());
    EXPECT_EQ(machine.calls.texts("SleepConditionVariableSRW").front(), "SleepConditionVariableSRW(4294967295)");
}

TEST_F(EventDispatch, StopQueuedBeforeTheLoopLetsEarlierItemsRun) {
    const auto library = createLibrary();
    subscribe(*library, script);
    produce(L"COM5");
    stop(*library);
    produce(L"COM6");
    stop(*library);
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    EXPECT_EQ(journal.texts(), (Texts{"script COM5"}));
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "script COM6"}));
}

TEST_F(EventDispatch, CallbackMayStopTheLoopThatRunsIt) {
    const auto library = createLibrary();
    subscribe(*library, script);
    subscribe(*library, script);
    script.onCall = [&](VARIANT&) {
        stop(*library);
        return S_OK;
    };
    produce(L"COM5"); // two items, each of which queues a stop behind them
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "script COM5"}));
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
}

TEST_F(EventDispatch, EachItemIsTakenByOneThread) {
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kItems = 200;
    const auto library = createLibrary();
    for (std::size_t i = 0; i < kItems; ++i)
        subscribe(*library, script);
    std::mutex mutex;
    std::condition_variable changed;
    std::set<DWORD> inside;
    // The first call of each thread waits for those of the others: so all of them dispatch at once.
    script.onCall = [&](VARIANT&) {
        std::unique_lock lock(mutex);
        inside.insert(GetCurrentThreadId());
        changed.notify_all();
        changed.wait_for(lock, std::chrono::seconds(20), [&] { return inside.size() == kThreads; });
        return S_OK;
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i)
        threads.emplace_back([&] { EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE)); });
    produce(L"COM5");
    for (std::size_t i = 0; i < kThreads; ++i)
        stop(*library);
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(journal.texts(), Texts(kItems, "script COM5"));
    EXPECT_EQ(inside.size(), kThreads);
}

TEST_F(EventDispatch, WhatCallbacksReturnIsDroppedAndGivenBack) {
    const auto library = createLibrary();
    subscribe(*library, script);
    script.onCall = [this](VARIANT& result) {
        result.vt = VT_UNKNOWN;
        result.punkVal = &keepAlive;
        keepAlive.AddRef();
        return journal.texts().size() == 1 ? DISP_E_EXCEPTION : S_FALSE;
    };
    produce(L"COM5");
    produce(L"COM6");
    stop(*library);
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "script COM6"}));
    EXPECT_EQ(keepAlive.references(), 0);
}

// The loop keeps the library until it returns, whatever a callback or a keep-alive lets go of. In the callback's case
// the event's device is one that only the event still holds.
TEST_F(EventDispatch, EverythingMayBeReleasedInsideTheLoop) {
    for (const bool inKeepAlive : {false, true}) {
        auto& port = machine.addPort(L"COM5");
        auto library = createLibrary();
        auto* dispatching = library.get();
        LONG id = 0;
        EXPECT_RESULT(S_OK, library->deleted(script.variant(), &id));
        (inKeepAlive ? keepAlive : script).onCall = [&](VARIANT&) {
            EXPECT_RESULT(S_OK, library->deleted(Variant(1L), &id));
            library = {};
            EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
            return S_OK;
        };
        machine.change([&] { port.present = false; });
        if (!inKeepAlive) {
            machine.announce();
            stop(*library);
        }
        EXPECT_RESULT(S_OK, dispatching->dispatchEvents(&keepAlive, inKeepAlive ? 0 : INFINITE));
        EXPECT_EQ(script.references(), 0);
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
    }
    EXPECT_EQ(journal.texts(), (Texts{"script COM5", "keep-alive called"}));
}

TEST_F(EventDispatch, MissingKeepAliveIsNoticedWhenItsTurnComes) {
    EXPECT_RESULT(E_POINTER, createLibrary()->dispatchEvents(nullptr, 1));
}

} // namespace

} // namespace zorvan::simulation

// Change events: how soon a listener hears of a signal, and how many callbacks a second a client can have.
#include "sections.h"

#include "base/com_object.h"
#include "imports.h"
#include "message_thread.h"
#include "ports.h"
#include "script_function.h"

#include <atomic>

namespace zorvan::bench {

namespace {

constexpr DWORD kTimeLimitMs = 10000;

// The first event that the library makes for itself to wait on: the one that the driver signals when a port changes.
HANDLE deviceEvent = nullptr;
decltype(&CreateEventW) windowsCreateEvent = nullptr;

HANDLE WINAPI createNotedEvent(SECURITY_ATTRIBUTES* attributes, BOOL manual, BOOL set, const wchar_t* name) {
    HANDLE event = windowsCreateEvent(attributes, manual, set, name);
    if (deviceEvent == nullptr && manual == FALSE)
        deviceEvent = event;
    return event;
}

Library createLibraryAndNoteEvent() {
    const Library loaded = createRegisteredLibrary(); // the DLL
    windowsCreateEvent = CreateEventW;
    deviceEvent = nullptr;
    const ReplacedImport noted(
        GetModuleHandleW(L"zorvanlib.dll"), "CreateEventW", reinterpret_cast<void*>(&createNotedEvent));
    return createRegisteredLibrary();
}

// A library object that knows one port, and the event that the port's driver signals.
class WatchedPort {
public:
    WatchedPort() : library_(createLibraryAndNoteEvent()), event_(deviceEvent) {
        expect(event_ != nullptr, "the event of the port");
    }

    IVirtualSerialLibrary& library() const { return *library_; }
    HANDLE event() const { return event_; }

private:
    Library library_;
    HANDLE event_;
};

// What is done in a callback; the one who waits hears of it.
class Callback {
public:
    // So many times, the callback signals the event again.
    void begin(HANDLE event, int count) {
        event_ = event;
        left_ = count;
        SetEvent(event_);
    }
    void called() {
        called_ = now();
        if (left_-- > 1)
            SetEvent(event_);
        else
            SetEvent(over_.get());
    }
    // When the last one was called.
    double awaitLast() const {
        expect(WaitForSingleObject(over_.get(), kTimeLimitMs) == WAIT_OBJECT_0, "a callback");
        return called_;
    }

private:
    UniqueHandle over_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    HANDLE event_ = nullptr;
    int left_ = 0;
    std::atomic<double> called_{0};
};

class Listener final : public ComObject<IVirtualSerialLibraryListener> {
public:
    explicit Listener(Callback& callback) : callback_(callback) {}
    HRESULT STDMETHODCALLTYPE added(SAFEARRAY*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice*, ChangeMode) noexcept override {
        callback_.called();
        return S_OK;
    }

private:
    Callback& callback_;
};

// From the signal to so many callbacks, each of which signals again.
double secondsTo(int count, Callback& callback, HANDLE event) {
    rest();
    const double begun = now();
    callback.begin(event, count);
    return callback.awaitLast() - begun;
}

void reportRate(Report& report, const std::string& name, int count, const Series& taken, const std::string& beside) {
    Series rates;
    for (const double seconds : taken)
        rates.push_back(count / seconds);
    report.add({name, kNoGoal, spreadOf(rates), "/s", beside});
}

void measureListener(Report& report, const WatchedPort& port) {
    constexpr int kMany = 20;
    constexpr Plan kSignals{15, 15};
    Callback ours;
    Callback bare;
    const auto listener = makeComObject<Listener>(ours);
    require(port.library().addListener(listener.get()), "addListener");
    const MessageThread waiting(
        1, [&] { bare.called(); }, [] {});

    const auto once = takeTurns(
        kSignals,
        {[&] { return secondsTo(1, ours, port.event()); }, [&] { return secondsTo(1, bare, waiting.event()); }});
    report.addRatio("from a signal to a listener", atMost(1.2), once[0], once[1], "a bare waiting thread");

    const auto many = takeTurns(
        {15, 3}, {[&] { return secondsTo(kMany, ours, port.event()); },
                  [&] { return secondsTo(kMany, bare, waiting.event()); }});
    Series each;
    for (const double seconds : many[0])
        each.push_back(1e3 * seconds / kMany);
    report.add(
        {"a change event with one port", atMost(0.2), spreadOf(each), "ms",
         "a bare waiting thread: " + duration(spreadOf(many[1]).median / kMany)});
    reportRate(report, "callbacks to a listener", kMany, many[0], "");
    require(port.library().removeListener(listener.get()), "removeListener");
}

// A script calls it as a function.
class Signal final : public ComObject<IDispatch> {
public:
    Signal(IVirtualSerialLibrary& library, HANDLE event) : library_(library), event_(event) {}

    void begin(int count) {
        left_ = count;
        SetEvent(event_);
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return DISP_E_BADINDEX; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE
    Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) noexcept override {
        if (--left_ == 0)
            return library_.stopEventDispatching();
        SetEvent(event_);
        return S_OK;
    }

private:
    IVirtualSerialLibrary& library_;
    HANDLE event_;
    int left_ = 0;
};

void measureScript(Report& report, const WatchedPort& port) {
    constexpr int kMany = 20;
    const auto signal = makeComObject<Signal>(port.library(), port.event());
    const ScriptFunction callback(
        L"(function (signal) { return function (device, change) { signal(); }; })", *signal);
    VARIANT argument{};
    argument.vt = VT_DISPATCH;
    argument.pdispVal = callback.get();
    LONG id = 0;
    require(port.library().changed(argument, &id), "changed");
    const auto taken =
        takeTurns({15, 3}, {[&] {
                      rest();
                      return secondsOf([&] {
                          signal->begin(kMany);
                          require(port.library().dispatchEvents(callback.get(), INFINITE), "dispatchEvents");
                      });
                  }});
    reportRate(report, "callbacks to a script", kMany, taken[0], "");
    argument.vt = VT_I4;
    argument.lVal = id;
    require(port.library().changed(argument, &id), "ending a subscription");
}

} // namespace

void measureEvents(Report& report) {
    const WatchedPort port;
    measureListener(report, port);
    measureScript(report, port);
}

} // namespace zorvan::bench

// Measures how long an event takes from the driver's signal to a listener, compared with what the system itself needs
// to wake one thread from another. Medians of 1,000 each, in microseconds.
//
// The signal happens somewhere within a control request, so three ways are measured: from the request to a listener
// of the library, from the request to a bare wait on an event that the driver signals, and from one thread's SetEvent
// to another one's wait. Creates two ports and deletes them.
#include "port_control.h"

#include "base/com_object.h"
#include "base/hresult_error.h"
#include "base/unique.h"
#include "driver/control_channel.h"

#include <zorvanlib.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

namespace zorvan::devkit {

namespace {

constexpr int kSamples = 1000;
constexpr int kWarmUp = 20;
constexpr DWORD kTimeLimit = 10000; // milliseconds
constexpr DWORD kPause = 15;        // milliseconds: the library looks the port's name up after each report

LONGLONG now() {
    LARGE_INTEGER ticks;
    QueryPerformanceCounter(&ticks);
    return ticks.QuadPart;
}

double microseconds(LONGLONG ticks) {
    LARGE_INTEGER perSecond;
    QueryPerformanceFrequency(&perSecond);
    return 1e6 * static_cast<double>(ticks) / static_cast<double>(perSecond.QuadPart);
}

UniqueHandle createEvent() {
    UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!event)
        throwLastError();
    return event;
}

void await(HANDLE event) {
    if (WaitForSingleObject(event, kTimeLimit) != WAIT_OBJECT_0)
        throw HResultError(hresultFromWin32(ERROR_TIMEOUT));
}

// Runs one sample after another and returns the median of what they return.
double median(const std::function<LONGLONG()>& sample) {
    std::vector<LONGLONG> samples;
    for (int i = -kWarmUp; i < kSamples; ++i) {
        const LONGLONG ticks = sample();
        if (i >= 0)
            samples.push_back(ticks);
    }
    std::nth_element(samples.begin(), samples.begin() + kSamples / 2, samples.end());
    return microseconds(samples[kSamples / 2]);
}

class Listener final : public ComObject<IVirtualSerialLibraryListener> {
public:
    HRESULT STDMETHODCALLTYPE added(SAFEARRAY*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice* device, ChangeMode) noexcept override {
        if (device == measured)
            called = now();
        SetEvent(device == measured ? heard.get() : heardOther.get());
        return S_OK;
    }

    std::atomic<IVirtualSerialDevice*> measured{nullptr};
    std::atomic<LONGLONG> called{0};
    UniqueHandle heard = createEvent();
    UniqueHandle heardOther = createEvent();
};

using Device = ComPointer<IVirtualSerialDevice>;
using Library = ComPointer<IVirtualSerialLibrary>;

// Two ports that are deleted with this.
class Ports {
public:
    explicit Ports(IVirtualSerialLibrary& library) : first_(create(library)), second_(create(library)) {}
    Ports(const Ports&) = delete;
    Ports& operator=(const Ports&) = delete;
    ~Ports() {
        first_->deleteDevice(); // a port that stays is seen in the next listing
        second_->deleteDevice();
    }

    IVirtualSerialDevice* first() const { return first_.get(); }
    std::wstring firstPath() const { return controlPathOf(nameOf(*first_)); }
    std::wstring secondName() const { return nameOf(*second_); }

private:
    static Device create(IVirtualSerialLibrary& library) {
        VARIANT anyNumber{};
        Device device;
        throwIfFailed(library.createDevice(anyNumber, device.put()));
        return device;
    }

    static std::wstring nameOf(IVirtualSerialDevice& device) {
        BSTR text = nullptr;
        throwIfFailed(device.get_portName(&text));
        std::wstring name(text, SysStringLen(text));
        SysFreeString(text);
        return name;
    }

    Device first_;
    Device second_;
};

Library createLibrary() {
    Library library;
    throwIfFailed(CoCreateInstance(
        __uuidof(VirtualSerialLibrary), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IVirtualSerialLibrary),
        reinterpret_cast<void**>(library.put())));
    return library;
}

double requestToListener(IVirtualSerialLibrary& library, const Ports& ports) {
    const auto listener = makeComObject<Listener>();
    listener->measured = ports.first();
    throwIfFailed(library.addListener(listener.get()));
    const auto path = ports.firstPath();
    const auto partner = ports.secondName();
    const auto awaitBoth = [&] {
        await(listener->heard.get());
        await(listener->heardOther.get());
    };
    const double result = median([&] {
        Sleep(kPause);
        const LONGLONG begun = now();
        bridge(path, partner); // the driver signals the first port's event first
        awaitBoth();
        const LONGLONG ticks = listener->called - begun;
        disconnect(path);
        awaitBoth();
        return ticks;
    });
    throwIfFailed(library.removeListener(listener.get()));
    return result;
}

// Lets the driver signal an event of this process, as the library does for each of its devices.
void giveEvent(const std::wstring& path, HANDLE event) {
    const auto id = driver::query<std::uint32_t>(path, protocol::Query::HostProcessId);
    const UniqueHandle host(OpenProcess(PROCESS_DUP_HANDLE, FALSE, id));
    HANDLE copy = nullptr;
    if (!host ||
        DuplicateHandle(GetCurrentProcess(), event, host.get(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS) == FALSE)
        throwLastError();
    driver::sendRecord(path, protocol::Set::HostEvent, reinterpret_cast<std::uint64_t>(copy));
}

// A thread that notes when its wait for an event ends.
class Waiter {
public:
    explicit Waiter(HANDLE event) : event_(event), thread_([this] { run(); }) {}
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    ~Waiter() {
        stopping_ = true;
        SetEvent(event_);
        thread_.join();
    }

    // The time at which the wait ended.
    LONGLONG awaitWoken() const {
        await(heard_.get());
        return woken_;
    }

private:
    void run() {
        while (WaitForSingleObject(event_, INFINITE) == WAIT_OBJECT_0 && !stopping_) {
            woken_ = now();
            SetEvent(heard_.get());
        }
    }

    HANDLE event_;
    UniqueHandle heard_ = createEvent();
    std::atomic<LONGLONG> woken_{0};
    std::atomic<bool> stopping_{false};
    std::thread thread_; // the last member: it uses the others
};

double requestToBareWait(const Ports& ports) {
    const auto event = createEvent();
    const auto path = ports.firstPath();
    const auto partner = ports.secondName();
    giveEvent(path, event.get());
    const Waiter waiter(event.get());
    return median([&] {
        const LONGLONG begun = now();
        bridge(path, partner);
        const LONGLONG ticks = waiter.awaitWoken() - begun;
        disconnect(path);
        waiter.awaitWoken();
        return ticks;
    });
}

double threadToThread() {
    const auto event = createEvent();
    const Waiter waiter(event.get());
    return median([&] {
        const LONGLONG begun = now();
        SetEvent(event.get());
        return waiter.awaitWoken() - begun;
    });
}

void print(const char* name, double value) {
    std::printf("%-22s %10.1f\n", name, value);
}

void measure() {
    const auto library = createLibrary();
    const Ports ports(*library);
    const double toListener = requestToListener(*library, ports);
    const double toBareWait = requestToBareWait(ports);
    const double bare = threadToThread();
    const double signalToListener = toListener - toBareWait + bare;
    print("request-to-listener", toListener);
    print("request-to-bare-wait", toBareWait);
    print("thread-to-thread", bare);
    print("signal-to-listener", signalToListener);
    print("ratio", signalToListener / bare);
}

} // namespace

} // namespace zorvan::devkit

int main() {
    HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(result)) {
        result = zorvan::comBoundary([] { zorvan::devkit::measure(); });
        CoUninitialize();
    }
    if (FAILED(result))
        std::fprintf(stderr, "event_latency: error 0x%08lX\n", result);
    return FAILED(result) ? 1 : 0;
}

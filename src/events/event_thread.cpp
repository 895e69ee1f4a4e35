#include "events/event_thread.h"

#include "base/hresult_error.h"
#include "base/module_instance.h"
#include "events/message_window.h"
#include "pnp/device_classes.h"

#include <dbt.h>

#include <utility>

namespace zorvan {

namespace {

[[noreturn]] void throwNoThread() {
    throw HResultError(E_FAIL);
}

// One more reference on this module, for a thread that runs its code.
void addModuleReference() {
    HMODULE module = nullptr;
    if (GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(moduleInstance()), &module) == FALSE)
        throwNoThread();
}

bool tellsOfDevices(WPARAM event, LPARAM data) {
    if (event != DBT_DEVNODES_CHANGED && event != DBT_DEVICEARRIVAL && event != DBT_DEVICEREMOVECOMPLETE)
        return false;
    const auto* header = reinterpret_cast<const DEV_BROADCAST_HDR*>(data);
    return header != nullptr && header->dbch_devicetype == DBT_DEVTYP_DEVICEINTERFACE;
}

std::vector<HANDLE> handlesOf(const std::vector<WaitedDevice>& devices) {
    std::vector<HANDLE> handles;
    handles.reserve(devices.size());
    for (const auto& device : devices)
        handles.push_back(device.event.get());
    return handles;
}

} // namespace

EventThread::EventThread(EventThreadClient& client)
    : client_(client), started_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (!started_)
        throwNoThread();
    addModuleReference();
    thread_.reset(CreateThread(nullptr, 0, threadMain, this, 0, &id_));
    if (!thread_) {
        FreeLibrary(moduleInstance());
        throwNoThread();
    }
    WaitForSingleObject(started_.get(), INFINITE); // fails only for an invalid handle
}

EventThread::~EventThread() {
    if (isCurrentThread())
        return;
    stop();
    WaitForSingleObject(thread_.get(), INFINITE);
}

void EventThread::destroyClientAtEnd() {
    destroysClient_ = true;
    stopping_ = true;
}

void EventThread::stop() {
    stopping_ = true;
    // A full message queue empties again. Without a window there is no loop to end, and the message would go to this
    // very thread. Where the process is ending, the system has ended the thread and taken its window.
    constexpr DWORD kRetryMs = 1;
    for (HWND window = window_; window != nullptr && PostMessageW(window, WM_QUIT, 0, 0) == FALSE; window = window_)
        if (WaitForSingleObject(thread_.get(), kRetryMs) != WAIT_TIMEOUT)
            return;
}

DWORD WINAPI EventThread::threadMain(void* parameter) {
    auto& thread = *static_cast<EventThread*>(parameter);
    thread.run();
    // After this the thread object may be gone, with the client that owns it.
    if (thread.destroysClient_)
        thread.client_.destroy();
    FreeLibraryAndExitThread(moduleInstance(), 0);
}

void EventThread::run() {
    const WindowClass windowClass(windowProcedure);
    const auto window = windowClass.createWindow(this);
    window_ = window.get();
    // Without notifications the devices' own events still arrive.
    const auto notification =
        window ? notifyOfDevices(window.get(), pnp::kControlInterface) : UniqueDeviceNotification();
    SetEvent(started_.get());
    if (window)
        loop();
    window_ = nullptr;
}

void EventThread::loop() {
    while (!stopping_) {
        try {
            pass();
        } catch (...) {
            // Out of memory: the next pass may fare better.
            continue;
        }
    }
}

void EventThread::pass() {
    const auto devices = client_.devicesToWaitFor();
    const auto handles = handlesOf(devices);
    const auto count = static_cast<DWORD>(handles.size());
    // With more handles than the system allows every wait fails: oddity 28 of docs/architecture.md.
    const DWORD signalled = MsgWaitForMultipleObjects(count, handles.data(), FALSE, INFINITE, QS_ALLINPUT);
    if (signalled == WAIT_OBJECT_0 + count)
        drainMessages();
    else if (signalled < WAIT_OBJECT_0 + count)
        report([&] { client_.deviceSignalled(devices[signalled].instanceId); });
    lookForChanges(); // that were announced during the report
}

void EventThread::drainMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        if (message.message == WM_QUIT) {
            stopping_ = true;
            return;
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

// A listener that lets messages in would otherwise have one look at the system begin inside another, which waits for
// itself.
void EventThread::lookForChanges() noexcept {
    while (!reporting_ && !stopping_ && std::exchange(changesAnnounced_, false))
        report([&] { client_.devicesChanged(); });
}

template <class Report>
void EventThread::report(Report&& makeReport) noexcept {
    reporting_ = true;
    try {
        makeReport();
    } catch (...) {
        // There is nobody to tell: whoever produced the event is another program.
    }
    reporting_ = false;
}

LRESULT CALLBACK EventThread::windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    }
    if (message != WM_DEVICECHANGE)
        return DefWindowProcW(window, message, wParam, lParam);

    auto* thread = reinterpret_cast<EventThread*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (thread != nullptr && tellsOfDevices(wParam, lParam)) {
        thread->changesAnnounced_ = true;
        thread->lookForChanges();
    }
    return 0;
}

} // namespace zorvan

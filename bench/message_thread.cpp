#include "message_thread.h"

#include "support/expect.h"

#include <algorithm>

namespace zorvan::bench {

using test::expect;

namespace {

UniqueHandle createEvent() {
    UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    expect(static_cast<bool>(event), "an event");
    return event;
}

} // namespace

HWND libraryWindow() {
    HWND window = nullptr;
    DWORD process = 0;
    do {
        window = FindWindowExW(HWND_MESSAGE, window, L"ZorvanlibEventWindow", nullptr);
        expect(window != nullptr, "the library object's window");
        GetWindowThreadProcessId(window, &process);
    } while (process != GetCurrentProcessId());
    return window;
}

MessageThread::MessageThread(std::size_t events, std::function<void()> onEvent, std::function<void()> onMessage)
    : events_(events), onEvent_(std::move(onEvent)), onMessage_(std::move(onMessage)), ready_(createEvent()) {
    std::generate(events_.begin(), events_.end(), createEvent);
    thread_ = std::thread([this] { run(); });
    WaitForSingleObject(ready_.get(), INFINITE);
}

MessageThread::~MessageThread() {
    PostMessageW(window_, WM_QUIT, 0, 0);
    thread_.join();
}

void MessageThread::run() {
    window_ = CreateWindowExW(
        0, L"STATIC", nullptr, WS_CHILD, 0, 0, 0, 0, HWND_MESSAGE, nullptr, GetModuleHandleW(nullptr), nullptr);
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetWindowLongPtrW(window_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(windowProcedure));
    SetEvent(ready_.get());

    std::vector<HANDLE> handles;
    for (const auto& event : events_)
        handles.push_back(event.get());
    const auto count = static_cast<DWORD>(handles.size());
    bool going = true;
    while (going) {
        if (MsgWaitForMultipleObjects(count, handles.data(), FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0)
            onEvent_();
        else
            going = takeMessages();
    }
    DestroyWindow(window_);
}

bool MessageThread::takeMessages() const {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        if (message.message == WM_QUIT)
            return false;
        DispatchMessageW(&message);
    }
    return true;
}

LRESULT CALLBACK MessageThread::windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_APP)
        return DefWindowProcW(window, message, wParam, lParam);
    reinterpret_cast<MessageThread*>(GetWindowLongPtrW(window, GWLP_USERDATA))->onMessage_();
    return 0;
}

} // namespace zorvan::bench

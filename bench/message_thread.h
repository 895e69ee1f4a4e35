// A thread that waits for events and messages as the library's event thread does, and does what it is told to.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <functional>
#include <thread>
#include <vector>

namespace zorvan::bench {

// The window of this process's library object, to which the system sends what happens to devices.
HWND libraryWindow();

class MessageThread {
public:
    // The thread does onEvent when the first of so many events is set, onMessage when its window is sent WM_APP.
    MessageThread(std::size_t events, std::function<void()> onEvent, std::function<void()> onMessage);
    MessageThread(const MessageThread&) = delete;
    MessageThread& operator=(const MessageThread&) = delete;
    ~MessageThread();

    HANDLE event() const { return events_.front().get(); }
    HWND window() const { return window_; }

private:
    void run();
    bool takeMessages() const;
    static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    std::vector<UniqueHandle> events_;
    std::function<void()> onEvent_;
    std::function<void()> onMessage_;
    UniqueHandle ready_;
    HWND window_ = nullptr;
    std::thread thread_; // the last member: it uses the others
};

} // namespace zorvan::bench

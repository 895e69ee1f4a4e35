// The background thread of a library object: it hears from the system which devices come and go, and from the devices
// when they change.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <atomic>
#include <string>
#include <vector>

namespace zorvan {

// A device's notification event, duplicated for the thread to wait on.
struct WaitedDevice {
    UniqueHandle event;
    std::wstring instanceId;
};

// Whom the thread works for. Everything here is called on the event thread.
class EventThreadClient {
public:
    // Devices may have come or gone.
    virtual void devicesChanged() = 0;

    // The driver has signalled this device's event.
    virtual void deviceSignalled(const std::wstring& instanceId) = 0;

    virtual std::vector<WaitedDevice> devicesToWaitFor() const = 0;

    virtual void destroy() noexcept = 0;

protected:
    ~EventThreadClient() = default;
};

// The thread keeps the module loaded until it has ended.
class EventThread {
public:
    // Returns when the thread hears of changes, or has ended because it got no window: its client then hears of none.
    // Throws a standard exception when no thread can be started.
    explicit EventThread(EventThreadClient& client);
    EventThread(const EventThread&) = delete;
    EventThread& operator=(const EventThread&) = delete;

    // Ends the thread and waits for it; on the event thread itself, which cannot wait for its own end, just lets go.
    ~EventThread();

    bool isCurrentThread() const { return GetCurrentThreadId() == id_; }

    // For the event thread: it ends when it has finished what it is doing, and then destroys the client.
    void destroyClientAtEnd();

private:
    static DWORD WINAPI threadMain(void* parameter);
    static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    void run();
    void loop();
    void pass();
    void drainMessages();
    void lookForChanges() noexcept;
    void stop();

    template <class Report>
    void report(Report&& makeReport) noexcept;

    EventThreadClient& client_;
    UniqueHandle started_;
    std::atomic<HWND> window_{nullptr};
    std::atomic<bool> stopping_{false};
    bool destroysClient_ = false;
    bool reporting_ = false;
    bool changesAnnounced_ = false; // and not looked for yet
    DWORD id_ = 0;
    UniqueHandle thread_;
};

} // namespace zorvan

// Delivers what has changed: to listeners at once, to script callbacks through the event queue.
#pragma once

#include "device/virtual_serial_device.h"
#include "events/event_queue.h"
#include "events/listeners.h"
#include "events/script_subscriptions.h"

namespace zorvan {

// Whose events these are.
class EventOwner {
public:
    // Listeners are called with a reference held, so that they may release the last other one. False: that one is
    // gone already, and nobody is left to tell.
    virtual bool tryAddReference() noexcept = 0;
    virtual void releaseReference() noexcept = 0;

protected:
    ~EventOwner() = default;
};

class Publisher {
public:
    explicit Publisher(EventOwner& owner) : owner_(owner) {}
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    Listeners& listeners() { return listeners_; }
    ScriptSubscriptions& subscriptions() { return subscriptions_; }
    EventQueue& queue() { return queue_; }

    // Lists that are not empty.
    void devicesAdded(const DeviceHolds& devices);
    void devicesDeleted(const DeviceHolds& devices);
    void deviceChanged(CVirtualSerialDevice& device, ChangeMode mode);

private:
    template <class Report>
    void callListeners(Report&& report);
    void queueList(ScriptEvent event, const DeviceHolds& devices);

    EventOwner& owner_;
    Listeners listeners_;
    ScriptSubscriptions subscriptions_;
    EventQueue queue_;
};

// Runs the queue's items on this thread until one of them or the keep-alive says to stop. A null keep-alive fails
// with E_POINTER when its turn comes; throws what the keep-alive's call or the conversion of its answer fails with.
void dispatchUntilStopped(EventQueue& queue, IDispatch* keepAlive, DWORD intervalMs);

} // namespace zorvan

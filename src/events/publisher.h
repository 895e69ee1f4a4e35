// Delivers what has changed: to listeners at once, to script callbacks through the event queue.
#pragma once

#include "events/change_sink.h"
#include "events/event_queue.h"
#include "events/listeners.h"
#include "events/script_subscriptions.h"

namespace zorvan {

class Publisher final : public ChangeSink {
public:
    Listeners& listeners() { return listeners_; }
    ScriptSubscriptions& subscriptions() { return subscriptions_; }
    EventQueue& queue() { return queue_; }

    void devicesAdded(const DeviceReferences& devices) override;
    void devicesDeleted(const DeviceReferences& devices) override;
    void deviceChanged(IVirtualSerialDevice& device, ChangeMode mode);

private:
    void queueList(ScriptEvent event, const DeviceReferences& devices);

    Listeners listeners_;
    ScriptSubscriptions subscriptions_;
    EventQueue queue_;
};

// Runs the queue's items on this thread until one of them or the keep-alive says to stop. A null keep-alive fails
// with E_POINTER when its turn comes; throws what the keep-alive's call or the conversion of its answer fails with.
void dispatchUntilStopped(EventQueue& queue, IDispatch* keepAlive, DWORD intervalMs);

} // namespace zorvan

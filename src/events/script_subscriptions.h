// The callbacks of scripts, by the name of the event.
#pragma once

#include "base/com_pointer.h"
#include "base/slim_lock.h"

#include <oaidl.h>

#include <memory>
#include <vector>

namespace zorvan {

enum class ScriptEvent { Added, Deleted, Changed };

// A script's object belongs to its script's thread and counts its references for that thread alone. So it gets one,
// on the thread that subscribes, and the threads that report events share it.
using Callback = std::shared_ptr<const ComPointer<IDispatch>>;
using Callbacks = std::vector<Callback>;

class ScriptSubscriptions {
public:
    ScriptSubscriptions() = default;
    ScriptSubscriptions(const ScriptSubscriptions&) = delete;
    ScriptSubscriptions& operator=(const ScriptSubscriptions&) = delete;

    // The new subscription's identifier: 1, 2 and so on, one sequence for all events.
    LONG subscribe(ScriptEvent event, IDispatch* callback);

    // An identifier that stands for no subscription is no error.
    void unsubscribe(LONG id);

    // In the order in which they subscribed.
    Callbacks callbacks(ScriptEvent event) const;

private:
    struct Subscription {
        ScriptEvent event;
        LONG id;
        Callback callback;
    };

    mutable SlimLock lock_;
    ULONG lastId_ = 0;
    std::vector<Subscription> subscriptions_;
};

} // namespace zorvan

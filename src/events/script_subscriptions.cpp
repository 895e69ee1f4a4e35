#include "events/script_subscriptions.h"

#include <algorithm>
#include <shared_mutex>

namespace zorvan {

LONG ScriptSubscriptions::subscribe(ScriptEvent event, IDispatch* callback) {
    auto shared = std::make_shared<const ComPointer<IDispatch>>(callback);
    const HeldLock writing(lock_);
    const auto id = static_cast<LONG>(lastId_ + 1);
    subscriptions_.push_back({event, id, std::move(shared)});
    ++lastId_;
    return id;
}

void ScriptSubscriptions::unsubscribe(LONG id) {
    Callback removed; // released after the lock: its end may call back
    const HeldLock writing(lock_);
    const auto found =
        std::find_if(subscriptions_.begin(), subscriptions_.end(), [&](const auto& entry) { return entry.id == id; });
    if (found == subscriptions_.end())
        return;
    removed = std::move(found->callback);
    subscriptions_.erase(found);
}

Callbacks ScriptSubscriptions::callbacks(ScriptEvent event) const {
    const std::shared_lock reading(lock_);
    Callbacks callbacks;
    for (const auto& subscription : subscriptions_)
        if (subscription.event == event)
            callbacks.push_back(subscription.callback);
    return callbacks;
}

} // namespace zorvan

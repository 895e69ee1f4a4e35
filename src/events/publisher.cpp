#include "events/publisher.h"

#include "base/automation.h"
#include "base/hresult_error.h"
#include "events/device_array.h"

#include <memory>

namespace zorvan {

namespace {

// The owner's reference during a report, if there still is one to be had.
class OwnerReference {
public:
    explicit OwnerReference(EventOwner& owner) : owner_(owner), held_(owner.tryAddReference()) {}
    OwnerReference(const OwnerReference&) = delete;
    OwnerReference& operator=(const OwnerReference&) = delete;
    ~OwnerReference() {
        if (held_)
            owner_.releaseReference();
    }

    explicit operator bool() const { return held_; }

private:
    EventOwner& owner_;
    const bool held_;
};

// Devices on their way to a script. A COM reference in the queue would keep the library alive, which owns the queue;
// a hold does not.
std::shared_ptr<const DeviceHolds> holdAll(const DeviceHolds& devices) {
    auto held = std::make_shared<DeviceHolds>();
    held->reserve(devices.size());
    for (const auto& device : devices)
        held->push_back(device.get()->hold());
    return held;
}

// The devices hold the library.
DeviceSnapshot snapshotOf(const DeviceHolds& held) {
    DeviceSnapshot snapshot;
    snapshot.devices.reserve(held.size());
    for (const auto& device : held)
        snapshot.devices.emplace_back(device.get());
    return snapshot;
}

// Calls an object's default member; the arguments stand in automation's order, the last one first.
HRESULT callDefault(IDispatch& object, std::vector<Variant>& arguments, Variant& result) {
    DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    return object.Invoke(
        DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result, nullptr, nullptr);
}

void callBack(IDispatch& callback, std::vector<Variant> arguments) {
    Variant ignored;
    callDefault(callback, arguments, ignored); // what a callback returns is its own affair
}

bool keepsAlive(IDispatch& keepAlive) {
    std::vector<Variant> none;
    Variant answer;
    throwIfFailed(callDefault(keepAlive, none, answer));
    return convertVariant(answer, VT_BOOL).boolVal != VARIANT_FALSE;
}

} // namespace

template <class Report>
void Publisher::callListeners(Report&& report) {
    if (listeners_.empty())
        return;
    if (const OwnerReference reference(owner_); reference)
        report();
}

void Publisher::devicesAdded(const DeviceHolds& devices) {
    callListeners([&] { listeners_.added(devices); });
    queueList(ScriptEvent::Added, devices);
}

void Publisher::devicesDeleted(const DeviceHolds& devices) {
    callListeners([&] { listeners_.deleted(devices); });
    queueList(ScriptEvent::Deleted, devices);
}

void Publisher::queueList(ScriptEvent event, const DeviceHolds& devices) {
    auto callbacks = subscriptions_.callbacks(event);
    if (callbacks.empty())
        return;
    const auto held = holdAll(devices);
    for (auto& callback : callbacks)
        queue_.add([callback = std::move(callback), held] {
            std::vector<Variant> arguments(1);
            arguments[0] = dispatchVariant(makeComObject<CDeviceArray>(snapshotOf(*held)));
            callBack(**callback, std::move(arguments));
            return true;
        });
}

void Publisher::deviceChanged(CVirtualSerialDevice& device, ChangeMode mode) {
    callListeners([&] { listeners_.changed(*ComPointer<IVirtualSerialDevice>(&device), mode); });
    for (auto& callback : subscriptions_.callbacks(ScriptEvent::Changed)) {
        const auto held = std::make_shared<DeviceHold>(device.hold());
        queue_.add([callback = std::move(callback), held, mode] {
            std::vector<Variant> arguments(2);
            arguments[0] = longVariant(mode);
            arguments[1] = dispatchVariant(ComPointer<IDispatch>(held->get()));
            callBack(**callback, std::move(arguments));
            return true;
        });
    }
}

void dispatchUntilStopped(EventQueue& queue, IDispatch* keepAlive, DWORD intervalMs) {
    for (;;) {
        if (auto item = queue.take(intervalMs)) {
            if (!(*item)())
                return;
        } else {
            requirePointer(keepAlive);
            if (!keepsAlive(*keepAlive))
                return;
        }
    }
}

} // namespace zorvan

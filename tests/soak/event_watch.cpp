#include "event_watch.h"

#include <algorithm>
#include <chrono>

namespace zorvan::devkit {

namespace {

constexpr std::chrono::seconds kPatience{20};

struct Heard {
    ComPtr<IVirtualSerialDevice> device; // kept, so that no other device gets the same address
    unsigned added = 0;
    unsigned deleted = 0;
};

} // namespace

class EventWatch::Listener final : public ComObject<IVirtualSerialLibraryListener> {
public:
    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override {
        noteAll(devices, &Heard::added);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override {
        noteAll(devices, &Heard::deleted);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice*, ChangeMode) noexcept override {
        const std::lock_guard lock(lock_);
        ++events_;
        return S_OK;
    }

    void await(IVirtualSerialDevice& device, unsigned Heard::*what, const char* complaint) {
        std::unique_lock lock(lock_);
        expect(
            noted_.wait_for(
                lock, kPatience,
                [&] {
                    const auto heard = heard_.find(&device);
                    return heard != heard_.end() && heard->second.*what != 0;
                }),
            complaint);
    }

    // Devices are released after the lock.
    std::map<const IVirtualSerialDevice*, Heard> takeHeard() {
        std::map<const IVirtualSerialDevice*, Heard> heard;
        const std::lock_guard lock(lock_);
        heard.swap(heard_);
        return heard;
    }

    unsigned long long events() {
        const std::lock_guard lock(lock_);
        return events_;
    }

private:
    void noteAll(SAFEARRAY* devices, unsigned Heard::*what) {
        const std::lock_guard lock(lock_);
        for (ULONG i = 0; i < devices->rgsabound[0].cElements; ++i) {
            auto* const device = static_cast<IVirtualSerialDevice**>(devices->pvData)[i];
            auto& heard = heard_[device];
            heard.device = device;
            ++(heard.*what);
            ++events_;
        }
        noted_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable noted_;
    std::map<const IVirtualSerialDevice*, Heard> heard_;
    unsigned long long events_ = 0;
};

EventWatch::EventWatch(const ComPtr<IVirtualSerialLibrary>& library) : library_(library), listener_(new Listener) {
    check(library_->addListener(listener_.Get()), "addListener");
}

EventWatch::~EventWatch() {
    library_->removeListener(listener_.Get()); // cannot fail for a listener that is registered
    listener_->takeHeard();                    // the devices keep their library alive
}

void EventWatch::awaitAdded(IVirtualSerialDevice& device) {
    listener_->await(device, &Heard::added, "that a created port is reported within 20 s");
}

void EventWatch::awaitDeleted(IVirtualSerialDevice& device) {
    listener_->await(device, &Heard::deleted, "that the deletion of a port is reported within 20 s");
}

void EventWatch::expectComplete(std::initializer_list<const IVirtualSerialDevice*> ports, bool alone) {
    const auto heard = listener_->takeHeard();
    const bool once = std::all_of(ports.begin(), ports.end(), [&](const IVirtualSerialDevice* port) {
        const auto found = heard.find(port);
        return found != heard.end() && found->second.added == 1 && found->second.deleted == 1;
    });
    expect(once, "that each port is reported as added once and as deleted once");
    expect(!alone || heard.size() == ports.size(), "that no other port is reported");
}

unsigned long long EventWatch::events() const {
    return listener_->events();
}

} // namespace zorvan::devkit

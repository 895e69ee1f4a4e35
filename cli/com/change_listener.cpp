#include "com/change_listener.h"

#include "com/failure.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace portwright {

// The library holds its locks while it waits for a listener: this one notes what it is told and returns.
class ChangeListener::Receiver final : public IVirtualSerialLibraryListener {
public:
    Receiver() : event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
        if (!event_)
            throwLastError("watch the ports");
    }

    HANDLE event() const { return event_.get(); }

    std::vector<Change> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(changes_, {});
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override {
        const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IVirtualSerialLibraryListener);
        *object = known ? this : nullptr;
        if (known)
            AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() noexcept override {
        const ULONG left = --references_;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override { return noteAll("added", devices); }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override { return noteAll("deleted", devices); }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice* device, ChangeMode mode) noexcept override {
        return note(mode == Change_PortName ? "renamed" : "mode", zorvan::ComPointer(device));
    }

private:
    ~Receiver() = default;

    HRESULT noteAll(const char* event, SAFEARRAY* devices) noexcept {
        HRESULT result = S_OK;
        for (ULONG i = 0; i < devices->rgsabound[0].cElements; ++i) {
            zorvan::ComPointer<IVirtualSerialDevice> device;
            auto* const element = static_cast<IDispatch**>(devices->pvData)[i];
            result = element->QueryInterface(__uuidof(IVirtualSerialDevice), reinterpret_cast<void**>(device.put()));
            if (SUCCEEDED(result))
                result = note(event, device);
        }
        return result;
    }

    // The library has the name at hand; what asks the driver is left to the one who takes the change.
    HRESULT note(const char* event, const zorvan::ComPointer<IVirtualSerialDevice>& device) noexcept try {
        Change change{{}, event, Port(device).name(), device};
        GetSystemTime(&change.time);
        const std::lock_guard lock(mutex_);
        changes_.push_back(std::move(change));
        SetEvent(event_.get());
        return S_OK;
    } catch (...) {
        return E_OUTOFMEMORY; // the only thing that can fail
    }

    std::atomic<ULONG> references_{0};
    std::mutex mutex_;
    std::vector<Change> changes_;
    zorvan::UniqueHandle event_;
};

ChangeListener::ChangeListener(const Library& library) : library_(library.object()), receiver_(new Receiver) {
    check(library_.addListener(receiver_.get()), "watch the ports");
}

// Cannot fail for a listener that was added.
ChangeListener::~ChangeListener() {
    library_.removeListener(receiver_.get());
}

HANDLE ChangeListener::event() const {
    return receiver_->event();
}

std::vector<Change> ChangeListener::take() const {
    return receiver_->take();
}

} // namespace portwright

// A listener that notes what it is told.
#pragma once

#include "base/com_object.h"
#include "client.h"

#include <algorithm>
#include <mutex>

namespace zorvan::test {

struct Event {
    std::string what;
    ComPointer<IVirtualSerialDevice> device; // kept, so that no other device gets the same address
    std::wstring portName;
    DWORD thread;

    bool isOf(const IVirtualSerialDevice* which) const { return device.get() == which; }
    bool isOf(const std::wstring& name) const { return portName == name; }
};

class EventWatch final : public ComObject<IVirtualSerialLibraryListener> {
public:
    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override { return noteAll("added", devices); }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override { return noteAll("deleted", devices); }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice* device, ChangeMode mode) noexcept override {
        note(mode == Change_PortName ? "renamed" : "mode", device);
        return S_OK;
    }

    std::vector<Event> events() {
        const std::lock_guard lock(lock_);
        return events_;
    }
    // Of a device, or of a port name.
    template <class Port>
    std::size_t count(const std::string& what, const Port& port) {
        const auto all = events();
        const auto isMeant = [&](const Event& event) { return event.what == what && event.isOf(port); };
        return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), isMeant));
    }
    // What was heard since it was forgotten.
    std::vector<Event> forget() {
        const std::lock_guard lock(lock_);
        return std::exchange(events_, {});
    }

private:
    HRESULT noteAll(const char* what, SAFEARRAY* devices) {
        for (ULONG i = 0; i < devices->rgsabound[0].cElements; ++i)
            note(what, static_cast<IVirtualSerialDevice**>(devices->pvData)[i]);
        return S_OK;
    }
    void note(const char* what, IVirtualSerialDevice* device) {
        const auto name = portName(*device);
        const std::lock_guard lock(lock_);
        events_.push_back({what, ComPointer(device), name, GetCurrentThreadId()});
    }

    std::mutex lock_;
    std::vector<Event> events_;
};

} // namespace zorvan::test

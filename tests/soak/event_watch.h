// Watches the events of a library: each port must be added exactly once and deleted exactly once.
#pragma once

#include "examples/client.h"

#include "base/com_object.h"

#include <condition_variable>
#include <initializer_list>
#include <map>
#include <mutex>

namespace zorvan::devkit {

// Registered with a library for as long as it lives. Failures are thrown as std::runtime_error.
class EventWatch {
public:
    explicit EventWatch(const ComPtr<IVirtualSerialLibrary>& library);
    EventWatch(const EventWatch&) = delete;
    EventWatch& operator=(const EventWatch&) = delete;
    ~EventWatch();

    void awaitAdded(IVirtualSerialDevice& device);
    void awaitDeleted(IVirtualSerialDevice& device);

    // Each of these ports has been added once and deleted once. All that was heard is forgotten: an event that comes
    // later still is one too many. Alone, nothing may have been heard of any other port.
    void expectComplete(std::initializer_list<const IVirtualSerialDevice*> ports, bool alone);

    unsigned long long events() const;

private:
    class Listener;

    ComPtr<IVirtualSerialLibrary> library_;
    ComPtr<Listener> listener_;
};

} // namespace zorvan::devkit

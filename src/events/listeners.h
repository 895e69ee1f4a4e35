// The listener objects of compiled clients.
#pragma once

#include "base/com_pointer.h"
#include "base/slim_lock.h"
#include "device/virtual_serial_device.h"

#include <zorvanlib.h>

#include <vector>

namespace zorvan {

// Listeners are called on the thread that reports, in the order in which they were added, with the list locked
// shared: a listener that adds or removes listeners blocks for ever. What they return is not looked at.
class Listeners {
public:
    Listeners() = default;
    Listeners(const Listeners&) = delete;
    Listeners& operator=(const Listeners&) = delete;

    // The same listener may be added more than once.
    void add(IVirtualSerialLibraryListener* listener);

    // Removes the first entry that is this very pointer, if there is one.
    void remove(IVirtualSerialLibraryListener* listener);

    bool empty() const;

    // Throw when the array of devices cannot be made.
    void added(const DeviceHolds& devices);
    void deleted(const DeviceHolds& devices);

    void changed(IVirtualSerialDevice& device, ChangeMode mode);

private:
    using ListEvent = HRESULT (STDMETHODCALLTYPE IVirtualSerialLibraryListener::*)(SAFEARRAY*);
    void report(ListEvent event, const DeviceHolds& devices);

    mutable SlimLock lock_;
    std::vector<ComPointer<IVirtualSerialLibraryListener>> listeners_;
};

} // namespace zorvan

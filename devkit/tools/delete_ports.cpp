// Deletes every virtual COM port through the registered library, for instance before the library is uninstalled.
//
//   delete_ports.exe
#include "base/com_pointer.h"
#include "base/hresult_error.h"

#include <zorvanlib.h>

#include <objbase.h>

#include <cstdio>

using namespace zorvan;

namespace {

class Apartment {
public:
    Apartment() { throwIfFailed(CoInitializeEx(nullptr, COINIT_MULTITHREADED)); }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment() { CoUninitialize(); }
};

ComPointer<IDeviceCollection> ports() {
    ComPointer<IVirtualSerialLibrary> library;
    throwIfFailed(CoCreateInstance(
        __uuidof(VirtualSerialLibrary), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IVirtualSerialLibrary),
        reinterpret_cast<void**>(library.put())));
    ComPointer<IDeviceCollection> devices;
    throwIfFailed(library->get_devicesCollection(devices.put()));
    return devices;
}

void deletePorts() {
    const auto devices = ports(); // a snapshot: deleting does not change it
    LONG count = 0;
    throwIfFailed(devices->get_Count(&count));
    for (LONG i = 0; i < count; ++i) {
        VARIANT index{};
        index.vt = VT_I4;
        index.lVal = i;
        ComPointer<IVirtualSerialDevice> device;
        throwIfFailed(devices->get_Item(index, device.put()));
        throwIfFailed(device->deleteDevice());
    }
}

} // namespace

int main() {
    try {
        const Apartment apartment;
        deletePorts();
        return 0;
    } catch (const HResultError& error) {
        std::fprintf(stderr, "delete_ports: error 0x%08lX\n", error.code());
        return 1;
    }
}

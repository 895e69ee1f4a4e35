#include "com/library.h"

#include "com/failure.h"
#include "com/text.h"

#include <objbase.h>

#include <algorithm>

namespace portwright {
namespace {

constexpr char kNoDriver[] = "see what portwright doctor says; portwright install puts the driver package in place";

Port portAt(IDeviceCollection& devices, LONG index) {
    VARIANT argument{};
    argument.vt = VT_I4;
    argument.lVal = index;
    zorvan::ComPointer<IVirtualSerialDevice> device;
    check(devices.get_Item(argument, device.put()), "list the ports");
    return Port(std::move(device));
}

// What this program gives no advice on, the driver package is the likeliest cause of.
std::string_view adviceOnCreation(HRESULT result) {
    constexpr DWORD kNumberTaken = 0x2BA; // a name that exists, which not every winerror.h knows
    const bool known = result == HRESULT_FROM_WIN32(kNumberTaken) ||
                       result == HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED) ||
                       result == HRESULT_FROM_WIN32(ERROR_SUCCESS_REBOOT_REQUIRED);
    return known ? "" : kNoDriver;
}

} // namespace

Apartment::Apartment() {
    check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "initialise COM");
}

Library::Library() {
    check(
        CoCreateInstance(
            __uuidof(VirtualSerialLibrary), nullptr, CLSCTX_INPROC_SERVER, __uuidof(IVirtualSerialLibrary),
            reinterpret_cast<void**>(library_.put())),
        "use the library zorvanlib");
}

std::vector<Port> Library::ports() const {
    zorvan::ComPointer<IDeviceCollection> devices;
    check(library_->get_devicesCollection(devices.put()), "list the ports");
    LONG count = 0;
    check(devices->get_Count(&count), "list the ports");
    std::vector<Port> ports;
    for (LONG i = 0; i < count; ++i)
        ports.push_back(portAt(*devices, i));
    std::sort(ports.begin(), ports.end(), [](const Port& a, const Port& b) {
        return portNumber(a.name()) < portNumber(b.name());
    });
    return ports;
}

std::optional<Port> Library::find(const std::string& name) const {
    for (auto& port : ports())
        if (port.name() == name)
            return std::move(port);
    return std::nullopt;
}

Port Library::port(const std::string& name) const {
    auto found = find(name);
    if (!found)
        throw Failure("there is no virtual port " + name, "portwright list shows which there are");
    return std::move(*found);
}

Port Library::create(const std::optional<std::string>& name) const {
    VARIANT argument{};
    const auto text = makeBstr(name.value_or(""));
    if (name) {
        argument.vt = VT_BSTR;
        argument.bstrVal = text.get();
    }
    zorvan::ComPointer<IVirtualSerialDevice> device;
    const HRESULT result = library_->createDevice(argument, device.put());
    check(result, "create " + name.value_or("a port"), adviceOnCreation(result));
    return Port(std::move(device));
}

} // namespace portwright

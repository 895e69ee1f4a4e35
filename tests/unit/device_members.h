// The members of a device that ask its driver.
#pragma once

#include <zorvanlib.h>

#include <cstdint>
#include <functional>

namespace zorvan::simulation {

struct DeviceMember {
    // With room for whatever a getter writes.
    using Call = std::function<HRESULT(IVirtualSerialDevice& device, void* out)>;

    const char* name;
    Call call;
    std::uint32_t code; // of the request that it sends
    bool reads;
    bool testsAlive; // a removed device refuses without asking anyone
};

template <class Value>
DeviceMember::Call reading(HRESULT (STDMETHODCALLTYPE IVirtualSerialDevice::*getter)(Value*)) {
    return [getter](auto& device, void* out) { return (device.*getter)(static_cast<Value*>(out)); };
}

template <class Value>
DeviceMember::Call writing(HRESULT (STDMETHODCALLTYPE IVirtualSerialDevice::*setter)(Value), Value value) {
    return [setter, value](auto& device, void*) { return (device.*setter)(value); };
}

inline const DeviceMember kDeviceMembers[] = {
    {"mode", reading(&IVirtualSerialDevice::get_mode), 0x81F16008, true, true},
    {"enabled", reading(&IVirtualSerialDevice::get_enabled), 0x81F16044, true, true},
    {"put enabled", writing(&IVirtualSerialDevice::put_enabled, VARIANT_TRUE), 0x81F1A048, false, true},
    {"connections", reading(&IVirtualSerialDevice::get_connections), 0x81F16038, true, true},
    {"bytesSent", reading(&IVirtualSerialDevice::get_bytesSent), 0x81F16038, true, true},
    {"bytesReceived", reading(&IVirtualSerialDevice::get_bytesReceived), 0x81F16038, true, true},
    {"emulateTxOverflow", reading(&IVirtualSerialDevice::get_emulateTxOverflow), 0x81F16080, true, false},
    {"put emulateTxOverflow", writing(&IVirtualSerialDevice::put_emulateTxOverflow, VARIANT_TRUE), 0x81F1A064, false,
     false},
    {"crossoverProbability", reading(&IVirtualSerialDevice::get_crossoverProbability), 0x81F16060, true, false},
    {"put crossoverProbability", writing(&IVirtualSerialDevice::put_crossoverProbability, 0.1), 0x81F1A05C, false,
     false},
    {"disconnectDevice", [](auto& device, void*) { return device.disconnectDevice(); }, 0x81F1A014, false, true},
};

} // namespace zorvan::simulation

// Closes what Wine's kernel leaves open.
//
// Two of its functions never close what they open: IoRegisterDeviceInterface a set of devices with all their keys,
// and IoSetDeviceInterfaceState a registry key. A driver whose ports come and go would hold more and more. So the
// kernel's imports are led through here, and what the calling thread opens during such a call, and does not close, is
// closed at its end. What the kernel closes itself is left alone.
#pragma once

#include "requests/engine_export.h"

namespace zorvan::engine {

extern "C" {
ZORVAN_ENGINE_API void zorvanBeginKernelCall();
ZORVAN_ENGINE_API void zorvanEndKernelCall();
}

// Stands around the call, on its thread.
class KernelCall {
public:
    KernelCall() { zorvanBeginKernelCall(); }
    ~KernelCall() { zorvanEndKernelCall(); }
    KernelCall(const KernelCall&) = delete;
    KernelCall& operator=(const KernelCall&) = delete;
};

} // namespace zorvan::engine

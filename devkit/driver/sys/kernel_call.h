// Stands around a call of the kernel that leaves something open; it is closed at the end.
#pragma once

#include "../engine/engine_api.h"

namespace zorvan::driver {

class KernelCall {
public:
    KernelCall() { zorvanBeginKernelCall(); }
    ~KernelCall() { zorvanEndKernelCall(); }
    KernelCall(const KernelCall&) = delete;
    KernelCall& operator=(const KernelCall&) = delete;
};

} // namespace zorvan::driver

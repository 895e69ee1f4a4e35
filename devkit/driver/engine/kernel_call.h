// Closes what Wine's kernel leaves open.
//
// Two of its functions never close what they open: IoRegisterDeviceInterface a set of devices with all their keys,
// and IoSetDeviceInterfaceState a registry key. A driver whose ports come and go would hold more and more. So the
// kernel's imports are led through here, and what the calling thread opens during such a call, and does not close, is
// closed at its end. What the kernel closes itself is left alone.
#pragma once

namespace zorvan::driver {

// On the thread that makes the call, around it.
void beginKernelCall();
void endKernelCall();

} // namespace zorvan::driver

// A port of the development driver, made and removed with the library's own code.
#pragma once

#include "pnp/device_identity.h"

namespace zorvan::test {

// The name of the numbered test port: far from the ports that the machine has itself.
std::wstring testPortName(unsigned number);

class DeviceNode {
public:
    // Creates the numbered test port. Throws when the driver does not start it.
    explicit DeviceNode(unsigned number);
    ~DeviceNode() { remove(); }
    DeviceNode(const DeviceNode&) = delete;
    DeviceNode& operator=(const DeviceNode&) = delete;

    void remove();

    const std::wstring& portName() const { return identity_.portName; }
    const std::wstring& instanceId() const { return identity_.instanceId; }
    const std::wstring& controlPath() const { return identity_.controlPath; }
    const std::wstring& serialPath() const { return identity_.portPath; }
    // The auto-reset event that the driver signals.
    HANDLE changed() const { return identity_.notificationEvent.get(); }

private:
    pnp::DeviceIdentity identity_;
    bool removed_ = false;
};

} // namespace zorvan::test

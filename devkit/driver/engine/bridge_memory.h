// A port's permanent bridge, which outlives its partner and the driver.
#pragma once

#include "base/unique.h"

#include <optional>
#include <string>

namespace zorvan::driver {

// The partner as the bridge names it.
struct Endpoint {
    std::wstring server;
    std::wstring port;
};

// Kept in the device's hardware key, so that it goes with the device.
class BridgeMemory {
public:
    // The key stays the caller's. Throws std::system_error when it cannot be opened once more.
    explicit BridgeMemory(HKEY deviceKey);

    const std::optional<Endpoint>& partner() const { return partner_; }
    bool names(const std::wstring& port) const;

    // Throws std::system_error when it cannot be written.
    void remember(const Endpoint& partner);
    void forget();

private:
    std::optional<Endpoint> read() const;

    UniqueRegistryKey key_;
    std::optional<Endpoint> partner_;
};

} // namespace zorvan::driver

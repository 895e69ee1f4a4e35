// A port's permanent bridge, which outlives its partner and the driver.
#pragma once

#include "device_key.h"

namespace zorvan::engine {

// The partner as the bridge names it.
struct Endpoint {
    std::wstring server;
    std::wstring port;
};

class BridgeMemory {
public:
    // Kept in the key, which must outlive this.
    explicit BridgeMemory(DeviceKey& key);

    const std::optional<Endpoint>& partner() const { return partner_; }
    bool names(const std::wstring& port) const;

    // Throws std::system_error when it cannot be written.
    void remember(const Endpoint& partner);
    void forget() noexcept;

private:
    std::optional<Endpoint> read() const;

    DeviceKey& key_;
    std::optional<Endpoint> partner_;
};

} // namespace zorvan::engine

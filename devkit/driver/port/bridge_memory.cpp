#include "bridge_memory.h"

#include "published_name.h"

namespace zorvan::engine {
namespace {

// "server\port": neither can contain the separator.
constexpr wchar_t kValue[] = L"PermanentBridge";
constexpr wchar_t kSeparator = L'\\';

} // namespace

BridgeMemory::BridgeMemory(DeviceKey& key) : key_(key), partner_(read()) {}

bool BridgeMemory::names(const std::wstring& port) const {
    return partner_ && sameName(partner_->port, port);
}

void BridgeMemory::remember(const Endpoint& partner) {
    key_.writeText(kValue, partner.server + kSeparator + partner.port);
    partner_ = partner;
}

void BridgeMemory::forget() noexcept {
    key_.remove(kValue);
    partner_.reset();
}

std::optional<Endpoint> BridgeMemory::read() const {
    const auto partner = key_.readText(kValue);
    const auto separator = partner ? partner->find(kSeparator) : std::wstring::npos;
    if (separator == std::wstring::npos)
        return std::nullopt;
    return Endpoint{partner->substr(0, separator), partner->substr(separator + 1)};
}

} // namespace zorvan::engine

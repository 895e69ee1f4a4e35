#include "bridge_memory.h"

#include "port_name.h"

#include <system_error>

namespace zorvan::driver {
namespace {

// "server\port": neither can contain the separator.
constexpr wchar_t kValue[] = L"PermanentBridge";
constexpr wchar_t kSeparator = L'\\';

void throwIfFailed(long error, const char* what) {
    if (error != ERROR_SUCCESS)
        throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

} // namespace

BridgeMemory::BridgeMemory(HKEY deviceKey) {
    throwIfFailed(
        RegOpenKeyExW(deviceKey, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, key_.put()),
        "RegOpenKeyEx of the hardware key");
    partner_ = read();
}

bool BridgeMemory::names(const std::wstring& port) const {
    return partner_ && sameName(partner_->port, port);
}

void BridgeMemory::remember(const Endpoint& partner) {
    const auto text = partner.server + kSeparator + partner.port;
    throwIfFailed(
        RegSetValueExW(
            key_.get(), kValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
            static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
        "RegSetValueEx of the permanent bridge");
    partner_ = partner;
}

// Fails when there is nothing to forget, or when the device is being removed and its key is gone already.
void BridgeMemory::forget() {
    RegDeleteValueW(key_.get(), kValue);
    partner_.reset();
}

std::optional<Endpoint> BridgeMemory::read() const {
    wchar_t text[600];
    DWORD size = sizeof text;
    if (RegGetValueW(key_.get(), nullptr, kValue, RRF_RT_REG_SZ, nullptr, text, &size) != ERROR_SUCCESS)
        return std::nullopt;
    const std::wstring partner(text);
    const auto separator = partner.find(kSeparator);
    if (separator == std::wstring::npos)
        return std::nullopt;
    return Endpoint{partner.substr(0, separator), partner.substr(separator + 1)};
}

} // namespace zorvan::driver

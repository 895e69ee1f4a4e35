#include "relay/address.h"

#include "com/failure.h"

#include <charconv>

namespace portwright {
namespace {

bool isTcpPort(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number <= 65535;
}

} // namespace

Address parseAddress(const std::string& text, const std::string& defaultHost) {
    const auto colon = text.rfind(':');
    Address address{defaultHost, text.substr(colon + 1)};
    if (colon != std::string::npos)
        address.host = text.substr(0, colon);
    if (address.host.starts_with('[') && address.host.ends_with(']'))
        address.host = address.host.substr(1, address.host.size() - 2);
    if (!isTcpPort(address.port) || address.host.empty())
        throw WrongUse(text + " is no address: give HOST:PORT, such as 127.0.0.1:7000");
    return address;
}

} // namespace portwright

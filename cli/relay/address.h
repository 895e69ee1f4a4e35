// TCP addresses: "HOST:PORT", "[::1]:PORT".
#pragma once

#include <string>

namespace portwright {

struct Address {
    std::string host;
    std::string port;
};

// A port alone has the default host. Throws WrongUse when there is no port.
Address parseAddress(const std::string& text, const std::string& defaultHost);

} // namespace portwright

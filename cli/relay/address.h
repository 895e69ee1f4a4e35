// TCP addresses: "HOST:PORT", "[::1]:PORT", and errors of the network in the program's own form.
#pragma once

#include <asio/ip/tcp.hpp>

#include <string>
#include <string_view>
#include <system_error>

namespace portwright {

struct Address {
    std::string host;
    std::string port;
};

// A port alone has the default host. Throws WrongUse when there is no port.
Address parseAddress(const std::string& text, const std::string& defaultHost);

std::string toText(const asio::ip::tcp::endpoint& endpoint);

void checkNetwork(const std::error_code& error, std::string_view asked, std::string_view hint);

} // namespace portwright

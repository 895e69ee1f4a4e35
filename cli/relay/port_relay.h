// A port whose other end is this program, which hands its bytes on to TCP peers.
#pragma once

#include "com/port.h"
#include "relay/peers.h"

#include <asio/io_context.hpp>

namespace portwright {

// Prints the announcement once the port is ready. Relays until Ctrl+C, and disconnects the port then. Throws when
// somebody else deletes or connects the port.
void relayPort(const Port& port, asio::io_context& context, Peers& peers, const std::string& announcement);

} // namespace portwright

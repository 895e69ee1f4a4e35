// A port whose other end is this program, which hands its bytes on to TCP peers.
#pragma once

#include "com/port.h"
#include "relay/address.h"

namespace portwright {

// Both relay until Ctrl+C, and disconnect the port then. They throw when somebody else deletes or connects the port.
void servePort(const Port& port, const Address& address);
void connectPort(const Port& port, const Address& address);

} // namespace portwright

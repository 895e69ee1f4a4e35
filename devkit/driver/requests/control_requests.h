// The control protocol of driver/protocol.h: checks a request's record, carries it out, builds the reply.
#pragma once

#include "driver/record.h"
#include "port/ports.h"
#include "status.h"

namespace zorvan::engine {

// A record that is short, too long, lies about a count or holds a value out of range is refused and changes nothing.
// The reply is filled only by a request that succeeds.
Status handleControlRequest(
    const Ports& ports, Port& port, std::uint32_t code, std::span<const std::uint8_t> input,
    protocol::RecordWriter& reply);

} // namespace zorvan::engine

// The events of the clients that watch a port's mode and name.
#pragma once

#include "host/port_process.h"

#include <vector>

namespace zorvan::engine {

// Every client that opens a device hands over an event, and none takes it back. So they are all kept and signalled;
// those whose client is gone are dropped when the next one comes, and beyond kMaximum the oldest one makes room.
class HostEvents {
public:
    static constexpr std::size_t kMaximum = 64;

    // Moves the event from the host process to here, so that the handles which remain are the clients' own. False:
    // the handle leads to no event.
    bool add(HostHandle handle);

    void signal() const;
    void clear() { events_.clear(); }

private:
    void dropAbandoned();

    std::vector<UniqueHandle> events_;
};

} // namespace zorvan::engine

// The lines that an open serial port drives: DTR and RTS, as the program or the hand flow says.
#pragma once

#include "line_wiring.h"
#include "requests/status.h"
#include "serial_codes.h"

namespace zorvan::engine {

// How full the port is, which is what the hand flow looks at.
struct QueueState {
    std::size_t queued;
    std::size_t capacity;
    std::size_t unsent;
};

class SerialOutputs {
public:
    // Both lines are raised when the port is opened.
    Pins levels() const { return levels_; }

    // New settings raise or lower each line that the program itself is to drive.
    void configure(const SERIAL_HANDFLOW& flow);
    // Refused for a line that the hand flow drives.
    Status setDtr(const SERIAL_HANDFLOW& flow, bool high);
    Status setRts(const SERIAL_HANDFLOW& flow, bool high);

    void follow(const SERIAL_HANDFLOW& flow, const QueueState& state);
    // The queue has passed its upper limit, and not the lower one since.
    bool throttled() const { return throttled_; }

private:
    void set(Pins pin, bool high);

    Pins levels_ = kDtr | kRts;
    bool throttled_ = false;
};

} // namespace zorvan::engine

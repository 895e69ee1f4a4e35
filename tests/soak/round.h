// What the soak does again and again.
#pragma once

#include "support/event_watch.h"

namespace zorvan::test {

// What was done so far.
struct Work {
    unsigned rounds = 0;
    unsigned ports = 0; // created and deleted again
    unsigned long long bytes = 0;
    std::size_t events = 0;
};

// Rounds with two ports that live as long as this does, so that what gathers in a port shows, and two in each round
// that are created, renamed, joined and deleted. A failure is thrown as std::runtime_error.
class Rounds {
public:
    // Not alone: others work on ports, too, whose events do not count.
    Rounds(const ComPointer<IVirtualSerialLibrary>& library, bool alone);
    Rounds(const Rounds&) = delete;
    Rounds& operator=(const Rounds&) = delete;
    ~Rounds();

    void run();
    const Work& work() const { return work_; }

private:
    void joinNewPorts();
    void rename(IVirtualSerialDevice& device) const;
    void bridge(IVirtualSerialDevice& first, IVirtualSerialDevice& second);
    void pins(IVirtualSerialDevice& device);
    void pipe();
    void files();
    void listen();
    void otherClient();
    std::wstring residentPort() const { return portName(pipePort_.device()); }

    bool alone_;
    ComPointer<IVirtualSerialLibrary> library_;
    OwnPort pipePort_;
    OwnPort filePort_;
    ComPointer<EventWatch> watch_ = makeComObject<EventWatch>();
    Work work_;
};

} // namespace zorvan::test

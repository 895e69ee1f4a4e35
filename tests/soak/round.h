// What the soak does again and again.
#pragma once

#include "event_watch.h"
#include "examples/client.h"

namespace zorvan::devkit {

// A port that is deleted with this, unless it was deleted before.
class OwnPort {
public:
    explicit OwnPort(IVirtualSerialLibrary& library);
    OwnPort(const OwnPort&) = delete;
    OwnPort& operator=(const OwnPort&) = delete;
    ~OwnPort();

    IVirtualSerialDevice& device() const { return *device_.Get(); }
    void remove();

private:
    ComPtr<IVirtualSerialDevice> device_;
    bool removed_ = false;
};

// What was done so far.
struct Work {
    unsigned rounds = 0;
    unsigned ports = 0; // created and deleted again
    unsigned long long bytes = 0;
    unsigned long long events = 0;
};

// Rounds with two ports that live as long as this does, so that what gathers in a port shows, and two in each round
// that are created, renamed, joined and deleted. A failure is thrown as std::runtime_error.
class Rounds {
public:
    // Not alone: others work on ports, too, whose events do not count.
    Rounds(const ComPtr<IVirtualSerialLibrary>& library, bool alone);

    void run();
    const Work& work() const { return work_; }
    std::wstring residentPort() const { return portName(pipePort_.device()); }

private:
    void joinNewPorts();
    void rename(IVirtualSerialDevice& device) const;
    void bridge(IVirtualSerialDevice& first, IVirtualSerialDevice& second);
    void pins(IVirtualSerialDevice& device);
    void pipe();
    void files();
    void listen();
    void otherClient();

    bool alone_;
    ComPtr<IVirtualSerialLibrary> library_;
    OwnPort pipePort_;
    OwnPort filePort_;
    EventWatch watch_;
    Work work_;
};

} // namespace zorvan::devkit

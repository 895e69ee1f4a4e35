// The running ports of this computer, and who among them has which name.
#pragma once

#include "port.h"
#include "status.h"

#include <vector>

namespace zorvan::driver {

class Ports {
public:
    void add(Port& port);
    void remove(const Port& port);

    // The port that opens under this name, or null.
    Port* find(const std::wstring& name) const;

    Status rename(Port& port, const std::wstring& name) const;
    Status setEnabled(Port& port, bool enabled) const;

private:
    bool isTaken(const std::wstring& name, const Port& by) const;
    bool isRunning(const std::wstring& deviceName) const;

    std::vector<Port*> ports_;
};

} // namespace zorvan::driver

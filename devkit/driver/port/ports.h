// The running ports of this computer.
#pragma once

#include "port.h"

#include <vector>

namespace zorvan::engine {

class Ports {
public:
    void add(Port& port);
    void remove(const Port& port);

    // The port of this name, or null.
    Port* find(const std::wstring& name) const;

private:
    std::vector<Port*> ports_;
};

} // namespace zorvan::engine

// What must be done to a machine so that it is as a rig describes it.
#pragma once

#include "com/library.h"
#include "rig/rig.h"

#include <functional>

namespace portwright {

struct Step {
    std::string text; // as a command line of this program
    std::function<void(const Library&)> run;
};

// Nothing for what is so already. With `prune`, ports that the rig does not have are deleted.
std::vector<Step> planOf(const Rig& rig, const std::vector<PortState>& present, bool prune);

} // namespace portwright

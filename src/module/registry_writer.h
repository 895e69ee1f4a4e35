// Applies the trees of a registry script to the registry.
#pragma once

#include "module/registry_script.h"

namespace zorvan::registration {

// Both throw the first error of the registry and leave what was done before it.
void writeTrees(const std::vector<RegistryTree>& trees);
void removeTrees(const std::vector<RegistryTree>& trees);

} // namespace zorvan::registration

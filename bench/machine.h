// What the bench runs on.
#pragma once

#include <string>

namespace zorvan::bench {

// "Some Processor 3 GHz, 4 processors, Wine 8.0"
std::string describeMachine();

} // namespace zorvan::bench

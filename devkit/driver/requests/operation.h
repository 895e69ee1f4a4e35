// What a program asks of an open serial port that may take time.
#pragma once

#include <cstdint>

namespace zorvan::engine {

enum class Operation : std::uint32_t { Read, Write, Flush, WaitForEvent };

} // namespace zorvan::engine

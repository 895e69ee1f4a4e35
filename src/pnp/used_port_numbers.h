// The port numbers that are taken on this machine.
#pragma once

#include <cstdint>
#include <vector>

namespace zorvan::pnp {

// The numbers of every serial port that is present, whoever serves it: ascending, with duplicates. Throws a standard
// exception when one of them has a malformed name: oddity 19 of docs/architecture.md.
std::vector<std::uint32_t> listUsedPortNumbers();

bool isUsed(const std::vector<std::uint32_t>& usedNumbers, std::uint32_t number);

} // namespace zorvan::pnp

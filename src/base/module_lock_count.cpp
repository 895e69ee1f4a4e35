#include "base/module_lock_count.h"

#include <atomic>
#include <cstdint>

namespace zorvan::moduleLockCount {

namespace {
constinit std::atomic<std::uint32_t> count{0};
}

void add() {
    ++count;
}
void remove() {
    --count;
}
bool isZero() {
    return count == 0;
}

} // namespace zorvan::moduleLockCount

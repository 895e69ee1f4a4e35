#include "simulation/heap.h"

#include "simulation/simulated_function.h"

#include <atomic>
#include <cstdlib>

namespace zorvan::simulation {

namespace {

// No lock and no list of calls: these run in every corner of the runtime.
std::atomic<long> liveBlocks{0};
std::atomic<long> allocationsToFailure{0};

bool isToFail() {
    return allocationsToFailure > 0 && --allocationsToFailure == 0;
}

void* counted(void* block) {
    if (block != nullptr)
        ++liveBlocks;
    return block;
}

void* __cdecl countedMalloc(std::size_t size) {
    return isToFail() ? nullptr : counted(std::malloc(size));
}
SIMULATE(malloc, countedMalloc);

void* __cdecl countedCalloc(std::size_t count, std::size_t size) {
    return isToFail() ? nullptr : counted(std::calloc(count, size));
}
SIMULATE(calloc, countedCalloc);

void* __cdecl countedRealloc(void* block, std::size_t size) {
    if (isToFail())
        return nullptr;
    void* moved = std::realloc(block, size);
    return block == nullptr ? counted(moved) : moved;
}
SIMULATE(realloc, countedRealloc);

void __cdecl countedFree(void* block) {
    if (block != nullptr)
        --liveBlocks;
    std::free(block);
}
SIMULATE(free, countedFree);

} // namespace

long Heap::blocks() {
    return liveBlocks;
}

bool Heap::failAllocation(long nth) {
    return allocationsToFailure.exchange(nth) > 0;
}

} // namespace zorvan::simulation

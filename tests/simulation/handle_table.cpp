#include "simulation/handle_table.h"

#include <atomic>

namespace zorvan::simulation {

namespace {

// Far above the values that Windows gives out, which are small multiples of 4. The bits above 32 stay clear: Windows
// keeps none there either.
constexpr ULONG_PTR kFirst = 0x51000000;
constexpr ULONG_PTR kStep = 4;

// One row of numbers for all simulations of the process: a handle of an earlier test is foreign to a later one.
std::atomic<ULONG_PTR> next{kFirst};

} // namespace

HANDLE HandleTable::open(std::shared_ptr<Object> object) {
    auto* handle = reinterpret_cast<HANDLE>(next.fetch_add(kStep));
    open_[handle] = std::move(object);
    return handle;
}

std::shared_ptr<Object> HandleTable::find(HANDLE handle) const {
    const auto found = open_.find(handle);
    return found == open_.end() ? nullptr : found->second;
}

bool HandleTable::isSimulated(HANDLE handle) {
    const auto value = reinterpret_cast<ULONG_PTR>(handle);
    return value >= kFirst && value < next;
}

std::vector<std::string> HandleTable::held() const {
    std::vector<std::string> descriptions;
    for (const auto& [handle, object] : open_)
        descriptions.push_back(object->description());
    return descriptions;
}

} // namespace zorvan::simulation

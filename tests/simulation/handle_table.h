// The handles of a process: of the library's own, to which the simulation gives files, events, registry keys, device
// information sets and so on, or of a driver's host. A value is never used twice, so that using a closed handle is
// always noticed.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zorvan::simulation {

// What a handle stands for.
struct Object {
    explicit Object(std::string what) : description(std::move(what)) {}
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    // For the list of calls and for messages: "event", "process 4711".
    const std::string description;
};

// Device information sets, registry keys and port databases have closing functions of their own.
struct NoKernelObject : Object {
    using Object::Object;
};

class HandleTable {
public:
    HANDLE open(std::shared_ptr<Object> object) {
        auto* handle = reinterpret_cast<HANDLE>(next_.fetch_add(4));
        open_[handle] = std::move(object);
        return handle;
    }
    std::shared_ptr<Object> find(HANDLE handle) const {
        const auto found = open_.find(handle);
        return found == open_.end() ? nullptr : found->second;
    }
    void close(HANDLE handle) { open_.erase(handle); }

    // For a test that looks into a host, or puts something there.
    std::shared_ptr<Object> at(std::uint64_t value) const { return open_.at(reinterpret_cast<HANDLE>(value)); }
    std::shared_ptr<Object>& operator[](std::uint64_t value) { return open_[reinterpret_cast<HANDLE>(value)]; }
    std::size_t size() const { return open_.size(); }
    bool operator==(const HandleTable&) const = default;

    // Whether the value was ever given out by a simulation, as opposed to Windows itself.
    static bool isSimulated(HANDLE handle) {
        const auto value = reinterpret_cast<ULONG_PTR>(handle);
        return value >= kFirst && value < next_;
    }

    // What is open, described.
    std::vector<std::string> held() const {
        std::vector<std::string> descriptions;
        for (const auto& [handle, object] : open_)
            descriptions.push_back(object->description);
        return descriptions;
    }

private:
    // Far above the values that Windows gives out, which are small multiples of 4. The bits above 32 stay clear:
    // Windows keeps none there either.
    static constexpr ULONG_PTR kFirst = 0x51000000;
    // One row of numbers for all simulations of the process: a handle of an earlier test is foreign to a later one.
    static inline std::atomic<ULONG_PTR> next_{kFirst};

    std::map<HANDLE, std::shared_ptr<Object>> open_;
};

} // namespace zorvan::simulation

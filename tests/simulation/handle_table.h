// The handles that the simulation has given to the library: files, events, registry keys, device information sets and
// so on. A value is never used twice, so that using a closed handle is always noticed.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zorvan::simulation {

// What a handle stands for.
class Object {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;

    // For the list of calls and for messages: "event", "process 4711".
    virtual std::string description() const = 0;
};

// Device information sets, registry keys and port databases have closing functions of their own.
class NoKernelObject : public Object {};

class HandleTable {
public:
    HANDLE open(std::shared_ptr<Object> object);
    std::shared_ptr<Object> find(HANDLE handle) const;
    void close(HANDLE handle) { open_.erase(handle); }

    // Whether the value was ever given out by a simulation, as opposed to Windows itself.
    static bool isSimulated(HANDLE handle);

    // What is open, described.
    std::vector<std::string> held() const;

private:
    std::map<HANDLE, std::shared_ptr<Object>> open_;
};

} // namespace zorvan::simulation

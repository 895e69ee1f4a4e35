// Events and mutexes. An event has a real one behind it, so that threads of the library can wait for it.
#pragma once

#include "simulation/handle_table.h"

#include <cstdint>
#include <optional>
#include <set>

namespace zorvan::simulation {

// What a thread can wait for, with a real object behind it.
struct Waitable : Object {
    virtual HANDLE real() const = 0;
};

// The handles to hand to Windows: real ones for those of waitable objects, all others as they are.
std::vector<HANDLE> realHandles(const HANDLE* handles, DWORD count);

class Event : public Waitable {
public:
    Event(bool manualReset, bool signalled);
    ~Event() override;

    std::string description() const override { return "event"; }
    HANDLE real() const override { return real_; }

    // What the driver does through its duplicate.
    void signal() const { SetEvent(real_); }

    const bool manualReset;
    const bool initiallySignalled;
    std::optional<std::wstring> name;
    bool hadAttributes = false;

private:
    HANDLE real_;
};

struct Mutex : Object {
    std::string description() const override { return "mutex"; }

    std::optional<std::wstring> name;
    bool initiallyOwned = false;
    bool inheritable = false;
    DWORD attributesLength = 0;
    std::vector<std::uint8_t> securityDescriptor; // as it was passed, when in self-relative form
};

struct KernelObjects {
    // Every mutex and event that the library has created, open or not.
    std::vector<std::shared_ptr<Mutex>> mutexes;
    std::vector<std::shared_ptr<Event>> events;

    // Names that another process has created already.
    std::set<std::wstring> existingNames;
};

} // namespace zorvan::simulation

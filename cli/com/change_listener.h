// What happens to the ports, from the library's threads to the one that asks.
#pragma once

#include "base/unique.h"
#include "com/library.h"

#include <string>
#include <vector>

namespace portwright {

struct Change {
    SYSTEMTIME time;   // UTC
    std::string event; // added, deleted, renamed, mode
    std::string portName;
    zorvan::ComPointer<IVirtualSerialDevice> device;
};

class ChangeListener {
public:
    // Listens from here on. The library outlives it.
    explicit ChangeListener(const Library& library);
    ChangeListener(const ChangeListener&) = delete;
    ChangeListener& operator=(const ChangeListener&) = delete;
    ~ChangeListener();

    // Signalled when there is something to take.
    HANDLE event() const;
    std::vector<Change> take() const;

private:
    class Receiver;

    IVirtualSerialLibrary& library_;
    zorvan::ComPointer<Receiver> receiver_;
};

} // namespace portwright

// The library object: the ports of this machine.
#pragma once

#include "com/port.h"

#include <vector>

namespace portwright {

// Holds COM for the whole program: outlives every port.
class Apartment {
public:
    Apartment();
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;
    ~Apartment() { CoUninitialize(); }
};

class Library {
public:
    Library();

    // By number.
    std::vector<Port> ports() const;
    std::optional<Port> find(const std::string& name) const;
    // Throws when there is no such port.
    Port port(const std::string& name) const;
    // Without a name, with any free number. Takes half a second or more.
    Port create(const std::optional<std::string>& name) const;

    IVirtualSerialLibrary& object() const { return *library_; }

private:
    zorvan::ComPointer<IVirtualSerialLibrary> library_;
};

} // namespace portwright

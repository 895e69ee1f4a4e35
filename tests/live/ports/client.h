// What the system tests share: ports that do not outlive their test, and what other processes do to them.
#pragma once

#include "support/client.h"

#include <list>
#include <set>

namespace zorvan::test {

// The names that a library object lists which comes anew.
std::set<std::wstring> presentPortNames();

// Lets portwright do something to the ports, in a process of its own.
void act(const std::wstring& arguments);

// Fails the test when it leaves other ports behind than it found.
class SystemTest : public testing::Test {
protected:
    void TearDown() override;

    IVirtualSerialDevice& create(const wchar_t* name = nullptr) {
        return ports_.emplace_back(*library_, name).device();
    }
    void deletePorts() { ports_.clear(); }

    ComPointer<IVirtualSerialLibrary> library_ = createRegisteredLibrary();

private:
    std::set<std::wstring> portsBefore_ = presentPortNames();
    std::list<OwnPort> ports_;
};

} // namespace zorvan::test

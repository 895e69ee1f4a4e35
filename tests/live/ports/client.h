// What the system tests share: ports that do not outlive their test, and scripts in processes of their own.
#pragma once

#include "examples/client.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <set>
#include <string>

namespace zorvan::test {

// The names that a library object lists which comes anew.
std::set<std::wstring> presentPortNames();

// Whether the condition holds within twenty seconds.
bool becomesTrue(const std::function<bool()>& condition);

// Runs a script of tests/live/ports/scripts with its arguments, and expects these to be its last words.
void runScript(const std::wstring& script, const std::string& lastWords);
inline void act(const std::wstring& arguments) {
    runScript(L"act.js " + arguments, "Done.");
}

// Fails the test when it leaves other ports behind than it found.
class SystemTest : public testing::Test {
protected:
    void TearDown() override;

    IVirtualSerialDevice& create(const wchar_t* name = nullptr) { return ports_->create(*library_.Get(), name); }
    void deletePorts() { ports_.emplace(); }

    ComPtr<IVirtualSerialLibrary> library_ = createLibrary();

private:
    std::set<std::wstring> portsBefore_ = presentPortNames();
    std::optional<CreatedPorts> ports_ = std::make_optional<CreatedPorts>();
};

} // namespace zorvan::test

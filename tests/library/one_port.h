// One port, COM5, and its device object: what the tests of its members start from.
#pragma once

#include "simulation/simulation_test.h"

namespace zorvan::simulation {

// The calls of functions whose names begin so, in order.
inline std::vector<std::string> callsOf(const Machine& machine, const std::vector<std::string>& functions) {
    std::vector<std::string> found;
    for (const auto& text : machine.calls.texts())
        for (const auto& function : functions)
            if (text.starts_with(function))
                found.push_back(text);
    return found;
}

class OnePort : public SimulationTest {
protected:
    void SetUp() override {
        port_ = &machine.addPort(L"COM5");
        device_ = device(*createLibrary(), L"COM5");
        forgetCalls();
    }

    void TearDown() override {
        releaseDevice();
        SimulationTest::TearDown();
    }

    DeviceNode& port() { return *port_; }
    Driver& driver() { return port_->driver; }
    Process& host() { return machine.hostOf(*port_); }
    IVirtualSerialDevice& device5() { return *device_; }
    ComPointer<IVirtualSerialLibrary> library() { return readObject(device5(), &IVirtualSerialDevice::get_vLibrary); }

    void releaseDevice() { device_ = {}; }

    void forgetCalls() {
        machine.calls.clear();
        driver().requests.clear();
    }

    // The library looks again and finds the port gone.
    void removePort() {
        port_->present = false;
        refresh(*library());
        forgetCalls();
    }

    // The calls made whose arguments matter, a line for each. A control request is one "request 0x81f1a00c"; the host
    // process is HOST. Of what is given back, each test is told at its end.
    std::string steps() {
        std::string lines;
        for (auto text : machine.calls.texts()) {
            const auto starts = [&](const char* name) { return text.starts_with(name); };
            if (starts("DeviceIoControl"))
                text = "request " + text.substr(text.find(", 0x") + 2, 10);
            else if (
                text.find(describe(*port_->controlPath)) != std::string::npos || starts("CloseHandle") ||
                starts("SysAlloc") || starts("Convert") || starts("GetSecurity") || starts("Local") ||
                starts("GetModule") || starts("GetProc"))
                continue;
            const auto id = std::to_string(host().id);
            if (const auto at = text.find(id); at != std::string::npos)
                text.replace(at, id.size(), "HOST");
            lines += text + "\n";
        }
        return lines;
    }

private:
    DeviceNode* port_ = nullptr;
    ComPointer<IVirtualSerialDevice> device_;
};

} // namespace zorvan::simulation

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

    // The calls made, a line for each. A control request is one "request 0x81f1a00c"; the host process is HOST,
    // the path of the serial interface SERIAL.
    std::string steps() {
        std::string lines;
        for (auto text : machine.calls.texts()) {
            const auto control = text.find("control file of ") != std::string::npos;
            if (control && text.rfind("DeviceIoControl", 0) == 0)
                text = "request " + text.substr(text.find(", 0x") + 2, 10);
            else if (control || text.find(describe(*port_->controlPath)) != std::string::npos)
                continue;
            replace(text, std::to_string(host().id), "HOST");
            replace(text, describe(*port_->serialPath), "SERIAL");
            lines += text + "\n";
        }
        return lines;
    }

private:
    static void replace(std::string& text, const std::string& what, const char* by) {
        if (const auto at = text.find(what); at != std::string::npos)
            text.replace(at, what.size(), by);
    }

    DeviceNode* port_ = nullptr;
    ComPointer<IVirtualSerialDevice> device_;
};

} // namespace zorvan::simulation

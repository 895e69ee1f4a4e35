// One virtual COM port, as the library's device object has it. What the library refuses is thrown as a Failure.
#pragma once

#include "base/com_pointer.h"

#include <windows.h>

#include <zorvanlib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace portwright {

// "broken", "listening", "pipe", "bridge", "handles", as VirtualSerialDeviceMode calls them.
std::string modeInWords(VirtualSerialDeviceMode mode);

// The library keeps the crossover probability in whole thousandths.
inline constexpr double kProbabilitySteps = 1000.0;

struct PortState {
    std::string portName;
    VirtualSerialDeviceMode mode{};
    bool enabled = false;
    std::string path;
    std::uint64_t connections = 0;
    std::uint64_t bytesSent = 0;
    std::uint64_t bytesReceived = 0;
    bool emulateTxOverflow = false;
    double crossoverProbability = 0;
    // Of the present mode alone, and empty when they cannot be read: a name needs more rights than the rest.
    std::optional<std::string> securityDescriptor;
    std::optional<std::string> pipeName;
    std::optional<std::string> pair;
    std::optional<std::string> remoteServer;
    std::optional<std::string> remotePort;
    std::optional<std::string> inputFileName;
    std::optional<std::string> outputFileName;
};

struct PipeOptions {
    unsigned long instances = 255;
    unsigned long outputBufferSize = 65536;
    unsigned long inputBufferSize = 65536;
    unsigned long defaultTimeout = 0;
};

struct RemoteEnd {
    std::string server;
    std::string port;
    std::string user;
    std::string domain;
    std::string password;
};

class Port {
public:
    explicit Port(zorvan::ComPointer<IVirtualSerialDevice> device);

    const std::string& name() const { return name_; }
    IVirtualSerialDevice& device() const { return *device_; }

    PortState state() const;
    VirtualSerialDeviceMode mode() const;
    std::string pipeName() const;

    // Returns whether the system asks for a restart.
    bool remove() const;
    void rename(const std::string& name) const;
    void enable(bool enabled) const;
    void emulateTxOverflow(bool emulate) const;
    void setCrossoverProbability(double probability) const;

    void disconnect() const;
    void listen(const std::optional<std::string>& securityDescriptor) const;
    void connectToPipe(const std::string& pipe) const;
    void createPipe(const std::string& pipe, const PipeOptions& options) const;
    // To the pipe when it exists, else to a new one.
    void joinPipe(const std::string& pipe) const;
    void bridge(const Port& other, bool permanent) const;
    void bridge(const RemoteEnd& other, bool permanent) const;
    void connectToFiles(const std::string& input, const std::string& output, FileCreationMode creation) const;

private:
    void readConnection(PortState& state) const;

    zorvan::ComPointer<IVirtualSerialDevice> device_;
    std::string name_;
};

// "7", "com7" and "COM7" are "COM7"; none when the text is no port's name.
std::optional<std::string> toPortName(std::string_view text);
unsigned long portNumber(std::string_view name);

// As a new port does.
bool acceptsEveryone(const PortState& state);

// Where the port's data goes, in words; empty when nowhere.
std::string otherEnd(const PortState& state);

} // namespace portwright

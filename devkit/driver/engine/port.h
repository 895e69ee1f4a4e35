// One virtual serial port: its host process, its name, its connection and its settings.
//
// Ports are touched only with the engine's lock held (engine_api.cpp); so a port may reach into its bridge partner.
#pragma once

#include "driver/protocol.h"
#include "host_events.h"
#include "host_process.h"
#include "port_name.h"
#include "serial_settings.h"
#include "status.h"

#include <array>
#include <optional>
#include <string>
#include <variant>

namespace zorvan::driver {

class Port;

struct Listening {};

struct PipeConnection {
    HostHandle pipe;
    bool serverEnd;
};

struct Bridge {
    Port* partner; // whose own connection is the bridge back to this port
    std::wstring server;
    bool permanent;
};

struct FileConnection {
    HostHandle output;
    HostHandle input;
};

// In the order of the modes that clients see, from 1 on.
using Connection = std::variant<Listening, PipeConnection, Bridge, FileConnection>;

inline constexpr std::uint32_t kModeBroken = 0;

// What control requests set and ask without further effect as long as no traffic flows.
struct PortSettings {
    using PinConnections = std::array<std::uint16_t, protocol::kPinConnectionCount>;

    static constexpr PinConnections kNullModem{0x0600, 0, 0, 0x1000, 0, 0, 0x0006, 0, 0, 0x0010, 0, 0};

    std::wstring securityDescriptor = L"D:AR(A;;CC;;;WD)";
    PinConnections pinConnections = kNullModem;
    protocol::ErrorEmulationState crossover{};
    protocol::ErrorEmulationLong transmitOverflow{protocol::kTransmitOverflow, 0, 0};
    protocol::TrafficCounters traffic{};
};

class Port {
public:
    // Starts the host process.
    Port(std::wstring name, std::wstring deviceName);
    ~Port() = default; // a port that was started is stopped first
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    // Publishes the port's name. A port whose name is missing or taken runs without one, until it is renamed.
    void start();
    // Ends whatever the port has outside itself; it is still there, but for nothing.
    void stop();
    bool stopped() const { return !host_; }

    const HostProcess& host() const { return *host_; }

    const std::wstring& name() const { return name_; }
    Status rename(const std::wstring& name);

    // A disabled port keeps its name, but the name does not open it.
    bool enabled() const { return enabled_; }
    Status setEnabled(bool enabled);

    // Broken when the host process, and with it every handle that it was given, is gone.
    std::uint32_t mode() const;
    const Connection& connection() const { return connection_; }
    // Null in any other mode.
    template <class Mode>
    const Mode* connectionAs() const {
        return std::get_if<Mode>(&connection_);
    }

    // Ends the present connection, at both ends of a bridge, and begins the next.
    void connect(Connection next);
    void bridgeTo(Port& partner, std::wstring server, bool permanent);
    void listen();

    PortSettings& settings() { return settings_; }

    // Adds an event that a client left in the host process; false: it is none.
    bool watch(std::uint64_t event) { return events_.add(host(), event); }

    // The serial side takes one opener at a time, and starts anew with each.
    Status openSerial();
    void closeSerial() { serial_.reset(); }
    SerialSettings* serial() { return serial_ ? &*serial_ : nullptr; }

private:
    void beListening();
    void releasePartner() const;
    void publish();

    std::wstring name_;
    std::wstring deviceName_;
    bool enabled_ = true;
    std::optional<HostProcess> host_;
    std::optional<PublishedPortName> publishedName_;
    PortSettings settings_;
    HostEvents events_;
    std::optional<SerialSettings> serial_; // while it is open
    Connection connection_;                // after the host process, which its handles live in
};

} // namespace zorvan::driver

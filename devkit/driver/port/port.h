// One virtual serial port: its host process, its name, its connection and its traffic.
//
// Ports are touched only with the engine's lock held (engine_lock.h); so a port may reach into its bridge partner.
#pragma once

#include "bridge_memory.h"
#include "carriers/pump.h"
#include "host/port_process.h"
#include "host_events.h"
#include "published_name.h"
#include "requests/engine_lock.h"
#include "requests/status.h"
#include "traffic.h"

#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace zorvan::engine {

class Port;

struct PipeConnection {
    HostHandle pipe;
    std::shared_ptr<Pump> pump; // uses the handle above
};

struct Bridge {
    Port* partner; // whose own connection is the bridge back to this port
    std::wstring server;
    bool permanent;
};

struct FileConnection {
    HostHandle output;
    HostHandle input;
    std::shared_ptr<Pump> pump; // uses the handles above
};

struct Connection : Releasable {
    // In the order of the modes that clients see, from kModeListening on.
    using Mode = std::variant<PipeConnection, Bridge, FileConnection>;

    explicit Connection(Mode of) : mode(std::move(of)) {}

    Mode mode;
};

inline constexpr std::uint32_t kModeBroken = 0;
inline constexpr std::uint32_t kModeListening = 1;

class Port {
public:
    // Starts the host process. The hardware key, which has the port's name and its settings, stays the caller's.
    Port(std::wstring deviceName, HKEY deviceKey);
    ~Port() = default; // a port that was started is stopped first
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    // Publishes the port's name. A port whose name is missing or taken runs without one, until it is renamed.
    void start();
    // Ends whatever the port has outside itself; it is still there, but for nothing.
    void stop() noexcept;
    bool stopped() const { return !host_; }

    const std::shared_ptr<const PortProcess>& host() const { return host_; }

    const std::wstring& name() const { return name_; }
    // A name that is refused leaves the former one, also where a client has removed it already.
    Status rename(const std::wstring& name);

    // A disabled port keeps its name, but the name does not open it.
    bool enabled() const { return enabled_; }
    Status setEnabled(bool enabled);

    void setCrossover(const protocol::ErrorEmulationState& crossover);
    void setTransmitOverflow(const protocol::ErrorEmulationLong& overflow);

    // The security descriptor's text of listening mode.
    const std::wstring& securityDescriptor() const { return securityDescriptor_; }

    // Broken when the host process, and with it every handle that it was given, is gone.
    std::uint32_t mode() const;
    bool listening() const { return !connection_; }
    // Null in any other mode.
    template <class Mode>
    const Mode* connectionAs() const {
        return connection_ ? std::get_if<Mode>(&connection_->mode) : nullptr;
    }

    // Each ends the present connection, at both ends of a bridge, and begins the next.
    void listen();
    void listen(std::wstring securityDescriptor);
    void connectPipe(HostHandle pipe, bool serverEnd);
    void connectFiles(HostHandle output, HostHandle input);
    void bridgeTo(Port& partner, std::wstring server, bool permanent);
    // Restores a permanent bridge, if the two ports have one and nothing else to do.
    void rejoin(Port& other);

    // Adds a client's event; false: it is none.
    bool watch(HostHandle event) { return events_.add(std::move(event)); }

    // The serial side takes one opener at a time.
    Status openSerial();
    Traffic& traffic() { return traffic_; }

private:
    std::shared_ptr<Pump> makePump(Pump::Kind kind, Pump::Ends ends);
    void leaveForGood();
    void leave(std::shared_ptr<Connection> next) noexcept;
    void pumpEnded();
    void join(Port& partner, const Endpoint& there, const Endpoint& back, bool permanent);
    std::wstring rememberedServer() const;
    void publish();
    void restoreName();

    DeviceKey key_;
    std::wstring name_;
    std::wstring deviceName_;
    bool enabled_;
    std::wstring securityDescriptor_;
    BridgeMemory bridgeMemory_{key_};
    std::shared_ptr<const PortProcess> host_;
    std::optional<PublishedPortName> publishedName_;
    HostEvents events_;
    Traffic traffic_;
    std::shared_ptr<Connection> connection_; // null: listening
    std::shared_ptr<Pump> endedPump_;        // by itself; waited for later
};

} // namespace zorvan::engine

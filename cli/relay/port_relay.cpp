#include "relay/port_relay.h"

#include "com/failure.h"
#include "com/interrupt.h"
#include "output/console.h"
#include "relay/peers.h"
#include "relay/private_pipe.h"
#include "relay/relay.h"

#include <asio/steady_timer.hpp>
#include <asio/windows/object_handle.hpp>
#include <fmt/core.h>

namespace portwright {
namespace {

// How often the port is asked whether it is still this program's. The pipe tells sooner, unless it holds bytes that
// no peer takes.
constexpr std::chrono::seconds kLookAgain{1};

HANDLE duplicateOf(HANDLE handle) {
    HANDLE result = nullptr;
    if (DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &result, 0, FALSE, DUPLICATE_SAME_ACCESS) ==
        FALSE)
        throwLastError("get ready for Ctrl+C");
    return result;
}

class PortRelay {
public:
    PortRelay(const Port& port, asio::io_context& context, Peers& peers, PrivatePipe pipe)
        : port_(port), context_(context), peers_(peers), pipeName_(pipe.name), interrupted_(context),
          lookAgain_(context),
          relay_(context, pipe.end.release(), {[this] { peerLeft(); }, [this] { context_.stop(); }}) {
        interrupted_.assign(duplicateOf(interrupt::event()));
    }

    void run() {
        interrupted_.async_wait([this](const std::error_code&) { context_.stop(); });
        awaitPeer();
        look();
        context_.run();
        if (!interrupt::requested())
            throw Failure(port_.name() + whatHappened(), "portwright list shows what the ports are now");
    }

    bool isOurs() const try {
        return port_.mode() == VSDM_Pipe && port_.pipeName() == pipeName_;
    } catch (const Failure&) {
        return false; // it was deleted
    }

private:
    void awaitPeer() {
        peers_.awaitNext([this](asio::ip::tcp::socket peer) {
            std::error_code error;
            peerName_ = toText(peer.remote_endpoint(error));
            console::print(peerName_ + " connected\n");
            relay_.attach(std::move(peer));
        });
    }

    void peerLeft() {
        console::print(fmt::format(
            "{} left: {} bytes from the port, {} bytes to it\n", peerName_, relay_.bytesToPeer(),
            relay_.bytesFromPeer()));
        awaitPeer();
    }

    void look() {
        lookAgain_.expires_after(kLookAgain);
        lookAgain_.async_wait([this](const std::error_code&) {
            if (isOurs())
                look();
            else
                context_.stop();
        });
    }

    std::string whatHappened() const {
        VirtualSerialDeviceMode mode{};
        if (FAILED(port_.device().get_mode(&mode)))
            return " was deleted";
        return fmt::format(" was taken away: its mode is now {}", modeInWords(mode));
    }

    const Port& port_;
    asio::io_context& context_;
    Peers& peers_;
    std::string pipeName_;
    std::string peerName_;
    asio::windows::object_handle interrupted_;
    asio::steady_timer lookAgain_;
    Relay relay_;
};

// Prints the announcement once the port is ready.
void relayPort(const Port& port, asio::io_context& context, Peers& peers, const std::string& announcement) {
    auto pipe = createPrivatePipe(port.name());
    port.connectToPipe(pipe.name);
    console::print(announcement);
    PortRelay relay(port, context, peers, std::move(pipe));
    relay.run();
    if (relay.isOurs())
        port.disconnect();
}

} // namespace

void servePort(const Port& port, const Address& address) {
    asio::io_context context;
    Server server(context, address);
    relayPort(
        port, context, server, fmt::format("{} is served on {}; Ctrl+C ends it\n", port.name(), server.address()));
}

void connectPort(const Port& port, const Address& address) {
    asio::io_context context;
    Client client(context, address);
    relayPort(
        port, context, client,
        fmt::format("{} connects to {}:{}; Ctrl+C ends it\n", port.name(), address.host, address.port));
}

} // namespace portwright

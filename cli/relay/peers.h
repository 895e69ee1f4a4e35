// Where the relay's TCP peers come from: who connects to a server, or the server that a client connects to.
#pragma once

#include "relay/address.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <string>

namespace portwright {

std::string toText(const asio::ip::tcp::endpoint& endpoint);

class Peers {
public:
    using Found = std::function<void(asio::ip::tcp::socket)>;

    virtual ~Peers() = default;
    // Calls `found` once with the next one.
    virtual void awaitNext(Found found) = 0;
};

// Those who come while another one is served wait for their turn.
class Server : public Peers {
public:
    // Throws when the address cannot be listened on.
    Server(asio::io_context& context, const Address& address);
    std::string address() const;
    void awaitNext(Found found) override;

private:
    void accept(const Found& found);

    asio::ip::tcp::acceptor acceptor_;
    asio::steady_timer pause_;
};

// Tries again and again until the server answers.
class Client : public Peers {
public:
    Client(asio::io_context& context, Address address);
    void awaitNext(Found found) override;

private:
    void resolve(const Found& found);
    void connect(const asio::ip::tcp::resolver::results_type& endpoints, const Found& found);
    void tryAgain(const std::error_code& error, const Found& found);

    Address address_;
    asio::ip::tcp::resolver resolver_;
    asio::ip::tcp::socket socket_;
    asio::steady_timer pause_;
    std::chrono::milliseconds next_;
};

} // namespace portwright

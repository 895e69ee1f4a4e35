#include "relay/peers.h"

#include "com/failure.h"
#include "output/console.h"

#include <asio/connect.hpp>
#include <fmt/core.h>

#include <algorithm>
#include <sstream>
#include <utility>

namespace portwright {
namespace {

using asio::ip::tcp;

constexpr std::chrono::milliseconds kFirstPause{200};
constexpr std::chrono::milliseconds kLongestPause{5000};

// Bytes of a serial line go out as they come; a peer that has vanished is noticed some day. Neither may fail.
void prepare(tcp::socket& socket) {
    std::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    socket.set_option(asio::socket_base::keep_alive(true), ignored);
}

void checkNetwork(const std::error_code& error, std::string_view asked, std::string_view hint) {
    if (error)
        throwError(static_cast<DWORD>(error.value()), asked, hint);
}

tcp::endpoint resolveOwn(asio::io_context& context, const Address& address) {
    std::error_code error;
    const auto found =
        tcp::resolver(context).resolve(address.host, address.port, asio::ip::resolver_base::passive, error);
    checkNetwork(error, "find the address " + address.host, "give an address of this computer, such as 127.0.0.1");
    return found.begin()->endpoint();
}

} // namespace

std::string toText(const tcp::endpoint& endpoint) {
    std::ostringstream text;
    text << endpoint;
    return text.str();
}

Server::Server(asio::io_context& context, const Address& address) : acceptor_(context), pause_(context) {
    const auto endpoint = resolveOwn(context, address);
    const auto asked = "listen on " + toText(endpoint);
    constexpr char kHint[] = "take another TCP port, or 0 for any free one, and an address of this computer";
    std::error_code error;
    acceptor_.open(endpoint.protocol(), error);
    checkNetwork(error, asked, kHint);
    acceptor_.bind(endpoint, error);
    checkNetwork(error, asked, kHint);
    acceptor_.listen(asio::socket_base::max_listen_connections, error);
    checkNetwork(error, asked, kHint);
}

std::string Server::address() const {
    return toText(acceptor_.local_endpoint());
}

void Server::awaitNext(Found found) {
    accept(found);
}

// A client that left before it was accepted is no reason to end; whatever else is wrong may pass.
void Server::accept(const Found& found) {
    acceptor_.async_accept([this, found](const std::error_code& error, tcp::socket socket) {
        if (!error) {
            prepare(socket);
            found(std::move(socket));
            return;
        }
        pause_.expires_after(kFirstPause);
        pause_.async_wait([this, found](const std::error_code& aborted) {
            if (!aborted)
                accept(found);
        });
    });
}

Client::Client(asio::io_context& context, Address address)
    : address_(std::move(address)), resolver_(context), socket_(context), pause_(context), next_(kFirstPause) {}

void Client::awaitNext(Found found) {
    resolve(found);
}

void Client::resolve(const Found& found) {
    resolver_.async_resolve(
        address_.host, address_.port,
        [this, found](const std::error_code& error, const tcp::resolver::results_type& endpoints) {
            if (error)
                tryAgain(error, found);
            else
                connect(endpoints, found);
        });
}

void Client::connect(const tcp::resolver::results_type& endpoints, const Found& found) {
    asio::async_connect(socket_, endpoints, [this, found](const std::error_code& error, const tcp::endpoint&) {
        if (error) {
            tryAgain(error, found);
            return;
        }
        next_ = kFirstPause;
        prepare(socket_);
        found(std::move(socket_));
    });
}

// Says so once, until a connection has succeeded.
void Client::tryAgain(const std::error_code& error, const Found& found) {
    if (next_ == kFirstPause)
        console::complain(fmt::format(
            "{}:{} cannot be reached: {}. Trying again until it answers.\n", address_.host, address_.port,
            inWords(HRESULT_FROM_WIN32(static_cast<DWORD>(error.value())))));
    pause_.expires_after(next_);
    next_ = std::min(next_ * 2, kLongestPause);
    pause_.async_wait([this, found](const std::error_code& aborted) {
        if (!aborted)
            resolve(found);
    });
}

} // namespace portwright

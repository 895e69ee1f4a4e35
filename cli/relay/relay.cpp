#include "relay/relay.h"

#include <asio/buffer.hpp>
#include <asio/write.hpp>

namespace portwright {

Relay::Relay(asio::io_context& context, HANDLE pipe, Events events)
    : port_(context, pipe), events_(std::move(events)) {
    readPort();
}

void Relay::attach(asio::ip::tcp::socket peer) {
    peer_ = std::move(peer);
    bytesToPeer_ = bytesFromPeer_ = 0;
    if (unsent_.size() != 0)
        writePeer();
    readPeer();
}

void Relay::readPort() {
    port_.async_read_some(asio::buffer(fromPort_), [this](const std::error_code& error, std::size_t size) {
        if (error) {
            events_.portLeft();
            return;
        }
        unsent_ = asio::buffer(fromPort_, size);
        writePeer();
    });
}

// Without a peer, what the port sent waits for the next one.
void Relay::writePeer() {
    if (!peer_ || peerLeaves_)
        return;
    writingPeer_ = true;
    peer_->async_write_some(unsent_, [this](const std::error_code& error, std::size_t size) {
        writingPeer_ = false;
        unsent_ += size;
        bytesToPeer_ += size;
        if (unsent_.size() == 0)
            readPort();
        else if (!error)
            writePeer();
        if (error)
            letPeerGo();
        forgetPeer();
    });
}

void Relay::readPeer() {
    readingPeer_ = true;
    peer_->async_read_some(asio::buffer(fromPeer_), [this](const std::error_code& error, std::size_t size) {
        readingPeer_ = false;
        bytesFromPeer_ += size;
        if (!error)
            writePort(size);
        else
            letPeerGo();
        forgetPeer();
    });
}

void Relay::writePort(std::size_t size) {
    writingPort_ = true;
    asio::async_write(port_, asio::buffer(fromPeer_, size), [this](const std::error_code& error, std::size_t) {
        writingPort_ = false;
        if (error)
            events_.portLeft();
        else if (!peerLeaves_)
            readPeer();
        forgetPeer();
    });
}

void Relay::letPeerGo() {
    if (peerLeaves_)
        return;
    peerLeaves_ = true;
    std::error_code ignored; // the peer may have gone already
    peer_->shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    peer_->close(ignored);
}

// Once nothing of a peer that leaves is under way any more.
void Relay::forgetPeer() {
    if (!peer_ || !peerLeaves_ || readingPeer_ || writingPeer_ || writingPort_)
        return;
    peer_.reset();
    peerLeaves_ = false;
    events_.peerLeft();
}

} // namespace portwright

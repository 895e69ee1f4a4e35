// Moves bytes between a port's pipe and one TCP peer after the other. Each direction holds one block at most, so that
// the slower side slows the faster one. What a peer has not taken when it leaves is for the next one.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/windows/stream_handle.hpp>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>

namespace portwright {

class Relay {
public:
    struct Events {
        std::function<void()> peerLeft; // the next one may come
        std::function<void()> portLeft; // the pipe is broken
    };

    // Takes the pipe over.
    Relay(asio::io_context& context, HANDLE pipe, Events events);

    // Moves bytes to and from this peer until it leaves.
    void attach(asio::ip::tcp::socket peer);

    std::uint64_t bytesToPeer() const { return bytesToPeer_; }
    std::uint64_t bytesFromPeer() const { return bytesFromPeer_; }

private:
    void readPort();
    void writePeer();
    void readPeer();
    void writePort(std::size_t size);
    void letPeerGo();
    void forgetPeer();

    asio::windows::stream_handle port_;
    Events events_;
    std::optional<asio::ip::tcp::socket> peer_;
    bool peerLeaves_ = false;
    bool readingPeer_ = false;
    bool writingPeer_ = false;
    bool writingPort_ = false;
    std::array<char, 65536> fromPort_{};
    std::array<char, 65536> fromPeer_{};
    asio::const_buffer unsent_; // of fromPort_
    std::uint64_t bytesToPeer_ = 0;
    std::uint64_t bytesFromPeer_ = 0;
};

} // namespace portwright

// The process at the other end: what it is told to send, it sends, and what is sent to it, it takes.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <array>
#include <cstdint>
#include <string>

namespace zorvan::bench {

// What bytes travel on between the two processes.
enum class Link : std::uint32_t {
    Bridge,
    Pipe,
    // Two ports that are joined with nothing and emulate a transmit overflow: the driver completes each write at
    // once, dropping the bytes, and each read with none.
    AtOnce,
};
inline constexpr std::size_t kLinks = 3;

// Open ends, by link.
using Ends = std::array<UniqueHandle, kLinks>;

UniqueHandle openBridgeEnd(const std::wstring& portName);
UniqueHandle openAtOnceEnd(const std::wstring& portName);

struct Transfer {
    enum class Kind : std::uint32_t { Send, Receive, Echo };
    Kind kind;
    Link link;
    std::uint32_t block; // bytes of a request
    std::uint32_t count; // of requests
};

// Sends or receives so many bytes, block by block; an echo does both with each block.
void carryOut(const Transfer& transfer, const Ends& ends);

// This program again.
class Peer {
public:
    // Opens the other ends itself: of the named ports, and of the pipe that the link Pipe of this process is.
    Peer(const std::wstring& bridgePort, const std::wstring& atOncePort);
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer();

    UniqueHandle takePipeEnd() { return std::move(pipe_); }

    void begin(const Transfer& transfer) const;
    void awaitEnd() const;

private:
    UniqueHandle orders_;
    UniqueHandle pipe_;
    UniqueHandle process_;
};

// What the other process does, until nobody gives it orders any more.
void servePeer(const std::wstring& bridgePort, const std::wstring& atOncePort);

} // namespace zorvan::bench

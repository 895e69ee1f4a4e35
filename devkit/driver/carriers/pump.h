// Moves bytes between a port and a pipe or a pair of files, on a thread of its own.
#pragma once

#include "overlapped_transfer.h"
#include "port/traffic.h"
#include "requests/engine_lock.h"

#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace zorvan::engine {

class Pump : public Carrier, public Releasable {
public:
    enum class Kind {
        PipeClient, // lasts as long as the pipe's other end
        PipeServer, // takes one client after the other
        Files,      // the output lasts when the input has come to its end
    };

    // Where bytes come from and go to, which may be one handle. They stay their owner's and must outlive the pump.
    struct Ends {
        HANDLE input;
        HANDLE output;
    };

    // The port must be joined to the pump by the same holder of the engine's lock. That the connection has ended by
    // itself is told on the pump's thread, with the lock held.
    Pump(Kind kind, Traffic& traffic, Ends ends, std::function<void()> onEnded);
    // Waits for the thread, so without the lock. What was taken from the port is written to a file; a pipe that does
    // not take it loses it.
    ~Pump() override;
    void wake() override;

private:
    static constexpr std::size_t kBlockSize = 65536;
    using Block = std::array<std::uint8_t, kBlockSize>;

    void run();
    void serveClients();
    bool awaitClient();
    void moveBytes();
    bool lasts() const { return kind_ == Kind::Files ? writing_ : reading_; }
    void read();
    void finishRead();
    void deliver();
    void write();
    void finishWrite();
    void finishTransfers();
    void setPresent(bool present);
    void end();
    void wait() const;

    const Kind kind_;
    Traffic& traffic_;
    std::function<void()> onEnded_;
    UniqueHandle wake_;
    std::atomic<bool> stopping_ = false;
    OverlappedTransfer reader_;
    OverlappedTransfer writer_;
    HANDLE pipe_;
    bool reading_ = true;
    bool writing_ = true;
    Block readBlock_{};
    Block writeBlock_{};
    std::vector<std::uint8_t> arrived_;       // for which the port had no room yet; never two blocks
    std::span<const std::uint8_t> unwritten_; // of writeBlock_
    std::thread thread_;                      // last: it uses all the others
};

} // namespace zorvan::engine

// One read, write or connection of a file or pipe at a time, under way while its thread waits for other things too.
#pragma once

#include "base/unique.h"

#include <cstdint>
#include <optional>
#include <span>

namespace zorvan::engine {

class OverlappedTransfer {
public:
    // The handle stays its owner's and must outlive this. Throws std::system_error when there is no event to be had.
    explicit OverlappedTransfer(HANDLE file);
    // Ends what is under way; the buffer that was given may go then.
    ~OverlappedTransfer() { cancel(); }
    OverlappedTransfer(const OverlappedTransfer&) = delete;
    OverlappedTransfer& operator=(const OverlappedTransfer&) = delete;

    // Each continues where the one before has stopped, which matters to files alone.
    void read(std::span<std::uint8_t> buffer);
    void write(std::span<const std::uint8_t> bytes);
    void awaitPipeClient();

    // From its beginning until it is finished.
    bool underWay() const { return underWay_; }
    bool ended() const { return underWay_ && WaitForSingleObject(event(), 0) == WAIT_OBJECT_0; }
    HANDLE event() const { return event_.get(); } // signalled when what is under way has ended

    // Waits for the end of what is under way. None: it has failed.
    std::optional<std::size_t> finish();
    void cancel();

private:
    void prepare();
    void begin(BOOL done);

    HANDLE file_;
    UniqueHandle event_;
    OVERLAPPED overlapped_{};
    std::uint64_t position_ = 0;
    bool underWay_ = false;
    bool failed_ = false; // at once, without getting under way in the system
};

} // namespace zorvan::engine

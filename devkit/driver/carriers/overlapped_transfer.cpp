#include "overlapped_transfer.h"

#include "windows_error.h"

namespace zorvan::engine {

OverlappedTransfer::OverlappedTransfer(HANDLE file)
    : file_(file), event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    if (!event_)
        devkit::throwLastError("CreateEvent");
}

void OverlappedTransfer::read(std::span<std::uint8_t> buffer) {
    prepare();
    begin(ReadFile(file_, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr, &overlapped_));
}

void OverlappedTransfer::write(std::span<const std::uint8_t> bytes) {
    prepare();
    begin(WriteFile(file_, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, &overlapped_));
}

// A client may have come before anybody waited for it, and may even have left again: the first read will tell.
void OverlappedTransfer::awaitPipeClient() {
    prepare();
    const BOOL connected = ConnectNamedPipe(file_, &overlapped_);
    const bool cameBefore = !connected && (GetLastError() == ERROR_PIPE_CONNECTED || GetLastError() == ERROR_NO_DATA);
    if (cameBefore)
        SetEvent(event_.get());
    begin(connected || cameBefore);
}

std::optional<std::size_t> OverlappedTransfer::finish() {
    underWay_ = false;
    DWORD count = 0;
    if (failed_ || !GetOverlappedResult(file_, &overlapped_, &count, TRUE))
        return std::nullopt;
    position_ += count;
    return count;
}

void OverlappedTransfer::cancel() {
    if (!underWay_)
        return;
    CancelIoEx(file_, &overlapped_); // fails when it has just ended, which is as good
    finish();
}

void OverlappedTransfer::prepare() {
    overlapped_ = {};
    overlapped_.Offset = static_cast<DWORD>(position_);
    overlapped_.OffsetHigh = static_cast<DWORD>(position_ >> 32);
    overlapped_.hEvent = event_.get();
    failed_ = false;
    ResetEvent(event_.get());
}

void OverlappedTransfer::begin(BOOL done) {
    failed_ = !done && GetLastError() != ERROR_IO_PENDING;
    underWay_ = true;
    if (failed_)
        SetEvent(event_.get());
}

} // namespace zorvan::engine

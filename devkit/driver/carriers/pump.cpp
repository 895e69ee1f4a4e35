#include "pump.h"

#include "windows_error.h"

namespace zorvan::engine {
namespace {

UniqueHandle createWakeEvent() {
    UniqueHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!event)
        devkit::throwLastError("CreateEvent");
    return event;
}

std::vector<std::uint8_t> roomFor(std::size_t size) {
    std::vector<std::uint8_t> empty;
    empty.reserve(size);
    return empty;
}

} // namespace

Pump::Pump(Kind kind, Traffic& traffic, Ends ends, std::function<void()> onEnded)
    : kind_(kind), traffic_(traffic), onEnded_(std::move(onEnded)), wake_(createWakeEvent()), reader_(ends.input),
      writer_(ends.output), pipe_(ends.input), arrived_(roomFor(2 * kBlockSize)), thread_([this] { run(); }) {}

Pump::~Pump() {
    stopping_ = true;
    wake();
    thread_.join();
}

void Pump::wake() {
    SetEvent(wake_.get()); // cannot fail for an event that we own
}

void Pump::run() {
    if (kind_ == Kind::PipeServer)
        serveClients();
    else
        moveBytes();
    end();
}

// A client that is still there when the pump is stopped may read what was written for it: closing the pipe leaves it
// that, disconnecting would not.
void Pump::serveClients() {
    while (!stopping_ && awaitClient()) {
        moveBytes();
        if (!stopping_)
            DisconnectNamedPipe(pipe_); // fails for a pipe that is broken altogether: the next wait tells
    }
}

// What the former client has sent last may still be waiting for the port.
bool Pump::awaitClient() {
    reader_.awaitPipeClient();
    while (!stopping_ && !reader_.ended()) {
        deliver();
        wait();
    }
    if (reader_.ended())
        return reader_.finish().has_value();
    reader_.cancel();
    return false;
}

void Pump::moveBytes() {
    reading_ = writing_ = true;
    unwritten_ = {};
    setPresent(true);
    while (!stopping_ && lasts()) {
        deliver();
        read();
        write();
        wait();
        finishRead();
        finishWrite();
    }
    finishTransfers();
    setPresent(false);
}

// Goes on before the port has had room for all that came, so that the end of a pipe is noticed.
void Pump::read() {
    if (reading_ && !reader_.underWay() && arrived_.size() < kBlockSize)
        reader_.read(readBlock_);
}

void Pump::finishRead() {
    if (!reader_.ended())
        return;
    const auto count = reader_.finish();
    const bool endOfFile = kind_ == Kind::Files && count == std::size_t{0}; // in a pipe, an empty message
    reading_ = count && !endOfFile;
    if (reading_)
        arrived_.insert(arrived_.end(), readBlock_.begin(), readBlock_.begin() + static_cast<std::ptrdiff_t>(*count));
}

void Pump::deliver() {
    if (arrived_.empty())
        return;
    const EngineLock lock;
    const auto count = traffic_.bring(*this, arrived_);
    arrived_.erase(arrived_.begin(), arrived_.begin() + static_cast<std::ptrdiff_t>(count));
}

void Pump::write() {
    if (!writing_ || writer_.underWay())
        return;
    if (unwritten_.empty()) {
        const EngineLock lock;
        unwritten_ = std::span(writeBlock_).first(traffic_.take(*this, writeBlock_));
    }
    if (!unwritten_.empty())
        writer_.write(unwritten_);
}

// What cannot be written is lost. A pipe may still have something to read all the same.
void Pump::finishWrite() {
    if (!writer_.ended())
        return;
    const auto count = writer_.finish();
    writing_ = count.has_value();
    unwritten_ = unwritten_.subspan(count.value_or(unwritten_.size()));
}

void Pump::finishTransfers() {
    reader_.cancel();
    writer_.cancel();
}

void Pump::setPresent(bool present) {
    const EngineLock lock;
    traffic_.setPresent(*this, present);
}

void Pump::end() {
    const EngineLock lock;
    if (!traffic_.isJoinedWith(*this))
        return;
    try {
        traffic_.bringLast(arrived_);
    } catch (const std::bad_alloc&) {
        arrived_.clear(); // as if the port had not been open
    }
    onEnded_();
}

void Pump::wait() const {
    HANDLE events[3] = {wake_.get()};
    DWORD count = 1;
    for (const auto* transfer : {&reader_, &writer_})
        if (transfer->underWay())
            events[count++] = transfer->event();
    WaitForMultipleObjects(count, events, FALSE, INFINITE); // cannot fail for events that we own
}

} // namespace zorvan::engine

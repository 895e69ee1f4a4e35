// The channel to the driver: each operation opens the control path, sends one request and closes the handle again.
#pragma once

#include "base/unique.h"
#include "driver/protocol.h"
#include "driver/record.h"

#include <span>
#include <string>
#include <vector>

namespace zorvan::driver {

// All throw the system's error.
void sendSet(const std::wstring& path, protocol::Set request, std::span<const std::uint8_t> input = {});

// The same in two steps, for requests that bring the driver what is its own from then on: see handOver.
UniqueHandle openControlPath(const std::wstring& path, protocol::Set request);
void sendSet(const UniqueHandle& control, protocol::Set request, std::span<const std::uint8_t> input);

// Carries no secrets, unlike a request: nothing wipes it.
using Reply = std::vector<std::uint8_t>;

// The reply, which is empty when there is nothing to report. Every record reads as zeros from an empty reply.
Reply sendQuery(const std::wstring& path, protocol::Query request);

template <class Record>
void sendRecord(const std::wstring& path, protocol::Set request, const Record& record) {
    sendSet(path, request, protocol::RecordWriter().append(record).bytes());
}

template <class Record>
Record query(const std::wstring& path, protocol::Query request) {
    const auto reply = sendQuery(path, request);
    return protocol::RecordReader(reply).read<Record>();
}

} // namespace zorvan::driver

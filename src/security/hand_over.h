// Requests that bring the driver handles of its host process.
#pragma once

#include "driver/control_channel.h"
#include "security/host_process.h"

namespace zorvan {

// Once the driver has the request the handles in the record are the host's, whatever it answers: see protocol.h. They
// are ours again only if that fails which comes before. A request that the system refuses without asking the driver
// looks like one that the driver refuses, and leaves the handles to the host as well.
template <class Record, class... Handles>
void handOver(const std::wstring& path, protocol::Set request, const Record& record, Handles&... handles) {
    protocol::RecordWriter writer;
    writer.append(record);
    const auto control = driver::openControlPath(path, request);
    (handles.release(), ...);
    driver::sendSet(control, request, writer.bytes());
}

} // namespace zorvan

// The driver's end of one port: a sensible driver that keeps what it is told and answers from it. A test can replace
// any answer.
#pragma once

#include "driver/protocol.h"
#include "driver/record.h"

#include <windows.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zorvan::simulation {

using protocol::Bytes;

// A request as it arrived.
struct Request {
    std::uint32_t code = 0;
    Bytes record;
    bool nullInput = false; // a null pointer, not just no bytes
    std::size_t room = 0;   // for the reply
    DWORD access = 0;       // of the handle
};

// What the driver knows of a port.
struct PortState {
    std::uint32_t mode = 1; // VSDM_Listening
    bool enabled = true;
    protocol::TrafficCounters traffic{};
    protocol::ErrorEmulationState crossover{};
    protocol::ErrorEmulationLong transmitOverflow{};
    std::wstring portName;
    std::wstring securityDescriptor;
    std::uint64_t hostEvent = 0;
    protocol::PipeConnection pipe{};
    protocol::HostHandlePair files{};
    std::uint32_t pair = 0;
    std::wstring remoteServer;
    std::wstring remotePort;
    bool permanent = false;
    std::vector<std::uint16_t> pins = std::vector<std::uint16_t>(protocol::kPinConnectionCount);
};

class Driver {
public:
    PortState state;
    DWORD hostProcessId = 0;
    std::vector<Request> requests;

    // Called when a request has arrived, before it is answered. It may wait: the machine is free meanwhile.
    std::function<void(std::uint32_t code)> beforeAnswer;

    // From now on the request is answered so.
    template <class Code>
    void answer(Code code, Bytes reply) {
        overrides_[static_cast<std::uint32_t>(code)] = {ERROR_SUCCESS, std::move(reply)};
    }
    template <class Code>
    void refuse(Code code, DWORD error) {
        overrides_[static_cast<std::uint32_t>(code)] = {error, {}};
    }

    // The records of one request's arrivals.
    template <class Code>
    std::vector<Bytes> records(Code code) const {
        std::vector<Bytes> records;
        for (const auto& request : requests)
            if (request.code == static_cast<std::uint32_t>(code))
                records.push_back(request.record);
        return records;
    }

    // Answers a request; the result is a Windows error.
    DWORD handle(const Request& request, Bytes& reply);

private:
    std::map<std::uint32_t, std::pair<DWORD, Bytes>> overrides_; // error and reply
};

} // namespace zorvan::simulation

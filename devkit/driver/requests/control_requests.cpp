#include "control_requests.h"

#include "base/unique.h"
#include "carriers/carrier_handle.h"
#include "driver/protocol.h"

#include <sddl.h>

#include <algorithm>
#include <iterator>

namespace zorvan::engine {
namespace {

using protocol::Query;
using protocol::RecordReader;
using protocol::RecordWriter;

struct Request {
    const Ports& ports;
    Port& port;
    RecordReader input;
    RecordWriter& reply;

    // Asked when all items are read: was that the record, the whole record, and nothing but the record?
    bool exact() const { return !input.truncated() && input.atEnd(); }
};

bool isFlag(std::uint32_t value) {
    return value <= 1;
}

Status queryHostProcessId(Request& request) {
    request.reply.append(request.port.host()->id());
    return Status::Success;
}

Status queryMode(Request& request) {
    request.reply.append(request.port.mode());
    return Status::Success;
}

Status queryPair(Request& request) {
    const auto* bridge = request.port.connectionAs<Bridge>();
    request.reply.append(bridge ? bridge->partner->host()->id() : std::uint32_t{0});
    return Status::Success;
}

Status queryPipeHandle(Request& request) {
    if (const auto* connection = request.port.connectionAs<PipeConnection>())
        request.reply.append(connection->pipe.value());
    return Status::Success;
}

Status queryFileHandles(Request& request) {
    if (const auto* connection = request.port.connectionAs<FileConnection>())
        request.reply.append(protocol::HostHandlePair{connection->output.value(), connection->input.value()});
    return Status::Success;
}

Status queryRemoteEndpoint(Request& request) {
    if (const auto* bridge = request.port.connectionAs<Bridge>())
        request.reply.appendString(bridge->server).appendString(bridge->partner->name()).append(std::uint32_t{0});
    return Status::Success;
}

Status queryTraffic(Request& request) {
    request.reply.append(request.port.traffic().counters());
    return Status::Success;
}

Status querySecurityDescriptor(Request& request) {
    request.reply.appendString(request.port.securityDescriptor());
    return Status::Success;
}

Status queryEnabled(Request& request) {
    request.reply.append(static_cast<std::uint8_t>(request.port.enabled()));
    return Status::Success;
}

Status queryPinConnections(Request& request) {
    request.reply.appendList(request.port.traffic().pinConnections());
    return Status::Success;
}

Status queryErrorEmulation(Request& request) {
    request.reply.append(request.port.traffic().crossover());
    return Status::Success;
}

Status queryErrorEmulationLong(Request& request) {
    request.reply.append(request.port.traffic().transmitOverflow());
    return Status::Success;
}

bool isInUse(const Port& port, std::uint64_t value) {
    if (const auto* connection = port.connectionAs<PipeConnection>())
        return connection->pipe.value() == value;
    if (const auto* connection = port.connectionAs<FileConnection>())
        return connection->output.value() == value || connection->input.value() == value;
    return false;
}

// A handle that a request brings belongs to the host process from here on: one that is refused is closed. Nothing is
// taken when it is the present connection's already, which would be closed under it.
HostHandle takeOver(const Port& port, std::uint64_t value) {
    return isInUse(port, value) ? HostHandle() : HostHandle(port.host(), value);
}

Status connectPipe(Request& request) {
    const auto record = request.input.read<protocol::PipeConnection>();
    if (!request.exact())
        return Status::InvalidParameter;
    auto pipe = takeOver(request.port, record.pipe);
    if (!isFlag(record.serverEnd))
        return Status::InvalidParameter;
    if (!pipe)
        return Status::InvalidHandle;
    if (!isPipe(pipe.copy()))
        return Status::ObjectTypeMismatch;
    request.port.connectPipe(std::move(pipe), record.serverEnd == 1);
    return Status::Success;
}

Status connectFiles(Request& request) {
    const auto record = request.input.read<protocol::HostHandlePair>();
    if (!request.exact())
        return Status::InvalidParameter;
    auto output = takeOver(request.port, record.outputFile);
    auto input = record.inputFile == record.outputFile ? HostHandle() : takeOver(request.port, record.inputFile);
    if (!output || !input)
        return Status::InvalidHandle;
    if (!isFile(output.copy()) || !isFile(input.copy()))
        return Status::ObjectTypeMismatch;
    request.port.connectFiles(std::move(output), std::move(input));
    return Status::Success;
}

Status disconnect(Request& request) {
    if (!request.exact())
        return Status::InvalidParameter;
    request.port.listen();
    return Status::Success;
}

std::wstring computerName(COMPUTER_NAME_FORMAT format) {
    wchar_t name[256];
    auto size = static_cast<DWORD>(std::size(name));
    return GetComputerNameExW(format, name, &size) ? std::wstring(name, size) : std::wstring();
}

bool isThisComputer(const std::wstring& server) {
    return server == L"." || sameName(server, computerName(ComputerNameDnsHostname)) ||
           sameName(server, computerName(ComputerNameNetBIOS));
}

// The credentials are for another computer; for this one they are not looked at.
Status createBridge(Request& request) {
    const auto partnerName = request.input.readString();
    const auto server = request.input.readString();
    for (int credential = 0; credential < 3; ++credential)
        request.input.readString();
    const auto permanent = request.input.read<std::uint8_t>();
    if (!request.exact() || !isFlag(permanent) || partnerName.empty() || server.empty())
        return Status::InvalidParameter;
    if (!isThisComputer(server))
        return Status::NotSupported;

    auto* const partner = request.ports.find(partnerName);
    if (!partner)
        return Status::ObjectNameNotFound;
    if (partner == &request.port)
        return Status::InvalidParameter;
    if (!partner->listening())
        return Status::ConnectionActive;
    request.port.bridgeTo(*partner, server, permanent == 1);
    return Status::Success;
}

Status setPortName(Request& request) {
    const auto name = request.input.readString();
    return request.exact() ? request.port.rename(name) : Status::InvalidParameter;
}

Status setHostEvent(Request& request) {
    const auto event = request.input.read<std::uint64_t>();
    if (!request.exact())
        return Status::InvalidParameter;
    // 0 comes from a client that could not hand over its event; the other clients' stay.
    if (event == 0 || request.port.watch(takeOver(request.port, event)))
        return Status::Success;
    return Status::InvalidHandle;
}

bool isSecurityDescriptor(const std::wstring& text) {
    UniqueLocalMemory descriptor;
    return text.find(L'\0') == std::wstring::npos && ConvertStringSecurityDescriptorToSecurityDescriptorW(
                                                         text.c_str(), SDDL_REVISION_1, descriptor.put(), nullptr);
}

Status startListening(Request& request) {
    auto text = request.input.readString();
    if (!request.exact() || !isSecurityDescriptor(text))
        return Status::InvalidParameter;
    request.port.listen(std::move(text));
    return Status::Success;
}

Status setEnabled(Request& request) {
    const auto enabled = request.input.read<std::uint8_t>();
    if (!request.exact() || !isFlag(enabled))
        return Status::InvalidParameter;
    return request.port.setEnabled(enabled == 1);
}

Status setPinConnections(Request& request) {
    const auto entries = request.input.readList();
    PinConnections connections{};
    if (!request.exact() || entries.size() != connections.size())
        return Status::InvalidParameter;
    std::copy(entries.begin(), entries.end(), connections.begin());
    if (!isWiring(connections))
        return Status::InvalidParameter;
    request.port.traffic().setPinConnections(connections);
    return Status::Success;
}

constexpr std::uint32_t kMaximumCrossover = 500; // thousandths

Status setErrorEmulation(Request& request) {
    const auto record = request.input.read<protocol::ErrorEmulationShort>();
    if (!request.exact() || record.kind != protocol::kBitCrossover || !isFlag(record.enabled) ||
        record.value > kMaximumCrossover)
        return Status::InvalidParameter;
    request.port.setCrossover({record.enabled, record.value});
    return Status::Success;
}

Status setErrorEmulationLong(Request& request) {
    const auto record = request.input.read<protocol::ErrorEmulationLong>();
    if (!request.exact() || record.kind != protocol::kTransmitOverflow || !isFlag(record.enabled))
        return Status::InvalidParameter;
    request.port.setTransmitOverflow(record);
    return Status::Success;
}

using Handler = Status (*)(Request&);

struct QueryEntry {
    Query code;
    Handler handler;
};

constexpr QueryEntry kQueries[] = {
    {Query::HostProcessId, queryHostProcessId},
    {Query::Mode, queryMode},
    {Query::Pair, queryPair},
    {Query::PipeHandle, queryPipeHandle},
    {Query::FileHandles, queryFileHandles},
    {Query::RemoteEndpoint, queryRemoteEndpoint},
    {Query::Traffic, queryTraffic},
    {Query::SecurityDescriptor, querySecurityDescriptor},
    {Query::Enabled, queryEnabled},
    {Query::PinConnections, queryPinConnections},
    {Query::ErrorEmulation, queryErrorEmulation},
    {Query::ErrorEmulationLong, queryErrorEmulationLong},
};

struct SetEntry {
    protocol::Set code;
    Handler handler;
};

constexpr SetEntry kSets[] = {
    {protocol::Set::ConnectPipe, connectPipe},
    {protocol::Set::Disconnect, disconnect},
    {protocol::Set::ConnectFiles, connectFiles},
    {protocol::Set::CreateBridge, createBridge},
    {protocol::Set::PortName, setPortName},
    {protocol::Set::HostEvent, setHostEvent},
    {protocol::Set::StartListening, startListening},
    {protocol::Set::Enabled, setEnabled},
    {protocol::Set::PinConnections, setPinConnections},
    {protocol::Set::ErrorEmulation, setErrorEmulation},
    {protocol::Set::ErrorEmulationLong, setErrorEmulationLong},
};

template <class Entry, std::size_t kCount>
Handler handlerFor(const Entry (&entries)[kCount], std::uint32_t code) {
    const auto* const found = std::find_if(std::begin(entries), std::end(entries), [&](const Entry& entry) {
        return static_cast<std::uint32_t>(entry.code) == code;
    });
    return found != std::end(entries) ? found->handler : nullptr;
}

} // namespace

Status handleControlRequest(
    const Ports& ports, Port& port, std::uint32_t code, std::span<const std::uint8_t> input, RecordWriter& reply) {
    Request request{ports, port, RecordReader(input), reply};
    if (const auto query = handlerFor(kQueries, code))
        return input.empty() ? query(request) : Status::InvalidParameter;
    if (const auto set = handlerFor(kSets, code))
        return set(request);
    return Status::InvalidDeviceRequest;
}

} // namespace zorvan::engine

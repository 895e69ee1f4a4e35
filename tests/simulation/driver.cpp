#include "simulation/driver.h"

#include "simulation/device_node.h"
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <algorithm>

namespace zorvan::simulation {

using protocol::Query;
using protocol::RecordReader;
using protocol::RecordWriter;
using protocol::Set;

namespace {

// VirtualSerialDeviceMode
constexpr std::uint32_t kListening = 1;
constexpr std::uint32_t kPipe = 2;
constexpr std::uint32_t kBridge = 3;
constexpr std::uint32_t kFiles = 4;

// The reply to a query; nothing for a code that asks nothing.
std::optional<Bytes> answerQuery(std::uint32_t code, const Driver& driver) {
    const PortState& state = driver.state;
    RecordWriter reply;
    switch (static_cast<Query>(code)) {
    case Query::HostProcessId:
        return reply.append(driver.hostProcessId).bytes();
    case Query::Mode:
        return reply.append(state.mode).bytes();
    case Query::Pair:
        return reply.append(state.pair).bytes();
    case Query::PipeHandle:
        return reply.append(state.pipe.pipe).bytes();
    case Query::FileHandles:
        return reply.append(state.files).bytes();
    case Query::RemoteEndpoint:
        reply.appendString(state.remoteServer).appendString(state.remotePort);
        return reply.append(std::uint32_t{0}).bytes();
    case Query::Traffic:
        return reply.append(state.traffic).bytes();
    case Query::SecurityDescriptor:
        return reply.appendString(state.securityDescriptor).bytes();
    case Query::Enabled:
        return reply.append(static_cast<std::uint8_t>(state.enabled)).bytes();
    case Query::PinConnections:
        return reply.appendList(state.pins).bytes();
    case Query::ErrorEmulation:
        return reply.append(state.crossover).bytes();
    case Query::ErrorEmulationLong:
        return reply.append(state.transmitOverflow).bytes();
    default:
        return std::nullopt;
    }
}

void connectBridge(PortState& state, RecordReader& record) {
    state.mode = kBridge;
    state.remotePort = record.readString();
    state.remoteServer = record.readString();
    for (int credential = 0; credential < 3; ++credential)
        record.readString();
    state.permanent = record.read<std::uint8_t>() != 0;
}

// Whether the code sets something. The reader is left where the record ends.
bool applySet(std::uint32_t code, PortState& state, RecordReader& record) {
    switch (static_cast<Set>(code)) {
    case Set::ConnectPipe:
        state.pipe = record.read<protocol::PipeConnection>();
        state.mode = kPipe;
        return true;
    case Set::Disconnect:
        state.mode = kListening;
        return true;
    case Set::ConnectFiles:
        state.files = record.read<protocol::HostHandlePair>();
        state.mode = kFiles;
        return true;
    case Set::CreateBridge:
        connectBridge(state, record);
        return true;
    case Set::PortName:
        state.portName = record.readString();
        return true;
    case Set::HostEvent:
        state.hostEvent = record.read<std::uint64_t>();
        return true;
    case Set::StartListening:
        state.securityDescriptor = record.readString();
        state.mode = kListening;
        return true;
    case Set::Enabled:
        state.enabled = record.read<std::uint8_t>() != 0;
        return true;
    case Set::PinConnections:
        state.pins = record.readList();
        return true;
    case Set::ErrorEmulation: {
        const auto emulation = record.read<protocol::ErrorEmulationShort>();
        state.crossover = {emulation.enabled, emulation.value};
        return true;
    }
    case Set::ErrorEmulationLong:
        state.transmitOverflow = record.read<protocol::ErrorEmulationLong>();
        return true;
    default:
        return false;
    }
}

// A driver refuses a record that is too short or too long, and leaves everything as it was.
DWORD set(const Request& request, PortState& state) {
    PortState changed = state;
    RecordReader record(request.record);
    if (!applySet(request.code, changed, record))
        return ERROR_INVALID_FUNCTION;
    if (record.truncated() || !record.atEnd())
        return ERROR_INVALID_PARAMETER;
    state = std::move(changed);
    return ERROR_SUCCESS;
}

} // namespace

std::vector<Bytes> Driver::recordsOf(std::uint32_t code) const {
    std::vector<Bytes> records;
    for (const auto& request : requests)
        if (request.code == code)
            records.push_back(request.record);
    return records;
}

DWORD Driver::handle(const Request& request, Bytes& reply) {
    requests.push_back(request);
    if (const auto override = overrides_.find(request.code); override != overrides_.end()) {
        reply = override->second.reply;
        return override->second.error;
    }
    if (auto answer = answerQuery(request.code, *this)) {
        reply = std::move(*answer);
        return ERROR_SUCCESS;
    }
    return set(request, state);
}

namespace {

struct ControlFile : Object {
    ControlFile(DeviceNode& device, DWORD rights)
        : node(device), access(rights), description_("control file of " + describe(device.instanceId)) {}
    std::string description() const override { return description_; }

    DeviceNode& node;
    const DWORD access;

private:
    std::string description_; // the node may be gone when a leak is described
};

HANDLE WINAPI createFile(
    LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes, DWORD disposition, DWORD flags,
    HANDLE templateFile) {
    Call call(
        "CreateFileW", path, Hex{access}, share, attributes == nullptr ? "no attributes" : "attributes", disposition,
        Hex{flags}, templateFile == nullptr ? "no template" : "template");
    if (call.fails())
        return INVALID_HANDLE_VALUE;
    auto* node = call->plugAndPlay.findByControlPath(path);
    if (const DWORD error = node != nullptr ? node->openError : call->files.create(path, disposition)) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    }
    if (node == nullptr)
        return call.open(std::make_shared<File>(path));
    return call.open(std::make_shared<ControlFile>(*node, access));
}
SIMULATE(CreateFileW, createFile);

// Windows checks the access bits of a control code against those of the handle.
bool isAllowed(std::uint32_t code, DWORD access) {
    const auto required = protocol::requiredAccess(code);
    const bool mayRead = (required & protocol::kFileReadAccess) == 0 || (access & GENERIC_READ) != 0;
    const bool mayWrite = (required & protocol::kFileWriteAccess) == 0 || (access & GENERIC_WRITE) != 0;
    return mayRead && mayWrite;
}

Request requestOf(DWORD code, const void* input, DWORD inputSize, DWORD outputSize, DWORD access) {
    Request request;
    request.code = code;
    request.nullInput = input == nullptr;
    request.room = outputSize;
    request.access = access;
    if (const auto* bytes = static_cast<const std::uint8_t*>(input))
        request.record.assign(bytes, bytes + inputSize);
    return request;
}

// What a reader finds that reads on behind the reply.
constexpr std::uint8_t kBehindTheReply = 0xCC;

BOOL WINAPI deviceIoControl(
    HANDLE handle, DWORD code, LPVOID input, DWORD inputSize, LPVOID output, DWORD outputSize, LPDWORD returned,
    LPOVERLAPPED overlapped) {
    Call call("DeviceIoControl", handle, Hex{code}, inputSize, outputSize, overlapped == nullptr ? "" : "overlapped");
    const auto file = call.object<ControlFile>(handle);
    if (file == nullptr || call.fails())
        return FALSE;
    if (!isAllowed(code, file->access))
        return Call::failed(ERROR_ACCESS_DENIED);
    if (!file->node.present)
        return Call::failed(ERROR_DEVICE_REMOVED);
    Bytes reply;
    const DWORD error = file->node.driver.handle(requestOf(code, input, inputSize, outputSize, file->access), reply);
    if (error != ERROR_SUCCESS)
        return Call::failed(error);
    reply.resize(call.bring(reply.size()));
    if (reply.size() > outputSize)
        return Call::failed(ERROR_INSUFFICIENT_BUFFER);
    auto* const end = std::copy(reply.begin(), reply.end(), static_cast<std::uint8_t*>(output));
    std::fill(end, static_cast<std::uint8_t*>(output) + outputSize, kBehindTheReply);
    *returned = static_cast<DWORD>(reply.size());
    return TRUE;
}
SIMULATE(DeviceIoControl, deviceIoControl);

} // namespace

} // namespace zorvan::simulation

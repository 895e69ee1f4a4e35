#include "simulation/driver.h"

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

template <class Record>
Bytes bytesOf(const Record& record) {
    return RecordWriter().append(record).bytes();
}

Bytes answerEndpoint(const Driver& driver) {
    return RecordWriter()
        .appendString(driver.state.remoteServer)
        .appendString(driver.state.remotePort)
        .append(0U)
        .bytes();
}

// The replies to the queries about a port's driver.state.
const std::map<Query, Bytes (*)(const Driver&)> kAnswers{
    {Query::HostProcessId, [](auto& driver) { return bytesOf(driver.hostProcessId); }},
    {Query::Mode, [](auto& driver) { return bytesOf(driver.state.mode); }},
    {Query::Pair, [](auto& driver) { return bytesOf(driver.state.pair); }},
    {Query::PipeHandle, [](auto& driver) { return bytesOf(driver.state.pipe.pipe); }},
    {Query::FileHandles, [](auto& driver) { return bytesOf(driver.state.files); }},
    {Query::RemoteEndpoint, answerEndpoint},
    {Query::Traffic, [](auto& driver) { return bytesOf(driver.state.traffic); }},
    {Query::SecurityDescriptor,
     [](auto& driver) { return RecordWriter().appendString(driver.state.securityDescriptor).bytes(); }},
    {Query::Enabled, [](auto& driver) { return bytesOf(driver.state.enabled); }},
    {Query::PinConnections, [](auto& driver) { return RecordWriter().appendList(driver.state.pins).bytes(); }},
    {Query::ErrorEmulation, [](auto& driver) { return bytesOf(driver.state.crossover); }},
    {Query::ErrorEmulationLong, [](auto& driver) { return bytesOf(driver.state.transmitOverflow); }},
};

void connectPipe(PortState& state, RecordReader& record) {
    state.mode = kPipe;
    state.pipe = record.read<protocol::PipeConnection>();
}

void connectFiles(PortState& state, RecordReader& record) {
    state.mode = kFiles;
    state.files = record.read<protocol::HostHandlePair>();
}

void connectBridge(PortState& state, RecordReader& record) {
    state.mode = kBridge;
    state.remotePort = record.readString();
    state.remoteServer = record.readString();
    for (int credential = 0; credential < 3; ++credential)
        record.readString();
    state.permanent = record.read<std::uint8_t>() != 0;
}

void listen(PortState& state, RecordReader& record) {
    state.mode = kListening;
    state.securityDescriptor = record.readString();
}

void emulateErrors(PortState& state, RecordReader& record) {
    const auto emulation = record.read<protocol::ErrorEmulationShort>();
    state.crossover = {emulation.enabled, emulation.value};
}

void emulateOverflow(PortState& state, RecordReader& record) {
    state.transmitOverflow = record.read<protocol::ErrorEmulationLong>();
}

// What the other requests do. The reader is left where the record ends.
const std::map<Set, void (*)(PortState&, RecordReader&)> kEffects{
    {Set::ConnectPipe, connectPipe},
    {Set::Disconnect, [](auto& state, auto&) { state.mode = kListening; }},
    {Set::ConnectFiles, connectFiles},
    {Set::CreateBridge, connectBridge},
    {Set::PortName, [](auto& state, auto& record) { state.portName = record.readString(); }},
    {Set::HostEvent, [](auto& state, auto& record) { state.hostEvent = record.template read<std::uint64_t>(); }},
    {Set::StartListening, listen},
    {Set::Enabled, [](auto& state, auto& record) { state.enabled = record.template read<std::uint8_t>() != 0; }},
    {Set::PinConnections, [](auto& state, auto& record) { state.pins = record.readList(); }},
    {Set::ErrorEmulation, emulateErrors},
    {Set::ErrorEmulationLong, emulateOverflow},
};

} // namespace

DWORD Driver::handle(const Request& request, Bytes& reply) {
    requests.push_back(request);
    if (const auto override = overrides_.find(request.code); override != overrides_.end()) {
        reply = override->second.second;
        return override->second.first;
    }
    if (const auto answer = kAnswers.find(static_cast<Query>(request.code)); answer != kAnswers.end()) {
        reply = answer->second(*this);
        return ERROR_SUCCESS;
    }
    const auto effect = kEffects.find(static_cast<Set>(request.code));
    if (effect == kEffects.end())
        return ERROR_INVALID_FUNCTION;
    // A record that is too short or too long is refused, and leaves everything as it was.
    PortState changed = state;
    RecordReader record(request.record);
    effect->second(changed, record);
    if (record.truncated() || !record.atEnd())
        return ERROR_INVALID_PARAMETER;
    state = std::move(changed);
    return ERROR_SUCCESS;
}

namespace {

struct ControlFile : Object {
    ControlFile(DeviceNode& device, DWORD rights)
        : Object("control file of " + describe(device.instanceId)), node(device), access(rights) {}

    DeviceNode& node;
    const DWORD access;
};

SIMULATE(
    OrInvalid<HANDLE>, CreateFileW, LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES attributes,
    DWORD disposition, DWORD flags, HANDLE templateFile) {
    auto* node = call->plugAndPlay.findByControlPath(path);
    if (node == nullptr) {
        call->files.create(path, disposition);
        return call.open(std::make_shared<File>(path));
    }
    failIf(node->openError != ERROR_SUCCESS, node->openError);
    return call.open(std::make_shared<ControlFile>(*node, access));
}

// Windows checks the access bits of a control code against those of the handle.
bool isAllowed(std::uint32_t code, DWORD access) {
    const auto required = protocol::requiredAccess(code);
    const bool mayRead = (required & protocol::kFileReadAccess) == 0 || (access & GENERIC_READ) != 0;
    const bool mayWrite = (required & protocol::kFileWriteAccess) == 0 || (access & GENERIC_WRITE) != 0;
    return mayRead && mayWrite;
}

// What a request brings is the host's, which closes it when the request fails.
void closeRefused(Process& host, const Request& request) {
    RecordReader record(request.record);
    const auto code = static_cast<Set>(request.code);
    int handles = code == Set::ConnectFiles ? 2 : 0;
    if (code == Set::ConnectPipe || code == Set::HostEvent)
        handles = 1;
    for (; handles > 0; --handles)
        host.handles.close(reinterpret_cast<HANDLE>(record.read<std::uint64_t>()));
}

// What a reader finds that reads on behind the reply.
constexpr std::uint8_t kBehindTheReply = 0xCC;

SIMULATE_SURE(
    BOOL, DeviceIoControl, HANDLE handle, DWORD code, LPVOID input, DWORD inputSize, LPVOID output, DWORD outputSize,
    LPDWORD returned, LPOVERLAPPED overlapped) {
    const auto file = call.object<ControlFile>(handle);
    if (const auto wait = file->node.driver.beforeAnswer)
        call.letOthersRun([&] { wait(code); });
    const auto* bytes = static_cast<const std::uint8_t*>(input);
    const Request request{code, {bytes, bytes + inputSize}, input == nullptr, outputSize, file->access};
    Bytes reply;
    try {
        call.failIfTold();
        failIf(!isAllowed(code, file->access), ERROR_ACCESS_DENIED);
        failIf(!file->node.present, ERROR_DEVICE_REMOVED);
        const DWORD error = file->node.driver.handle(request, reply);
        failIf(error != ERROR_SUCCESS, error);
    } catch (const Failure&) {
        closeRefused(call->hostOf(file->node), request);
        throw;
    }
    reply.resize(call.bring(reply.size()));
    failIf(reply.size() > outputSize, ERROR_INSUFFICIENT_BUFFER);
    auto* const end = std::copy(reply.begin(), reply.end(), static_cast<std::uint8_t*>(output));
    std::fill(end, static_cast<std::uint8_t*>(output) + outputSize, kBehindTheReply);
    *returned = static_cast<DWORD>(reply.size());
}

} // namespace

} // namespace zorvan::simulation

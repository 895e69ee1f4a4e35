// The control requests between the library and the driver: codes and records of fixed size.
//
// The library, the development driver and the tests all include this header; it needs nothing of Windows. Every
// number on the wire is little-endian and every record is packed. Records of variable size are put together with
// record.h from numbers and counted wide strings:
//
//   counted wide string   u32 length in UTF-16 code units, then the code units; no terminator
//   pin connection list   u32 count, then count u16 entries (see kPinCount)
//   CreateBridge          counted wide strings: partner port, server, login, password, domain; then u8 permanent
//   QueryRemoteEndpoint   counted wide strings: server, port; then u32 reserved
//
// A handle of the host process that a request brings is the host's from the moment the driver has the request,
// whatever it answers: the host closes what the driver refuses. The sender takes back only what it never sent,
// because a value that the host has closed may stand for something else there by then.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zorvan::protocol {

inline constexpr std::uint32_t kDeviceType = 0x81F1;
inline constexpr std::uint32_t kFileReadAccess = 1;
inline constexpr std::uint32_t kFileWriteAccess = 2;

// The buffered-method case of the system's CTL_CODE rule.
constexpr std::uint32_t controlCode(std::uint32_t access, std::uint32_t function) {
    return kDeviceType << 16 | access << 14 | function << 2;
}

constexpr std::uint32_t requiredAccess(std::uint32_t code) {
    return code >> 14 & 3;
}

// Requests that ask. The reply holds at most kReplySize bytes; an empty one means that there is nothing to report.
enum class Query : std::uint32_t {
    HostProcessId = controlCode(kFileReadAccess, 0x801),      // u32
    Mode = controlCode(kFileReadAccess, 0x802),               // u32, a VirtualSerialDeviceMode
    Pair = controlCode(kFileReadAccess, 0x806),               // u32, the partner's HostProcessId; 0: none
    PipeHandle = controlCode(kFileReadAccess, 0x808),         // u64, handle value in the host process
    FileHandles = controlCode(kFileReadAccess, 0x809),        // HostHandlePair
    RemoteEndpoint = controlCode(kFileReadAccess, 0x80B),     // see above
    Traffic = controlCode(kFileReadAccess, 0x80E),            // TrafficCounters
    SecurityDescriptor = controlCode(kFileReadAccess, 0x810), // counted wide string, SDDL text
    Enabled = controlCode(kFileReadAccess, 0x811),            // u8
    PinConnections = controlCode(kFileReadAccess, 0x814),     // pin connection list
    ErrorEmulation = controlCode(kFileReadAccess, 0x818),     // ErrorEmulationState
    ErrorEmulationLong = controlCode(kFileReadAccess, 0x820), // ErrorEmulationLong
};

// Requests that change something. They have no reply.
enum class Set : std::uint32_t {
    ConnectPipe = controlCode(kFileWriteAccess, 0x803),        // PipeConnection
    Disconnect = controlCode(kFileWriteAccess, 0x805),         // empty
    ConnectFiles = controlCode(kFileWriteAccess, 0x807),       // HostHandlePair
    CreateBridge = controlCode(kFileWriteAccess, 0x80A),       // see above
    PortName = controlCode(kFileWriteAccess, 0x80C),           // counted wide string
    HostEvent = controlCode(kFileWriteAccess, 0x80D),          // u64, handle value in the host process; 0: none
    StartListening = controlCode(kFileWriteAccess, 0x80F),     // counted wide string, SDDL text
    Enabled = controlCode(kFileWriteAccess, 0x812),            // u8, 0 or 1
    PinConnections = controlCode(kFileWriteAccess, 0x813),     // pin connection list
    ErrorEmulation = controlCode(kFileWriteAccess, 0x817),     // ErrorEmulationShort
    ErrorEmulationLong = controlCode(kFileWriteAccess, 0x819), // ErrorEmulationLong
};

static_assert(static_cast<std::uint32_t>(Query::HostProcessId) == 0x81F16004);
static_assert(static_cast<std::uint32_t>(Query::Mode) == 0x81F16008);
static_assert(static_cast<std::uint32_t>(Query::Pair) == 0x81F16018);
static_assert(static_cast<std::uint32_t>(Query::PipeHandle) == 0x81F16020);
static_assert(static_cast<std::uint32_t>(Query::FileHandles) == 0x81F16024);
static_assert(static_cast<std::uint32_t>(Query::RemoteEndpoint) == 0x81F1602C);
static_assert(static_cast<std::uint32_t>(Query::Traffic) == 0x81F16038);
static_assert(static_cast<std::uint32_t>(Query::SecurityDescriptor) == 0x81F16040);
static_assert(static_cast<std::uint32_t>(Query::Enabled) == 0x81F16044);
static_assert(static_cast<std::uint32_t>(Query::PinConnections) == 0x81F16050);
static_assert(static_cast<std::uint32_t>(Query::ErrorEmulation) == 0x81F16060);
static_assert(static_cast<std::uint32_t>(Query::ErrorEmulationLong) == 0x81F16080);
static_assert(static_cast<std::uint32_t>(Set::ConnectPipe) == 0x81F1A00C);
static_assert(static_cast<std::uint32_t>(Set::Disconnect) == 0x81F1A014);
static_assert(static_cast<std::uint32_t>(Set::ConnectFiles) == 0x81F1A01C);
static_assert(static_cast<std::uint32_t>(Set::CreateBridge) == 0x81F1A028);
static_assert(static_cast<std::uint32_t>(Set::PortName) == 0x81F1A030);
static_assert(static_cast<std::uint32_t>(Set::HostEvent) == 0x81F1A034);
static_assert(static_cast<std::uint32_t>(Set::StartListening) == 0x81F1A03C);
static_assert(static_cast<std::uint32_t>(Set::Enabled) == 0x81F1A048);
static_assert(static_cast<std::uint32_t>(Set::PinConnections) == 0x81F1A04C);
static_assert(static_cast<std::uint32_t>(Set::ErrorEmulation) == 0x81F1A05C);
static_assert(static_cast<std::uint32_t>(Set::ErrorEmulationLong) == 0x81F1A064);

inline constexpr std::size_t kReplySize = 0x10000;

// Twelve sources drive pins: the six local pins, then the six remote ones. In a source's entry bit t stands for
// local pin t as its target, bit 8 + t for remote pin t.
inline constexpr std::size_t kPinCount = 6;
inline constexpr std::size_t kPinConnectionCount = 2 * kPinCount;
inline constexpr unsigned kRemoteTargets = 8; // the first bit of the remote targets

// The targets that a pin may have, on either side: outputs drive inputs, inputs drive outputs, and RI drives RI:
// oddity 15 of docs/architecture.md.
inline constexpr std::uint8_t kAllowedTargets[kPinCount] = {0x36, 0x09, 0x09, 0x36, 0x09, 0x20};

using PinConnections = std::array<std::uint16_t, kPinConnectionCount>;

// How the pins are connected to start with: DTR drives the other side's DSR and DCD, RTS its CTS.
inline constexpr PinConnections kNullModem{0x0600, 0, 0, 0x1000, 0, 0, 0x0006, 0, 0, 0x0010, 0, 0};

// What ErrorEmulationShort and ErrorEmulationLong emulate.
inline constexpr std::uint32_t kBitCrossover = 0x11;  // ErrorEmulationShort: value in thousandths
inline constexpr std::uint32_t kTransmitOverflow = 1; // ErrorEmulationLong: parameter unused

// The server name that stands for this computer in CreateBridge.
inline constexpr wchar_t kLocalServer[] = L".";

#pragma pack(push, 1)

struct ErrorEmulationShort {
    std::uint32_t kind;
    std::uint32_t enabled;
    std::uint32_t value;
};

// The reply to Query::ErrorEmulation, which lacks the kind.
struct ErrorEmulationState {
    std::uint32_t enabled;
    std::uint32_t value;
};

struct ErrorEmulationLong {
    std::uint32_t kind;
    std::uint32_t enabled;
    std::uint64_t parameter;
};

struct TrafficCounters {
    std::uint64_t connections;
    std::uint64_t bytesSent;
    std::uint64_t bytesReceived;
};

// Handle values that are valid in the driver's host process.
struct HostHandlePair {
    std::uint64_t outputFile;
    std::uint64_t inputFile;
};

struct PipeConnection {
    std::uint64_t pipe;     // handle value in the host process
    std::uint8_t serverEnd; // 1: the handle is the pipe's server end
};

#pragma pack(pop)

static_assert(sizeof(ErrorEmulationShort) == 12);
static_assert(sizeof(ErrorEmulationState) == 8);
static_assert(sizeof(ErrorEmulationLong) == 16);
static_assert(sizeof(TrafficCounters) == 24);
static_assert(sizeof(HostHandlePair) == 16);
static_assert(sizeof(PipeConnection) == 9);

} // namespace zorvan::protocol

// The system's status codes that the engine answers with, and what Win32 callers see them as.
#pragma once

#include <cstdint>

namespace zorvan::engine {

enum class Status : std::uint32_t {
    Success = 0,
    InvalidHandle = 0xC0000008,        // ERROR_INVALID_HANDLE
    InvalidParameter = 0xC000000D,     // ERROR_INVALID_PARAMETER
    NoSuchDevice = 0xC000000E,         // ERROR_NO_SUCH_DEVICE
    InvalidDeviceRequest = 0xC0000010, // ERROR_INVALID_FUNCTION
    AccessDenied = 0xC0000022,         // ERROR_ACCESS_DENIED
    BufferTooSmall = 0xC0000023,       // ERROR_INSUFFICIENT_BUFFER
    ObjectTypeMismatch = 0xC0000024,   // ERROR_INVALID_HANDLE
    ObjectNameInvalid = 0xC0000033,    // ERROR_INVALID_NAME
    ObjectNameNotFound = 0xC0000034,   // ERROR_FILE_NOT_FOUND
    ObjectNameCollision = 0xC0000035,  // ERROR_ALREADY_EXISTS
    InsufficientResources = 0xC000009A,
    NotSupported = 0xC00000BB,     // ERROR_NOT_SUPPORTED
    Cancelled = 0xC0000120,        // ERROR_OPERATION_ABORTED
    ConnectionActive = 0xC000023B, // ERROR_CONNECTION_ACTIVE
};

// What a request came to. Only a successful one has a reply.
struct Outcome {
    Status status;
    std::uint32_t replySize;
};

// How the .sys is told what a request that took its time came to.
using CompleteRequest = void (*)(void* request, Outcome outcome);

} // namespace zorvan::engine

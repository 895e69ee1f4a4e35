// What zorvan.sys asks of zorvan_engine.dll. Either side may call from any thread.
//
// The .sys lives among kernel declarations and without the C++ library, so the engine shows it plain functions and
// an opaque port, and lets no exception through.
#pragma once

#include "engine_export.h"
#include "operation.h"
#include "status.h"

#include <guiddef.h>

namespace zorvan::engine {

class Port;

extern "C" {

// The interface classes of a device.
ZORVAN_ENGINE_API const GUID* zorvanControlInterface();
ZORVAN_ENGINE_API const GUID* zorvanSerialPortInterface();

// Comes first. Submitted requests are completed through the function, on any thread, also before zorvanSubmit
// returns. The names of all serial devices begin with the prefix; what a driver process that died has left of them is
// removed.
ZORVAN_ENGINE_API void zorvanStartDriver(CompleteRequest complete, const wchar_t* serialDevicePrefix);

// Makes the port of a device whose open hardware key is given (it stays the caller's) and whose serial traffic
// enters at the named device object. Null: that failed.
ZORVAN_ENGINE_API Port* zorvanCreatePort(void* deviceKey, const wchar_t* deviceName);

// Publishes the port: requests may come from here on.
ZORVAN_ENGINE_API void zorvanStartPort(Port* port);

// The device is gone: ends the port's name, connection and host process. Requests that still come are refused.
ZORVAN_ENGINE_API void zorvanStopPort(Port* port);

// No more calls will come for this stopped port.
ZORVAN_ENGINE_API void zorvanFreePort(Port* port);

// The buffer holds the request's input and takes its reply.
ZORVAN_ENGINE_API Outcome
zorvanControl(Port* port, std::uint32_t code, void* buffer, std::uint32_t inputSize, std::uint32_t outputSize);

// Whether the handle is the last one to its object.
ZORVAN_ENGINE_API bool zorvanIsLastHandle(void* handle);

// The serial side takes one opener at a time. Closing it cancels what the opener still asks for.
ZORVAN_ENGINE_API Status zorvanOpenSerial(Port* port);
ZORVAN_ENGINE_API void zorvanCloseSerial(Port* port);
ZORVAN_ENGINE_API Outcome
zorvanSerialControl(Port* port, std::uint32_t code, void* buffer, std::uint32_t inputSize, std::uint32_t outputSize);

// Asks for something that may take time. The request and its buffer belong to the engine until it completes it.
ZORVAN_ENGINE_API void zorvanSubmit(Port* port, Operation operation, void* request, void* buffer, std::uint32_t size);
// Completes the request as cancelled, unless it has been completed already.
ZORVAN_ENGINE_API void zorvanCancel(Port* port, void* request);

} // extern "C"

} // namespace zorvan::engine

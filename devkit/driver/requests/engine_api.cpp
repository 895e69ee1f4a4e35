#include "engine_api.h"

#include "control_requests.h"
#include "engine_lock.h"
#include "pnp/device_classes.h"
#include "port/ports.h"
#include "wine/kernel/handle_count.h"

#include <cstdio>
#include <exception>
#include <memory>

namespace zorvan::engine {
namespace {

// Behind the engine's lock.
Ports ports;

// Goes to the driver process's error output, where the system's own messages about drivers go.
void report(const char* what, const std::exception& failure) {
    std::fprintf(stderr, "zorvan_engine: %s: %s\n", what, failure.what());
}

template <class Action>
Outcome guarded(Port& port, Action action) {
    const EngineLock lock;
    if (port.stopped())
        return {Status::NoSuchDevice, 0};
    try {
        return action();
    } catch (const std::exception& failure) {
        report("a request failed", failure);
        return {Status::InsufficientResources, 0};
    }
}

Outcome deliver(Status status, const protocol::Bytes& reply, void* buffer, std::uint32_t outputSize) {
    if (status != Status::Success)
        return {status, 0};
    if (reply.size() > outputSize)
        return {Status::BufferTooSmall, 0};
    if (!reply.empty())
        std::memcpy(buffer, reply.data(), reply.size());
    return {Status::Success, static_cast<std::uint32_t>(reply.size())};
}

std::span<const std::uint8_t> inputOf(const void* buffer, std::uint32_t size) {
    return {static_cast<const std::uint8_t*>(buffer), size};
}

// False: there is no memory left to complete it later.
bool accept(Port& port, Operation operation, void* request, std::span<std::uint8_t> buffer) {
    const EngineLock lock;
    try {
        expectCompletion();
    } catch (const std::bad_alloc&) {
        return false;
    }
    if (port.stopped())
        completeLater(request, Status::NoSuchDevice);
    else
        port.traffic().submit(operation, request, buffer);
    return true;
}

} // namespace

const GUID* zorvanControlInterface() {
    return &pnp::kControlInterface;
}

const GUID* zorvanSerialPortInterface() {
    return &pnp::kSerialPortInterface;
}

void zorvanStartDriver(CompleteRequest complete, const wchar_t* serialDevicePrefix) {
    setCompletion(complete);
    try {
        removeStaleNames(serialDevicePrefix);
    } catch (const std::exception& failure) {
        report("names that were left behind could not be removed", failure); // ports that need them run without
    }
}

Port* zorvanCreatePort(void* deviceKey, const wchar_t* deviceName) {
    try {
        return std::make_unique<Port>(deviceName, static_cast<HKEY>(deviceKey)).release();
    } catch (const std::exception& failure) {
        report("a port could not be made", failure);
        return nullptr;
    }
}

void zorvanStartPort(Port* port) {
    const EngineLock lock;
    try {
        ports.add(*port);
    } catch (const std::exception& failure) {
        report("a port's name could not be published", failure); // its control requests work all the same
    }
}

void zorvanStopPort(Port* port) {
    const EngineLock lock;
    ports.remove(*port);
    port->stop();
}

void zorvanFreePort(Port* port) {
    delete port;
}

Outcome
zorvanControl(Port* port, std::uint32_t code, void* buffer, std::uint32_t inputSize, std::uint32_t outputSize) {
    return guarded(*port, [&] {
        protocol::RecordWriter reply;
        const auto status = handleControlRequest(ports, *port, code, inputOf(buffer, inputSize), reply);
        return deliver(status, reply.bytes(), buffer, outputSize);
    });
}

bool zorvanIsLastHandle(void* handle) {
    return isLastHandle(handle);
}

Status zorvanOpenSerial(Port* port) {
    return guarded(*port, [&] { return Outcome{port->openSerial(), 0}; }).status;
}

void zorvanCloseSerial(Port* port) {
    const EngineLock lock;
    port->traffic().close(Status::Cancelled);
}

Outcome
zorvanSerialControl(Port* port, std::uint32_t code, void* buffer, std::uint32_t inputSize, std::uint32_t outputSize) {
    return guarded(*port, [&] {
        protocol::RecordWriter reply;
        const auto status = port->traffic().control(code, inputOf(buffer, inputSize), reply);
        return deliver(status, reply.bytes(), buffer, outputSize);
    });
}

void zorvanSubmit(Port* port, Operation operation, void* request, void* buffer, std::uint32_t size) {
    if (!accept(*port, operation, request, {static_cast<std::uint8_t*>(buffer), size}))
        completeUnexpected(request, Status::InsufficientResources);
}

void zorvanCancel(Port* port, void* request) {
    const EngineLock lock;
    port->traffic().cancel(request);
}

} // namespace zorvan::engine

// One device of the driver: its device objects, its two interfaces and the engine's port behind them.
#pragma once

#include "requests/engine_api.h"

#include "kernel.h"

namespace zorvan::engine {

struct Device;

// Each serial device has a number after it that is its own as long as the driver runs.
inline constexpr wchar_t kSerialDevicePrefix[] = L"\\Device\\ZorvanPort";

// Control requests enter at the function device, which is attached to the device node's stack; serial traffic at
// the serial device, which has a name of its own.
enum class Entrance { Control, Serial };

// The extension of both device objects.
struct EntranceExtension {
    Entrance entrance;
    Device* device;
};

struct Device {
    DEVICE_OBJECT* physical; // the bottom of the node's stack; null when it was left to the node
    DEVICE_OBJECT* function;
    DEVICE_OBJECT* serial;
    UNICODE_STRING controlInterface;
    UNICODE_STRING serialInterface;
    Port* port;
    LONG openFiles;      // touched by the request thread alone
    FILE_OBJECT* opener; // the file that has the serial side; likewise
    Device* nextRemoved;
};

NTSTATUS addDevice(DRIVER_OBJECT* driver, DEVICE_OBJECT* physical);
NTSTATUS startDevice(Device& device);
void stopDevice(Device& device);

// The node is gone, but a request for the device may be under way and files on it may be open: it stays attached
// and refuses everything until reapRemovedDevices finds it unused.
void retireDevice(Device& device);

// Called by the request thread, with the device that its present request is for: the system still touches that one
// when the request has been answered.
void reapRemovedDevices(const Device* present);

// The driver is unloaded: no request can come any more.
void deleteRemovedDevices();

} // namespace zorvan::engine

// The simple members of the device object: each asks the object itself or sends one control request.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"
#include "pnp/removal.h"

#include <cmath>
#include <shared_mutex>

namespace zorvan {

namespace {

using protocol::Query;
using protocol::Set;
using protocol::TrafficCounters;

constexpr double kHighestProbability = 0.5;
constexpr double kThousandths = 1000.0;

std::uint8_t wireFlag(bool value) {
    return value ? 1 : 0;
}

} // namespace

HRESULT CVirtualSerialDevice::get_mode(VirtualSerialDeviceMode* mode) noexcept {
    return comGetter(mode, [&] {
        return static_cast<VirtualSerialDeviceMode>(driver::query<std::uint32_t>(aliveControlPath(), Query::Mode));
    });
}

HRESULT CVirtualSerialDevice::get_path(BSTR* path) noexcept {
    return comGetter(path, [&] {
        const std::shared_lock lock(identityLock_);
        return newBstr(identity_.portPath);
    });
}

HRESULT CVirtualSerialDevice::get_deleted(VARIANT_BOOL* deleted) noexcept {
    return comGetter(deleted, [&] {
        const std::shared_lock lock(identityLock_);
        return toVariantBool(!identity_.alive);
    });
}

HRESULT CVirtualSerialDevice::get_portName(BSTR* portName) noexcept {
    return comGetter(portName, [&] {
        const std::shared_lock lock(identityLock_);
        return newBstr(identity_.portName);
    });
}

HRESULT CVirtualSerialDevice::get_enabled(VARIANT_BOOL* enabled) noexcept {
    return comGetter(
        enabled, [&] { return toVariantBool(driver::query<std::uint8_t>(aliveControlPath(), Query::Enabled) != 0); });
}

HRESULT CVirtualSerialDevice::put_enabled(VARIANT_BOOL enabled) noexcept {
    return comBoundary(
        [&] { driver::sendRecord(aliveControlPath(), Set::Enabled, wireFlag(enabled != VARIANT_FALSE)); });
}

HRESULT CVirtualSerialDevice::get_vLibrary(IVirtualSerialLibrary** library) noexcept {
    return library_.QueryInterface(__uuidof(IVirtualSerialLibrary), reinterpret_cast<void**>(library));
}

HRESULT CVirtualSerialDevice::get_connections(ULONGLONG* connections) noexcept {
    return getCounter(&TrafficCounters::connections, connections);
}

HRESULT CVirtualSerialDevice::get_bytesSent(ULONGLONG* bytes) noexcept {
    return getCounter(&TrafficCounters::bytesSent, bytes);
}

HRESULT CVirtualSerialDevice::get_bytesReceived(ULONGLONG* bytes) noexcept {
    return getCounter(&TrafficCounters::bytesReceived, bytes);
}

HRESULT CVirtualSerialDevice::getCounter(std::uint64_t TrafficCounters::*counter, ULONGLONG* value) noexcept {
    return comGetter(
        value, [&] { return driver::query<TrafficCounters>(aliveControlPath(), Query::Traffic).*counter; });
}

// Error emulation does not ask whether the device is alive: oddity 11 of docs/architecture.md.

HRESULT CVirtualSerialDevice::put_emulateTxOverflow(VARIANT_BOOL emulate) noexcept {
    return comBoundary([&] {
        // Oddity 12 of docs/architecture.md.
        const std::uint32_t enabled = emulate == VARIANT_TRUE ? 1 : 0;
        driver::sendRecord(
            controlPath(), Set::ErrorEmulationLong,
            protocol::ErrorEmulationLong{protocol::kTransmitOverflow, enabled, 0});
    });
}

HRESULT CVirtualSerialDevice::get_emulateTxOverflow(VARIANT_BOOL* emulate) noexcept {
    return comGetter(emulate, [&] {
        const auto state = driver::query<protocol::ErrorEmulationLong>(controlPath(), Query::ErrorEmulationLong);
        return toVariantBool(state.enabled != 0);
    });
}

HRESULT CVirtualSerialDevice::put_crossoverProbability(double probability) noexcept {
    return comBoundary([&] {
        if (std::isnan(probability) || probability < 0.0 || probability > kHighestProbability)
            throw HResultError(E_INVALIDARG);
        // Oddity 13 of docs/architecture.md.
        const std::uint32_t enabled = probability != 0.0 ? 1 : 0;
        const auto thousandths = static_cast<std::uint32_t>(probability * kThousandths);
        driver::sendRecord(
            controlPath(), Set::ErrorEmulation,
            protocol::ErrorEmulationShort{protocol::kBitCrossover, enabled, thousandths});
    });
}

HRESULT CVirtualSerialDevice::get_crossoverProbability(double* probability) noexcept {
    return comGetter(probability, [&] {
        const auto state = driver::query<protocol::ErrorEmulationState>(controlPath(), Query::ErrorEmulation);
        return state.value * 0.001;
    });
}

HRESULT CVirtualSerialDevice::deleteDevice() noexcept {
    // Oddity 24 of docs/architecture.md.
    return comBoundary([&] { return pnp::removeDeviceNode(aliveControlPath()); });
}

HRESULT CVirtualSerialDevice::disconnectDevice() noexcept {
    return comBoundary([&] { driver::sendSet(aliveControlPath(), Set::Disconnect); });
}

} // namespace zorvan

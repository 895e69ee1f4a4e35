// Control requests as a client of the driver sends them, and more than it would.
#pragma once

#include "device_node.h"
#include "driver/control_channel.h"
#include "support/serial_client.h"

#include <gtest/gtest.h>

namespace zorvan::test {

inline constexpr DWORD kNoSuchDevice = 433; // the toolchain's headers lack this error's name

UniqueHandle openPath(const std::wstring& path, DWORD access = GENERIC_READ | GENERIC_WRITE);

// What it comes to: 0 or the error that a Win32 caller sees.
DWORD sendRequest(HANDLE device, std::uint32_t code, protocol::Bytes input = {}, std::size_t outputSize = 0);

class ControlClient {
public:
    explicit ControlClient(std::wstring controlPath) : path_(std::move(controlPath)) {}

    // They throw when the request fails.
    protocol::Bytes query(protocol::Query code) const {
        const auto reply = driver::sendQuery(path_, code);
        return {reply.begin(), reply.end()};
    }
    template <class Item>
    Item ask(protocol::Query code) const {
        return driver::query<Item>(path_, code);
    }
    std::uint32_t mode() const { return ask<std::uint32_t>(protocol::Query::Mode); }
    std::uint32_t hostProcessId() const { return ask<std::uint32_t>(protocol::Query::HostProcessId); }

    // What it comes to, as above.
    DWORD set(protocol::Set code, const protocol::Bytes& input = {}) const;
    DWORD bridgeTo(
        const std::wstring& partner, const std::wstring& server = protocol::kLocalServer,
        std::uint8_t permanent = 0) const;
    DWORD listen() const;

    // Leaves a copy of the handle in the port's host process; 0: that failed.
    std::uint64_t copyToHost(HANDLE handle) const;

private:
    std::wstring path_;
};

template <class... Items>
protocol::Bytes record(const Items&... items) {
    protocol::RecordWriter writer;
    (writer.append(items), ...);
    return writer.bytes();
}

protocol::Bytes textRecord(const std::wstring& text);
protocol::Bytes pinRecord(const std::vector<std::uint16_t>& entries);
protocol::Bytes bridgeRecord(const std::wstring& partner, const std::wstring& server, std::uint8_t permanent);

// The modes as clients see them.
enum Mode : std::uint32_t { kBroken, kListening, kPipe, kBridge, kHandles };

struct TwoPorts {
    DeviceNode device{0u};
    DeviceNode partnerDevice{1u};
    ControlClient client{device.controlPath()};
    ControlClient partner{partnerDevice.controlPath()};
};

// Two ports that are bridged and open.
struct OpenBridge : TwoPorts {
    OpenBridge() { EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u); }

    SerialClient here{device.portName()};
    SerialClient there{partnerDevice.portName()};
};

template <class Ports>
class TestOf : public testing::Test, public Ports {};

} // namespace zorvan::test

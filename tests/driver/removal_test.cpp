// Devices that come and go while the driver runs, also under open handles.
#include "control_client.h"
#include "device_node.h"
#include "runner/runner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <set>
#include <thread>

namespace zorvan::test {
namespace {

constexpr DWORD kNoSuchDevice = 433;         // the toolchain's headers lack this error's name
constexpr DWORD kProcessEndTimeout = 10'000; // milliseconds

UniqueHandle openHost(const ControlClient& client) {
    return UniqueHandle(OpenProcess(SYNCHRONIZE, FALSE, client.hostProcessId()));
}

bool ended(const UniqueHandle& process) {
    return WaitForSingleObject(process.get(), kProcessEndTimeout) == WAIT_OBJECT_0;
}

TEST(Removal, EverythingOfTheDeviceGoes) {
    DeviceNode device{0u};
    const auto host = openHost(ControlClient(device.controlPath()));
    ASSERT_TRUE(host);
    EXPECT_EQ(WaitForSingleObject(host.get(), 0), DWORD{WAIT_TIMEOUT});

    device.remove();
    EXPECT_TRUE(interfacePaths(kControlInterface, device.instanceId()).empty());
    EXPECT_TRUE(interfacePaths(kSerialInterface, device.instanceId()).empty());
    for (const auto& path : {device.controlPath(), device.serialPath(), L"\\\\.\\" + device.portName()})
        EXPECT_FALSE(openPath(path)) << path.size();
    EXPECT_TRUE(ended(host));
}

TEST(Removal, OpenHandlesOutliveTheirDevice) {
    DeviceNode device{0u};
    const auto control = openPath(device.controlPath());
    auto secondControl = openPath(device.controlPath());
    const auto port = openPath(L"\\\\.\\" + device.portName());
    const auto host = openHost(ControlClient(device.controlPath()));

    device.remove();
    EXPECT_TRUE(ended(host));
    const auto mode = static_cast<std::uint32_t>(protocol::Query::Mode);
    EXPECT_EQ(sendRequest(control.get(), mode, {}, 4).error, kNoSuchDevice);
    EXPECT_EQ(sendRequest(control.get(), static_cast<std::uint32_t>(protocol::Set::Disconnect)).error, kNoSuchDevice);
    DWORD mask = 0;
    EXPECT_FALSE(GetCommMask(port.get(), &mask));
    EXPECT_EQ(GetLastError(), kNoSuchDevice);

    // The same name and, most likely, the same instance ID, under the old handles.
    const DeviceNode successor{0u};
    EXPECT_EQ(ControlClient(successor.controlPath()).mode(), kListening);
    EXPECT_EQ(sendRequest(control.get(), mode, {}, 4).error, kNoSuchDevice);
    secondControl.reset();
    EXPECT_EQ(sendRequest(control.get(), mode, {}, 4).error, kNoSuchDevice);
    EXPECT_TRUE(openPath(L"\\\\.\\" + successor.portName()));
}

TEST(Removal, ThirtyTwoDevicesRunAtATime) {
    allowTime(std::chrono::minutes(3));
    constexpr unsigned kDevices = 32;
    std::vector<std::unique_ptr<DeviceNode>> devices;
    for (unsigned i = 0; i < kDevices; ++i)
        devices.push_back(std::make_unique<DeviceNode>(i));

    std::set<std::uint32_t> ids;
    std::vector<UniqueHandle> hosts;
    for (const auto& device : devices) {
        const ControlClient client(device->controlPath());
        EXPECT_EQ(client.mode(), kListening);
        ids.insert(client.hostProcessId());
        hosts.push_back(openHost(client));
        EXPECT_TRUE(openPath(L"\\\\.\\" + device->portName()));
    }
    EXPECT_EQ(ids.size(), kDevices);

    devices.clear();
    EXPECT_TRUE(std::all_of(hosts.begin(), hosts.end(), ended));
}

// Asks every device for its mode, again and again, until it is destroyed.
class BusyClient {
public:
    ~BusyClient() { stop_ = true; }

    unsigned answers() const { return answers_; }

private:
    void ask() {
        while (!stop_)
            for (const auto& path : interfacePaths(kControlInterface))
                answers_ += ControlClient(path).query(protocol::Query::Mode).error == ERROR_SUCCESS;
    }

    std::atomic<bool> stop_ = false;
    std::atomic<unsigned> answers_ = 0;
    std::jthread thread_{[this] { ask(); }};
};

TEST(Removal, RequestsMayMeetIt) {
    allowTime(std::chrono::minutes(2));
    const DeviceNode bystander{9u};
    BusyClient clients[2];
    for (int round = 0; round < 10; ++round)
        DeviceNode device{0u};
    for (const auto& client : clients)
        EXPECT_GT(client.answers(), 0u);
    EXPECT_EQ(ControlClient(bystander.controlPath()).mode(), kListening);
}

} // namespace
} // namespace zorvan::test

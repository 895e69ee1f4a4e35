// A device that goes under open handles.
#include "control_client.h"

namespace zorvan::test {
namespace {

constexpr DWORD kProcessEndTimeout = 10'000; // milliseconds

TEST(Removal, LeavesOpenHandlesBehind) {
    DeviceNode device{0u};
    const auto control = openPath(device.controlPath());
    const auto port = openPath(device.serialPath());
    const auto hostProcessId = ControlClient(device.controlPath()).hostProcessId();
    const UniqueHandle host(OpenProcess(SYNCHRONIZE, FALSE, hostProcessId));
    EXPECT_EQ(WaitForSingleObject(host.get(), 0), DWORD{WAIT_TIMEOUT});

    device.remove();
    EXPECT_EQ(WaitForSingleObject(host.get(), kProcessEndTimeout), DWORD{WAIT_OBJECT_0});
    for (const auto& path : {device.controlPath(), device.serialPath(), L"\\\\.\\" + device.portName()})
        EXPECT_FALSE(openPath(path)) << path.size();
    const auto mode = static_cast<std::uint32_t>(protocol::Query::Mode);
    EXPECT_EQ(sendRequest(control.get(), mode, {}, 4), kNoSuchDevice);
    DWORD mask = 0;
    EXPECT_FALSE(GetCommMask(port.get(), &mask));
    EXPECT_EQ(GetLastError(), kNoSuchDevice);

    // The same name and, most likely, the same instance ID, under the old handles.
    const DeviceNode successor{0u};
    EXPECT_EQ(ControlClient(successor.controlPath()).mode(), kListening);
    EXPECT_EQ(sendRequest(control.get(), mode, {}, 4), kNoSuchDevice);
    EXPECT_TRUE(openPath(successor.serialPath()));
}

} // namespace
} // namespace zorvan::test

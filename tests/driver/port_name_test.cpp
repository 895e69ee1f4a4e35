// The name that opens a port: published, renamed, taken, switched off.
#include "control_client.h"
#include "device_node.h"

#include <gtest/gtest.h>

#include <map>

namespace zorvan::test {
namespace {

using protocol::RecordWriter;
using protocol::Set;

DWORD rename(const ControlClient& client, const std::wstring& name) {
    return client.set(Set::PortName, RecordWriter().appendString(name).bytes());
}

bool opens(const std::wstring& name) {
    return static_cast<bool>(openPath(L"\\\\.\\" + name));
}

// How many entries of the serial port map have this name.
int mapEntries(const std::wstring& name) {
    UniqueRegistryKey map;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_QUERY_VALUE, map.put()) !=
        ERROR_SUCCESS)
        return 0;
    int count = 0;
    wchar_t device[256];
    wchar_t port[256];
    for (DWORD i = 0;; ++i) {
        DWORD deviceSize = 256;
        DWORD portSize = sizeof port;
        if (RegEnumValueW(
                map.get(), i, device, &deviceSize, nullptr, nullptr, reinterpret_cast<BYTE*>(port), &portSize) !=
            ERROR_SUCCESS)
            return count;
        count += name == port;
    }
}

class PortName : public testing::Test {
protected:
    DeviceNode device{0u};
    ControlClient client{device.controlPath()};
};

TEST_F(PortName, OpensAndIsInTheMap) {
    EXPECT_TRUE(opens(device.portName()));
    EXPECT_TRUE(openPath(device.serialPath()));
    EXPECT_EQ(mapEntries(device.portName()), 1);
}

TEST_F(PortName, ARenameMovesTheNameAndTheMapEntry) {
    EXPECT_EQ(rename(client, testPortName(1)), 0u);
    EXPECT_FALSE(opens(testPortName(0)));
    EXPECT_TRUE(opens(testPortName(1)));
    EXPECT_EQ(mapEntries(testPortName(0)), 0);
    EXPECT_EQ(mapEntries(testPortName(1)), 1);

    EXPECT_EQ(rename(client, L"ZORVANTEST"), 0u) << "a name needs no number";
    EXPECT_TRUE(opens(L"ZORVANTEST"));
    EXPECT_EQ(rename(client, testPortName(0)), 0u);
    EXPECT_TRUE(opens(testPortName(0)));
    EXPECT_FALSE(opens(L"ZORVANTEST"));
}

TEST_F(PortName, ARenameToTheSameNameRestoresIt) {
    EXPECT_EQ(rename(client, device.portName()), 0u);
    EXPECT_TRUE(opens(device.portName()));
    EXPECT_EQ(mapEntries(device.portName()), 1);
}

TEST_F(PortName, ATakenNameIsRefusedAndChangesNothing) {
    const DeviceNode other{1u};
    EXPECT_EQ(rename(client, other.portName()), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(rename(client, L"NUL"), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_TRUE(opens(device.portName()));
    EXPECT_EQ(mapEntries(device.portName()), 1);
    EXPECT_EQ(mapEntries(other.portName()), 1);
}

TEST_F(PortName, ADeviceWhoseNameIsTakenRunsWithoutOne) {
    const DeviceNode namesake(device.portName());
    const ControlClient other(namesake.controlPath());
    EXPECT_EQ(other.mode(), kListening);
    EXPECT_TRUE(openPath(namesake.serialPath()));
    EXPECT_EQ(mapEntries(device.portName()), 1);

    EXPECT_EQ(rename(other, testPortName(1)), 0u);
    EXPECT_TRUE(opens(testPortName(1)));
    EXPECT_TRUE(opens(device.portName()));
}

TEST_F(PortName, ADisabledPortDoesNotOpenButIsControlled) {
    EXPECT_EQ(client.set(Set::Enabled, {0}), 0u);
    EXPECT_EQ(client.replyOf(protocol::Query::Enabled), protocol::Bytes{0});
    EXPECT_FALSE(opens(device.portName()));
    EXPECT_EQ(mapEntries(device.portName()), 0);
    DWORD mask = 0;
    EXPECT_FALSE(GetCommMask(openPath(device.serialPath()).get(), &mask));

    EXPECT_EQ(rename(client, testPortName(1)), 0u);
    EXPECT_FALSE(opens(testPortName(1)));

    EXPECT_EQ(client.set(Set::Enabled, {1}), 0u);
    EXPECT_TRUE(opens(testPortName(1)));
    EXPECT_EQ(mapEntries(testPortName(1)), 1);
}

} // namespace
} // namespace zorvan::test

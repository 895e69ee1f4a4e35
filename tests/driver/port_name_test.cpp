// The name that opens a port: published, renamed, taken, switched off.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Set;

DWORD rename(const ControlClient& client, const std::wstring& name) {
    return client.set(Set::PortName, textRecord(name));
}

// In the map from which programs list the ports.
int entriesOf(const std::wstring& name) {
    UniqueRegistryKey map;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_QUERY_VALUE, map.put());
    int count = 0;
    wchar_t device[256];
    wchar_t port[256];
    DWORD sizes[]{256, sizeof port};
    auto* const data = reinterpret_cast<BYTE*>(port);
    for (DWORD i = 0; RegEnumValueW(map.get(), i, device, &sizes[0], nullptr, nullptr, data, &sizes[1]) == 0; ++i) {
        count += name == port;
        sizes[0] = 256;
        sizes[1] = sizeof port;
    }
    return count;
}

bool opens(const std::wstring& name) {
    const bool opened = static_cast<bool>(openPath(L"\\\\.\\" + name));
    EXPECT_EQ(entriesOf(name), opened ? 1 : 0);
    return opened;
}

using PortName = TwoPorts;

TEST_F(PortName, FollowsARename) {
    EXPECT_TRUE(opens(device.portName()));
    for (const auto& name : {testPortName(5), std::wstring(L"ZORVANTEST")}) { // a name needs no number
        EXPECT_EQ(rename(client, name), 0u);
        EXPECT_TRUE(opens(name));
        EXPECT_FALSE(opens(device.portName()));
        EXPECT_EQ(rename(client, device.portName()), 0u);
        EXPECT_EQ(rename(client, device.portName()), 0u) << "to the same name";
        EXPECT_TRUE(opens(device.portName()));
        EXPECT_FALSE(opens(name));
    }
}

TEST_F(PortName, IsNotTakenFromAnother) {
    EXPECT_EQ(rename(client, partnerDevice.portName()), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(rename(client, L"NUL"), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_TRUE(opens(device.portName()));

    const DeviceNode namesake(0u);
    const ControlClient other(namesake.controlPath());
    EXPECT_EQ(other.mode(), kListening) << "runs without a name";
    EXPECT_TRUE(openPath(namesake.serialPath()));
    EXPECT_EQ(rename(other, testPortName(5)), 0u);
    EXPECT_TRUE(opens(testPortName(5)));
    EXPECT_TRUE(opens(device.portName()));
}

TEST_F(PortName, OfADisabledPortDoesNotOpen) {
    EXPECT_EQ(client.set(Set::Enabled, {0}), 0u);
    EXPECT_EQ(client.query(protocol::Query::Enabled), protocol::Bytes{0});
    EXPECT_FALSE(opens(device.portName()));
    DWORD mask = 0;
    EXPECT_FALSE(GetCommMask(openPath(device.serialPath()).get(), &mask));
    EXPECT_EQ(rename(client, testPortName(5)), 0u);
    EXPECT_FALSE(opens(testPortName(5)));
    EXPECT_EQ(client.set(Set::Enabled, {1}), 0u);
    EXPECT_TRUE(opens(testPortName(5)));
}

} // namespace
} // namespace zorvan::test

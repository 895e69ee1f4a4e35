// The name that opens a port: taken by another one, switched off.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Set;

DWORD rename(const ControlClient& client, const std::wstring& name) {
    return client.set(Set::PortName, textRecord(name));
}

bool opens(const std::wstring& name) {
    return static_cast<bool>(openPath(L"\\\\.\\" + name));
}

using PortName = TestOf<TwoPorts>;

TEST_F(PortName, IsNotTakenFromAnother) {
    EXPECT_EQ(rename(client, partnerDevice.portName()), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(rename(client, L"NUL"), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(rename(client, device.portName()), 0u);
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

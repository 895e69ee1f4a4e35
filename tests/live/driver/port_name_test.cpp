// The name that opens a port: taken by another one, switched off.
#include "control_client.h"
#include "pnp/port_name.h"

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

// The library removes the old name before it tells the driver of the new one.
TEST_F(PortName, IsKeptWhenNobodyCouldOpenTheNewOne) {
    const auto key = L"SYSTEM\\CurrentControlSet\\Enum\\" + device.instanceId() + L"\\Device Parameters";
    for (const std::wstring name : {L"", L"A\\B", L"COM250 ", L"COM25?"}) {
        EXPECT_TRUE(DefineDosDeviceW(DDD_REMOVE_DEFINITION, device.portName().c_str(), nullptr));
        EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"PortName", REG_SZ, L"A", 4), ERROR_SUCCESS);
        EXPECT_EQ(rename(client, name), DWORD{ERROR_INVALID_NAME}) << name.size();
        EXPECT_TRUE(opens(device.portName()));
        EXPECT_EQ(pnp::readPortName(pnp::openHardwareKey(device.instanceId()).get()), device.portName());
        EXPECT_EQ(WaitForSingleObject(device.changed(), 0), DWORD{WAIT_OBJECT_0})
            << "clients may have cached the name";
    }
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

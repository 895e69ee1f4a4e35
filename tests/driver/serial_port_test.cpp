// The port as a program that knows only serial ports sees it.
#include "control_client.h"
#include "device_node.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

class SerialPort : public testing::Test {
protected:
    UniqueHandle open() const { return openPath(L"\\\\.\\" + device.portName()); }

    DeviceNode device{0u};
};

TEST_F(SerialPort, SettingsAreKeptWhileThePortIsOpen) {
    auto port = open();
    DCB settings{};
    settings.DCBlength = sizeof settings;
    ASSERT_TRUE(GetCommState(port.get(), &settings));
    EXPECT_EQ(settings.BaudRate, 9600u);
    EXPECT_EQ(settings.ByteSize, 8);

    settings.BaudRate = 115200;
    settings.ByteSize = 7;
    settings.Parity = EVENPARITY;
    settings.StopBits = TWOSTOPBITS;
    ASSERT_TRUE(SetCommState(port.get(), &settings));
    COMMTIMEOUTS timeouts{1, 2, 3, 4, 5};
    ASSERT_TRUE(SetCommTimeouts(port.get(), &timeouts));
    ASSERT_TRUE(SetCommMask(port.get(), EV_RXCHAR | EV_CTS));

    DCB read{};
    read.DCBlength = sizeof read;
    ASSERT_TRUE(GetCommState(port.get(), &read));
    EXPECT_EQ(read.BaudRate, 115200u);
    EXPECT_EQ(read.ByteSize, 7);
    EXPECT_EQ(read.Parity, EVENPARITY);
    EXPECT_EQ(read.StopBits, TWOSTOPBITS);
    COMMTIMEOUTS readTimeouts{};
    ASSERT_TRUE(GetCommTimeouts(port.get(), &readTimeouts));
    EXPECT_EQ(readTimeouts.WriteTotalTimeoutConstant, 5u);
    DWORD mask = 0;
    ASSERT_TRUE(GetCommMask(port.get(), &mask));
    EXPECT_EQ(mask, DWORD{EV_RXCHAR | EV_CTS});

    port.reset();
    port = open();
    ASSERT_TRUE(GetCommState(port.get(), &read));
    EXPECT_EQ(read.BaudRate, 9600u) << "settings end with the handle";
}

TEST_F(SerialPort, StateIsAnswered) {
    const auto port = open();
    COMSTAT state{};
    DWORD errors = 1;
    EXPECT_TRUE(ClearCommError(port.get(), &errors, &state));
    EXPECT_EQ(errors, 0u);
    DWORD modem = 1;
    EXPECT_TRUE(GetCommModemStatus(port.get(), &modem));
    EXPECT_EQ(modem, 0u);
    COMMPROP properties{};
    EXPECT_TRUE(GetCommProperties(port.get(), &properties));
    EXPECT_EQ(properties.dwProvSubType, DWORD{PST_RS232});
    EXPECT_TRUE(SetupComm(port.get(), 1024, 1024));
    EXPECT_TRUE(PurgeComm(port.get(), PURGE_RXCLEAR | PURGE_TXCLEAR));
    EXPECT_TRUE(EscapeCommFunction(port.get(), SETDTR));
    EXPECT_TRUE(EscapeCommFunction(port.get(), CLRRTS));
}

TEST_F(SerialPort, ImpossibleSettingsAreRefused) {
    const auto port = open();
    DCB settings{};
    settings.DCBlength = sizeof settings;
    ASSERT_TRUE(GetCommState(port.get(), &settings));
    settings.ByteSize = 9;
    EXPECT_FALSE(SetCommState(port.get(), &settings));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(PurgeComm(port.get(), 0x100));
}

// Wine hands out a file before the driver is asked, so the open itself cannot be refused; the handle is good for
// nothing.
TEST_F(SerialPort, ASecondOpenerGetsNothing) {
    auto first = open();
    const auto second = open();
    DWORD mask = 0;
    EXPECT_TRUE(GetCommMask(first.get(), &mask));
    EXPECT_FALSE(second && GetCommMask(second.get(), &mask));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});

    first.reset();
    const auto third = open();
    EXPECT_TRUE(GetCommMask(third.get(), &mask));
    EXPECT_FALSE(second && GetCommMask(second.get(), &mask)) << "what was refused once stays refused";
}

TEST_F(SerialPort, ControlRequestsAreNotForItsHandle) {
    const auto port = open();
    EXPECT_EQ(
        sendRequest(port.get(), static_cast<std::uint32_t>(protocol::Query::Mode), {}, 4).error,
        DWORD{ERROR_INVALID_FUNCTION});
}

} // namespace
} // namespace zorvan::test

// The port as a program that knows only serial ports sees it.
#include "control_client.h"
#include "device_node.h"
#include "serial_client.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

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

class SerialRequests : public testing::Test {
protected:
    SerialRequests() { EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u); }

    DeviceNode device{0u};
    DeviceNode partnerDevice{1u};
    ControlClient client{device.controlPath()};
};

TEST_F(SerialRequests, AReadEndsAsItsTimeOutsSay) {
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    constexpr DWORD kOff = 0;
    constexpr DWORD kMaximum = MAXDWORD;
    constexpr DWORD kLong = 3'600'000; // milliseconds
    const struct {
        const char* what;
        COMMTIMEOUTS timeouts; // interval, multiplier, constant
        const char* before;    // what has arrived before the read of four bytes
        const char* after;     // what arrives when it waits; null: it does not wait
        const char* read;
    } rows[] = {
        {"all of it is there", {kOff, kOff, kOff, 0, 0}, "abcd", nullptr, "abcd"},
        {"no time-out", {kOff, kOff, kOff, 0, 0}, "ab", "cd", "abcd"},
        {"what is there", {kMaximum, kOff, kOff, 0, 0}, "ab", nullptr, "ab"},
        {"what is there: nothing", {kMaximum, kOff, kOff, 0, 0}, "", nullptr, ""},
        {"anything: is there", {kMaximum, kMaximum, kLong, 0, 0}, "ab", nullptr, "ab"},
        {"anything: comes", {kMaximum, kMaximum, kLong, 0, 0}, "", "c", "c"},
        {"anything: never", {kMaximum, kMaximum, 50, 0, 0}, "", "", ""},
        {"total, constant", {kOff, kOff, 50, 0, 0}, "ab", "", "ab"},
        {"total, multiplied", {kOff, 10, kOff, 0, 0}, "", "", ""},
        {"total, not reached", {kOff, kLong, kOff, 0, 0}, "ab", "cd", "abcd"},
        {"total beside the highest interval", {kMaximum, kOff, 50, 0, 0}, "ab", "", "ab"},
        {"interval", {50, kOff, kOff, 0, 0}, "ab", "c", "abc"},
        {"interval before the total", {50, kOff, kLong, 0, 0}, "a", "", "a"},
        {"total before the interval", {kLong, kOff, 50, 0, 0}, "a", "", "a"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        ASSERT_EQ(there.write(bytesOf(row.before)).error, 0u);
        here.setTimeouts(row.timeouts);
        const auto read = here.startRead(4);
        if (row.after) {
            EXPECT_EQ(there.write(bytesOf(row.after)).error, 0u);
        }
        const auto result = read->wait();
        EXPECT_EQ(result.error, 0u);
        EXPECT_EQ(result.data, bytesOf(row.read));
        EXPECT_TRUE(PurgeComm(here.get(), PURGE_RXCLEAR));
    }
    COMMTIMEOUTS contradiction{MAXDWORD, MAXDWORD, MAXDWORD, 0, 0};
    EXPECT_FALSE(SetCommTimeouts(here.get(), &contradiction));
}

TEST_F(SerialRequests, AWriteThatNobodyTakesWaits) {
    const SerialClient here(device.portName());
    here.setTimeouts({0, 0, 0, 0, 50});
    const auto timedOut = here.write(bytesOf("nobody"));
    EXPECT_TRUE(timedOut.ok());
    EXPECT_EQ(timedOut.count, 0u);

    here.setTimeouts({});
    const auto waiting = here.startWrite(bytesOf("nobody"));
    EXPECT_FALSE(waiting->done());
    COMSTAT state{};
    EXPECT_TRUE(ClearCommError(here.get(), nullptr, &state));
    EXPECT_EQ(state.cbOutQue, 6u);

    protocol::RecordWriter overflow;
    overflow.append(protocol::ErrorEmulationLong{protocol::kTransmitOverflow, 1, 0});
    EXPECT_EQ(client.set(protocol::Set::ErrorEmulationLong, overflow.bytes()), 0u);
    EXPECT_EQ(waiting->wait().count, 6u) << "dropped, as on a line that nobody holds up";
    EXPECT_EQ(client.set(protocol::Set::Disconnect), 0u);
    EXPECT_EQ(here.write(bytesOf("nobody")).count, 6u);
}

TEST_F(SerialRequests, EventsAreWaitedFor) {
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    here.configure([](DCB& settings) { settings.EvtChar = '!'; });
    EXPECT_EQ(here.startWaitForEvent()->wait().error, DWORD{ERROR_INVALID_PARAMETER}) << "nothing to wait for";

    ASSERT_TRUE(SetCommMask(here.get(), EV_RXCHAR | EV_RXFLAG | EV_TXEMPTY));
    EXPECT_TRUE(there.write(bytesOf("before")).ok());
    EXPECT_EQ(here.startWaitForEvent()->waitForEvent(), DWORD{EV_RXCHAR});
    auto waiting = here.startWaitForEvent();
    EXPECT_FALSE(waiting->done());
    EXPECT_EQ(here.startWaitForEvent()->wait().error, DWORD{ERROR_INVALID_PARAMETER}) << "one at a time";
    EXPECT_TRUE(there.write(bytesOf("!")).ok());
    EXPECT_EQ(waiting->waitForEvent(), DWORD{EV_RXCHAR | EV_RXFLAG});

    waiting = here.startWaitForEvent();
    EXPECT_TRUE(here.write(bytesOf("sent")).ok());
    EXPECT_EQ(waiting->waitForEvent(), DWORD{EV_TXEMPTY});

    waiting = here.startWaitForEvent();
    ASSERT_TRUE(SetCommMask(here.get(), EV_BREAK));
    EXPECT_TRUE(waiting->wait().ok());
    EXPECT_EQ(waiting->waitForEvent(), 0u) << "the mask was changed";
    waiting = here.startWaitForEvent();
    EXPECT_TRUE(CancelIoEx(here.get(), waiting->overlapped()));
    EXPECT_EQ(waiting->wait().error, DWORD{ERROR_OPERATION_ABORTED});
}

// Plain requests on a handle that is not for overlapped ones.
TEST_F(SerialRequests, PlainOnesWait) {
    const auto here = openPath(L"\\\\.\\" + device.portName());
    const auto there = openPath(L"\\\\.\\" + partnerDevice.portName());
    std::jthread writer([&] {
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(there.get(), "plain", 5, &written, nullptr));
        EXPECT_EQ(written, 5u);
        EXPECT_TRUE(FlushFileBuffers(there.get()));
    });
    char data[5];
    DWORD read = 0;
    EXPECT_TRUE(ReadFile(here.get(), data, sizeof data, &read, nullptr));
    EXPECT_EQ(std::string(data, read), "plain");
}

} // namespace
} // namespace zorvan::test

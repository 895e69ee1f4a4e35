// The port as a program that knows only serial ports sees it.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Set;

using SerialPort = TestOf<OpenBridge>;

TEST_F(SerialPort, KeepsItsSettingsWhileItIsOpen) {
    COMMTIMEOUTS timeouts{1, 2, 3, 4, 5};
    EXPECT_TRUE(SetCommTimeouts(here.get(), &timeouts));
    here.configure([](DCB& settings) {
        EXPECT_EQ(settings.BaudRate, 9600u);
        settings.BaudRate = 115200;
        settings.ByteSize = 7;
        settings.Parity = EVENPARITY;
        settings.StopBits = TWOSTOPBITS;
    });
    EXPECT_THROW(here.configure([](DCB& settings) { settings.ByteSize = 9; }), std::runtime_error);
    timeouts = {};
    EXPECT_TRUE(GetCommTimeouts(here.get(), &timeouts));
    EXPECT_EQ(timeouts.WriteTotalTimeoutConstant, 5u);
    here.configure([](DCB& settings) {
        EXPECT_EQ(settings.BaudRate, 115200u);
        EXPECT_EQ(settings.ByteSize, 7);
        EXPECT_EQ(settings.Parity, EVENPARITY);
        EXPECT_EQ(settings.StopBits, TWOSTOPBITS);
    });
    here.close();
    SerialClient(device.portName()).configure([](DCB& settings) { EXPECT_EQ(settings.BaudRate, 9600u); });
}

// Wine hands out a file before the driver is asked, so the open itself cannot be refused; the handle is good for
// nothing.
TEST_F(SerialPort, GivesASecondOpenerNothing) {
    const auto second = openPath(device.serialPath());
    DWORD mask = 0;
    EXPECT_TRUE(GetCommMask(here.get(), &mask));
    EXPECT_FALSE(GetCommMask(second.get(), &mask));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    here.close();
    EXPECT_TRUE(GetCommMask(openPath(device.serialPath()).get(), &mask));
    EXPECT_FALSE(GetCommMask(second.get(), &mask)) << "what was refused once stays refused";
}

// Wine may tell the driver of the next opening before it tells of the closing.
TEST_F(SerialPort, IsFreeAsSoonAsItIsClosed) {
    here.close();
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(openPath(device.serialPath()));
        ASSERT_NO_THROW(SerialClient(device.portName())) << i;
    }
}

TEST_F(SerialPort, EndsAReadAsItsTimeOutsSay) {
    constexpr DWORD kMaximum = MAXDWORD;
    constexpr DWORD kLong = 3'600'000; // milliseconds
    const struct {
        const char* what;
        COMMTIMEOUTS timeouts; // interval, multiplier, constant
        const char* before;    // what has arrived before the read of four bytes
        const char* after;     // what arrives when it waits
        const char* read;
    } rows[] = {
        {"no time-out", {0, 0, 0, 0, 0}, "ab", "cd", "abcd"},
        {"what is there", {kMaximum, 0, 0, 0, 0}, "ab", "", "ab"},
        {"anything: is there", {kMaximum, kMaximum, kLong, 0, 0}, "ab", "", "ab"},
        {"anything: comes", {kMaximum, kMaximum, kLong, 0, 0}, "", "c", "c"},
        {"total, multiplied", {0, 10, 0, 0, 0}, "", "", ""},
        {"total beside the highest interval", {kMaximum, 0, 50, 0, 0}, "ab", "", "ab"},
        {"interval", {50, 0, 0, 0, 0}, "", "abc", "abc"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(there.write(row.before).error, 0u);
        auto timeouts = row.timeouts;
        EXPECT_TRUE(SetCommTimeouts(here.get(), &timeouts));
        const auto read = here.startRead(4);
        EXPECT_EQ(there.write(row.after).error, 0u);
        const auto result = read->wait();
        EXPECT_EQ(result.error, 0u);
        EXPECT_EQ(result.data, row.read);
        EXPECT_TRUE(PurgeComm(here.get(), PURGE_RXCLEAR));
    }
}

TEST_F(SerialPort, KeepsAWriteUntilSomebodyTakesIt) {
    there.close();
    const auto taken = here.startWrite("early");
    EXPECT_FALSE(taken->done());
    EXPECT_EQ(SerialClient(partnerDevice.portName()).read(5).data, "early");
    EXPECT_EQ(taken->wait().count, 5u);

    const auto dropped = here.startWrite("nobody");
    EXPECT_FALSE(dropped->done());
    COMSTAT state{};
    EXPECT_TRUE(ClearCommError(here.get(), nullptr, &state));
    EXPECT_EQ(state.cbOutQue, 6u);
    const auto overflow = [&](std::uint32_t enabled) {
        const auto emulation = record(protocol::ErrorEmulationLong{protocol::kTransmitOverflow, enabled, 0});
        EXPECT_EQ(client.set(Set::ErrorEmulationLong, emulation), 0u);
    };
    overflow(1);
    EXPECT_EQ(dropped->wait().count, 6u) << "as on a line that nobody holds up";
    overflow(0);
    COMMTIMEOUTS timeouts{0, 0, 0, 0, 50};
    EXPECT_TRUE(SetCommTimeouts(here.get(), &timeouts));
    EXPECT_EQ(here.write("nobody").count, 0u);
}

TEST_F(SerialPort, EndsRequestsForTheRightReason) {
    const auto cancelled = there.startRead(5);
    EXPECT_TRUE(CancelIoEx(there.get(), cancelled->overlapped()));
    EXPECT_EQ(cancelled->wait().error, DWORD{ERROR_OPERATION_ABORTED});
    const auto purged = there.startRead(5);
    EXPECT_TRUE(PurgeComm(there.get(), PURGE_RXABORT));
    EXPECT_EQ(purged->wait().error, DWORD{ERROR_OPERATION_ABORTED});
    const auto removed = there.startRead(5);
    partnerDevice.remove();
    EXPECT_EQ(removed->wait().error, kNoSuchDevice);
    const auto closed = here.startWrite("nobody is there");
    here.close();
    EXPECT_EQ(closed->wait().error, DWORD{ERROR_OPERATION_ABORTED});
}

TEST_F(SerialPort, TellsOfEvents) {
    here.configure([](DCB& settings) { settings.EvtChar = '!'; });
    EXPECT_EQ(here.startWaitForEvent()->wait().error, DWORD{ERROR_INVALID_PARAMETER}) << "nothing to wait for";

    ASSERT_TRUE(SetCommMask(here.get(), EV_RXCHAR | EV_RXFLAG | EV_TXEMPTY));
    EXPECT_EQ(there.write("before").error, 0u);
    EXPECT_EQ(here.startWaitForEvent()->waitForEvent(), DWORD{EV_RXCHAR});
    auto waiting = here.startWaitForEvent();
    EXPECT_FALSE(waiting->done());
    EXPECT_EQ(here.startWaitForEvent()->wait().error, DWORD{ERROR_INVALID_PARAMETER}) << "one at a time";
    EXPECT_EQ(there.write("!").error, 0u);
    EXPECT_EQ(waiting->waitForEvent(), DWORD{EV_RXCHAR | EV_RXFLAG});

    waiting = here.startWaitForEvent();
    EXPECT_EQ(here.write("sent").error, 0u);
    EXPECT_EQ(waiting->waitForEvent(), DWORD{EV_TXEMPTY});

    waiting = here.startWaitForEvent();
    ASSERT_TRUE(SetCommMask(here.get(), EV_CTS | EV_BREAK));
    EXPECT_EQ(waiting->wait().error, 0u);
    EXPECT_EQ(waiting->waitForEvent(), 0u) << "the mask was changed";
    for (const auto& [command, event] : {std::pair{CLRRTS, EV_CTS}, {SETBREAK, EV_BREAK}}) {
        waiting = here.startWaitForEvent();
        EXPECT_TRUE(EscapeCommFunction(there.get(), static_cast<DWORD>(command)));
        EXPECT_EQ(waiting->waitForEvent(), static_cast<DWORD>(event));
    }
}

} // namespace
} // namespace zorvan::test

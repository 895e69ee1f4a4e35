// Modem lines over a bridge: what either end sees follows the wiring and the lines that the other one drives.
#include "control_client.h"
#include "device_node.h"
#include "serial_client.h"

#include <gtest/gtest.h>

#include <cstring>

namespace zorvan::test {
namespace {

using protocol::Query;
using protocol::RecordWriter;
using protocol::Set;
using Wiring = std::vector<std::uint16_t>;

constexpr DWORD kReady = MS_CTS_ON | MS_DSR_ON | MS_RLSD_ON;

const Wiring kNullModem{0x0600, 0, 0, 0x1000, 0, 0, 0x0006, 0, 0, 0x0010, 0, 0};

class Lines : public testing::Test {
protected:
    Lines() { EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u); }

    static void wire(const ControlClient& end, const Wiring& wiring) {
        EXPECT_EQ(end.set(Set::PinConnections, RecordWriter().appendList(wiring).bytes()), 0u);
    }

    static Wiring wiringOf(const ControlClient& end) {
        return protocol::RecordReader(end.replyOf(Query::PinConnections)).readList();
    }

    DeviceNode device{0u};
    DeviceNode partnerDevice{1u};
    ControlClient client{device.controlPath()};
    ControlClient partner{partnerDevice.controlPath()};
};

TEST_F(Lines, RiseAndFallWithTheOtherEnd) {
    const SerialClient here(device.portName());
    EXPECT_EQ(here.lines(), 0u) << "the partner is not open";
    {
        const SerialClient there(partnerDevice.portName());
        EXPECT_EQ(here.lines(), kReady);
        EXPECT_EQ(there.lines(), kReady);
        EXPECT_TRUE(EscapeCommFunction(there.get(), CLRRTS));
        EXPECT_EQ(here.lines(), DWORD{MS_DSR_ON | MS_RLSD_ON});
        EXPECT_TRUE(EscapeCommFunction(there.get(), CLRDTR));
        EXPECT_EQ(here.lines(), 0u);
        there.configure([](DCB& settings) {
            settings.fDtrControl = DTR_CONTROL_DISABLE;
            settings.fRtsControl = RTS_CONTROL_ENABLE;
        });
        EXPECT_EQ(here.lines(), DWORD{MS_CTS_ON});
    }
    EXPECT_EQ(here.lines(), 0u);
}

TEST_F(Lines, FollowTheWiring) {
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    const struct {
        const char* what;
        Wiring wiring;
        DWORD command; // at the other end, where DTR and RTS are high
        DWORD before;
        DWORD after;
    } rows[] = {
        {"null modem", kNullModem, CLRRTS, kReady, MS_DSR_ON | MS_RLSD_ON},
        {"nothing", Wiring(12), CLRRTS, 0, 0},
        {"RTS drives RI", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0x20, 0, 0}, CLRRTS, MS_RING_ON, 0},
        {"both drive CTS", {0, 0, 0, 0, 0, 0, 0x10, 0, 0, 0x10, 0, 0}, CLRRTS, MS_CTS_ON, MS_CTS_ON},
        {"looped back", {0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, CLRDTR, MS_DSR_ON, MS_DSR_ON},
        {"on through DSR", {0, 0x0100, 0, 0, 0, 0, 0x02, 0, 0, 0, 0, 0}, CLRDTR, MS_DSR_ON, 0},
    };
    for (const auto& row : rows) {
        wire(client, row.wiring);
        EXPECT_TRUE(EscapeCommFunction(there.get(), SETDTR) && EscapeCommFunction(there.get(), SETRTS));
        EXPECT_EQ(here.lines(), row.before) << row.what;
        EXPECT_TRUE(EscapeCommFunction(there.get(), row.command));
        EXPECT_EQ(here.lines(), row.after) << row.what;
    }
}

TEST_F(Lines, BothEndsHaveOneWiring) {
    const Wiring asymmetric{0x2600, 0, 0, 0x1010, 0, 0, 0x0002, 0, 0, 0, 0, 0};
    const Wiring mirrored{0x0200, 0, 0, 0, 0, 0, 0x0026, 0, 0, 0x1010, 0, 0};
    wire(partner, asymmetric);
    EXPECT_EQ(wiringOf(client), mirrored);
    wire(client, asymmetric);
    EXPECT_EQ(wiringOf(partner), mirrored);
}

TEST_F(Lines, TheirChangesAreEvents) {
    wire(client, {0, 0, 0, 0, 0, 0, 0x06, 0, 0, 0x30, 0, 0}); // DTR drives DSR and DCD, RTS drives CTS and RI
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    const struct {
        DWORD mask;
        DWORD command;
    } rows[] = {
        {EV_CTS, CLRRTS}, {EV_RING, SETRTS}, {EV_DSR, CLRDTR}, {EV_RLSD, SETDTR}, {EV_BREAK, SETBREAK},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(SetCommMask(here.get(), row.mask));
        const auto event = here.startWaitForEvent();
        EXPECT_FALSE(event->done()) << row.mask;
        EXPECT_TRUE(EscapeCommFunction(there.get(), row.command));
        EXPECT_EQ(event->waitForEvent(), row.mask);
    }
    DWORD errors = 0;
    EXPECT_TRUE(ClearCommError(here.get(), &errors, nullptr));
    EXPECT_EQ(errors, DWORD{CE_BREAK});
}

TEST_F(Lines, HoldTransmissionWhereTheHandFlowSaysSo) {
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    here.configure([](DCB& settings) { settings.fOutxCtsFlow = TRUE; });
    there.configure([](DCB& settings) { settings.fRtsControl = RTS_CONTROL_HANDSHAKE; });
    const auto data = pattern(50'000);
    const auto write = here.startWrite(data);
    EXPECT_FALSE(write->done()) << "the queue is smaller";
    EXPECT_EQ(here.lines() & MS_CTS_ON, 0u);
    EXPECT_EQ(there.read(data.size()).data, data);
    EXPECT_TRUE(write->wait().ok());
    EXPECT_EQ(here.lines() & MS_CTS_ON, DWORD{MS_CTS_ON});
}

TEST_F(Lines, FlowControlCharactersHoldIt) {
    const SerialClient here(device.portName());
    const SerialClient there(partnerDevice.portName());
    here.configure([](DCB& settings) { settings.fOutX = TRUE; });
    EXPECT_TRUE(there.write({0x13}).ok());
    const auto write = here.startWrite(bytesOf("held"));
    EXPECT_FALSE(write->done());
    EXPECT_TRUE(TransmitCommChar(here.get(), '!')) << "goes before everything else";
    EXPECT_TRUE(there.write({0x11, 'a'}).ok());
    EXPECT_EQ(here.read(1).data, bytesOf("a"));
    EXPECT_EQ(there.read(5).data, bytesOf("!held"));
}

} // namespace
} // namespace zorvan::test

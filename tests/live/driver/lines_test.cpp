// Modem lines over a bridge: what either end sees follows the wiring and the lines that the other one drives.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Set;
using Wiring = std::vector<std::uint16_t>;

class Lines : public TestOf<OpenBridge> {
protected:
    static void wire(const ControlClient& end, const Wiring& wiring) {
        EXPECT_EQ(end.set(Set::PinConnections, pinRecord(wiring)), 0u);
    }
};

TEST_F(Lines, RiseAndFallWithTheOtherEnd) {
    EXPECT_EQ(here.lines(), DWORD{MS_CTS_ON | MS_DSR_ON | MS_RLSD_ON});
    EXPECT_EQ(there.lines(), here.lines());
    EXPECT_TRUE(EscapeCommFunction(there.get(), CLRRTS));
    EXPECT_EQ(here.lines(), DWORD{MS_DSR_ON | MS_RLSD_ON});
    there.configure([](DCB& settings) {
        settings.fDtrControl = DTR_CONTROL_DISABLE;
        settings.fRtsControl = RTS_CONTROL_ENABLE;
    });
    EXPECT_EQ(here.lines(), DWORD{MS_CTS_ON});
    there.close();
    EXPECT_EQ(here.lines(), 0u);
}

// DTR, DSR, DCD, RTS, CTS and RI of this end drive what the first six entries say, those of the other end the rest.
TEST_F(Lines, FollowTheWiring) {
    const struct {
        const char* what;
        Wiring wiring;
        HANDLE end; // that lets DTR and RTS fall, one after the other
        DWORD seenHere[3];
    } rows[] = {
        {"RTS drives RI", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0x20, 0, 0}, there.get(), {MS_RING_ON, MS_RING_ON, 0}},
        {"both drive CTS", {0, 0, 0, 0, 0, 0, 0x10, 0, 0, 0x10, 0, 0}, there.get(), {MS_CTS_ON, MS_CTS_ON, 0}},
        {"a ring", {0x02, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, here.get(), {MS_DSR_ON, 0, 0}},
        {"DTR, through the other DSR and DTR, and RI to itself",
         {0x0200, 0, 0, 0, 0, 0x20, 0x20, 0x0100, 0, 0, 0, 0},
         there.get(),
         {MS_RING_ON, MS_RING_ON, MS_RING_ON}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        wire(client, row.wiring);
        EXPECT_EQ(here.lines(), row.seenHere[0]);
        EXPECT_TRUE(EscapeCommFunction(row.end, CLRDTR));
        EXPECT_EQ(here.lines(), row.seenHere[1]);
        EXPECT_TRUE(EscapeCommFunction(row.end, CLRRTS));
        EXPECT_EQ(here.lines(), row.seenHere[2]);
        EXPECT_TRUE(EscapeCommFunction(row.end, SETDTR) && EscapeCommFunction(row.end, SETRTS));
    }
    wire(partner, {0x2600, 0, 0, 0x1010, 0, 0, 0x0002, 0, 0, 0, 0, 0});
    EXPECT_EQ(
        client.query(protocol::Query::PinConnections),
        pinRecord({0x0200, 0, 0, 0, 0, 0, 0x0026, 0, 0, 0x1010, 0, 0}));
}

} // namespace
} // namespace zorvan::test

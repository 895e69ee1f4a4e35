// Sockets and pins: which pins may be connected, and that the driver has the wiring that the pins say.
#include "one_port.h"
#include "support/signal.h"

#include <thread>

namespace zorvan::simulation {

namespace {

using Device = IVirtualSerialDevice;
using protocol::Set;

using Wiring = std::vector<std::uint16_t>;

const Wiring kNullModem{0x0600, 0, 0, 0x1000, 0, 0, 0x0006, 0, 0, 0x0010, 0, 0};

const struct {
    HRESULT (STDMETHODCALLTYPE ISocket::*get)(IPin**);
    unsigned targets; // a bit for each pin that it may drive
} kPins[] = {
    {&ISocket::get_DTR, 0b110110}, {&ISocket::get_DSR, 0b001001}, {&ISocket::get_DCD, 0b001001},
    {&ISocket::get_RTS, 0b110110}, {&ISocket::get_CTS, 0b001001}, {&ISocket::get_RI, 0b100000},
};
constexpr std::size_t kPinCount = std::size(kPins);

class BridgePins : public OnePort {
protected:
    // Numbered like the entries of the wiring: first the local ones.
    ComPointer<IPin> pin(std::size_t number) {
        const auto socket = number < kPinCount ? &Device::get_localSocket : &Device::get_remoteSocket;
        return readObject(*readObject(device5(), socket), kPins[number % kPinCount].get);
    }

    // What the driver was sent last. It refuses a record that is not well-formed.
    Wiring inForce() {
        const std::lock_guard lock(simulationMutex());
        return driver().state.pins;
    }
};

TEST_F(BridgePins, AllowedPinsAreConnectedAndPartedAndOthersRefused) {
    for (std::size_t source = 0; source < 2 * kPinCount; ++source)
        for (std::size_t target = 0; target < 2 * kPinCount; ++target) {
            SCOPED_TRACE(std::to_string(source) + " to " + std::to_string(target));
            ASSERT_RESULT(S_OK, device5().restoreDefaultPins());
            ASSERT_EQ(inForce(), kNullModem);
            const auto bit = 1U << (target % kPinCount + (target >= kPinCount ? 8 : 0));
            const bool allowed = (kPins[source % kPinCount].targets >> target % kPinCount & 1) != 0;
            const HRESULT expected = allowed ? S_OK : E_INVALIDARG;
            Wiring wiring = kNullModem;
            EXPECT_RESULT(expected, pin(source)->sendTo(pin(target).get()));
            wiring[source] = static_cast<std::uint16_t>(wiring[source] | (allowed ? bit : 0));
            EXPECT_EQ(inForce(), wiring);
            EXPECT_RESULT(expected, pin(source)->removeConnectionTo(pin(target).get()));
            wiring[source] = static_cast<std::uint16_t>(wiring[source] & ~(allowed ? bit : 0));
            EXPECT_EQ(inForce(), wiring);
        }
}

// The wiring is the port's: others may have changed it, so that no edit is needless. One that the driver refuses is
// part of what it is sent next.
TEST_F(BridgePins, EveryEditIsSentAndKept) {
    Wiring wiring = kNullModem;
    const auto edit = [&](HRESULT (STDMETHODCALLTYPE IPin::*method)(IPin*), std::size_t target, HRESULT expected) {
        driver().state.pins.assign(2 * kPinCount, 0); // somebody else's
        machine.fail(expected == S_OK ? "nothing" : "DeviceIoControl", 1, ERROR_BUSY);
        EXPECT_RESULT(expected, (*pin(0).*method)(pin(target).get()));
        EXPECT_EQ(inForce(), expected == S_OK ? wiring : Wiring(2 * kPinCount));
    };
    edit(&IPin::removeConnectionTo, 5, S_OK); // there is none by default
    edit(&IPin::sendTo, 5, HRESULT_FROM_WIN32(ERROR_BUSY));
    wiring[0] |= 1U << 5 | 1U << 2;
    edit(&IPin::sendTo, 2, S_OK);
    machine.fail("DeviceIoControl", 1, ERROR_BUSY);
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_BUSY), device5().restoreDefaultPins());
    wiring = kNullModem;
    edit(&IPin::removeConnectionTo, 5, S_OK);
}

// No edit may undo another thread's, which would be sent meanwhile but for the lock.
TEST_F(BridgePins, EditsOfSeveralThreadsGoToTheDriverInTheirOrder) {
    Signal arrived;
    std::thread other([&, dtr = pin(0), dcd = pin(2)] {
        arrived.wait();
        EXPECT_RESULT(S_OK, dtr->sendTo(dcd.get()));
    });
    std::atomic<bool> first = true;
    driver().beforeAnswer = [&](std::uint32_t) {
        arrived.tell();
        ::Sleep(first.exchange(false) ? 200 : 0);
    };
    EXPECT_RESULT(S_OK, pin(0)->sendTo(pin(1).get()));
    other.join();
    EXPECT_EQ(inForce()[0] & 0b110, 0b110);
}

} // namespace

} // namespace zorvan::simulation

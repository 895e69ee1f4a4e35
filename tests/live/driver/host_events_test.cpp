// The events that clients leave with a port, to hear of its mode.
#include "control_client.h"

namespace zorvan::test {
namespace {

using protocol::Set;

DWORD handOver(const ControlClient& client, std::uint64_t value) {
    return client.set(Set::HostEvent, record(value));
}

class ModeEvent {
public:
    explicit ModeEvent(const ControlClient& client) : event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
        EXPECT_EQ(handOver(client, client.copyToHost(event_.get())), 0u);
    }
    // Since the last look. Requests are synchronous, so there is nothing to wait for.
    bool signalled() const { return WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0; }

private:
    UniqueHandle event_;
};

using HostEvents = TestOf<TwoPorts>;

TEST_F(HostEvents, TellOfAChangeAndOfNothingElse) {
    const ModeEvent first(client);
    const ModeEvent second(client);
    const ModeEvent theirs(partner);
    const UniqueHandle semaphore(CreateSemaphoreW(nullptr, 0, 1, nullptr));
    EXPECT_EQ(handOver(client, 0), 0u) << "a client without an event";
    EXPECT_EQ(handOver(client, 0xABCDE0), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(handOver(client, client.copyToHost(semaphore.get())), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(client.listen(), 0u);
    EXPECT_EQ(client.set(Set::Disconnect), 0u);
    EXPECT_EQ(client.bridgeTo(testPortName(99)), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(client.set(Set::Enabled, {0}), 0u);
    EXPECT_EQ(client.set(Set::Enabled, {1}), 0u);
    EXPECT_FALSE(first.signalled());

    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_TRUE(first.signalled() && second.signalled() && theirs.signalled());
    partnerDevice.remove();
    EXPECT_TRUE(first.signalled() && second.signalled());
}

} // namespace
} // namespace zorvan::test

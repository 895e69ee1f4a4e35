// The events that clients leave with a port, to hear of its mode.
#include "control_client.h"

#include <algorithm>

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

TEST_F(HostEvents, MakeRoomForOthers) {
    const ModeEvent oldest(client);
    for (int i = 0; i < 100; ++i)
        const ModeEvent ofAClientThatGoes(client);
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_TRUE(oldest.signalled());

    std::vector<std::unique_ptr<ModeEvent>> events;
    for (int i = 0; i < 64; ++i)
        events.push_back(std::make_unique<ModeEvent>(client));
    EXPECT_EQ(client.set(Set::Disconnect), 0u);
    EXPECT_FALSE(oldest.signalled());
    EXPECT_TRUE(std::all_of(events.begin(), events.end(), [](const auto& event) { return event->signalled(); }));
}

} // namespace
} // namespace zorvan::test

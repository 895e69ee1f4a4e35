// The events that clients leave with a port, to hear of its mode.
#include "control_client.h"
#include "device_node.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

using protocol::RecordWriter;
using protocol::Set;

class ModeEvent {
public:
    explicit ModeEvent(const ControlClient& client) : event_(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
        EXPECT_EQ(handOver(client, client.copyToHost(event_.get())), 0u);
    }

    static DWORD handOver(const ControlClient& client, std::uint64_t value) {
        return client.set(Set::HostEvent, RecordWriter().append(value).bytes());
    }

    // Since the last look. Requests are synchronous, so there is nothing to wait for.
    bool signalled() const { return WaitForSingleObject(event_.get(), 0) == WAIT_OBJECT_0; }

private:
    UniqueHandle event_;
};

class HostEvents : public testing::Test {
protected:
    DeviceNode device{0u};
    DeviceNode partnerDevice{1u};
    ControlClient client{device.controlPath()};
    ControlClient partner{partnerDevice.controlPath()};
};

TEST_F(HostEvents, BothEndsHearOfABridgeAndOfItsEnd) {
    const ModeEvent ours(client);
    const ModeEvent theirs(partner);
    EXPECT_FALSE(ours.signalled() || theirs.signalled());

    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_TRUE(ours.signalled());
    EXPECT_TRUE(theirs.signalled());

    EXPECT_EQ(partner.set(Set::Disconnect), 0u);
    EXPECT_TRUE(ours.signalled());
    EXPECT_TRUE(theirs.signalled());

    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_TRUE(ours.signalled());
    partnerDevice.remove();
    EXPECT_TRUE(ours.signalled());
}

TEST_F(HostEvents, WhatLeavesTheModeAsItIsIsSilent) {
    const ModeEvent event(client);
    EXPECT_EQ(client.listen(), 0u);
    EXPECT_EQ(client.set(Set::Disconnect), 0u);
    EXPECT_EQ(client.bridgeTo(testPortName(99)), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(client.set(Set::Enabled, {0}), 0u);
    EXPECT_EQ(client.set(Set::Enabled, {1}), 0u);
    EXPECT_FALSE(event.signalled());
}

TEST_F(HostEvents, EveryClientHears) {
    const ModeEvent first(client);
    const ModeEvent second(client);
    EXPECT_EQ(ModeEvent::handOver(client, 0), 0u) << "a client without an event";
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_TRUE(first.signalled());
    EXPECT_TRUE(second.signalled());
}

TEST_F(HostEvents, WhatIsNoEventIsRefused) {
    const UniqueHandle notAnEvent(CreateSemaphoreW(nullptr, 0, 1, nullptr));
    const ModeEvent event(client);
    EXPECT_EQ(ModeEvent::handOver(client, 0xABCDE0), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ModeEvent::handOver(client, client.copyToHost(notAnEvent.get())), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_TRUE(event.signalled());
}

TEST_F(HostEvents, ClientsThatAreGoneMakeRoom) {
    const ModeEvent event(client);
    for (int i = 0; i < 100; ++i)
        const ModeEvent passing(client);
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_TRUE(event.signalled());
}

TEST_F(HostEvents, TheOldestOfTooManyGivesWay) {
    const ModeEvent oldest(client);
    std::vector<std::unique_ptr<ModeEvent>> events;
    for (int i = 0; i < 64; ++i)
        events.push_back(std::make_unique<ModeEvent>(client));
    EXPECT_EQ(client.bridgeTo(partnerDevice.portName()), 0u);
    EXPECT_FALSE(oldest.signalled());
    for (const auto& event : events)
        EXPECT_TRUE(event->signalled());
}

} // namespace
} // namespace zorvan::test

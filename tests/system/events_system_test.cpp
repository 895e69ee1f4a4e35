// Events for real: what other processes do to the ports, and what this one does.
#include "listener.h"
#include "other_process.h"
#include "programs.h"

#include <algorithm>

namespace zorvan::test {

namespace {

VirtualSerialDeviceMode modeOf(IVirtualSerialDevice& device) {
    VirtualSerialDeviceMode mode = VSDM_Broken;
    EXPECT_EQ(S_OK, device.get_mode(&mode));
    return mode;
}

class EventsSystemTest : public SystemTest {
protected:
    void SetUp() override {
        SystemTest::SetUp();
        listening_.emplace(library_);
    }

    void TearDown() override {
        listening_.reset();
        SystemTest::TearDown();
    }

    RecordingListener& listener() { return listening_->listener(); }

private:
    std::optional<Listening> listening_;
};

TEST_F(EventsSystemTest, AnotherProcessCreatesAndDeletes) {
    createElsewhere(L"COM80");
    const auto added = listener().waitFor(Happening::Added, L"COM80");
    EXPECT_NE(GetCurrentThreadId(), added.thread);
    EXPECT_FALSE(isDeleted(*added.device));
    const auto listed = listDevices(*library_);
    EXPECT_TRUE(std::any_of(listed.begin(), listed.end(), [&](const Device& other) {
        return other.get() == added.device.get();
    })) << "the event hands out the very object that a listing does";

    deleteElsewhere(L"COM80");
    const auto deleted = listener().waitFor(Happening::Deleted, added.device);
    EXPECT_EQ(added.thread, deleted.thread) << "both come from the event thread";
    EXPECT_TRUE(isDeleted(*added.device));
    EXPECT_EQ(L"", path(*added.device));
    EXPECT_EQ(0U, listPortNames(*library_).count(L"COM80"));
    EXPECT_EQ(1U, listener().count(Happening::Added, added.device));
    EXPECT_EQ(1U, listener().count(Happening::Deleted, added.device));
}

TEST_F(EventsSystemTest, AnotherProcessDeletesAPortOfThisOne) {
    const auto device = create(L"COM80");
    deleteElsewhere(L"COM80");
    listener().waitFor(Happening::Deleted, device);
    EXPECT_TRUE(isDeleted(*device));
    EXPECT_EQ(E_HANDLE, device->deleteDevice());
}

TEST_F(EventsSystemTest, AnotherProcessRenames) {
    const auto device = create(L"COM80");
    renameElsewhere(L"COM80", L"COM81");
    const auto renamed = listener().waitFor(Happening::Renamed, device);
    EXPECT_EQ(L"COM81", renamed.portName) << "the new name is known when the event comes";
    EXPECT_EQ(L"COM81", portName(*device));
    // The driver says only that something has changed.
    EXPECT_EQ(renamed.thread, listener().waitFor(Happening::ModeChanged, device).thread);
    EXPECT_EQ(1U, listener().count(Happening::Renamed, device));
    EXPECT_EQ(1U, listPortNames(*library_).count(L"COM81"));
}

TEST_F(EventsSystemTest, AnotherProcessChangesModes) {
    const auto first = create(L"COM80");
    const auto second = create(L"COM81");
    bridgeElsewhere(L"COM80", L"COM81");
    for (const auto& device : {first, second}) {
        listener().waitFor(Happening::ModeChanged, device);
        EXPECT_EQ(VSDM_Bridge, modeOf(*device));
        EXPECT_EQ(0U, listener().count(Happening::Renamed, device));
    }
    listener().forget();

    disconnectElsewhere(L"COM81");
    for (const auto& device : {first, second}) {
        listener().waitFor(Happening::ModeChanged, device);
        EXPECT_EQ(VSDM_Listening, modeOf(*device));
    }
}

TEST_F(EventsSystemTest, OwnChangesAreReportedOnce) {
    const auto device = create(L"COM80");
    listener().waitFor(Happening::Added, device);
    EXPECT_EQ(S_OK, rename(*device, L"COM81"));
    ASSERT_EQ(1U, listener().count(Happening::Renamed, device)) << "before the property's setter returns";
    EXPECT_EQ(GetCurrentThreadId(), listener().waitFor(Happening::Renamed, device).thread);

    EXPECT_EQ(S_OK, device->deleteDevice());
    EXPECT_NE(GetCurrentThreadId(), listener().waitFor(Happening::Deleted, device).thread);
    EXPECT_EQ(1U, listener().count(Happening::Added, device));
    EXPECT_EQ(1U, listener().count(Happening::Renamed, device));
    EXPECT_EQ(1U, listener().count(Happening::Deleted, device));
}

TEST_F(EventsSystemTest, EveryLibraryObjectReports) {
    const auto otherLibrary = createLibrary();
    Listening other(otherLibrary);
    const auto device = create(L"COM80");
    const auto seen = other.listener().waitFor(Happening::Added, L"COM80");
    EXPECT_NE(device.get(), seen.device.get()) << "each library has device objects of its own";
    EXPECT_EQ(S_OK, rename(*device, L"COM81"));
    EXPECT_EQ(L"COM81", other.listener().waitFor(Happening::Renamed, seen.device).portName);
    EXPECT_EQ(S_OK, device->deleteDevice());
    other.listener().waitFor(Happening::Deleted, seen.device);
}

TEST_F(EventsSystemTest, ScriptCallbacks) {
    const auto result = runScript(L"events.js");
    EXPECT_EQ("All as expected.\n", result.output);
}

} // namespace

} // namespace zorvan::test

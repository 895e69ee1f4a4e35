// What all members about connections have in common: their calls of Windows in order, and a removed port.
#include "connection_members.h"
#include "one_port.h"

namespace zorvan::simulation {

namespace {

class ConnectionMembers : public OnePort {
protected:
    void SetUp() override {
        OnePort::SetUp();
        machine.users.accounts[L"ann"] = {L"home", L"key"};
        machine.users.actingAs[GetCurrentThreadId()] = L"bob";
        host().handles[kHostHandle] = std::make_shared<File>(kPipe);
        prepare();
    }

    // Calls the member in the state that it needs.
    HRESULT use(const ConnectionMember& member) {
        prepare();
        return member.call(device5());
    }

    void prepare() {
        machine.files.existing = {kPipe, L"C:\\in"};
        auto& state = driver().state;
        state.securityDescriptor = state.remoteServer = state.remotePort = L"some text";
        state.pair = driver().hostProcessId;
        state.pipe.pipe = kHostHandle;
        state.files = {kHostHandle, kHostHandle};
        device5().restoreDefaultPins();
        forgetCalls();
    }
};

TEST_F(ConnectionMembers, CallWindowsInOrderAndKeepNothing) {
    const auto held = machine.held();
    for (const auto& member : kConnectionMembers) {
        SCOPED_TRACE(member.name);
        EXPECT_RESULT(S_OK, use(member));
        EXPECT_EQ(steps(), member.steps);
        EXPECT_EQ(machine.held(), held);
    }
}

TEST_F(ConnectionMembers, OfARemovedPortTestThatFirstOrReportTheOpen) {
    removePort();
    for (const auto& member : kConnectionMembers) {
        SCOPED_TRACE(member.name);
        EXPECT_RESULT(
            member.testsAlive ? E_HANDLE : HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), member.call(device5()));
        EXPECT_EQ(machine.calls.texts().empty(), member.testsAlive);
        forgetCalls();
    }
}

} // namespace

} // namespace zorvan::simulation

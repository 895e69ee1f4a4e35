// The soak: that its rule finds what grows, that its figures are true, and that two of its processes work at once.
#include "client.h"

#include "soak/growth.h"
#include "soak/sample.h"
#include "support/child_process.h"
#include "support/program.h"
#include "support/test_main.h"

namespace zorvan::test {

namespace {

TEST(SoakGrowth, IsFoundWhereItIsSteady) {
    constexpr int kRounds = 100;
    constexpr int kAllowance = 2;
    const struct {
        const char* what;
        std::function<int(int round)> value;
        bool grows;
    } rows[] = {
        {"one in every eighth round", [](int round) { return round / 8; }, true},
        {"warm-up", [](int round) { return round < 25 ? round : 25; }, false},
        {"once, late", [](int round) { return round < 60 ? 0 : 50; }, false},
        {"up and down", [](int round) { return round % 20; }, false},
        {"up and down while it grows", [](int round) { return round + 10 * (round % 5); }, true},
    };
    for (const auto& row : rows) {
        devkit::Growth growth;
        for (int round = 0; round < kRounds; ++round)
            growth.add(devkit::quarterAt(static_cast<double>(round) / kRounds), row.value(round));
        EXPECT_TRUE(growth.enough()) << row.what;
        EXPECT_EQ(row.grows, growth.grows(kAllowance)) << row.what;
    }
}

using SoakSystemTest = SystemTest;

TEST_F(SoakSystemTest, FiguresShowWhatAPortHolds) {
    constexpr int kPorts = 6;
    const devkit::Sampler sampler(portName(create()));
    const auto before = sampler.take();
    for (int i = 0; i < kPorts; ++i)
        create();
    const auto meanwhile = sampler.take();
    EXPECT_EQ(1, meanwhile.driver.processes);
    EXPECT_EQ(before.hosts.processes + kPorts, meanwhile.hosts.processes);
    EXPECT_LE(before.driver.handles + kPorts, meanwhile.driver.handles) << "of the new host processes";
    EXPECT_LE(before.client.handles + kPorts, meanwhile.client.handles) << "the events of the new devices";
    EXPECT_LT(before.hosts.privateKiB, meanwhile.hosts.privateKiB);
}

TEST_F(SoakSystemTest, PortsLeaveNothingOpenWhenTheyAreDeleted) {
    constexpr int kAllowance = 2; // less than one for each port
    const devkit::Sampler sampler(portName(create()));
    const auto createAndDelete = [&](int count) {
        for (int i = 0; i < count; ++i) {
            ComPtr<IVirtualSerialDevice> device;
            check(createPort(*library_.Get(), nullptr, device), "createDevice");
            check(device->deleteDevice(), "deleteDevice");
        }
    };
    createAndDelete(2);
    Sleep(500); // what the first ones leave behind is not yet gone
    const auto before = sampler.take();
    createAndDelete(6);
    EXPECT_TRUE(becomesTrue([&] {
        const auto now = sampler.take();
        return now.client.handles <= before.client.handles + kAllowance &&
               now.driver.handles <= before.driver.handles + kAllowance &&
               now.hosts.processes <= before.hosts.processes;
    }));
}

// Each creates, joins, renames and deletes ports and moves bytes: alone, and while the other does.
TEST_F(SoakSystemTest, TwoProcessesWorkAtOnce) {
    const auto soak = L"\"" + siblingPath(L"soak.exe") + L"\" --rounds 2";
    const auto alone = runProgram(soak);
    EXPECT_EQ(0U, alone.exitCode) << alone.output;
    const ChildProcess other(soak + L" --not-alone");
    const auto result = runProgram(soak + L" --not-alone");
    EXPECT_EQ(0U, result.exitCode) << result.output;
    EXPECT_EQ(0U, other.exitCode());
}

} // namespace

} // namespace zorvan::test

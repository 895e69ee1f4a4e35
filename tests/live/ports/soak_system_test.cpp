// What ports hold and leave, and two processes of the soak that work at once.
#include "client.h"

#include "support/process_figures.h"
#include "support/program.h"
#include "support/test_main.h"

#include <future>

namespace zorvan::test {

namespace {

using SoakSystemTest = SystemTest;

TEST_F(SoakSystemTest, PortsHoldHandlesAndLeaveNoneWhenTheyAreDeleted) {
    constexpr std::size_t kPorts = 6;
    constexpr std::size_t kAllowance = 2; // less than one for each port
    const OwnPort first(*library_);
    const auto createPorts = [this] {
        for (std::size_t i = 0; i < kPorts; ++i)
            create();
    };
    createPorts();
    deletePorts();
    Sleep(500); // what the first ones leave behind is not yet gone
    const auto before = devkit::portProcesses();
    createPorts();
    const auto meanwhile = devkit::portProcesses();
    EXPECT_LT(kPorts, meanwhile.hostCount);
    EXPECT_LE(before.driver.handles + kPorts, meanwhile.driver.handles) << "of the new host processes";
    EXPECT_LE(before.client.handles + kPorts, meanwhile.client.handles) << "the events of the new devices";
    deletePorts();
    EXPECT_TRUE(becomesTrue([&] {
        const auto now = devkit::portProcesses();
        return now.client.handles <= before.client.handles + kAllowance &&
               now.driver.handles <= before.driver.handles + kAllowance && now.hostCount <= before.hostCount;
    }));
}

// Each creates, joins, renames and deletes ports and moves bytes: alone, and while the other does.
TEST_F(SoakSystemTest, TwoProcessesWorkAtOnce) {
    const auto soak = L"\"" + siblingPath(L"soak.exe") + L"\" 4";
    const auto alone = runProgram(soak);
    EXPECT_EQ(0, alone.exitCode) << alone.output;
    auto other = std::async(std::launch::async, [&] { return runProgram(soak + L" --not-alone"); });
    for (const auto& result : {runProgram(soak + L" --not-alone"), other.get()})
        EXPECT_EQ(0, result.exitCode) << result.output;
}

} // namespace

} // namespace zorvan::test

// The simulation notices what every other test relies on it to notice.
#include "simulation/heap.h"
#include "simulation/simulated_function.h"
#include "simulation/simulation_test.h"

#include <gtest/gtest-spi.h>

namespace zorvan::simulation {

namespace {

using Held = std::vector<std::string>;

using Simulation = SimulationTest;

TEST_F(Simulation, NoticesWhatIsNotGivenBackOrGivenBackTwice) {
    const auto closeHandle = SimulatedFunction::find<decltype(CloseHandle)>("CloseHandle");
    HANDLE event = SimulatedFunction::find<decltype(CreateEventW)>("CreateEventW")(nullptr, FALSE, FALSE, nullptr);
    const long blocks = Heap::blocks();
    BSTR text = SimulatedFunction::find<decltype(SysAllocStringLen)>("SysAllocStringLen")(L"text", 4);
    EXPECT_EQ(machine.held(), Held{"handle"});
    EXPECT_EQ(Heap::blocks(), blocks + 1);
    EXPECT_TRUE(closeHandle(event));
    SysFreeString(text);
    EXPECT_EQ(machine.held(), Held());
    EXPECT_EQ(Heap::blocks(), blocks);
    // Not the event's value, which may have gone to another object of the process meanwhile.
    EXPECT_NONFATAL_FAILURE(closeHandle(reinterpret_cast<HANDLE>(0x7FFFFFF0)), "a closed handle");
}

TEST_F(Simulation, NoticesTextsInFreedMemory) {
    machine.addPort(L"COM5");
    const auto port = device(*createLibrary(), L"COM5");
    EXPECT_GT(Heap::freedWith(L"COM9", [&] { port->put_portName(Bstr(L"COM9 and more").get()); }), 0);
}

} // namespace

} // namespace zorvan::simulation

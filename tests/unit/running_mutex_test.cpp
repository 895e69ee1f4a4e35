// The mutex that tells other programs that the library is loaded.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

constexpr wchar_t kName[] = L"Global\\QeltraSoftware_ZORVANLIB_Running_Mutex";

using RunningMutex = SimulationTest;

TEST_F(RunningMutex, IsHeldWhileTheModuleIsLoaded) {
    dll();
    ASSERT_EQ(machine.kernel.mutexes.size(), 1U);
    const auto& mutex = *machine.kernel.mutexes.front();
    EXPECT_EQ(mutex.name, kName);
    EXPECT_TRUE(mutex.initiallyOwned);
    EXPECT_FALSE(mutex.inheritable);
    EXPECT_EQ(mutex.attributesLength, 24U);
    EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"}); // that it is closed is looked at after each test
}

TEST_F(RunningMutex, MayBeOpenedByEveryoneAndSaysNothingElse) {
    dll();
    ASSERT_EQ(machine.kernel.mutexes.size(), 1U);
    const std::vector<std::uint8_t> expected{1, 0, 4,  0x80, 0,  0, 0,    0, 0, 0, 0, 0,
                                             0, 0, 0,  0,    20, 0, 0,    0, // self-relative, with a DACL alone
                                             2, 0, 28, 0,    1,  0, 0,    0, // of one entry
                                             0, 0, 20, 0,    1,  0, 0x1F, 0, // that allows everything
                                             1, 1, 0,  0,    0,  0, 0,    1, 0, 0, 0, 0}; // to S-1-1-0
    EXPECT_EQ(machine.kernel.mutexes.front()->securityDescriptor, expected);
}

TEST_F(RunningMutex, ExistsAlreadyWhenAnotherProcessHasTheLibraryLoaded) {
    machine.kernel.existingNames.insert(kName);
    createLibrary();
}

TEST_F(RunningMutex, IsNotNeeded) {
    machine.fail("CreateMutexW", 1, ERROR_ACCESS_DENIED);
    createLibrary();
    EXPECT_EQ(machine.calls.count("CreateMutexW"), 1);
}

} // namespace

} // namespace zorvan::simulation

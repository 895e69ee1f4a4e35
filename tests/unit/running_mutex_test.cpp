// The mutex that tells other programs that the library is loaded.
#include "simulation/simulation_test.h"

#include <array>

namespace zorvan::simulation {

namespace {

constexpr wchar_t kName[] = L"Global\\QeltraSoftware_ZORVANLIB_Running_Mutex";
constexpr DWORD kMutexAllAccess = 0x001F0001;

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
    auto bytes = machine.kernel.mutexes.front()->securityDescriptor;
    ASSERT_FALSE(bytes.empty()) << "not in self-relative form";
    auto* descriptor = static_cast<PSECURITY_DESCRIPTOR>(bytes.data());

    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    ASSERT_TRUE(GetSecurityDescriptorControl(descriptor, &control, &revision));
    EXPECT_EQ(control, SE_SELF_RELATIVE | SE_DACL_PRESENT);

    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    PSID sid = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorOwner(descriptor, &sid, &defaulted));
    EXPECT_EQ(sid, nullptr);
    ASSERT_TRUE(GetSecurityDescriptorGroup(descriptor, &sid, &defaulted));
    EXPECT_EQ(sid, nullptr);

    PACL list = nullptr;
    ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->AclRevision, ACL_REVISION);
    ASSERT_EQ(list->AceCount, 1);
    void* entry = nullptr;
    ASSERT_TRUE(GetAce(list, 0, &entry));
    const auto& allowed = *static_cast<ACCESS_ALLOWED_ACE*>(entry);
    EXPECT_EQ(allowed.Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
    EXPECT_EQ(allowed.Header.AceFlags, 0);
    EXPECT_EQ(allowed.Mask, kMutexAllAccess);
    std::array<std::uint8_t, SECURITY_MAX_SID_SIZE> everyone{};
    DWORD size = everyone.size();
    ASSERT_TRUE(CreateWellKnownSid(WinWorldSid, nullptr, everyone.data(), &size));
    EXPECT_TRUE(EqualSid(const_cast<DWORD*>(&allowed.SidStart), everyone.data()));
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

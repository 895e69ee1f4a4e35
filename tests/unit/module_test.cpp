// The module: its class factory, its lock count, and the mutex that tells other programs that it is loaded.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

constexpr GUID kUnknownClass{0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr wchar_t kMutex[] = L"Global\\QeltraSoftware_ZORVANLIB_Running_Mutex";

class Module : public SimulationTest {
protected:
    // Nothing is given out.
    HRESULT createError(IUnknown* outer, const IID& iid, const CLSID& clsid = __uuidof(VirtualSerialLibrary)) {
        void* object = this;
        const HRESULT result = classFactory(clsid)->CreateInstance(outer, iid, &object);
        EXPECT_EQ(object, nullptr);
        return result;
    }
};

TEST_F(Module, FactoryIsThereForAnyClassAndCreationRefuses) {
    const auto factory = classFactory();
    machine.calls.clear();
    EXPECT_RESULT(REGDB_E_CLASSNOTREG, createError(nullptr, IID_IUnknown, kUnknownClass));
    EXPECT_RESULT(CLASS_E_NOAGGREGATION, createError(factory.get(), IID_IUnknown));
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
    void* object = this;
    EXPECT_RESULT(E_NOINTERFACE, dll().getClassObject(__uuidof(VirtualSerialLibrary), IID_IDispatch, &object));
    EXPECT_EQ(object, nullptr);
    ComPointer<IUnknown> unknown;
    EXPECT_RESULT(S_OK, factory->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(unknown.put())));
    EXPECT_EQ(unknown.get(), factory.get());
    EXPECT_RESULT(S_OK, dll().canUnloadNow()); // a factory keeps nothing loaded
}

// Intended: what such a creation added to the count stays, so that the module is never unloaded.
TEST_F(Module, CreationWithAnInterfaceThatIsNotThereLeavesTheModuleLocked) {
    EXPECT_RESULT(E_NOINTERFACE, createError(nullptr, __uuidof(IPin)));
    EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
    EXPECT_RESULT(S_OK, classFactory()->LockServer(FALSE));
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

TEST_F(Module, LocksAreCounted) {
    const auto factory = classFactory();
    for (const BOOL lock : {TRUE, TRUE, FALSE})
        EXPECT_RESULT(S_OK, factory->LockServer(lock));
    EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
    EXPECT_RESULT(S_OK, factory->LockServer(FALSE));
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

TEST_F(Module, HoldsAMutexThatEveryoneMayOpen) {
    machine.kernel.existingNames.insert(kMutex); // also while another process has the library loaded
    dll();
    ASSERT_EQ(machine.kernel.mutexes.size(), 1U);
    const auto& mutex = *machine.kernel.mutexes.front();
    EXPECT_EQ(mutex.name, kMutex);
    EXPECT_TRUE(mutex.initiallyOwned);
    EXPECT_FALSE(mutex.inheritable);
    EXPECT_EQ(mutex.attributesLength, 24U);
    EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"}); // that it is closed is looked at after each test
    const std::vector<std::uint8_t> expected{1, 0, 4,  0x80, 0,  0, 0,    0, 0, 0, 0, 0,
                                             0, 0, 0,  0,    20, 0, 0,    0, // self-relative, with a DACL alone
                                             2, 0, 28, 0,    1,  0, 0,    0, // of one entry
                                             0, 0, 20, 0,    1,  0, 0x1F, 0, // that allows everything
                                             1, 1, 0,  0,    0,  0, 0,    1, 0, 0, 0, 0}; // to S-1-1-0
    EXPECT_EQ(mutex.securityDescriptor, expected);
}

TEST_F(Module, NeedsNoMutex) {
    machine.fail("CreateMutexW", 1, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(createLibrary());
    EXPECT_EQ(machine.kernel.mutexes.size(), 0U);
}

} // namespace

} // namespace zorvan::simulation

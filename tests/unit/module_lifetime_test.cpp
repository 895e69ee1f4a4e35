// The module's entry points, its class factory and its lock count.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

constexpr GUID kUnknownClass{0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

using ModuleLifetime = SimulationTest;

TEST_F(ModuleLifetime, AnyClassYieldsAFactoryAndOnlyCreationRefuses) {
    const auto factory = classFactory(kUnknownClass);
    void* object = nullptr;
    EXPECT_RESULT(REGDB_E_CLASSNOTREG, factory->CreateInstance(nullptr, __uuidof(IUnknown), &object));
    EXPECT_EQ(object, nullptr);
}

TEST_F(ModuleLifetime, FactoryAnswersForItsTwoInterfacesOnly) {
    void* object = this;
    EXPECT_RESULT(E_NOINTERFACE, dll().getClassObject(__uuidof(VirtualSerialLibrary), __uuidof(IDispatch), &object));
    EXPECT_EQ(object, nullptr);
    const auto factory = classFactory();
    ComPointer<IUnknown> unknown;
    EXPECT_RESULT(S_OK, factory->QueryInterface(__uuidof(IUnknown), reinterpret_cast<void**>(unknown.put())));
    EXPECT_EQ(unknown.get(), factory.get());
    EXPECT_NE(classFactory().get(), factory.get());
    EXPECT_RESULT(S_OK, dll().canUnloadNow()); // it keeps nothing loaded
}

TEST_F(ModuleLifetime, AggregationIsRefusedBeforeAnythingIsMade) {
    const auto factory = classFactory();
    machine.calls.clear();
    void* object = nullptr;
    EXPECT_RESULT(
        CLASS_E_NOAGGREGATION, factory->CreateInstance(factory.get(), __uuidof(IVirtualSerialLibrary), &object));
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

TEST_F(ModuleLifetime, LibraryObjectAnswersForItsPublicInterfaces) {
    const auto library = createLibrary();
    for (const IID& iid : {__uuidof(IUnknown), __uuidof(IDispatch), __uuidof(IVirtualSerialLibrary)}) {
        ComPointer<IUnknown> object;
        EXPECT_RESULT(S_OK, library->QueryInterface(iid, reinterpret_cast<void**>(object.put())));
    }
    void* object = this;
    EXPECT_RESULT(E_NOINTERFACE, library->QueryInterface(__uuidof(ISupportErrorInfo), &object));
    EXPECT_EQ(object, nullptr);
}

// Intended: what such a creation added to the count stays, so that the module is never unloaded.
TEST_F(ModuleLifetime, CreationWithAnInterfaceThatIsNotThereLeavesTheModuleLocked) {
    const auto factory = classFactory();
    void* object = this;
    EXPECT_RESULT(E_NOINTERFACE, factory->CreateInstance(nullptr, __uuidof(IPin), &object));
    EXPECT_EQ(object, nullptr);
    EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
    EXPECT_RESULT(S_OK, factory->LockServer(FALSE));
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

TEST_F(ModuleLifetime, LocksAreCounted) {
    const auto factory = classFactory();
    EXPECT_RESULT(S_OK, factory->LockServer(TRUE));
    EXPECT_RESULT(S_OK, factory->LockServer(TRUE));
    EXPECT_RESULT(S_OK, factory->LockServer(FALSE));
    EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
    EXPECT_RESULT(S_OK, factory->LockServer(FALSE));
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

} // namespace

} // namespace zorvan::simulation

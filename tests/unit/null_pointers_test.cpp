// A null out-pointer is refused by every member, and nothing is done.
#include "device_members.h"
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

using NullPointers = SimulationTest;

TEST_F(NullPointers, OfTheLibrary) {
    const auto library = createLibrary();
    machine.calls.clear();
    EXPECT_RESULT(E_POINTER, library->createDevice(Variant(L"COM7"), nullptr));
    EXPECT_RESULT(E_POINTER, library->get_devicesCollection(nullptr));
    EXPECT_RESULT(E_POINTER, library->get_devicesArray(nullptr));
    EXPECT_RESULT(E_POINTER, library->GetTypeInfoCount(nullptr));
    EXPECT_RESULT(E_POINTER, library->GetTypeInfo(0, 0, nullptr));
    EXPECT_RESULT(E_POINTER, library->QueryInterface(__uuidof(IUnknown), nullptr));
    EXPECT_TRUE(machine.plugAndPlay.nodes().empty());
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
}

TEST_F(NullPointers, OfTheCollectionAndTheArray) {
    machine.addPort(L"COM5");
    const auto library = createLibrary();
    const auto devices = collection(*library);
    EXPECT_RESULT(E_POINTER, devices->get_Count(nullptr));
    EXPECT_RESULT(E_POINTER, devices->get_Item(Variant(0L), nullptr));
    EXPECT_RESULT(E_POINTER, devices->get__NewEnum(nullptr));
    const auto array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
    EXPECT_RESULT(E_POINTER, array->GetTypeInfoCount(nullptr));
    EXPECT_RESULT(E_POINTER, array->QueryInterface(__uuidof(IUnknown), nullptr));
}

TEST_F(NullPointers, OfTheDevice) {
    machine.addPort(L"COM5");
    const auto device = SimulationTest::device(*createLibrary(), L"COM5");
    machine.calls.clear();
    for (const auto& member : kDeviceMembers)
        if (member.reads) {
            EXPECT_RESULT(E_POINTER, member.call(*device, nullptr)) << member.name;
        }
    EXPECT_RESULT(E_POINTER, device->get_path(nullptr));
    EXPECT_RESULT(E_POINTER, device->get_deleted(nullptr));
    EXPECT_RESULT(E_POINTER, device->get_portName(nullptr));
    EXPECT_RESULT(E_POINTER, device->get_vLibrary(nullptr));
    EXPECT_RESULT(E_POINTER, device->QueryInterface(__uuidof(IUnknown), nullptr));
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
}

TEST_F(NullPointers, OfTheModule) {
    EXPECT_RESULT(E_POINTER, dll().getClassObject(__uuidof(VirtualSerialLibrary), __uuidof(IUnknown), nullptr));
    const auto factory = classFactory();
    EXPECT_RESULT(E_POINTER, factory->CreateInstance(nullptr, __uuidof(IUnknown), nullptr));
    EXPECT_RESULT(E_POINTER, factory->QueryInterface(__uuidof(IUnknown), nullptr));
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

} // namespace

} // namespace zorvan::simulation

// Who keeps whom alive: the objects of a library live as long as a client holds any of them, and no longer.
//
// That the module is unloadable afterwards and nothing is held is looked at after each test.
#include "simulation/simulation_test.h"

#include <algorithm>
#include <numeric>
#include <thread>

namespace zorvan::simulation {

namespace {

class ObjectLifetime : public SimulationTest {
protected:
    void addPorts(int count) {
        for (int i = 0; i < count; ++i)
            machine.addPort(L"COM" + std::to_wstring(i + 1));
    }

    // One reference to each kind of object of a new library.
    std::vector<ComPointer<IUnknown>> oneOfEach() {
        const auto library = createLibrary();
        const auto devices = collection(*library);
        std::vector<ComPointer<IUnknown>> objects{
            ComPointer<IUnknown>(library.get()), ComPointer<IUnknown>(devices.get()),
            ComPointer<IUnknown>(readObject(*library, &IVirtualSerialLibrary::get_devicesArray).get()),
            readObject(*devices, &IDeviceCollection::get__NewEnum)};
        ComPointer<IVirtualSerialDevice> device;
        if (devices->get_Item(Variant(0L), device.put()) == S_OK)
            objects.emplace_back(device.get());
        return objects;
    }
};

TEST_F(ObjectLifetime, EndsWithTheLastReferenceInWhateverOrder) {
    for (const int ports : {0, 1, 3}) {
        machine.plugAndPlay.nodes().clear();
        addPorts(ports);
        std::vector<std::size_t> order(ports == 0 ? 4 : 5);
        std::iota(order.begin(), order.end(), 0U);
        do {
            auto objects = oneOfEach();
            ASSERT_EQ(objects.size(), order.size());
            for (const auto index : order) {
                ASSERT_RESULT(S_FALSE, dll().canUnloadNow());
                objects[index] = {};
            }
            ASSERT_RESULT(S_OK, dll().canUnloadNow());
            ASSERT_EQ(machine.held(), std::vector<std::string>{"mutex"});
        } while (std::next_permutation(order.begin(), order.end()));
    }
}

TEST_F(ObjectLifetime, DeviceAloneLeadsToItsLibraryEvenWhenItIsRemoved) {
    addPorts(2);
    const auto device = SimulationTest::device(*createLibrary(), L"COM1");
    EXPECT_RESULT(S_OK, device->disconnectDevice());
    auto library = readObject(*device, &IVirtualSerialDevice::get_vLibrary);
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM1", L"COM2"}));
    machine.plugAndPlay.nodes().front().present = false;
    EXPECT_TRUE(createDevice(*library, L"COM9"));
    library = {};
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(
        portNames(*readObject(*device, &IVirtualSerialDevice::get_vLibrary)),
        (std::set<std::wstring>{L"COM2", L"COM9"}));
}

// Threads list, take and release; whoever is last ends the library.
TEST_F(ObjectLifetime, EndsWhicheverThreadIsLast) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 60;
    addPorts(3);
    for (int round = 0; round < kRounds; ++round) {
        auto library = createLibrary();
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([this, own = library, i]() mutable {
                const auto devices = collection(*own);
                ComPointer<IVirtualSerialDevice> device;
                EXPECT_RESULT(S_OK, devices->get_Item(Variant(static_cast<LONG>(i % 3)), device.put()));
                const auto array = readObject(*own, &IVirtualSerialLibrary::get_devicesArray);
                own = {}; // from here on the device alone leads to the library
                for (int turn = 0; turn < 5; ++turn) {
                    const auto again = readObject(*device, &IVirtualSerialDevice::get_vLibrary);
                    EXPECT_EQ(portNames(*again).size(), 3U);
                }
            });
        if (round % 2 == 0)
            library = {};
        for (auto& thread : threads)
            thread.join();
        library = {};
        ASSERT_RESULT(S_OK, dll().canUnloadNow());
        ASSERT_EQ(machine.held(), std::vector<std::string>{"mutex"});
    }
}

} // namespace

} // namespace zorvan::simulation

// Who keeps whom alive: the objects of a library live as long as a client holds any of them, and no longer.
//
// That the module is unloadable afterwards and nothing is held is looked at after each test.
#include "simulation/simulation_test.h"

#include <thread>

namespace zorvan::simulation {

namespace {

class ObjectLifetime : public SimulationTest {
protected:
    void SetUp() override {
        for (const auto* name : {L"COM1", L"COM2", L"COM3"})
            machine.addPort(name);
    }

    // One reference to each kind of object of a new library.
    std::vector<ComPointer<IUnknown>> oneOfEach() {
        const auto library = createLibrary();
        const auto devices = collection(*library);
        const auto device = SimulationTest::device(*library, L"COM1");
        const auto array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
        const auto socket = readObject(*device, &IVirtualSerialDevice::get_localSocket);
        const auto pin = readObject(*socket, &ISocket::get_RI);
        std::vector<ComPointer<IUnknown>> objects{readObject(*devices, &IDeviceCollection::get__NewEnum)};
        for (IUnknown* object : std::initializer_list<IUnknown*>{
                 library.get(), devices.get(), array.get(), device.get(), socket.get(), pin.get()})
            objects.emplace_back(object);
        return objects;
    }
};

TEST_F(ObjectLifetime, EndsWithTheLastReferenceWhicheverItIs) {
    const auto kinds = oneOfEach().size();
    for (std::size_t last = 0; last < kinds; ++last) {
        SCOPED_TRACE(last);
        auto objects = oneOfEach();
        auto kept = objects[last];
        objects.clear();
        EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
        machine.announce(); // its library still looks
        machine.threads.awaitSettled();
        kept = {};
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
        EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"});
    }
}

// Threads list, take and release; whoever is last ends the library.
TEST_F(ObjectLifetime, EndsWhicheverThreadIsLast) {
    for (int round = 0; round < 60; ++round) {
        auto library = createLibrary();
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([own = library]() mutable {
                const auto port = device(*own, L"COM1");
                own = {}; // from here on the device alone leads to the library
                for (int turn = 0; turn < 5; ++turn)
                    EXPECT_EQ(portNames(*readObject(*port, &IVirtualSerialDevice::get_vLibrary)).size(), 3U);
            });
        library = {};
        for (auto& thread : threads)
            thread.join();
        ASSERT_RESULT(S_OK, dll().canUnloadNow());
        ASSERT_EQ(machine.held(), std::vector<std::string>{"mutex"});
    }
}

} // namespace

} // namespace zorvan::simulation

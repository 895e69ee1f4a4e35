// Sixteen threads do everything at once with one library object: every call works as if it were alone, and who
// listens all along hears of each port that comes and goes exactly once.
#include "members.h"
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"
#include "support/latch.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <sstream>
#include <thread>

namespace zorvan::simulation {

namespace {

constexpr int kThreads = 16;
constexpr int kRounds = 24;

// With the machine's users and files that the members need.
void useAll(Device& device) {
    for (const auto& member : kMembers) // the driver knows of no pair
        EXPECT_RESULT(member.name == std::string("pair") ? E_FAIL : S_OK, member.call(device, false).result)
            << member.name;
    Variant array;
    EXPECT_RESULT(S_OK, get(*readObject(device, &Device::get_vLibrary), L"devicesArray", &array));
}

std::wstring portName(int kind, int thread, int number) {
    return L"COM" + std::to_wstring(1000 * kind + thread * kRounds + number);
}

class Stress : public SimulationTest {
protected:
    Journal journal;
    Listener witness{journal, "witness"};
    Callback script{journal, "script"}; // subscribes to what comes, and to what goes
    ComPointer<IVirtualSerialLibrary> library;
    ComPointer<IClassFactory> factory;

    void SetUp() override {
        machine.files.existing = {kPipe, L"C:\\in"};
        machine.users.accounts[L"ann"] = {L"home", L"key"};
        for (const auto* name : {L"COM1", L"COM2", L"COM3"})
            machine.addPort(name);
        machine.portDatabase.claimed = {1, 2, 3};
        library = createLibrary();
        factory = classFactory();
        LONG id = 0;
        EXPECT_RESULT(S_OK, library->addListener(&witness));
        EXPECT_RESULT(S_OK, library->added(script.variant(), &id));
        EXPECT_RESULT(S_OK, library->deleted(script.variant(), &id));
    }

    void TearDown() override {
        library = {};
        factory = {};
        SimulationTest::TearDown();
    }

    // Ends when its own stop or another thread's is taken; there is one for each.
    void dispatch() {
        EXPECT_RESULT(S_OK, library->stopEventDispatching());
        EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    }

    // Every device that is listed, of whatever thread: it may go while it is looked at.
    void lookAround() {
        const auto devices = collection(*library);
        for (LONG i = 0; i < read(*devices, &IDeviceCollection::get_Count); ++i) {
            ComPointer<Device> device;
            EXPECT_RESULT(S_OK, devices->get_Item(Variant(i), device.put()));
            VirtualSerialDeviceMode mode{};
            device->get_mode(&mode);
        }
    }

    void listWithAnotherLibrary() {
        void* another = nullptr;
        EXPECT_RESULT(S_OK, factory->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), &another));
        const auto owned = ComPointer<IVirtualSerialLibrary>::attach(static_cast<IVirtualSerialLibrary*>(another));
        EXPECT_GE(read(*collection(*owned), &IDeviceCollection::get_Count), 3);
    }

    // One thread's turn, with a port and a listener of its own.
    void round(int thread, int number, std::mt19937& random) {
        Journal own;
        Listener listener(own, "own");
        EXPECT_RESULT(S_OK, library->addListener(&listener));
        const auto port = createDevice(*library, random() % 2 == 0 ? portName(1, thread, number).c_str() : L"");
        own.await(1); // whichever thread has found the port reports it, perhaps a little later
        useAll(*port);
        EXPECT_RESULT(S_OK, port->put_portName(Bstr(portName(2, thread, number)).get()));
        EXPECT_EQ(readText(*port, &Device::get_portName), portName(2, thread, number));
        useAll(*device(*library, L"COM2"));
        machine.change([&] { machine.signal(machine.plugAndPlay.nodes()[random() % 3]); });
        if (random() % 4 == 0)
            lookAround();
        if (random() % 4 == 0)
            dispatch();
        if (random() % 4 == 0)
            listWithAnotherLibrary();
        EXPECT_RESULT(S_OK, library->removeListener(&listener));
        EXPECT_RESULT(S_OK, port->deleteDevice());
        if (random() % 2 == 0)
            machine.announce();
        machine.calls.clear(); // they are not looked at, and many
    }

    void rounds(int thread) {
        std::mt19937 random(static_cast<unsigned>(thread));
        try {
            for (int number = 0; number < kRounds; ++number)
                round(thread, number, random);
        } catch (const std::exception& error) {
            ADD_FAILURE() << "thread " << thread << " ends: " << error.what();
        }
    }

    // The ports in all events that were noted so, sorted.
    Texts told(const std::string& kind) const {
        std::stringstream words;
        for (const auto& text : journal.texts())
            if (text.starts_with(kind))
                words << text.substr(kind.size());
        Texts ports{std::istream_iterator<std::string>(words), {}};
        std::sort(ports.begin(), ports.end());
        return ports;
    }
};

TEST_F(Stress, EverythingAtOnce) {
    test::Latch start(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            start.arriveAndWait();
            rounds(thread);
        });
    for (auto& thread : threads)
        thread.join();
    machine.announce(); // the last ones are gone now
    dispatch();

    std::set<std::string> ports;
    for (int thread = 0; thread < kThreads; ++thread)
        for (int number = 0; number < kRounds; ++number) {
            const auto name = portName(2, thread, number);
            ports.emplace(name.begin(), name.end());
        }
    EXPECT_EQ(told("witness added").size(), ports.size());
    EXPECT_EQ(told("witness deleted"), Texts(ports.begin(), ports.end()));
    EXPECT_EQ(told("script").size(), 2 * ports.size());
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM1", L"COM2", L"COM3"}));
}

} // namespace

} // namespace zorvan::simulation

// Sixteen threads do everything at once with one library object: every call works as if it were alone, and who
// listens all along hears of each port that comes and goes exactly once.
#include "connection_members.h"
#include "device_members.h"
#include "runner/runner.h"
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"
#include "support/latch.h"

#include <algorithm>
#include <random>
#include <thread>

namespace zorvan::simulation {

namespace {

using Device = IVirtualSerialDevice;
using Devices = std::vector<ComPointer<Device>>;

constexpr int kThreads = 16;
constexpr int kRounds = 24;

// With the machine's users and files that the members need. The connections come before what asks about them.
void useAll(Device& device) {
    for (const auto& member : kConnectionMembers) // the driver knows of no pair
        EXPECT_RESULT(member.name == std::string("pair") ? E_FAIL : S_OK, member.call(device)) << member.name;
    for (const auto& member : kDeviceMembers) {
        std::uint64_t out = 0;
        EXPECT_RESULT(S_OK, member.call(device, &out)) << member.name;
    }
    const auto library = readObject(device, &Device::get_vLibrary);
    Variant array;
    EXPECT_RESULT(S_OK, get(*library, L"devicesArray", &array));
}

// Keeps the devices that it is told of.
class Witness : public Listener {
public:
    using Listener::Listener;

    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override { return keep(*devices, came); }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override { return keep(*devices, went); }

    // Used by one thread at a time: reports of what comes and goes follow one another.
    Devices came;
    Devices went;

private:
    static HRESULT keep(const SAFEARRAY& devices, Devices& list) {
        for (ULONG i = 0; i < devices.rgsabound[0].cElements; ++i)
            list.emplace_back(static_cast<Device**>(devices.pvData)[i]);
        return S_OK;
    }
};

std::vector<Device*> sorted(const Devices& devices) {
    std::vector<Device*> pointers;
    for (const auto& device : devices)
        pointers.push_back(device.get());
    std::sort(pointers.begin(), pointers.end());
    return pointers;
}

class Stress : public SimulationTest {
protected:
    Journal journal;
    Witness witness{journal, "witness"};
    Callback script{journal, "script"}; // subscribes to what comes, and to what goes
    ComPointer<IVirtualSerialLibrary> library;

    void SetUp() override {
        machine.files.existing = {kPipe, L"C:\\in"};
        machine.users.accounts[L"ann"] = {L"home", L"key"};
        for (const auto* name : {L"COM1", L"COM2", L"COM3"})
            machine.addPort(name);
        machine.portDatabase.claimed = {1, 2, 3};
        library = createLibrary();
        LONG id = 0;
        EXPECT_RESULT(S_OK, library->addListener(&witness));
        EXPECT_RESULT(S_OK, library->added(script.variant(), &id));
        EXPECT_RESULT(S_OK, library->deleted(script.variant(), &id));
    }

    void TearDown() override {
        witness.came.clear();
        witness.went.clear();
        library = {};
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
            const HRESULT result = device->get_mode(&mode);
            EXPECT_TRUE(
                result == S_OK || result == E_HANDLE || result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ||
                result == HRESULT_FROM_WIN32(ERROR_DEVICE_REMOVED))
                << Result{result};
        }
    }

    // One thread's turn, with a port and subscribers of its own.
    void round(int thread, int number, std::mt19937& random) {
        Journal own;
        Listener listener(own, "own");
        EXPECT_RESULT(S_OK, library->addListener(&listener));
        const auto portName = [&](int kind) {
            return L"COM" + std::to_wstring(1000 * kind + thread * kRounds + number);
        };
        const auto port = createDevice(*library, random() % 2 == 0 ? portName(1).c_str() : L"");
        own.await(1); // whichever thread has found the port reports it, perhaps a little later
        useAll(*port);
        EXPECT_RESULT(S_OK, port->put_portName(Bstr(portName(2)).get()));
        EXPECT_EQ(readText(*port, &Device::get_portName), portName(2));
        useAll(*device(*library, L"COM2"));
        machine.change([&] { machine.signal(machine.plugAndPlay.nodes()[random() % 3]); });
        if (random() % 4 == 0)
            lookAround();
        if (random() % 4 == 0)
            dispatch();
        if (random() % 4 == 0)
            listWithAnotherLibrary();
        EXPECT_RESULT(S_OK, library->removeListener(&listener));
        EXPECT_EQ(listener.references(), 0);
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

    void listWithAnotherLibrary() {
        ComPointer<IUnknown> unknown;
        EXPECT_RESULT(
            S_OK, factory->CreateInstance(
                      nullptr, __uuidof(IVirtualSerialLibrary), reinterpret_cast<void**>(unknown.put())));
        EXPECT_GE(collectionCount(static_cast<IVirtualSerialLibrary&>(*unknown.get())), 3);
    }

    static LONG collectionCount(IVirtualSerialLibrary& another) {
        return read(*collection(another), &IDeviceCollection::get_Count);
    }

    ComPointer<IClassFactory> factory;
};

TEST_F(Stress, EverythingAtOnce) {
    test::allowTime(std::chrono::minutes(3));
    factory = classFactory();
    test::Latch start(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&, thread] {
            start.arriveAndWait();
            rounds(thread);
        });
    for (auto& thread : threads)
        thread.join();
    factory = {};
    machine.announce(); // the last ones are gone now
    dispatch();

    constexpr std::size_t kPorts = kThreads * kRounds;
    const auto came = sorted(witness.came);
    EXPECT_EQ(came.size(), kPorts);
    EXPECT_EQ(std::adjacent_find(came.begin(), came.end()), came.end()) << "a port was reported twice";
    EXPECT_EQ(came, sorted(witness.went));
    for (const auto& device : witness.went)
        EXPECT_EQ(read(*device, &Device::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM1", L"COM2", L"COM3"}));

    std::size_t toldToScript = 0;
    for (const auto& text : journal.texts())
        if (text.rfind("script", 0) == 0)
            toldToScript += static_cast<std::size_t>(std::count(text.begin(), text.end(), ' '));
    EXPECT_EQ(toldToScript, 2 * kPorts);
}

} // namespace

} // namespace zorvan::simulation

// Every call of Windows and every allocation of memory fails in turn: nothing crashes, nothing leaks, and what the
// library cannot do without is reported.
#include "simulation/heap.h"
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

#include <functional>

namespace zorvan::simulation {

namespace {

// Allocations of one use: a few hundred.
constexpr long kTooMany = 10000;

// The C++ runtime keeps what it sets up for the first exceptions of each kind. So each test fails everything twice
// and compares the memory in use the second time.
class FailingCalls : public SimulationTest {
protected:
    void SetUp() override { factory_ = classFactory(); }

    void TearDown() override {
        factory_ = {};
        SimulationTest::TearDown();
    }

    // Everything that a client can do, through one new library object. Results are not looked at: a failure may or
    // may not matter to the call that meets it.
    void useEverything() {
        void* object = nullptr;
        factory_->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), &object);
        const auto library = ComPointer<IVirtualSerialLibrary>::attach(static_cast<IVirtualSerialLibrary*>(object));
        if (!library)
            return;
        machine.threads.awaitSettled();
        subscribe(*library);
        ComPointer<IVirtualSerialDevice> created;
        library->createDevice(Variant(L"COM7"), created.put());
        if (created)
            use(*created);
        list(*library);
        machine.announce();
        machine.threads.awaitSettled();
        library->dispatchEvents(&script_, 0);
        library->removeListener(&listener_);
    }

    // The machine as it was before.
    void reset() {
        machine.plugAndPlay.nodes().clear();
        machine.portDatabase = {};
        machine.processes = {};
        machine.clock = {};
        machine.dosNames.targets = {{L"COM7", L"\\Device\\Serial7"}};
        machine.calls.clear();
        machine.addSerialPort(L"COM1");
        machine.addPort(L"COM5");
        machine.hostOf(machine.addPort(L"COM6")).needsDebugPrivilege = true;
    }

    // Runs the use with whatever failure has been arranged; everything must have been given back.
    void expectNothingKept() {
        useEverything();
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
        EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"});
    }

private:
    static void use(IVirtualSerialDevice& device) {
        Bstr text;
        device.get_path(text.put());
        VirtualSerialDeviceMode mode{};
        device.get_mode(&mode);
        device.put_crossoverProbability(0.5);
        Variant value;
        get(device, L"bytesSent", &value);
        device.put_portName(Bstr(L"COM8").get());
        device.deleteDevice();
    }

    void subscribe(IVirtualSerialLibrary& library) {
        LONG id = 0;
        for (const auto method :
             {&IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed})
            (library.*method)(script_.variant(), &id);
        library.addListener(&listener_);
    }

    static void list(IVirtualSerialLibrary& library) {
        ComPointer<IDeviceCollection> devices;
        library.get_devicesCollection(devices.put());
        ComPointer<IDispatch> array;
        library.get_devicesArray(array.put());
        if (!devices || !array)
            return;
        ComPointer<IVirtualSerialDevice> device;
        devices->get_Item(Variant(L"COM6"), device.put());
        ComPointer<IUnknown> enumerator;
        devices->get__NewEnum(enumerator.put());
        Variant element;
        get(*array, L"0", &element);
    }

    Journal journal_;
    Listener listener_{journal_, "listener"};
    Callback script_{journal_, "script"}; // also the keep-alive: its empty answer says stop
    ComPointer<IClassFactory> factory_;
};

TEST_F(FailingCalls, EachCallFailsOnce) {
    reset();
    useEverything();
    const auto names = machine.calls.names();
    ASSERT_GT(names.size(), 100U);
    long blocks = 0;
    for (int round = 0; round < 2; ++round)
        for (std::size_t nth = 1; nth <= names.size(); ++nth) {
            SCOPED_TRACE(std::to_string(nth) + ": " + names[nth - 1]);
            reset();
            machine.calls.failNth(static_cast<int>(nth), ERROR_GEN_FAILURE);
            expectNothingKept();
            if (round > 0) {
                ASSERT_EQ(Heap::blocks(), blocks) << "memory is leaked";
            }
            blocks = Heap::blocks();
        }
}

TEST_F(FailingCalls, EachFunctionFailsAlways) {
    reset();
    useEverything();
    const auto names = machine.calls.names();
    std::set<std::string> functions(names.begin(), names.end());
    // Without these the event thread takes no message for good, and whoever sends it one waits as long.
    functions.erase("MsgWaitForMultipleObjects");
    functions.erase("PostMessageW");
    for (const auto& name : functions) {
        SCOPED_TRACE(name);
        reset();
        machine.calls.fail(name, CallLog::kEvery, ERROR_GEN_FAILURE);
        expectNothingKept();
    }
}

TEST_F(FailingCalls, EachAllocationFailsOnce) {
    long blocks = 0;
    for (int round = 0; round < 2; ++round) {
        bool reached = true;
        for (long nth = 1; reached; ++nth) {
            SCOPED_TRACE(nth);
            ASSERT_LT(nth, kTooMany);
            reset();
            Heap::failAllocation(nth);
            expectNothingKept();
            const bool stillToCome = Heap::failAllocation(0);
            reached = !stillToCome;
            if (round > 0) {
                ASSERT_EQ(Heap::blocks(), blocks) << "memory is leaked";
            }
            blocks = Heap::blocks();
        }
    }
}

} // namespace

} // namespace zorvan::simulation

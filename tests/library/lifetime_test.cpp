// The module and its objects: its class factory, what keeps it loaded, and the mutex that tells others that it is.
//
// That the module is unloadable afterwards and nothing is held is looked at after each test.
#include "base/unique.h"
#include "simulation/heap.h"
#include "simulation/simulation_test.h"

#include <sddl.h>

#include <array>
#include <thread>

namespace zorvan::simulation {

namespace {

constexpr GUID kUnknownClass{0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr wchar_t kMutex[] = L"Global\\QeltraSoftware_ZORVANLIB_Running_Mutex";

class Lifetime : public SimulationTest {
protected:
    // Nothing is given out.
    HRESULT createError(IUnknown* outer, const IID& iid, const CLSID& clsid = __uuidof(VirtualSerialLibrary)) {
        void* object = this;
        const HRESULT result = classFactory(clsid)->CreateInstance(outer, iid, &object);
        EXPECT_EQ(object, nullptr);
        return result;
    }

    void expectEnd() {
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
        EXPECT_EQ(machine.held(), std::vector<std::string>{"handle"});
    }

    // One reference to each kind of object of a new library.
    std::vector<ComPointer<IUnknown>> oneOfEach() {
        const auto library = createLibrary();
        const auto devices = collection(*library);
        const auto device = SimulationTest::device(*library, L"COM5");
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

TEST_F(Lifetime, FactoryIsThereForAnyClassAndCreationRefuses) {
    const auto factory = classFactory();
    machine.calls.clear();
    EXPECT_RESULT(REGDB_E_CLASSNOTREG, createError(nullptr, IID_IUnknown, kUnknownClass));
    EXPECT_RESULT(CLASS_E_NOAGGREGATION, createError(factory.get(), IID_IUnknown));
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
    void* object = this;
    EXPECT_RESULT(E_NOINTERFACE, dll().getClassObject(__uuidof(VirtualSerialLibrary), IID_IDispatch, &object));
    EXPECT_EQ(object, nullptr);
    expectEnd(); // a factory keeps nothing loaded
}

// Intended: what such a creation added to the count stays, so that the module is never unloaded.
TEST_F(Lifetime, CreationWithAnInterfaceThatIsNotThereLeavesTheModuleLocked) {
    const auto factory = classFactory();
    EXPECT_RESULT(E_NOINTERFACE, createError(nullptr, __uuidof(IPin)));
    EXPECT_RESULT(S_OK, factory->LockServer(TRUE)); // locks are counted
    EXPECT_RESULT(S_OK, factory->LockServer(FALSE));
    EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
    EXPECT_RESULT(S_OK, factory->LockServer(FALSE));
    expectEnd();
}

TEST_F(Lifetime, ModuleHoldsAMutexThatEveryoneMayOpen) {
    dll();
    const auto name = describe(kMutex);
    EXPECT_EQ(
        machine.calls.texts("CreateMutexW"),
        std::vector<std::string>{"CreateMutexW({24, 32772, 0}, 1, " + name + ")"});
    UniqueHandle mutex(OpenMutexW(READ_CONTROL, FALSE, kMutex));
    std::array<BYTE, 256> descriptor;
    DWORD size = 0;
    UniqueLocalMemory text;
    ASSERT_TRUE(GetKernelObjectSecurity(mutex.get(), DACL_SECURITY_INFORMATION, descriptor.data(), 256, &size));
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(
        descriptor.data(), SDDL_REVISION_1, DACL_SECURITY_INFORMATION, reinterpret_cast<LPWSTR*>(text.put()),
        nullptr));
    EXPECT_STREQ(static_cast<wchar_t*>(text.get()), L"D:(A;;0x1f0001;;;WD)");
    expectEnd(); // that the mutex is closed is looked at after each test
}

TEST_F(Lifetime, ModuleNeedsNoMutex) {
    machine.fail("CreateMutexW", 1, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(createLibrary());
}

TEST_F(Lifetime, EndsWithTheLastReferenceWhicheverItIs) {
    machine.addPort(L"COM5");
    const auto kinds = oneOfEach().size();
    for (std::size_t last = 0; last < kinds; ++last) {
        SCOPED_TRACE(last);
        auto objects = oneOfEach();
        machine.calls.clear();
        for (const auto& object : objects) {
            ComPointer<IDispatch> dispatch;
            ComPointer<ITypeInfo> information;
            if (SUCCEEDED(object->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(dispatch.put()))))
                dispatch->GetTypeInfo(0, 0, information.put()); // which the array does not have
        }
        EXPECT_EQ(machine.calls.count("LoadRegTypeLib"), 1) << "the type library is read once for all objects";
        auto kept = objects[last];
        objects.clear();
        EXPECT_RESULT(S_FALSE, dll().canUnloadNow());
        machine.announce(); // its library still looks
        machine.threads.awaitSettled();
        kept = {};
        expectEnd();
    }
}

// Threads list, take and release; whoever is last ends the library.
TEST_F(Lifetime, EndsWhicheverThreadIsLast) {
    machine.addPort(L"COM5");
    for (int round = 0; round < 60; ++round) {
        auto library = createLibrary();
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([own = library]() mutable {
                const auto port = device(*own, L"COM5");
                own = {}; // from here on the device alone leads to the library
                for (int turn = 0; turn < 5; ++turn)
                    EXPECT_EQ(portNames(*readObject(*port, &IVirtualSerialDevice::get_vLibrary)).size(), 1U);
            });
        library = {};
        for (auto& thread : threads)
            thread.join();
        expectEnd();
    }
}

// What an exception needs of memory is there when the process has none left, also on threads that had none before.
TEST_F(Lifetime, FailuresAreReportedWithoutMemory) {
    const auto library = createLibrary();
    const auto fail = [&] {
        ComPointer<IVirtualSerialDevice> none;
        EXPECT_RESULT(E_INVALIDARG, library->createDevice(Variant(7L), none.put()));
    };
    std::thread([&] {
        Heap::exhaustProcessHeap(true);
        fail();
        std::thread(fail).join();
        Heap::exhaustProcessHeap(false);
        fail();
    }).join();
}

} // namespace

} // namespace zorvan::simulation

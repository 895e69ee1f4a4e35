#include "simulation/simulation_test.h"

namespace zorvan::simulation {

ShippedLibrary& SimulationTest::dll() {
    if (dll_ == nullptr) {
        machine.automation.serveTypeLibrary(shippedLibraryPath());
        dll_ = std::make_unique<ShippedLibrary>(shippedLibraryPath());
    }
    return *dll_;
}

ComPointer<IClassFactory> SimulationTest::classFactory(const CLSID& clsid) {
    ComPointer<IClassFactory> factory;
    auto** object = reinterpret_cast<void**>(factory.put());
    require(dll().getClassObject(clsid, __uuidof(IClassFactory), object), "DllGetClassObject");
    return factory;
}

ComPointer<IVirtualSerialLibrary> SimulationTest::createLibrary() {
    ComPointer<IVirtualSerialLibrary> library;
    auto** object = reinterpret_cast<void**>(library.put());
    require(classFactory()->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), object), "CreateInstance");
    machine.threads.awaitSettled();
    return library;
}

ComPointer<IDeviceCollection> SimulationTest::collection(IVirtualSerialLibrary& library) {
    return readObject(library, &IVirtualSerialLibrary::get_devicesCollection);
}

ComPointer<IVirtualSerialDevice> SimulationTest::device(IVirtualSerialLibrary& library, const wchar_t* portName) {
    ComPointer<IVirtualSerialDevice> device;
    require(collection(library)->get_Item(Variant(portName), device.put()), "Item");
    return device;
}

std::set<std::wstring> SimulationTest::portNames(IVirtualSerialLibrary& library) {
    std::set<std::wstring> names;
    for (const auto& device : devicesOf(library))
        names.insert(portName(*device));
    return names;
}

ComPointer<IVirtualSerialDevice>
SimulationTest::createDevice(IVirtualSerialLibrary& library, const wchar_t* portName) {
    ComPointer<IVirtualSerialDevice> device;
    require(library.createDevice(Variant(portName), device.put()), "createDevice");
    return device;
}

void SimulationTest::refresh(IVirtualSerialLibrary& library) {
    createDevice(library, L"");
    // Nothing looks at the machine now: the port is gone for the next look.
    machine.plugAndPlay.latest().present = false;
}

void SimulationTest::TearDown() {
    if (dll_ == nullptr)
        return;
    machine.threads.awaitEnd();
    EXPECT_RESULT(S_OK, dll_->canUnloadNow()) << "an interface reference is leaked";
    dll_.reset();
    EXPECT_FALSE(ShippedLibrary::isLoaded(shippedLibraryPath())) << "something keeps the DLL loaded";
    EXPECT_EQ(machine.held(), std::vector<std::string>()) << "the library has not given these back";
}

} // namespace zorvan::simulation

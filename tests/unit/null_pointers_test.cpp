// A null pointer where a result belongs, or a name or an argument, is refused before anything is done.
#include "device_members.h"
#include "one_port.h"
#include "simulation/subscribers.h"

#include <functional>

namespace zorvan::simulation {

namespace {

using Device = IVirtualSerialDevice;
using Library = IVirtualSerialLibrary;

class NullPointers : public OnePort {
protected:
    // Every call gets a null pointer, and none does anything.
    void expectRefusals(std::vector<std::pair<const char*, HRESULT>> results) {
        for (const auto& [name, result] : results)
            EXPECT_RESULT(E_POINTER, result) << name;
        EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
        machine.calls.clear();
    }
};

TEST_F(NullPointers, OfEveryObject) {
    const auto library = this->library();
    const auto devices = collection(*library);
    const auto array = readObject(*library, &Library::get_devicesArray);
    const auto enumerator = readObject(*devices, &IDeviceCollection::get__NewEnum);
    const auto socket = readObject(device5(), &Device::get_localSocket);
    const auto pin = readObject(*socket, &ISocket::get_RI);
    forgetCalls();
    for (IUnknown* object : std::initializer_list<IUnknown*>{
             library.get(), devices.get(), array.get(), enumerator.get(), &device5(), socket.get(), pin.get()})
        expectRefusals({{"QueryInterface", object->QueryInterface(__uuidof(IUnknown), nullptr)}});

    DISPID id = 0;
    OLECHAR name[] = L"length";
    LPOLESTR names[] = {name, nullptr};
    for (IDispatch* object : std::initializer_list<IDispatch*>{
             library.get(), devices.get(), array.get(), &device5(), socket.get(), pin.get()}) {
        expectRefusals({
            {"GetTypeInfoCount", object->GetTypeInfoCount(nullptr)},
            {"GetIDsOfNames", object->GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id)},
            {"GetIDsOfNames", object->GetIDsOfNames(IID_NULL, names, 1, 0, nullptr)},
            {"GetIDsOfNames", object->GetIDsOfNames(IID_NULL, names + 1, 1, 0, &id)},
        });
        if (object != array.get())
            expectRefusals({{"GetTypeInfo", object->GetTypeInfo(0, 0, nullptr)}});
    }
}

TEST_F(NullPointers, OfTheLibrary) {
    const auto library = this->library();
    Journal journal;
    Callback script(journal, "script");
    forgetCalls();
    expectRefusals({
        {"createDevice", library->createDevice(Variant(L"COM7"), nullptr)},
        {"devicesCollection", library->get_devicesCollection(nullptr)},
        {"devicesArray", library->get_devicesArray(nullptr)},
        {"addListener", library->addListener(nullptr)},
        {"added", library->added(script.variant(), nullptr)},
        {"deleted", library->deleted(script.variant(), nullptr)},
        {"changed", library->changed(Variant(1L), nullptr)},
    });
    EXPECT_RESULT(S_OK, library->removeListener(nullptr)); // it was never added
    EXPECT_EQ(script.references(), 0);
    EXPECT_EQ(machine.plugAndPlay.nodes().size(), 1U);
}

TEST_F(NullPointers, OfTheCollectionAndItsEnumerator) {
    const auto devices = collection(*library());
    const auto unknown = readObject(*devices, &IDeviceCollection::get__NewEnum);
    ComPointer<IEnumVARIANT> enumerator;
    EXPECT_RESULT(S_OK, unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(enumerator.put())));
    Variant element;
    ULONG fetched = 0;
    forgetCalls();
    expectRefusals({
        {"Count", devices->get_Count(nullptr)},
        {"Item", devices->get_Item(Variant(0L), nullptr)},
        {"_NewEnum", devices->get__NewEnum(nullptr)},
        {"Next", enumerator->Next(1, nullptr, &fetched)},
        {"Next", enumerator->Next(2, &element, nullptr)},
        {"Clone", enumerator->Clone(nullptr)},
    });
}

TEST_F(NullPointers, OfTheDevice) {
    for (const auto& member : kDeviceMembers)
        if (member.reads)
            expectRefusals({{member.name, member.call(device5(), nullptr)}});
    for (const auto getter :
         {&Device::get_path, &Device::get_portName, &Device::get_securityDescriptor, &Device::get_PipeName,
          &Device::get_remoteServer, &Device::get_remotePort, &Device::get_remoteEndpoint, &Device::get_inputFileName,
          &Device::get_outputFileName})
        expectRefusals({{"a text", (device5().*getter)(nullptr)}});
    expectRefusals({
        {"deleted", device5().get_deleted(nullptr)},
        {"vLibrary", device5().get_vLibrary(nullptr)},
        {"pair", device5().get_pair(nullptr)},
        {"createBridge", device5().createBridge(nullptr, VARIANT_TRUE)},
        {"localSocket", device5().get_localSocket(nullptr)},
        {"remoteSocket", device5().get_remoteSocket(nullptr)},
    });
    const auto socket = readObject(device5(), &Device::get_remoteSocket);
    for (const auto getter :
         {&ISocket::get_DTR, &ISocket::get_DSR, &ISocket::get_DCD, &ISocket::get_RTS, &ISocket::get_CTS,
          &ISocket::get_RI})
        expectRefusals({{"a pin", (socket.get()->*getter)(nullptr)}});
    const auto pin = readObject(*socket, &ISocket::get_RI);
    expectRefusals({{"sendTo", pin->sendTo(nullptr)}, {"removeConnectionTo", pin->removeConnectionTo(nullptr)}});
}

TEST_F(NullPointers, OfArgumentsThatAScriptPasses) {
    VARIANTARG argument{};
    DISPPARAMS noArguments{nullptr, nullptr, 1, 0};
    DISPPARAMS noNames{&argument, nullptr, 1, 1};
    for (auto* parameters : {static_cast<DISPPARAMS*>(nullptr), &noArguments, &noNames})
        EXPECT_RESULT(
            E_INVALIDARG,
            device5().Invoke(540, IID_NULL, 0, DISPATCH_PROPERTYPUT, parameters, nullptr, nullptr, nullptr));
    EXPECT_TRUE(driver().requests.empty());
}

TEST_F(NullPointers, OfTheModule) {
    releaseDevice();
    EXPECT_RESULT(E_POINTER, dll().getClassObject(__uuidof(VirtualSerialLibrary), __uuidof(IUnknown), nullptr));
    const auto factory = classFactory();
    EXPECT_RESULT(E_POINTER, factory->CreateInstance(nullptr, __uuidof(IUnknown), nullptr));
    EXPECT_RESULT(E_POINTER, factory->QueryInterface(__uuidof(IUnknown), nullptr));
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
}

} // namespace

} // namespace zorvan::simulation

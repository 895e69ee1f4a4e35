// A null pointer where a result belongs, or a name or an argument, is refused before anything is done.
#include "members.h"
#include "one_port.h"
#include "simulation/subscribers.h"

namespace zorvan::simulation {

namespace {

using NullPointers = OnePort;

TEST_F(NullPointers, AreRefused) {
    const auto library = this->library();
    const auto devices = collection(*library);
    const auto array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
    const auto unknown = readObject(*devices, &IDeviceCollection::get__NewEnum);
    ComPointer<IEnumVARIANT> enumerator;
    require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(enumerator.put())), "enumerator");
    const auto socket = readObject(device5(), &Device::get_localSocket);
    const auto pin = readObject(*socket, &ISocket::get_RI);
    const auto factory = classFactory();
    Journal journal;
    Callback script(journal, "script");
    Variant element;
    ULONG fetched = 0;
    forgetCalls();

    const std::pair<const char*, HRESULT> results[] = {
        {"createDevice", library->createDevice(Variant(L"COM7"), nullptr)},
        {"devicesCollection", library->get_devicesCollection(nullptr)},
        {"devicesArray", library->get_devicesArray(nullptr)},
        {"addListener", library->addListener(nullptr)},
        {"added", library->added(script.variant(), nullptr)},
        {"deleted", library->deleted(script.variant(), nullptr)},
        {"changed", library->changed(Variant(1L), nullptr)},
        {"Count", devices->get_Count(nullptr)},
        {"Item", devices->get_Item(Variant(0L), nullptr)},
        {"_NewEnum", devices->get__NewEnum(nullptr)},
        {"Next", enumerator->Next(1, nullptr, &fetched)},
        {"Next", enumerator->Next(2, &element, nullptr)},
        {"Next", enumerator->Next(0, &element, nullptr)},
        {"Clone", enumerator->Clone(nullptr)},
        {"createBridge", device5().createBridge(nullptr, VARIANT_TRUE)},
        {"sendTo", pin->sendTo(nullptr)},
        {"removeConnectionTo", pin->removeConnectionTo(nullptr)},
        {"DllGetClassObject", dll().getClassObject(__uuidof(VirtualSerialLibrary), IID_IUnknown, nullptr)},
        {"CreateInstance", factory->CreateInstance(nullptr, IID_IUnknown, nullptr)},
    };
    for (const auto& [name, result] : results)
        EXPECT_RESULT(E_POINTER, result) << name;
    for (const auto getter :
         {&ISocket::get_DTR, &ISocket::get_DSR, &ISocket::get_DCD, &ISocket::get_RTS, &ISocket::get_CTS,
          &ISocket::get_RI})
        EXPECT_RESULT(E_POINTER, (socket.get()->*getter)(nullptr));
    EXPECT_RESULT(S_OK, library->removeListener(nullptr)); // it was never added
    EXPECT_EQ(script.references(), 0);

    for (IUnknown* object : std::initializer_list<IUnknown*>{
             library.get(), devices.get(), array.get(), enumerator.get(), &device5(), socket.get(), pin.get(),
             factory.get()})
        EXPECT_RESULT(E_POINTER, object->QueryInterface(IID_IUnknown, nullptr));
    DISPID id = 0;
    OLECHAR name[] = L"length";
    LPOLESTR names[] = {name, nullptr};
    for (IDispatch* object : std::initializer_list<IDispatch*>{
             library.get(), devices.get(), array.get(), &device5(), socket.get(), pin.get()}) {
        EXPECT_RESULT(E_POINTER, object->GetTypeInfoCount(nullptr));
        EXPECT_RESULT(E_POINTER, object->GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id));
        EXPECT_RESULT(E_POINTER, object->GetIDsOfNames(IID_NULL, names, 1, 0, nullptr));
        EXPECT_RESULT(E_POINTER, object->GetIDsOfNames(IID_NULL, names + 1, 1, 0, &id));
        EXPECT_RESULT(object == array.get() ? E_NOTIMPL : E_POINTER, object->GetTypeInfo(0, 0, nullptr));
    }
    EXPECT_EQ(steps(), "");
    EXPECT_RESULT(E_POINTER, library->dispatchEvents(nullptr, 1)); // noticed when its turn comes
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

} // namespace

} // namespace zorvan::simulation

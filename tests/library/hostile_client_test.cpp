// A client that passes what it should not: values of other types, objects of its own, null pointers.
#include "listed_members.h"
#include "members.h"
#include "one_port.h"
#include "simulation/subscribers.h"

namespace zorvan::simulation {

namespace {

class HostileClient : public OnePort {
protected:
    Journal journal;
};

// By value and by reference, also to nothing. What an index or a number is converted from, the system decides.
TEST_F(HostileClient, VariantsOfOtherTypesAreRefused) {
    const auto library = this->library();
    BSTR text = nullptr;
    for (const auto type : std::initializer_list<int>{
             VT_NULL, VT_I4, VT_BOOL, VT_UNKNOWN, VT_DISPATCH, VT_RECORD, VT_ARRAY | VT_UI1, 0xFFF,
             VT_BSTR | VT_BYREF, VT_VARIANT | VT_BYREF}) {
        SCOPED_TRACE(type);
        VARIANT variant{};
        variant.vt = static_cast<VARTYPE>(type);
        for (auto* const reference : {static_cast<BSTR*>(nullptr), (type & VT_BYREF) != 0 ? &text : nullptr}) {
            variant.pbstrVal = reference;
            ComPointer<Device> created;
            EXPECT_RESULT(E_INVALIDARG, library->createDevice(variant, created.put()));
            EXPECT_RESULT(E_INVALIDARG, device5().startListening(variant));
        }
    }
    Variant nobody;
    nobody.vt = VT_DISPATCH;
    LONG id = 4711;
    EXPECT_RESULT(E_INVALIDARG, library->added(nobody, &id));
    EXPECT_EQ(id, 4711);
    EXPECT_EQ(steps(), "");
}

// A client's own object, with the face of a device or a pin. Asked for an interface that it cannot know, it says that
// it has it, or that it has not and leaves something behind.
struct Impostor : Callback {
    using Callback::Callback;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) noexcept override {
        *object = this;
        return answer;
    }

    HRESULT answer = E_NOINTERFACE;
};

TEST_F(HostileClient, ForeignDevicesAndPinsAreRefused) {
    Impostor impostor(journal, "impostor");
    auto* asDevice = reinterpret_cast<Device*>(static_cast<IDispatch*>(&impostor));
    auto* asPin = reinterpret_cast<IPin*>(static_cast<IDispatch*>(&impostor));
    const auto socket = readObject(device5(), &Device::get_localSocket);
    const auto pin = readObject(*socket, &ISocket::get_RI);
    forgetCalls();
    for (const HRESULT answer : {E_NOINTERFACE, S_OK}) {
        SCOPED_TRACE(answer);
        impostor.answer = answer;
        EXPECT_RESULT(E_NOINTERFACE, device5().createBridge(asDevice, VARIANT_FALSE));
        EXPECT_RESULT(E_NOINTERFACE, pin->sendTo(asPin));
        EXPECT_RESULT(E_NOINTERFACE, pin->removeConnectionTo(asPin));
    }
    EXPECT_EQ(steps(), "");

    // The same port, known to another library object: a partner like any other, but its pins are another device's.
    const auto same = device(*createLibrary(), L"COM5");
    const auto others = readObject(*readObject(*same, &Device::get_localSocket), &ISocket::get_RI);
    EXPECT_RESULT(S_OK, device5().createBridge(same.get(), VARIANT_FALSE));
    EXPECT_RESULT(E_INVALIDARG, pin->sendTo(others.get()));
    removePort();
    EXPECT_RESULT(E_HANDLE, same->createBridge(&device5(), VARIANT_FALSE));
}

// Which may be another version, so that not even the same private interface makes its objects our own.
TEST_F(HostileClient, ObjectsOfAnotherCopyOfTheDllAreForeign) {
    const auto path = shippedLibraryPath() + L".copy.dll";
    ASSERT_TRUE(CopyFileW(shippedLibraryPath().c_str(), path.c_str(), FALSE));
    {
        const ShippedLibrary copy(path);
        ComPointer<IClassFactory> factory;
        require(copy.getClassObject(__uuidof(VirtualSerialLibrary), IID_PPV_ARGS(factory.put())), "the factory");
        ComPointer<IVirtualSerialLibrary> library;
        require(factory->CreateInstance(nullptr, IID_PPV_ARGS(library.put())), "the library object");
        const auto same = device(*library, L"COM5");
        const auto pin = readObject(*readObject(device5(), &Device::get_localSocket), &ISocket::get_RI);
        const auto others = readObject(*readObject(*same, &Device::get_localSocket), &ISocket::get_RI);
        EXPECT_RESULT(E_NOINTERFACE, device5().createBridge(same.get(), VARIANT_FALSE));
        EXPECT_RESULT(E_NOINTERFACE, pin->sendTo(others.get()));
    }
    releaseDevice();
    machine.threads.awaitEnd();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(HostileClient, NullPointersAreRefusedBeforeAnythingIsDone) {
    const auto library = this->library();
    const auto devices = collection(*library);
    const auto array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
    const auto unknown = readObject(*devices, &IDeviceCollection::get__NewEnum);
    ComPointer<IEnumVARIANT> enumerator;
    require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(enumerator.put())), "enumerator");
    const auto socket = readObject(device5(), &Device::get_localSocket);
    const auto pin = readObject(*socket, &ISocket::get_RI);
    const auto factory = classFactory();
    Callback script(journal, "script");
    Variant element;
    ULONG fetched = 0;
    forgetCalls();

    const HRESULT results[] = {
        library->createDevice(Variant(L"COM7"), nullptr),
        library->addListener(nullptr),
        library->added(script.variant(), nullptr),
        library->deleted(script.variant(), nullptr),
        devices->get_Item(Variant(0L), nullptr),
        enumerator->Next(1, nullptr, &fetched),
        enumerator->Next(2, &element, nullptr),
        enumerator->Next(0, &element, nullptr),
        enumerator->Clone(nullptr),
        device5().createBridge(nullptr, VARIANT_TRUE),
        pin->sendTo(nullptr),
        pin->removeConnectionTo(nullptr),
        dll().getClassObject(__uuidof(VirtualSerialLibrary), IID_IUnknown, nullptr),
        factory->CreateInstance(nullptr, IID_IUnknown, nullptr)};
    for (const auto& result : results)
        EXPECT_RESULT(E_POINTER, result) << "number " << &result - results;
    const std::map<std::string, IDispatch*> objects{
        {"IVirtualSerialLibrary", library.get()},
        {"IVirtualSerialDevice", &device5()},
        {"IDeviceCollection", devices.get()},
        {"ISocket", socket.get()}};
    for (const auto& [name, member] : listedMembers())
        if (!member.takesArguments && member.result != VT_EMPTY) {
            EXPECT_RESULT(E_POINTER, member.call(*objects.at(member.interfaceName), nullptr)) << name;
        }
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
        EXPECT_RESULT(S_OK, object->GetIDsOfNames(IID_NULL, nullptr, 0, 0, nullptr)); // of no names
        EXPECT_RESULT(object == array.get() ? E_NOTIMPL : E_POINTER, object->GetTypeInfo(0, 0, nullptr));
    }
    EXPECT_EQ(steps(), "");
    EXPECT_RESULT(E_POINTER, library->dispatchEvents(nullptr, 1)); // noticed when its turn comes
}

TEST_F(HostileClient, ArgumentsThatAreNotThereAreRefused) {
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

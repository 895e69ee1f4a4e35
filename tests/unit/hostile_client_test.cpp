// A client that passes what it should not.
#include "one_port.h"
#include "simulation/subscribers.h"

namespace zorvan::simulation {

namespace {

using HostileClient = OnePort;

// A value of every type that a variant can have, all of them nothing or 0, each also by reference, and references to
// nothing.
std::vector<VARIANT> anyVariants() {
    static DECIMAL zeros{}; // the largest thing to refer to
    std::vector<VARIANT> variants;
    const auto add = [&](int type, void* reference = nullptr) {
        auto& variant = variants.emplace_back();
        variant.vt = static_cast<VARTYPE>(type);
        variant.byref = reference;
    };
    for (const auto type : std::initializer_list<int>{
             VT_I2,      VT_I4, VT_R4,  VT_R8,  VT_CY,  VT_DATE, VT_ERROR, VT_BOOL, VT_UNKNOWN, VT_DISPATCH,
             VT_DECIMAL, VT_I1, VT_UI1, VT_UI2, VT_UI4, VT_I8,   VT_UI8,   VT_INT,  VT_UINT,    VT_ARRAY | VT_UI1}) {
        add(type);
        add(type | VT_BYREF, &zeros);
        add(type | VT_BYREF);
    }
    for (const int type : {VT_BSTR, VT_VARIANT}) {
        add(type | VT_BYREF, &zeros);
        add(type | VT_BYREF);
    }
    for (const auto type :
         std::initializer_list<int>{VT_EMPTY, VT_NULL, VT_RECORD, VT_FILETIME, VT_VECTOR | VT_I4, 0xFFF})
        add(type);
    return variants;
}

// What the system makes of it.
HRESULT conversion(const VARIANT& variant, VARTYPE type, LONG& number) {
    Variant converted;
    const HRESULT result = VariantChangeType(&converted, const_cast<VARIANT*>(&variant), 0, type);
    number = converted.lVal;
    return result;
}

TEST_F(HostileClient, VariantsOfOtherTypesAreRefusedOrConverted) {
    const auto library = this->library();
    const auto devices = collection(*library);
    for (const auto& variant : anyVariants()) {
        SCOPED_TRACE("type " + describe(Hex{variant.vt}) + (variant.byref == nullptr ? ", nothing" : ""));
        LONG number = 0;
        machine.calls.clear();
        if (variant.vt != VT_EMPTY) {
            ComPointer<IVirtualSerialDevice> created;
            EXPECT_RESULT(E_INVALIDARG, library->createDevice(variant, created.put()));
            EXPECT_FALSE(created);
            EXPECT_RESULT(E_INVALIDARG, device5().startListening(variant));
            EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
        }
        const HRESULT asIndex = conversion(variant, VT_UI4, number);
        ComPointer<IVirtualSerialDevice> found;
        EXPECT_RESULT(
            asIndex == S_OK && number != 0 ? E_INVALIDARG : asIndex, devices->get_Item(variant, found.put()));
        EXPECT_EQ(static_cast<bool>(found), asIndex == S_OK && number == 0);

        LONG id = 4711;
        const HRESULT asNumber = variant.vt == VT_DISPATCH ? E_INVALIDARG : conversion(variant, VT_I4, number);
        EXPECT_RESULT(asNumber, library->added(variant, &id));
        EXPECT_EQ(id, 4711);
    }
}

// A client's own object with the face of a device or a pin, for those who only query it. What it says of interfaces
// that it cannot know varies.
struct Impostor : Callback {
    using Callback::Callback;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) noexcept override {
        *object = nullptr;
        return answer;
    }
    template <class Interface>
    Interface* as() {
        return reinterpret_cast<Interface*>(static_cast<IDispatch*>(this));
    }

    HRESULT answer = E_NOINTERFACE;
};

TEST_F(HostileClient, ForeignDevicesAndPinsAreRefused) {
    Journal journal;
    Impostor impostor(journal, "impostor");
    const auto socket = readObject(device5(), &IVirtualSerialDevice::get_localSocket);
    const auto pin = readObject(*socket, &ISocket::get_RI);
    forgetCalls();
    for (const HRESULT answer : {E_NOINTERFACE, E_ACCESSDENIED, S_OK}) {
        SCOPED_TRACE(answer);
        impostor.answer = answer;
        EXPECT_RESULT(
            FAILED(answer) ? answer : E_NOINTERFACE,
            device5().createBridge(impostor.as<IVirtualSerialDevice>(), VARIANT_FALSE));
        EXPECT_RESULT(E_NOINTERFACE, pin->sendTo(impostor.as<IPin>()));
        EXPECT_RESULT(E_NOINTERFACE, pin->removeConnectionTo(impostor.as<IPin>()));
    }
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());

    // The same port, known to another library object: a partner like any other, but its pins are another device's.
    const auto same = device(*createLibrary(), L"COM5");
    const auto others = readObject(*readObject(*same, &IVirtualSerialDevice::get_localSocket), &ISocket::get_RI);
    EXPECT_RESULT(S_OK, device5().createBridge(same.get(), VARIANT_FALSE));
    EXPECT_RESULT(E_INVALIDARG, pin->sendTo(others.get()));
    removePort();
    EXPECT_RESULT(E_HANDLE, same->createBridge(&device5(), VARIANT_FALSE));
}

} // namespace

} // namespace zorvan::simulation

// A client that passes what it should not, and lets go of objects while they work for it.
#include "one_port.h"
#include "simulation/subscribers.h"
#include "support/latch.h"

#include <thread>

namespace zorvan::simulation {

namespace {

using HostileClient = OnePort;

// A value of every type that a variant can have, each also by reference, and a reference to nothing.
class AnyVariants {
public:
    AnyVariants() {
        for (const VARTYPE type :
             {VT_EMPTY,    VT_NULL,    VT_I2, VT_I4,  VT_R4,  VT_R8,  VT_CY, VT_DATE, VT_ERROR, VT_BOOL, VT_UNKNOWN,
              VT_DISPATCH, VT_DECIMAL, VT_I1, VT_UI1, VT_UI2, VT_UI4, VT_I8, VT_UI8,  VT_INT,   VT_UINT}) {
            add(type).llVal = 0;
            if (type != VT_EMPTY && type != VT_NULL)
                addReferences(type);
        }
        add(VT_ERROR).scode = DISP_E_TYPEMISMATCH;
        addReferences(VT_BSTR);
        addReferences(VT_VARIANT);
        addReferences(VT_ARRAY | VT_UI1);
        add(VT_ARRAY | VT_UI1).parray = nullptr;
        for (const VARTYPE type :
             {VARTYPE{VT_RECORD}, VARTYPE{VT_FILETIME}, VARTYPE{VT_VECTOR | VT_I4}, VARTYPE{0xFFF}})
            add(type).llVal = 0;
    }

    const std::vector<VARIANT>& all() const { return variants_; }

private:
    VARIANT& add(VARTYPE type) {
        auto& variant = variants_.emplace_back();
        variant.vt = type;
        return variant;
    }

    void addReferences(VARTYPE type) {
        add(type | VT_BYREF).byref = &zeros_;
        add(type | VT_BYREF).byref = nullptr;
    }

    DECIMAL zeros_{}; // the largest thing to refer to: nothing, 0, an empty text, an empty variant
    std::vector<VARIANT> variants_;
};

std::string nameOf(const VARIANT& variant) {
    const bool refersToNothing = (variant.vt & VT_BYREF) != 0 && variant.byref == nullptr;
    return "type " + describe(Hex{variant.vt}) + (refersToNothing ? ", a reference to nothing" : "");
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
    const AnyVariants variants;
    for (const auto& variant : variants.all()) {
        SCOPED_TRACE(nameOf(variant));
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

// A client's own object with the face of a device or a pin. What it says of interfaces that it cannot know varies.
class Impostor : public Callback {
public:
    Impostor(Journal& journal, HRESULT answer) : Callback(journal, "impostor"), answer_(answer) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) noexcept override {
        *object = nullptr;
        return answer_;
    }

    // For callers that only query it.
    template <class Interface>
    Interface* as() {
        return reinterpret_cast<Interface*>(static_cast<IDispatch*>(this));
    }

private:
    const HRESULT answer_;
};

TEST_F(HostileClient, ForeignDevicesAndPinsAreRefused) {
    Journal journal;
    const auto socket = readObject(device5(), &IVirtualSerialDevice::get_localSocket);
    const auto pin = readObject(*socket, &ISocket::get_RI);
    forgetCalls();
    for (const HRESULT answer : {E_NOINTERFACE, E_ACCESSDENIED, S_OK}) {
        SCOPED_TRACE(answer);
        Impostor impostor(journal, answer);
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

class ReleasingClient : public SimulationTest {
protected:
    Journal journal;
    Listener first{journal, "first"};
    Listener second{journal, "second"};
    ComPointer<IVirtualSerialLibrary> library;
    ComPointer<IVirtualSerialDevice> device;

    void SetUp() override {
        machine.addPort(L"COM5");
        library = createLibrary();
        device = SimulationTest::device(*library, L"COM5");
        for (auto* listener : {&first, &second})
            EXPECT_RESULT(S_OK, library->addListener(listener));
        first.onEvent = [this] {
            library = {};
            device = {};
            return S_OK;
        };
    }

    void TearDown() override {
        device = {};
        library = {};
        SimulationTest::TearDown();
    }
};

// The listeners' own thread is among the event thread's tests. On the client's it is its own call that reports.
TEST_F(ReleasingClient, LastReferencesMayGoInsideAListenerOfTheClientsOwnCall) {
    const auto byName = [](IVirtualSerialDevice& port) {
        Variant name(L"COM6");
        return put(port, L"portName", std::move(name));
    };
    const std::function<HRESULT()> calls[] = {
        [&] { return device->put_portName(Bstr(L"COM6").get()); },
        [&] { return byName(*device); },
        [&] {
            ComPointer<IVirtualSerialDevice> created;
            return library->createDevice(Variant(), created.put());
        },
    };
    for (const auto& call : calls) {
        SCOPED_TRACE(&call - calls);
        machine.plugAndPlay.nodes().clear();
        device = {};
        library = {};
        SetUp();
        EXPECT_RESULT(S_OK, call());
        machine.threads.awaitEnd();
        EXPECT_EQ(first.references() + second.references(), 0);
        EXPECT_RESULT(S_OK, dll().canUnloadNow());
    }
    EXPECT_EQ(
        journal.texts(), (Texts{
                             "first changed COM6 name", "second changed COM6 name", "first changed COM6 name",
                             "second changed COM6 name", "first added COM1", "second added COM1"}));
}

// While it does not return, everything else goes on that does not wait for its report to end.
TEST_F(ReleasingClient, ListenerMayTakeItsTime) {
    test::Latch arrived(1);
    test::Latch released(1);
    Callback script(journal, "script");
    second.onEvent = [&] {
        arrived.arrive();
        released.wait();
        return E_FAIL;
    };
    first.onEvent = [] { return E_OUTOFMEMORY; };
    machine.change([&] { machine.addPort(L"COM6"); });
    std::thread announcing([&] { machine.announce(); });
    arrived.wait();
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM5", L"COM6"}));
    ComPointer<IUnknown> another;
    EXPECT_RESULT(
        S_OK, classFactory()->CreateInstance(nullptr, __uuidof(IUnknown), reinterpret_cast<void**>(another.put())));
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_mode), VSDM_Listening);
    EXPECT_RESULT(S_OK, device->disconnectDevice());
    LONG id = 0;
    EXPECT_RESULT(S_OK, library->added(script.variant(), &id));
    EXPECT_RESULT(S_OK, library->stopEventDispatching());
    EXPECT_RESULT(S_OK, library->dispatchEvents(nullptr, INFINITE));
    device = {};
    library = {}; // the report has a reference of its own
    released.arrive();
    announcing.join();
    another = {};
    machine.threads.awaitEnd();
    EXPECT_EQ(script.references(), 0);
    EXPECT_EQ(journal.texts(), (Texts{"first added COM6", "second added COM6"}));
}

} // namespace

} // namespace zorvan::simulation

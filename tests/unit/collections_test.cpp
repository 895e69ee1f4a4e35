// What lists the devices: the collection, its enumerator and the array for scripts.
#include "simulation/simulation_test.h"

#include <array>

namespace zorvan::simulation {

namespace {

using Names = std::set<std::wstring>;

constexpr DISPID kLength = -100;

HRESULT invoke(IDispatch& array, DISPID member, VARIANT* result, WORD flags = DISPATCH_PROPERTYGET) {
    DISPPARAMS none{};
    return array.Invoke(member, IID_NULL, 0, flags, &none, result, nullptr, nullptr);
}

class Collections : public SimulationTest {
protected:
    const Names names{L"COM5", L"COM6", L"COM7"};

    ComPointer<IVirtualSerialLibrary> withThreePorts() {
        for (const auto& name : names)
            machine.addPort(name);
        return createLibrary();
    }

    ComPointer<IDispatch> array() { return readObject(*withThreePorts(), &IVirtualSerialLibrary::get_devicesArray); }

    ComPointer<IEnumVARIANT> enumerator() {
        const auto unknown = readObject(*collection(*withThreePorts()), &IDeviceCollection::get__NewEnum);
        ComPointer<IEnumVARIANT> enumerator;
        require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(enumerator.put())), "enumerator");
        return enumerator;
    }
};

TEST_F(Collections, ItemRefusesWhatNamesNoDevice) {
    const auto devices = collection(*withThreePorts());
    const auto error = [&](const VARIANT& index) {
        ComPointer<IVirtualSerialDevice> device;
        const HRESULT result = devices->get_Item(index, device.put());
        EXPECT_FALSE(device);
        return result;
    };
    for (const auto* name : {L"COM8", L"com5", L"COM", L"COM55", L" COM5", L"0", L""})
        EXPECT_RESULT(E_INVALIDARG, error(Variant(name))) << describe(name);
    EXPECT_TRUE(machine.calls.texts("VarBstrCmp").front().ends_with(", COM8, 0x400, 0x0)"));
    EXPECT_RESULT(E_INVALIDARG, error(Variant(3L)));
    Bstr text(L"COM5");
    Variant reference; // only a string by value is a port name
    reference.vt = VT_BSTR | VT_BYREF;
    reference.pbstrVal = text.put();
    EXPECT_RESULT(DISP_E_TYPEMISMATCH, error(reference));
}

TEST_F(Collections, EnumeratorGivesAndSkipsAsManyAsThereAre) {
    const auto devices = enumerator();
    std::array<Variant, 4> elements;
    ULONG fetched = 7;
    EXPECT_RESULT(S_OK, devices->Next(0, elements.data(), &fetched));
    EXPECT_EQ(fetched, 0U);
    EXPECT_RESULT(S_OK, devices->Next(1, elements.data(), nullptr)); // one element needs no count
    EXPECT_RESULT(S_OK, devices->Next(2, &elements[1], &fetched));   // exactly what is left is no end
    EXPECT_RESULT(S_FALSE, devices->Next(1, &elements[3], &fetched));
    EXPECT_EQ(fetched, 0U);
    EXPECT_EQ(elements[3].vt, VT_EMPTY);
    EXPECT_EQ((std::set<IDispatch*>{elements[0].pdispVal, elements[1].pdispVal, elements[2].pdispVal}).size(), 3U);
    EXPECT_RESULT(S_OK, devices->Skip(0));
    EXPECT_RESULT(S_FALSE, devices->Skip(1));
    EXPECT_RESULT(S_OK, devices->Reset());
    EXPECT_RESULT(S_OK, devices->Skip(2));

    // Intended, although a clone elsewhere starts where its original stands.
    ComPointer<IEnumVARIANT> clone;
    EXPECT_RESULT(S_OK, devices->Clone(clone.put()));
    EXPECT_RESULT(S_OK, clone->Next(1, &elements[3], nullptr));
    EXPECT_EQ(elements[3].pdispVal, elements[0].pdispVal);
    EXPECT_RESULT(S_OK, devices->Skip(1));
    EXPECT_RESULT(S_OK, devices->Reset());
    EXPECT_RESULT(S_FALSE, devices->Skip(4));
    EXPECT_RESULT(S_FALSE, devices->Skip(1));
}

TEST_F(Collections, NamesInTheArrayAreLengthOrNumbers) {
    const auto devices = array();
    const std::pair<const wchar_t*, DISPID> rows[] = {
        {L"length", kLength},
        {L"LENGTH", kLength},
        {L"0", 0},
        {L"0012", 12},
        {L"", 0},
        {L"4294967294", -2},
        {L"4294967297", 1}, // intended: counted in 32 bits without a test
        {L"4294967295", DISPID_UNKNOWN},
        {L"2a", DISPID_UNKNOWN},
        {L"lengths", DISPID_UNKNOWN},
    };
    for (const auto& [name, expected] : rows) {
        // Every name is mapped, also beside an unknown one.
        std::wstring copy = name;
        wchar_t unknown[] = L"x";
        wchar_t* both[] = {unknown, copy.data()};
        DISPID ids[] = {4711, 4711};
        EXPECT_RESULT(DISP_E_UNKNOWNNAME, devices->GetIDsOfNames(IID_NULL, both, 2, 0, ids));
        EXPECT_EQ(ids[0], DISPID_UNKNOWN);
        EXPECT_EQ(ids[1], expected) << describe(name);
        EXPECT_RESULT(expected == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK, dispatchId(*devices, name, ids[0]))
            << describe(name);
    }
    EXPECT_RESULT(S_OK, devices->GetIDsOfNames(IID_NULL, nullptr, 0, 0, nullptr));
}

TEST_F(Collections, MembersOfTheArrayAreTheDevices) {
    const auto devices = array();
    Variant length;
    EXPECT_RESULT(S_OK, invoke(*devices, kLength, &length));
    EXPECT_EQ(length.vt, VT_I4);
    EXPECT_EQ(length.lVal, 3);
    Names found;
    // The flags say nothing: a script may call where it means to read.
    for (const auto& [member, flags] : {std::pair{0, DISPATCH_METHOD}, {1, DISPATCH_PROPERTYGET}, {2, 0}}) {
        Variant device;
        EXPECT_RESULT(S_OK, invoke(*devices, member, &device, static_cast<WORD>(flags)));
        ASSERT_EQ(device.vt, VT_DISPATCH);
        Variant name;
        EXPECT_RESULT(S_OK, get(*device.pdispVal, L"portName", &name));
        found.insert(name.bstrVal);
    }
    EXPECT_EQ(found, names);
    for (DISPID member : {3, -1, -99, -101}) {
        Variant device;
        EXPECT_RESULT(DISP_E_MEMBERNOTFOUND, invoke(*devices, member, &device));
        EXPECT_EQ(device.vt, VT_EMPTY);
    }
    EXPECT_RESULT(S_OK, invoke(*devices, 0, nullptr)); // the value is not wanted
    // Intended: it counts a type description that it does not give.
    UINT count = 7;
    EXPECT_RESULT(S_OK, devices->GetTypeInfoCount(&count));
    EXPECT_EQ(count, 1U);
    ITypeInfo* information = nullptr;
    EXPECT_RESULT(E_NOTIMPL, devices->GetTypeInfo(0, 0, &information));
}

TEST_F(Collections, AreSnapshotsThatOutliveTheLibraryReference) {
    auto& port = machine.addPort(L"COM5");
    auto library = createLibrary();
    const auto all = collection(*library);
    const auto array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
    port.present = false;
    refresh(*library);
    EXPECT_EQ(portNames(*library), Names{L"COM1"}); // the refresh's own
    library = {};
    EXPECT_EQ(read(*all, &IDeviceCollection::get_Count), 1);
    ComPointer<IVirtualSerialDevice> device;
    EXPECT_RESULT(S_OK, all->get_Item(Variant(L"COM5"), device.put()));
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    Variant element;
    EXPECT_RESULT(S_OK, invoke(*array, 0, &element));
    EXPECT_EQ(element.pdispVal, device.get());
}

} // namespace

} // namespace zorvan::simulation

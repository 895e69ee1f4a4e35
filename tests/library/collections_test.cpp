// What lists the devices: the collection, its enumerator and the array for scripts.
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

#include <array>
#include <cstring>

namespace zorvan::simulation {

namespace {

constexpr DISPID kLength = -100;

HRESULT invoke(IDispatch& array, DISPID member, VARIANT* result, WORD flags = DISPATCH_PROPERTYGET) {
    DISPPARAMS none{};
    return array.Invoke(member, IID_NULL, 0, flags, &none, result, nullptr, nullptr);
}

class Collections : public SimulationTest {
protected:
    ComPointer<IVirtualSerialLibrary> withThreePorts() {
        for (const auto* name : {L"COM5", L"COM6", L"COM7"})
            machine.addPort(name);
        return createLibrary();
    }

    ComPointer<IDispatch> array() { return readObject(*withThreePorts(), &IVirtualSerialLibrary::get_devicesArray); }
};

TEST_F(Collections, ItemRefusesWhatNamesNoDevice) {
    const auto devices = collection(*withThreePorts());
    ComPointer<IVirtualSerialDevice> device;
    for (const auto* name : {L"COM8", L"com5", L"COM", L"COM55", L" COM5", L"0", L""})
        EXPECT_RESULT(E_INVALIDARG, devices->get_Item(Variant(name), device.put())) << describe(name);
    EXPECT_TRUE(machine.calls.texts("VarBstrCmp").front().ends_with(", 1024, 0)"));
    EXPECT_RESULT(E_INVALIDARG, devices->get_Item(Variant(3L), device.put()));
    Bstr text(L"COM5");
    Variant reference; // only a string by value is a port name
    reference.vt = VT_BSTR | VT_BYREF;
    reference.pbstrVal = text.put();
    EXPECT_RESULT(DISP_E_TYPEMISMATCH, devices->get_Item(reference, device.put()));
    EXPECT_FALSE(device);
}

TEST_F(Collections, EnumeratorGivesAndSkipsAsManyAsThereAre) {
    const auto unknown = readObject(*collection(*withThreePorts()), &IDeviceCollection::get__NewEnum);
    ComPointer<IEnumVARIANT> devices;
    require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(devices.put())), "enumerator");
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
    std::wstring names[] = {L"x", L"length",     L"LENGTH",     L"0",          L"0012",
                            L"",  L"4294967294", L"4294967297", L"4294967295", L"2a"};
    // Intended: counted in 32 bits without a test. Every name is mapped, also after an unknown one.
    const std::vector<DISPID> expected{DISPID_UNKNOWN, kLength,       kLength, 0, 12, 0, -2, 1,
                                       DISPID_UNKNOWN, DISPID_UNKNOWN};
    std::vector<wchar_t*> pointers;
    for (auto& name : names)
        pointers.push_back(name.data());
    std::vector<DISPID> ids(expected.size(), 4711);
    const auto devices = array();
    EXPECT_RESULT(DISP_E_UNKNOWNNAME, devices->GetIDsOfNames(IID_NULL, pointers.data(), 10, 0, ids.data()));
    EXPECT_EQ(ids, expected);
    EXPECT_RESULT(S_OK, devices->GetIDsOfNames(IID_NULL, pointers.data() + 1, 1, 0, ids.data()));
}

TEST_F(Collections, MembersOfTheArrayAreTheDevices) {
    const auto devices = array();
    VARIANT length;
    std::memset(&length, 0x5A, sizeof length); // nobody has initialised it
    EXPECT_RESULT(S_OK, invoke(*devices, kLength, &length));
    EXPECT_EQ(length.vt, VT_I4);
    EXPECT_EQ(length.lVal, 3);
    EXPECT_EQ(portNamesOf(*devices).size(), std::string("COM5 COM6 COM7").size());
    for (DISPID member : {3, -1, -99, -101}) {
        Variant device;
        EXPECT_RESULT(DISP_E_MEMBERNOTFOUND, invoke(*devices, member, &device));
        EXPECT_EQ(device.vt, VT_EMPTY);
    }
    // The flags say nothing: a script may call where it means to read.
    Variant device;
    EXPECT_RESULT(S_OK, invoke(*devices, 0, &device, DISPATCH_METHOD));
    EXPECT_EQ(device.vt, VT_DISPATCH);
    EXPECT_RESULT(S_OK, invoke(*devices, 0, nullptr)); // the value is not wanted
    // Intended: it counts a type description that it does not give.
    UINT count = 7;
    EXPECT_RESULT(S_OK, devices->GetTypeInfoCount(&count));
    EXPECT_EQ(count, 1U);
    auto* information = reinterpret_cast<ITypeInfo*>(devices.get());
    EXPECT_RESULT(E_NOTIMPL, devices->GetTypeInfo(0, 0, &information));
    EXPECT_EQ(information, nullptr);
}

TEST_F(Collections, AreSnapshotsThatOutliveTheLibraryReference) {
    auto& port = machine.addPort(L"COM5");
    auto library = createLibrary();
    const auto all = collection(*library);
    const auto array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
    port.present = false;
    refresh(*library);
    EXPECT_EQ(portNames(*library), std::set<std::wstring>{L"COM1"}); // the refresh's own
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

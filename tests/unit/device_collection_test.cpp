// The collection of devices: a snapshot that is asked by index or port name.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

class DeviceCollection : public SimulationTest {
protected:
    ComPointer<IDeviceCollection> threePorts() {
        for (const auto* name : {L"COM5", L"COM6", L"COM7"})
            machine.addPort(name);
        return collection(*createLibrary());
    }
};

Variant number(VARTYPE type, LONG value) {
    Variant variant(value);
    variant.vt = type;
    return variant;
}

std::wstring nameAt(IDeviceCollection& devices, const VARIANT& index) {
    ComPointer<IVirtualSerialDevice> device;
    EXPECT_RESULT(S_OK, devices.get_Item(index, device.put()));
    return device ? readText(*device, &IVirtualSerialDevice::get_portName) : L"";
}

HRESULT itemError(IDeviceCollection& devices, const VARIANT& index) {
    IVirtualSerialDevice* device = nullptr;
    const HRESULT result = devices.get_Item(index, &device);
    EXPECT_EQ(device, nullptr);
    return result;
}

TEST_F(DeviceCollection, ItemsAreFoundByIndexAndName) {
    const auto devices = threePorts();
    EXPECT_EQ(read(*devices, &IDeviceCollection::get_Count), 3);
    std::set<std::wstring> names;
    for (LONG index = 0; index < 3; ++index)
        names.insert(nameAt(*devices, Variant(index)));
    EXPECT_EQ(names, (std::set<std::wstring>{L"COM5", L"COM6", L"COM7"}));
    for (const auto& name : names)
        EXPECT_EQ(nameAt(*devices, Variant(name.c_str())), name);
}

TEST_F(DeviceCollection, IndexIsWhateverConvertsToAnUnsignedNumber) {
    const auto devices = threePorts();
    const auto second = nameAt(*devices, Variant(1L));
    EXPECT_EQ(nameAt(*devices, number(VT_UI1, 1)), second);
    Variant real;
    real.vt = VT_R8;
    real.dblVal = 0.6;
    EXPECT_EQ(nameAt(*devices, real), second);
    Bstr text(L"1");
    Variant reference;
    reference.vt = VT_BSTR | VT_BYREF;
    reference.pbstrVal = text.put();
    EXPECT_EQ(nameAt(*devices, reference), second);
}

TEST_F(DeviceCollection, RefusesWhatNamesNoDevice) {
    EXPECT_RESULT(E_INVALIDARG, itemError(*collection(*createLibrary()), Variant(0L)));
    const auto devices = threePorts();
    for (const auto* name : {L"COM8", L"com5", L"COM", L"COM55", L" COM5", L"0", L""}) {
        machine.calls.clear();
        EXPECT_RESULT(E_INVALIDARG, itemError(*devices, Variant(name))) << describe(name);
        for (const auto& call : machine.calls.texts("VarBstrCmp"))
            EXPECT_NE(call.find(", 0x400, 0x0)"), std::string::npos) << call;
    }
    EXPECT_RESULT(E_INVALIDARG, itemError(*devices, Variant(3L)));
    EXPECT_RESULT(E_INVALIDARG, itemError(*devices, number(VT_UI4, -1)));
    Variant negative;
    negative.vt = VT_R8;
    negative.dblVal = -1;
    EXPECT_RESULT(DISP_E_OVERFLOW, itemError(*devices, negative));
    EXPECT_RESULT(DISP_E_BADVARTYPE, itemError(*devices, number(VT_VOID, 0)));

    // Only a string by value is a port name.
    Bstr text(L"COM5");
    Variant reference;
    reference.vt = VT_BSTR | VT_BYREF;
    reference.pbstrVal = text.put();
    EXPECT_RESULT(DISP_E_TYPEMISMATCH, itemError(*devices, reference));
}

TEST_F(DeviceCollection, IsASnapshot) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    const auto before = collection(*library);
    port.present = false;
    refresh(*library);
    EXPECT_EQ(read(*before, &IDeviceCollection::get_Count), 1);
    ComPointer<IVirtualSerialDevice> device;
    ASSERT_RESULT(S_OK, before->get_Item(Variant(L"COM5"), device.put()));
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(portNames(*library), (std::set<std::wstring>{L"COM1"})); // the refresh's own
}

} // namespace

} // namespace zorvan::simulation

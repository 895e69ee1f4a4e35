// The device array: members "length", "0", "1" and so on, for scripts.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

constexpr DISPID kLength = -100;

class DeviceArray : public SimulationTest {
protected:
    ComPointer<IDispatch> ofTwoPorts() {
        machine.addPort(L"COM5");
        machine.addPort(L"COM6");
        return readObject(*createLibrary(), &IVirtualSerialLibrary::get_devicesArray);
    }
};

HRESULT invoke(IDispatch& array, DISPID member, VARIANT* result, WORD flags = DISPATCH_PROPERTYGET) {
    DISPPARAMS none{};
    return array.Invoke(member, IID_NULL, 0, flags, &none, result, nullptr, nullptr);
}

TEST_F(DeviceArray, NamesAreLengthOrNumbers) {
    const auto array = ofTwoPorts();
    const std::pair<const wchar_t*, DISPID> rows[] = {
        {L"length", kLength},
        {L"LENGTH", kLength},
        {L"0", 0},
        {L"2", 2},
        {L"0012", 12},
        {L"", 0},
        {L"4294967294", -2},
        {L"4294967297", 1}, // intended: counted in 32 bits without a test
        {L"4294967295", DISPID_UNKNOWN},
        {L"2a", DISPID_UNKNOWN},
        {L"-1", DISPID_UNKNOWN},
        {L"lengths", DISPID_UNKNOWN},
    };
    for (const auto& [name, expected] : rows) {
        DISPID id = 4711;
        EXPECT_RESULT(expected == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK, dispatchId(*array, name, id))
            << describe(name);
        EXPECT_EQ(id, expected) << describe(name);
    }
}

TEST_F(DeviceArray, EveryNameIsMappedEvenAfterAnUnknownOne) {
    const auto array = ofTwoPorts();
    wchar_t unknown[] = L"x";
    wchar_t one[] = L"1";
    wchar_t* names[] = {unknown, one};
    DISPID ids[] = {4711, 4711};
    EXPECT_RESULT(DISP_E_UNKNOWNNAME, array->GetIDsOfNames(IID_NULL, names, 2, 0, ids));
    EXPECT_EQ(ids[0], DISPID_UNKNOWN);
    EXPECT_EQ(ids[1], 1);
    EXPECT_RESULT(S_OK, array->GetIDsOfNames(IID_NULL, nullptr, 0, 0, nullptr));
}

TEST_F(DeviceArray, MembersAreTheDevices) {
    const auto array = ofTwoPorts();
    Variant length;
    EXPECT_RESULT(S_OK, invoke(*array, kLength, &length));
    EXPECT_EQ(length.vt, VT_I4);
    EXPECT_EQ(length.lVal, 2);
    std::set<std::wstring> names;
    for (DISPID member : {0, 1}) {
        Variant device;
        // The flags say nothing: a script may call where it means to read.
        EXPECT_RESULT(S_OK, invoke(*array, member, &device, member == 0 ? DISPATCH_METHOD : DISPATCH_PROPERTYGET));
        ASSERT_EQ(device.vt, VT_DISPATCH);
        Variant name;
        EXPECT_RESULT(S_OK, get(*device.pdispVal, L"portName", &name));
        names.insert(name.bstrVal);
    }
    EXPECT_EQ(names, (std::set<std::wstring>{L"COM5", L"COM6"}));
    for (DISPID member : {2, 100, -1, -4, -99, -101}) {
        Variant device;
        EXPECT_RESULT(DISP_E_MEMBERNOTFOUND, invoke(*array, member, &device));
        EXPECT_EQ(device.vt, VT_EMPTY);
    }
    EXPECT_RESULT(S_OK, invoke(*array, 0, nullptr)); // the value is not wanted
}

// Intended: it counts a type description that it does not give.
TEST_F(DeviceArray, HasNoTypeInformation) {
    const auto array = ofTwoPorts();
    UINT count = 7;
    EXPECT_RESULT(S_OK, array->GetTypeInfoCount(&count));
    EXPECT_EQ(count, 1U);
    ITypeInfo* information = nullptr;
    EXPECT_RESULT(E_NOTIMPL, array->GetTypeInfo(0, 0, &information));
}

TEST_F(DeviceArray, IsASnapshotThatOutlivesTheLibraryReference) {
    auto& port = machine.addPort(L"COM5");
    auto library = createLibrary();
    const auto array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
    port.present = false;
    refresh(*library);
    library = {};
    Variant device;
    EXPECT_RESULT(S_OK, invoke(*array, 0, &device));
    Variant deleted;
    EXPECT_RESULT(S_OK, get(*device.pdispVal, L"deleted", &deleted));
    EXPECT_EQ(deleted.boolVal, VARIANT_TRUE);
}

} // namespace

} // namespace zorvan::simulation

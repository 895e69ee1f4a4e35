// Scripts' access by name. That every name has its identifier is the type library's affair.
#include "simulation/simulation_test.h"

#include <utility>

namespace zorvan::simulation {

namespace {

class LateBinding : public SimulationTest {
protected:
    void SetUp() override { machine.addPort(L"COM5"); }
};

TEST_F(LateBinding, NamesAreThoseOfTheInterfaceWhateverTheirCase) {
    const auto library = createLibrary();
    const auto port = device(*library, L"COM5");
    const auto all = collection(*library);
    const struct {
        IDispatch* object;
        const wchar_t* name;
        HRESULT result;
        DISPID id;
    } rows[] = {
        {library.get(), L"createDevice", S_OK, 1000},
        {library.get(), L"STOPEVENTDISPATCHING", S_OK, 30000},
        {library.get(), L"portName", DISP_E_UNKNOWNNAME, DISPID_UNKNOWN},
        {port.get(), L"portname", S_OK, 400},
        {port.get(), L"vLibrary", S_OK, 500},
        {port.get(), L"Library", DISP_E_UNKNOWNNAME, DISPID_UNKNOWN},
        {all.get(), L"_NewEnum", S_OK, DISPID_NEWENUM},
        {all.get(), L"item", S_OK, DISPID_VALUE},
    };
    for (const auto& row : rows) {
        DISPID id = DISPID_UNKNOWN;
        EXPECT_RESULT(row.result, dispatchId(*row.object, row.name, id)) << describe(row.name);
        EXPECT_EQ(id, row.id) << describe(row.name);
    }
    DISPPARAMS none{};
    EXPECT_RESULT(
        DISP_E_MEMBERNOTFOUND,
        port->Invoke(4711, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, nullptr, nullptr, nullptr));
}

TEST_F(LateBinding, ObjectsDescribeThemselves) {
    const auto library = createLibrary();
    const auto port = device(*library, L"COM5");
    const auto all = collection(*library);
    const std::pair<IDispatch*, IID> objects[] = {
        {library.get(), __uuidof(IVirtualSerialLibrary)},
        {port.get(), __uuidof(IVirtualSerialDevice)},
        {all.get(), __uuidof(IDeviceCollection)},
    };
    for (const auto& [object, iid] : objects) {
        UINT count = 0;
        EXPECT_RESULT(S_OK, object->GetTypeInfoCount(&count));
        EXPECT_EQ(count, 1U);
        ComPointer<ITypeInfo> information;
        ASSERT_RESULT(S_OK, object->GetTypeInfo(0, 0, information.put()));
        TYPEATTR* attributes = nullptr;
        ASSERT_RESULT(S_OK, information->GetTypeAttr(&attributes));
        EXPECT_EQ(attributes->guid, iid);
        information->ReleaseTypeAttr(attributes);
        EXPECT_RESULT(DISP_E_BADINDEX, object->GetTypeInfo(1, 0, information.put()));
    }
}

TEST_F(LateBinding, OmittedArgumentOfCreateDeviceIsOptional) {
    const auto library = createLibrary();
    Variant created;
    EXPECT_RESULT(S_OK, dispatch(*library, L"createDevice", DISPATCH_METHOD, {}, &created));
    ASSERT_EQ(created.vt, VT_DISPATCH);
    Variant name;
    EXPECT_RESULT(S_OK, get(*created.pdispVal, L"portName", &name));
    EXPECT_STREQ(name.bstrVal, L"COM1");
}

} // namespace

} // namespace zorvan::simulation

// Scripts' access by name: every name and identifier of the interfaces, and calls through IDispatch.
#include "simulation/simulation_test.h"

#include <utility>

namespace zorvan::simulation {

namespace {

using Names = std::vector<std::pair<const wchar_t*, DISPID>>;

const Names kLibraryNames{
    {L"createDevice", 1000},    {L"devicesCollection", 2000},
    {L"devicesArray", 2100},    {L"addListener", 3000},
    {L"removeListener", 4000},  {L"added", 10000},
    {L"deleted", 10100},        {L"changed", 10200},
    {L"dispatchEvents", 20000}, {L"stopEventDispatching", 30000},
};

const Names kDeviceNames{
    {L"mode", 100},
    {L"path", 200},
    {L"deleted", 300},
    {L"portName", 400},
    {L"enabled", 450},
    {L"vLibrary", 500},
    {L"connections", 510},
    {L"bytesSent", 520},
    {L"bytesReceived", 530},
    {L"emulateTxOverflow", 540},
    {L"crossoverProbability", 580},
    {L"deleteDevice", 600},
    {L"disconnectDevice", 700},
    {L"startListening", 850},
    {L"securityDescriptor", 860},
    {L"connectToPipe", 1000},
    {L"createAndConnectPipe", 1100},
    {L"PipeName", 1200},
    {L"createBridge", 1300},
    {L"pair", 1400},
    {L"remoteServer", 1500},
    {L"remotePort", 1600},
    {L"remoteEndpoint", 1700},
    {L"createRemoteBridge", 1800},
    {L"connectToFiles", 2000},
    {L"inputFileName", 2100},
    {L"outputFileName", 2200},
    {L"localSocket", 4000},
    {L"remoteSocket", 4100},
    {L"restoreDefaultPins", 4200},
};

const Names kCollectionNames{{L"_NewEnum", DISPID_NEWENUM}, {L"Item", DISPID_VALUE}, {L"Count", 1}};

void expectNames(IDispatch& object, const Names& names) {
    for (const auto& [name, expected] : names) {
        SCOPED_TRACE(describe(name));
        DISPID id = DISPID_UNKNOWN;
        EXPECT_RESULT(S_OK, dispatchId(object, name, id));
        EXPECT_EQ(id, expected);
        std::wstring upper = name;
        for (auto& letter : upper)
            letter = static_cast<wchar_t>(std::towupper(letter));
        EXPECT_RESULT(S_OK, dispatchId(object, upper.c_str(), id));
        EXPECT_EQ(id, expected);
    }
}

class LateBinding : public SimulationTest {
protected:
    void SetUp() override { machine.addPort(L"COM5"); }
};

TEST_F(LateBinding, NamesHaveTheirIdentifiersWhateverTheirCase) {
    const auto library = createLibrary();
    expectNames(*library, kLibraryNames);
    expectNames(*device(*library, L"COM5"), kDeviceNames);
    expectNames(*collection(*library), kCollectionNames);
}

TEST_F(LateBinding, UnknownNamesAreRefused) {
    const auto library = createLibrary();
    const auto port = device(*library, L"COM5");
    DISPID id = 0;
    EXPECT_RESULT(DISP_E_UNKNOWNNAME, dispatchId(*port, L"Library", id));
    EXPECT_RESULT(DISP_E_UNKNOWNNAME, dispatchId(*library, L"portName", id));
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

TEST_F(LateBinding, TypeLibraryThatIsNotThereIsReportedAndAskedForAgain) {
    const auto library = createLibrary();
    machine.fail("LoadRegTypeLib", 1, static_cast<DWORD>(TYPE_E_LIBNOTREGISTERED));
    DISPID id = 0;
    EXPECT_RESULT(TYPE_E_LIBNOTREGISTERED, dispatchId(*library, L"createDevice", id));
    EXPECT_RESULT(S_OK, dispatchId(*library, L"createDevice", id));
}

TEST_F(LateBinding, PropertiesAreReadAndWritten) {
    const auto library = createLibrary();
    const auto port = device(*library, L"COM5");
    Variant mode;
    EXPECT_RESULT(S_OK, get(*port, L"mode", &mode));
    EXPECT_EQ(mode.lVal, VSDM_Listening);
    Variant probability;
    probability.vt = VT_R8;
    probability.dblVal = 0.25;
    EXPECT_RESULT(S_OK, put(*port, L"crossoverProbability", std::move(probability)));
    EXPECT_EQ(machine.plugAndPlay.latest().driver.state.crossover.value, 250U);
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

// What a for-each loop of a script does.
TEST_F(LateBinding, CollectionIsEnumerated) {
    const auto library = createLibrary();
    Variant enumeration;
    DISPPARAMS none{};
    ASSERT_RESULT(
        S_OK, collection(*library)->Invoke(
                  DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &none,
                  &enumeration, nullptr, nullptr));
    ASSERT_EQ(enumeration.vt, VT_UNKNOWN);
    ComPointer<IEnumVARIANT> enumerator;
    ASSERT_RESULT(
        S_OK,
        enumeration.punkVal->QueryInterface(__uuidof(IEnumVARIANT), reinterpret_cast<void**>(enumerator.put())));
    Variant element;
    EXPECT_RESULT(S_OK, enumerator->Next(1, &element, nullptr));
    EXPECT_EQ(element.vt, VT_DISPATCH);
}

TEST_F(LateBinding, CollectionIsIndexedDirectly) {
    const auto library = createLibrary();
    Variant index(L"COM5");
    DISPPARAMS parameters{&index, nullptr, 1, 0};
    Variant found;
    EXPECT_RESULT(
        S_OK, collection(*library)->Invoke(
                  DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &parameters, &found, nullptr,
                  nullptr));
    EXPECT_EQ(found.vt, VT_DISPATCH);
}

} // namespace

} // namespace zorvan::simulation

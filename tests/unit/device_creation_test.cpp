// createDevice: the requested number, the exact steps of the installation, each step's failure, and the wait.
#include "simulation/simulation_test.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

constexpr HRESULT kRestartNeeded = static_cast<HRESULT>(0x80070BC2);
constexpr HRESULT kNumberTaken = static_cast<HRESULT>(0x800702BA);
const std::wstring kHardwareIds(L"QELTRAVIRT\\QeltraZorvan3\0\0", 26);

class DeviceCreation : public SimulationTest {
protected:
    void SetUp() override { library_ = createLibrary(); }

    void TearDown() override {
        library_ = {};
        SimulationTest::TearDown();
    }

    IVirtualSerialLibrary& library() { return *library_; }

    HRESULT create(const VARIANT& portName) {
        ComPointer<IVirtualSerialDevice> device;
        const HRESULT result = library_->createDevice(portName, device.put());
        EXPECT_EQ(static_cast<bool>(device), SUCCEEDED(result));
        return result;
    }
    HRESULT create(const wchar_t* portName) { return create(Variant(portName)); }

    // From opening the port database to closing it.
    std::vector<std::string> installationSteps() {
        const auto all = machine.calls.texts();
        const auto first = std::find(all.begin(), all.end(), "ComDBOpen()");
        const auto last = std::find(first, all.end(), "ComDBClose()");
        return {first, last == all.end() ? last : last + 1};
    }

    std::size_t nodes() { return machine.plugAndPlay.nodes().size(); }
    DeviceNode& created() { return machine.plugAndPlay.latest(); }

private:
    ComPointer<IVirtualSerialLibrary> library_;
};

TEST_F(DeviceCreation, YieldsTheDeviceThatListingsShow) {
    machine.calls.clear();
    const auto device = createDevice(library(), L"COM7");
    ASSERT_TRUE(device);
    EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_portName), L"COM7");
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_mode), VSDM_Listening);
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    EXPECT_EQ(SimulationTest::device(library(), L"COM7").get(), device.get());
    EXPECT_EQ(created().portName(), L"COM7");
    EXPECT_EQ(created().hardwareIds, kHardwareIds);
    EXPECT_TRUE(created().installed);
}

TEST_F(DeviceCreation, TakesTheStepsInTheirOrder) {
    machine.calls.clear();
    ASSERT_RESULT(S_OK, create(L"COM7"));
    EXPECT_EQ(
        installationSteps(), (std::vector<std::string>{
                                 "ComDBOpen()",
                                 "SetupDiCreateDeviceInfoList(Ports, no window)",
                                 "SetupDiClassNameFromGuidW(Ports, 32)",
                                 "SetupDiCreateDeviceInfoW(Ports, Ports, null, 0x1)",
                                 "SetupDiSetDeviceRegistryPropertyW(1, 52)",
                                 "SetupDiCallClassInstaller(0x19)",
                                 "ComDBClaimPort(7, force)",
                                 "SetupDiCreateDevRegKeyW(1, 0, 1, no INF, no section)",
                                 "RegSetValueExW(key of ROOT\\PORTS\\0000, PortName, 1, COM7, 10)",
                                 "RegCloseKey(key of ROOT\\PORTS\\0000)",
                                 "DiInstallDevice(best driver, 0x1)",
                                 "SetupDiGetDeviceInstallParamsW(584)",
                                 "CM_Get_Device_IDW(1, 200, 0)",
                                 "SetupDiDestroyDeviceInfoList()",
                                 "ComDBClose()",
                             }));
}

TEST_F(DeviceCreation, LeavesTheNumberToTheSystemWhenNoneIsAskedFor) {
    machine.portDatabase.claimed = {1, 2};
    machine.calls.clear();
    ASSERT_RESULT(S_OK, create(Variant()));
    EXPECT_EQ(created().portName(), L"COM3");
    for (const auto* function : {"ComDBClaimPort", "SetupDiCreateDevRegKeyW", "RegSetValueExW"})
        EXPECT_EQ(machine.calls.count(function), 0) << function;
    EXPECT_EQ(machine.calls.count("SetupDiGetClassDevsExW"), 2 * 2); // of two refreshes; used numbers are not listed
}

// The number stands from the fourth character on, whatever the first three are.
TEST_F(DeviceCreation, ReadsTheNumberFromTheFourthCharacter) {
    const struct {
        const wchar_t* portName;
        const wchar_t* expected;
    } rows[] = {
        {L"COM7", L"COM7"},   {L"ABC8", L"COM8"},     {L"COM09", L"COM9"}, {L"COM21x5", L"COM21"},
        {L"   22", L"COM22"}, {L"COM256", L"COM256"}, {L"COM0", L"COM1"},  {L"COMX", L"COM2"},
        {L"CO", L"COM3"},     {L"COM", L"COM4"},      {L"", L"COM5"},      {L"COM-7", L"COM6"},
        {L"C", L"COM10"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(describe(row.portName));
        ASSERT_RESULT(S_OK, create(row.portName));
        EXPECT_EQ(created().portName(), row.expected);
    }
}

TEST_F(DeviceCreation, OmittedMeansAnyNumber) {
    Variant nullText;
    nullText.vt = VT_BSTR;
    EXPECT_RESULT(S_OK, create(Variant()));
    EXPECT_RESULT(S_OK, create(Variant::omitted()));
    EXPECT_RESULT(S_OK, create(nullText));
    EXPECT_EQ(nodes(), 3U);
}

TEST_F(DeviceCreation, RefusesWhatIsNoString) {
    Bstr text(L"COM7");
    Variant reference;
    reference.vt = VT_BSTR | VT_BYREF;
    reference.pbstrVal = text.put();
    Variant otherError = Variant::omitted();
    otherError.scode = E_FAIL;
    Variant null;
    null.vt = VT_NULL;
    machine.calls.clear();
    for (const VARIANT* argument : std::initializer_list<const VARIANT*>{&reference, &otherError, &null})
        EXPECT_RESULT(E_INVALIDARG, create(*argument));
    EXPECT_RESULT(E_INVALIDARG, create(Variant(3L)));
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
}

TEST_F(DeviceCreation, RefusesNumbersOfPresentPortsWhateverTheirOrder) {
    machine.addSerialPort(L"COM10");
    machine.addSerialPort(L"COM1");
    machine.addPort(L"COM3");
    machine.addSerialPort(L"COM3"); // twice is no fault
    const auto before = nodes();
    machine.calls.clear();
    for (const auto* name : {L"COM1", L"COM3", L"COM10", L"XYZ3"})
        EXPECT_RESULT(kNumberTaken, create(name)) << describe(name);
    EXPECT_EQ(nodes(), before);
    EXPECT_EQ(machine.calls.count("ComDBOpen"), 0);
    EXPECT_RESULT(S_OK, create(L"COM2"));
    EXPECT_RESULT(S_OK, create(L"COM11"));
}

// What the database alone holds is taken over.
TEST_F(DeviceCreation, ClaimsANumberThatNoPresentPortHas) {
    machine.portDatabase.claimed = {7};
    machine.addSerialPort(L"COM7").present = false;
    EXPECT_RESULT(S_OK, create(L"COM7"));
}

TEST_F(DeviceCreation, UsedNumbersAreReadWithTheRightsOfChangingThem) {
    machine.addSerialPort(L"COM1");
    machine.calls.clear();
    ASSERT_RESULT(S_OK, create(L"COM7"));
    EXPECT_EQ(
        machine.calls.texts("SetupDiGetClassDevsExW").front(), "SetupDiGetClassDevsExW(serial, 0x12, new, null)");
    EXPECT_EQ(machine.calls.texts("SetupDiOpenDevRegKey").front(), "SetupDiOpenDevRegKey(1, 0, 1, 0x2001f)");
}

TEST_F(DeviceCreation, OneMalformedPortNameFailsEveryNamedCreation) {
    auto& other = machine.addSerialPort(L"COM1");
    auto odd = textValue(L"COM4");
    odd.bytes.push_back(0);
    auto unterminated = textValue(L"COM4");
    unterminated.bytes.resize(unterminated.bytes.size() - 2);
    const RegistryValue rows[] = {
        textValue(L"COM0"),
        textValue(L"COMX"),
        textValue(L"LPT"),
        textValue(L""),
        textValue(L"COM-1"),
        textValue(L"COM4", REG_MULTI_SZ),
        {REG_SZ, {}},
        {REG_DWORD, {4, 0, 0, 0}},
        odd,
        unterminated,
        textValue(std::wstring(300, L'1')), // more than is read
    };
    for (const auto& value : rows) {
        SCOPED_TRACE(testing::PrintToString(value.bytes));
        other.key.values[L"PortName"] = value;
        EXPECT_RESULT(E_FAIL, create(L"COM7"));
        EXPECT_RESULT(E_FAIL, create(L"CO")); // a text, if one without a number
    }
    other.key.values.clear();
    EXPECT_RESULT(E_FAIL, create(L"COM7"));
    EXPECT_EQ(nodes(), 1U);
    EXPECT_RESULT(S_OK, create(L"")); // nobody asks for a number: nothing is listed
}

TEST_F(DeviceCreation, OtherSpellingsOfAPresentNameAreUnderstood) {
    machine.addSerialPort(L"").key.values[L"PortName"] = textValue(L"COM4", REG_EXPAND_SZ);
    machine.addSerialPort(L"TTY5");
    machine.addSerialPort(L"COM6extra");
    for (const auto* name : {L"COM4", L"COM5", L"COM6"})
        EXPECT_RESULT(kNumberTaken, create(name)) << describe(name);
}

TEST_F(DeviceCreation, PortWhoseKeyDoesNotOpenIsPassedOver) {
    machine.addSerialPort(L"COM1").key.openError = ERROR_ACCESS_DENIED;
    machine.addSerialPort(L"COM2").key.exists = false;
    machine.addSerialPort(L"COM3");
    EXPECT_RESULT(kNumberTaken, create(L"COM3"));
    EXPECT_RESULT(S_OK, create(L"COM1"));
}

TEST_F(DeviceCreation, EachFailingStepEndsItWithItsError) {
    const struct {
        const char* function;
        bool leavesNode; // registered, but not installed
    } rows[] = {
        {"SetupDiCreateDeviceInfoList", false},
        {"SetupDiCreateDeviceInfoW", false},
        {"SetupDiSetDeviceRegistryPropertyW", false},
        {"SetupDiCallClassInstaller", false},
        {"DiInstallDevice", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.function);
        const auto before = nodes();
        const auto heldBefore = machine.held();
        machine.calls.clear();
        machine.fail(row.function, 1, ERROR_CANCELLED);
        EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_CANCELLED), create(L"COM7"));
        EXPECT_EQ(nodes() > before && created().registered, row.leavesNode);
        EXPECT_TRUE(machine.portDatabase.claimed.empty());
        EXPECT_EQ(machine.calls.count("Sleep"), 0);
        EXPECT_EQ(machine.calls.texts().back(), "ComDBClose()");
        EXPECT_EQ(machine.held(), heldBefore);
    }
}

TEST_F(DeviceCreation, DatabaseThatDoesNotOpenIsAFailureWithoutACode) {
    machine.calls.clear();
    machine.fail("ComDBOpen", 1, static_cast<DWORD>(-1));
    EXPECT_RESULT(E_FAIL, create(L"COM7"));
    EXPECT_EQ(machine.calls.count("SetupDiCreateDeviceInfoList"), 0);
    machine.fail("ComDBOpen", 1, ERROR_ACCESS_DENIED); // its handle is invalid then
    EXPECT_RESULT(E_FAIL, create(L"COM7"));
}

TEST_F(DeviceCreation, StepsThatMayFailDoNotEndIt) {
    for (const auto* function :
         {"SetupDiClassNameFromGuidW", "ComDBClaimPort", "SetupDiCreateDevRegKeyW", "RegSetValueExW",
          "SetupDiGetDeviceInstallParamsW"}) {
        SCOPED_TRACE(function);
        machine.fail(function, 1, ERROR_CANCELLED);
        EXPECT_RESULT(S_OK, create((L"COM" + std::to_wstring(100 + nodes())).c_str()));
    }
}

// The errors are read after the clean-up on purpose.
// An error that the clean-up leaves must not hide the one of the failed step, for the system's clean-up leaves "no
// error".
TEST_F(DeviceCreation, CleanUpDoesNotHideTheError) {
    machine.calls.after("SetupDiDestroyDeviceInfoList", CallLog::kEvery, [] { SetLastError(ERROR_SUCCESS); });
    machine.fail("SetupDiCreateDeviceInfoW", 1, ERROR_CANCELLED);
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_CANCELLED), create(L"COM7"));
}

// Intended: the number is released before the error is read.
TEST_F(DeviceCreation, ReleaseOfTheNumberMayReplaceTheError) {
    machine.calls.after("ComDBReleasePort", 1, [] { SetLastError(ERROR_BUSY); });
    machine.fail("DiInstallDevice", 1, ERROR_CANCELLED);
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_BUSY), create(L"COM7"));
}

TEST_F(DeviceCreation, FailedInstallationReleasesTheNumberUnlessARestartIsNeeded) {
    machine.plugAndPlay.installation.error = ERROR_CANCELLED;
    machine.calls.clear();
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_CANCELLED), create(L"COM7"));
    EXPECT_EQ(machine.calls.texts("ComDBReleasePort"), std::vector<std::string>{"ComDBReleasePort(7)"});
    EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_CANCELLED), create(L"")); // none claimed, none released
    EXPECT_EQ(machine.calls.count("ComDBReleasePort"), 1);

    machine.plugAndPlay.installation.rebootNeeded = true;
    EXPECT_RESULT(kRestartNeeded, create(L"COM8"));
    EXPECT_EQ(machine.calls.count("ComDBReleasePort"), 1);
    EXPECT_EQ(machine.portDatabase.claimed, (std::set<DWORD>{8}));
}

TEST_F(DeviceCreation, RestartThatIsNeededIsReported) {
    const struct {
        bool rebootNeeded;
        DWORD installFlags;
        HRESULT result;
    } rows[] = {
        {true, 0, kRestartNeeded},
        {false, DI_NEEDREBOOT, kRestartNeeded},
        {false, DI_NEEDRESTART, kRestartNeeded},
        {false, ~DWORD{DI_NEEDREBOOT | DI_NEEDRESTART}, S_OK},
    };
    for (const auto& row : rows) {
        machine.plugAndPlay.installation.rebootNeeded = row.rebootNeeded;
        machine.plugAndPlay.installation.installFlags = row.installFlags;
        machine.calls.clear();
        EXPECT_RESULT(row.result, create(L""));
        EXPECT_EQ(machine.calls.count("Sleep") == 0, row.result != S_OK);
    }
}

TEST_F(DeviceCreation, WaitsUntilTheDeviceAppears) {
    for (const int looks : {0, 1, 5, 118}) {
        SCOPED_TRACE(looks);
        machine.plugAndPlay.installation.looksUntilPresent = looks;
        machine.calls.clear();
        machine.clock = {};
        EXPECT_RESULT(S_OK, create(L""));
        EXPECT_EQ(machine.calls.count("Sleep"), looks + 1);
        EXPECT_EQ(machine.clock.milliseconds, 500ULL * static_cast<unsigned>(looks + 1));
    }
}

TEST_F(DeviceCreation, GivesUpAfterAMinute) {
    for (const int looks : {119, Installation::kNever}) {
        machine.plugAndPlay.installation.looksUntilPresent = looks;
        machine.calls.clear();
        machine.clock = {};
        EXPECT_RESULT(kRestartNeeded, create(L""));
        EXPECT_EQ(machine.calls.texts("Sleep"), std::vector<std::string>(119, "Sleep(500)"));
        EXPECT_EQ(machine.calls.count("SetupDiGetClassDevsExW"), 2 * (1 + 119));
    }
}

TEST_F(DeviceCreation, DeviceThatAppearsBrokenIsReturnedAsItIs) {
    machine.calls.after("DiInstallDevice", 1, [&] { created().openError = ERROR_ACCESS_DENIED; });
    const auto device = createDevice(library(), L"COM7");
    EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
}

} // namespace

} // namespace zorvan::simulation

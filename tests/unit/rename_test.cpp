// Renaming a port: each step of it, and what is left when one fails.
#include "driver/record.h"
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

namespace zorvan::simulation {

namespace {

using protocol::Set;

const auto kNegativeStatus = static_cast<DWORD>(E_ACCESSDENIED);

// Everything that a rename may change.
struct Outcome {
    std::set<DWORD> claimed{6};
    bool oldDosName = false;
    std::wstring portName = L"COM6"; // in the device's key
    std::wstring friendlyName = L"Serial port (COM6)";
    std::wstring toldDriver = L"COM6";
    std::wstring property = L"COM6";
    Texts events{"listener changed COM6 name"};

    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    return stream << "claimed " << testing::PrintToString(outcome.claimed) << ", old DOS name "
                  << (outcome.oldDosName ? "there" : "gone") << ", PortName " << describe(outcome.portName)
                  << ", friendly name " << describe(outcome.friendlyName) << ", driver told "
                  << describe(outcome.toldDriver) << ", property " << describe(outcome.property) << ", events "
                  << testing::PrintToString(outcome.events);
}

Outcome unchanged(Texts events = {}) {
    return {{5}, true, L"COM5", L"Serial port (COM5)", L"", L"COM5", std::move(events)};
}

Outcome with(std::function<void(Outcome&)> difference) {
    Outcome outcome;
    difference(outcome);
    return outcome;
}

class Rename : public SimulationTest {
protected:
    Journal journal;
    Listener listener{journal, "listener"};
    DeviceNode* port = nullptr;
    ComPointer<IVirtualSerialLibrary> library;
    ComPointer<IVirtualSerialDevice> device;

    // A machine with COM5, which all of the system knows by that name.
    void prepare() {
        release();
        machine.plugAndPlay.nodes().clear();
        port = &machine.addPort(L"COM5");
        port->friendlyName = L"Serial port (COM5)";
        machine.portDatabase.claimed = {5};
        machine.dosNames.targets = {{L"COM5", L"\\Device\\Serial5"}};
        journal.clear();
        library = createLibrary();
        EXPECT_RESULT(S_OK, library->addListener(&listener));
        device = SimulationTest::device(*library, L"COM5");
        machine.calls.clear();
    }

    HRESULT rename(const std::wstring& name) { return device->put_portName(Bstr(name).get()); }

    Outcome outcome() const {
        std::wstring told;
        for (const auto& record : port->driver.records(Set::PortName))
            told += protocol::RecordReader(record).readString();
        return {
            machine.portDatabase.claimed,
            machine.dosNames.targets.count(L"COM5") != 0,
            port->portName(),
            *port->friendlyName,
            told,
            readText(*device, &IVirtualSerialDevice::get_portName),
            journal.texts()};
    }

    void TearDown() override {
        release();
        SimulationTest::TearDown();
    }

private:
    void release() {
        device = {};
        library = {};
    }
};

TEST_F(Rename, TakesItsStepsInOrder) {
    prepare();
    auto& neighbour = machine.addPort(L"COM8");
    neighbour.friendlyName = L"COM5 is my neighbour";
    EXPECT_RESULT(S_OK, rename(L"COM6"));
    EXPECT_EQ(outcome(), Outcome());
    EXPECT_EQ(neighbour.portName(), L"COM8");
    EXPECT_EQ(neighbour.friendlyName, L"COM5 is my neighbour");
    EXPECT_TRUE(neighbour.driver.requests.empty());

    Texts steps;
    for (const auto& text : machine.calls.texts())
        for (const auto* function :
             {"ComDB", "QueryDosDevice", "DefineDosDevice", "RegSetValue", "SetupDiGetDeviceRegistryProperty",
              "SetupDiSetDeviceRegistryProperty"})
            if (text.rfind(function, 0) == 0)
                steps.push_back(text);
    EXPECT_EQ(
        steps,
        (Texts{
            "ComDBOpen()", "ComDBReleasePort(5)", "ComDBClaimPort(6, force)", "QueryDosDeviceW(COM5, 259)",
            "DefineDosDeviceW(2, COM5, null)", "RegSetValueExW(key of ROOT\\PORTS\\0000, PortName, 1, COM6, 10)",
            "SetupDiGetDeviceRegistryPropertyW(12, 520)", "SetupDiSetDeviceRegistryPropertyW(12, 36)",
            "ComDBClose()"}));
    EXPECT_EQ(
        port->driver.records(Set::PortName),
        std::vector<Bytes>{protocol::RecordWriter().appendString(L"COM6").bytes()});
}

TEST_F(Rename, EachStepMayFail) {
    const auto bothClaimed = with([](auto& left) { left.claimed = {5, 6}; });
    const auto nobodyIsTold = with([](auto& left) { left.toldDriver.clear(), left.events.clear(); });
    const auto friendlyNameStays =
        with([](auto& left) { left.toldDriver.clear(), left.friendlyName = L"Serial port (COM5)"; });
    auto rolledBack = unchanged();
    rolledBack.oldDosName = false;
    const struct {
        const char* function;
        int nth; // from the start of the rename
        DWORD error;
        HRESULT result;
        Outcome left;
    } rows[] = {
        // Looking for the device: without one there is nothing to rename, but the change is reported. Intended.
        {"SetupDiGetClassDevsExW", 1, ERROR_GEN_FAILURE, S_OK, unchanged({"listener changed COM5 name"})},
        {"SetupDiGetClassDevsExW", 2, ERROR_GEN_FAILURE, S_OK, {}}, // no port is known to be used
        {"SetupDiEnumDeviceInfo", 3, ERROR_GEN_FAILURE, S_OK, unchanged({"listener changed COM5 name"})},
        {"SetupDiOpenDevRegKey", 1, ERROR_ACCESS_DENIED, S_OK, {}},
        {"SetupDiOpenDevRegKey", 2, ERROR_ACCESS_DENIED, S_OK, unchanged({"listener changed COM5 name"})},
        {"RegQueryValueExW", 1, ERROR_GEN_FAILURE, E_FAIL, unchanged()}, // a used port without a number
        {"RegQueryValueExW", 2, ERROR_GEN_FAILURE, S_OK, unchanged({"listener changed COM5 name"})},
        // The port database
        {"ComDBOpen", 1, kNegativeStatus, E_FAIL, unchanged()},
        {"ComDBOpen", 1, ERROR_ACCESS_DENIED, S_OK, with([](auto& left) { left.claimed = {5}; })},
        {"ComDBReleasePort", 1, ERROR_GEN_FAILURE, S_OK, bothClaimed},
        {"ComDBClaimPort", 1, ERROR_GEN_FAILURE, S_OK, with([](auto& left) { left.claimed = {}; })},
        // The old DOS name
        {"QueryDosDeviceW", 1, ERROR_ACCESS_DENIED, S_OK, with([](auto& left) { left.oldDosName = true; })},
        {"DefineDosDeviceW", 1, ERROR_ACCESS_DENIED, S_OK, with([](auto& left) { left.oldDosName = true; })},
        // PortName: only a negative status counts as a failure. Intended.
        {"RegSetValueExW", 1, ERROR_ACCESS_DENIED, S_OK, with([](auto& left) { left.portName = L"COM5"; })},
        {"RegSetValueExW", 1, kNegativeStatus, E_FAIL, rolledBack},
        // The friendly name, without which the driver is not told. Intended.
        {"SetupDiGetDeviceRegistryPropertyW", 1, ERROR_GEN_FAILURE, S_OK, friendlyNameStays},
        {"SetupDiSetDeviceRegistryPropertyW", 1, ERROR_GEN_FAILURE, S_OK, friendlyNameStays},
        // Telling the driver: everything is renamed, but nobody is told.
        {"CreateFileW", 1, ERROR_ACCESS_DENIED, E_ACCESSDENIED, nobodyIsTold},
        {"DeviceIoControl", 1, ERROR_GEN_FAILURE, HRESULT_FROM_WIN32(ERROR_GEN_FAILURE), nobodyIsTold},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(
            std::string(row.function) + " " + std::to_string(row.nth) + ", row " + std::to_string(&row - rows));
        prepare();
        machine.fail(row.function, row.nth, row.error);
        EXPECT_RESULT(row.result, rename(L"COM6"));
        EXPECT_EQ(outcome(), row.left);
    }
}

TEST_F(Rename, NumbersOfPresentPortsAreRefused) {
    for (const auto* name : {L"COM5", L"COM6", L"com6", L"COM06", L"COM6x", L"XYZ6"}) {
        SCOPED_TRACE(describe(name));
        prepare();
        machine.addSerialPort(L"COM6");
        EXPECT_RESULT(E_FAIL, rename(name));
        EXPECT_EQ(outcome(), unchanged());
        EXPECT_EQ(machine.calls.count("ComDBOpen"), 0);
    }
}

// Intended: the new name is any text.
TEST_F(Rename, NameNeedNotBeOne) {
    const struct {
        std::wstring name;
        DWORD claimed;
    } rows[] = {
        {L"PORT", 0}, {L"C", 0}, {L"", 0}, {L"COM-7", 0}, {L"com7", 7}, {L"COM7bis", 7}, {L"COM256", 256},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(describe(row.name));
        prepare();
        EXPECT_RESULT(S_OK, rename(row.name));
        const std::string ascii(row.name.begin(), row.name.end());
        EXPECT_EQ(
            outcome(), (Outcome{
                           {row.claimed},
                           false,
                           row.name,
                           L"Serial port (" + row.name + L")",
                           row.name,
                           row.name,
                           {"listener changed " + ascii + " name"}}));
    }
    prepare();
    EXPECT_RESULT(S_OK, device->put_portName(nullptr));
    EXPECT_EQ(port->portName(), L"");
    prepare();
    port->friendlyName = L"COM5COM5"; // what was put in is not searched again
    EXPECT_RESULT(S_OK, rename(L"XCOM5"));
    EXPECT_EQ(port->friendlyName, L"XCOM5XCOM5");
    prepare();
    machine.dosNames.targets.clear();
    EXPECT_RESULT(S_OK, rename(std::wstring(L"COM6\0COM7", 9)));
    EXPECT_EQ(outcome(), Outcome());
}

TEST_F(Rename, FriendlyNameIsEditedWhereverItSaysTheOldName) {
    const struct {
        std::optional<std::wstring> before;
        std::wstring after;
        bool told;
    } rows[] = {
        {L"COM5", L"COM6", true},
        {L"COM5 (COM5) COM5COM5", L"COM6 (COM6) COM6COM6", true},
        {L"Port (COM55)", L"Port (COM65)", true}, // a piece of a longer name counts too
        {std::wstring(L"Port (COM5)\0COM5", 16), L"Port (COM6)", true},
        {L"Port (com5)", L"Port (com5)", false},
        {L"Port (COM7)", L"Port (COM7)", false},
        {L"", L"", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        prepare();
        port->friendlyName = row.before;
        EXPECT_RESULT(S_OK, rename(L"COM6"));
        const auto left = outcome();
        EXPECT_EQ(left.friendlyName, row.after);
        EXPECT_EQ(left.toldDriver, row.told ? L"COM6" : L"");
        EXPECT_EQ(left.portName, L"COM6");
        EXPECT_EQ(left.events, (Texts{"listener changed COM6 name"}));
    }
}

// The device is looked for by the name that this library knows.
TEST_F(Rename, DeviceThatIsGoneOrHasAnotherNameIsLeftAloneAndReported) {
    const std::function<void(DeviceNode&)> changes[] = {
        [](DeviceNode& node) { node.present = false; },
        [](DeviceNode& node) { node.setPortName(L"COM9"); },
        [](DeviceNode& node) { node.setPortName(L"com5"); },
    };
    for (const auto& change : changes) {
        prepare();
        change(*port);
        const auto before = outcome();
        EXPECT_RESULT(S_OK, rename(L"COM6"));
        auto after = outcome();
        EXPECT_EQ(after.events, (Texts{"listener changed COM5 name"}));
        after.events = {};
        EXPECT_EQ(after, before);
    }
}

} // namespace

} // namespace zorvan::simulation

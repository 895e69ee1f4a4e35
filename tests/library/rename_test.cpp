// Renaming a port: each step of it, and what is left when one fails.
#include "driver/record.h"
#include "one_port.h"
#include "simulation/subscribers.h"
#include "support/signal.h"

#include <thread>

namespace zorvan::simulation {

namespace {

using protocol::Set;

const auto kNegativeStatus = static_cast<DWORD>(E_ACCESSDENIED);

// All that a rename from COM5 to COM6 does before it is reported.
const char* const kEverything = "released claimed dos key friendly property driver ";
const Texts kReported{"listener changed COM6 name"};
const Texts kReportedWithoutChange{"listener changed COM5 name"};

class Rename : public OnePort {
protected:
    Journal journal;
    Listener listener{journal, "listener"};

    // A machine with COM5, which all of the system knows by that name.
    void SetUp() override {
        releaseDevice();
        machine.plugAndPlay.nodes().clear();
        OnePort::SetUp();
        port().friendlyName = L"Serial port (COM5)";
        machine.portDatabase.claimed = {5};
        machine.dosNames.targets = {{L"COM5", L"\\Device\\Serial5"}};
        EXPECT_RESULT(S_OK, library()->addListener(&listener));
        journal.clear();
    }

    HRESULT rename(const std::wstring& name) { return device5().put_portName(Bstr(name).get()); }
    std::wstring property() { return readText(device5(), &IVirtualSerialDevice::get_portName); }

    // What a rename to COM6 has not done.
    std::string undone() {
        std::string words;
        const auto add = [&](const char* what, bool isDone) { words += isDone ? "" : std::string(what) + " "; };
        add("released", !machine.portDatabase.claimed.contains(5));
        add("claimed", machine.portDatabase.claimed.contains(6));
        add("dos", machine.dosNames.targets.empty());
        add("key", port().portName() == L"COM6");
        add("friendly", port().friendlyName == L"Serial port (COM6)");
        add("property", property() == L"COM6");
        const auto told = driver().records(Set::PortName);
        add("driver", told == std::vector<Bytes>{protocol::RecordWriter().appendString(L"COM6").bytes()});
        return words;
    }
};

TEST_F(Rename, TakesItsStepsInOrder) {
    auto& neighbour = machine.addPort(L"COM8"); // which is not looked at: the walk ends at the match
    neighbour.friendlyName = L"COM5 is my neighbour";
    listener.onEvent = [&] {
        EXPECT_EQ(machine.calls.count("ComDBClose"), 0) << "the report comes before";
        EXPECT_RESULT(E_FAIL, rename(L"COM6")); // its own name; nothing of the device is locked
        return S_OK;
    };
    EXPECT_RESULT(S_OK, rename(L"COM6"));
    EXPECT_EQ(undone(), "");
    EXPECT_EQ(neighbour.portName(), L"COM8");
    EXPECT_EQ(neighbour.friendlyName, L"COM5 is my neighbour");
    EXPECT_TRUE(neighbour.driver.requests.empty());

    EXPECT_EQ(
        callsOf(
            machine,
            {"ComDB", "QueryDosDevice", "DefineDosDevice", "RegSetValue", "SetupDiGetDeviceR", "SetupDiSetDeviceR"}),
        (Texts{
            "ComDBOpen(...)", "ComDBReleasePort(port database, 5)", "ComDBClaimPort(port database, 6, 1, null)",
            "QueryDosDeviceW(COM5, ..., 259)", "DefineDosDeviceW(2, COM5, null)",
            "RegSetValueExW(key of ROOT\\PORTS\\0000, PortName, 0, 1, ..., 10)",
            "SetupDiGetDeviceRegistryPropertyW(device information set, ..., 12, null, ..., 520, null)",
            "SetupDiSetDeviceRegistryPropertyW(device information set, ..., 12, ..., 36)",
            "ComDBClose(port database)"}));
}

TEST_F(Rename, EachStepMayFail) {
    const auto old = kReportedWithoutChange;
    const struct {
        const char* function;
        int nth; // from the start of the rename
        DWORD error;
        HRESULT result;
        const char* undone;
        Texts events;
    } rows[] = {
        // Looking for the device: without one there is nothing to rename, but the change is reported. Intended.
        {"SetupDiGetClassDevsW", 1, ERROR_GEN_FAILURE, S_OK, kEverything, old},
        {"SetupDiGetClassDevsExW", 1, ERROR_GEN_FAILURE, S_OK, "", kReported}, // no port is known to be used
        {"SetupDiEnumDeviceInfo", 3, ERROR_GEN_FAILURE, S_OK, kEverything, old},
        {"SetupDiOpenDevRegKey", 1, ERROR_ACCESS_DENIED, S_OK, "", kReported},
        {"SetupDiOpenDevRegKey", 2, ERROR_ACCESS_DENIED, S_OK, kEverything, old},
        {"RegQueryValueExW", 1, ERROR_GEN_FAILURE, E_FAIL, kEverything, {}}, // a used port without a number
        {"RegQueryValueExW", 2, ERROR_GEN_FAILURE, S_OK, kEverything, old},
        // The port database
        {"ComDBOpen", 1, kNegativeStatus, E_FAIL, kEverything, {}},
        {"ComDBOpen", 1, ERROR_ACCESS_DENIED, S_OK, "released claimed ", kReported},
        {"ComDBReleasePort", 1, ERROR_GEN_FAILURE, S_OK, "released ", kReported},
        {"ComDBClaimPort", 1, ERROR_GEN_FAILURE, S_OK, "claimed ", kReported},
        // The old DOS name
        {"QueryDosDeviceW", 1, ERROR_ACCESS_DENIED, S_OK, "dos ", kReported},
        {"DefineDosDeviceW", 1, ERROR_ACCESS_DENIED, S_OK, "dos ", kReported},
        // PortName: only a negative status counts as a failure, and gives the number back. Intended.
        {"RegSetValueExW", 1, ERROR_ACCESS_DENIED, S_OK, "key ", kReported},
        {"RegSetValueExW", 1, kNegativeStatus, E_FAIL, "released claimed key friendly property driver ", {}},
        // The friendly name, without which the driver is not told. Intended.
        {"SetupDiGetDeviceRegistryPropertyW", 1, ERROR_GEN_FAILURE, S_OK, "friendly driver ", kReported},
        {"SetupDiSetDeviceRegistryPropertyW", 1, ERROR_GEN_FAILURE, S_OK, "friendly driver ", kReported},
        // Telling the driver: everything is renamed, but nobody is told.
        {"CreateFileW", 1, ERROR_ACCESS_DENIED, E_ACCESSDENIED, "driver ", {}},
        {"DeviceIoControl", 1, ERROR_GEN_FAILURE, HRESULT_FROM_WIN32(ERROR_GEN_FAILURE), "driver ", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(
            std::string(row.function) + " " + std::to_string(row.nth) + ", row " + std::to_string(&row - rows));
        SetUp();
        machine.fail(row.function, row.nth, row.error);
        EXPECT_RESULT(row.result, rename(L"COM6"));
        EXPECT_EQ(undone(), row.undone);
        EXPECT_EQ(journal.texts(), row.events);
    }
}

TEST_F(Rename, FriendlyNameIsEditedWhereverItSaysTheOldName) {
    const std::wstring x256(256, L'x'); // with the old name what 520 bytes hold
    const std::tuple<std::wstring, const wchar_t*, std::wstring> rows[] = {
        {L"COM5 (COM5) COM5COM5", L"COM6", L"COM6 (COM6) COM6COM6"},
        {L"COM5COM5", L"XCOM5", L"XCOM5XCOM5"},      // what was put in is not searched again
        {L"Port (COM55)", L"COM6", L"Port (COM65)"}, // a piece of a longer name counts too
        {std::wstring(L"Port (COM5)\0COM5", 16), L"COM6", L"Port (COM6)"},
        {L"Port (com5)", L"COM6", L"Port (com5)"},
        {L"", L"COM6", L""},
        {x256 + L"COM5", L"COM6", x256 + L"COM6"},
        {x256 + L"xCOM5", L"COM6", x256 + L"xCOM5"},
    };
    for (const auto& [before, name, after] : rows) {
        SCOPED_TRACE(describe(before));
        SetUp();
        port().friendlyName = before;
        EXPECT_RESULT(S_OK, rename(name));
        EXPECT_EQ(port().friendlyName, after);
        EXPECT_EQ(driver().records(Set::PortName).size(), before == after ? 0U : 1U);
        EXPECT_EQ(property(), name);
    }
    SetUp();
    EXPECT_RESULT(S_OK, rename(std::wstring(L"COM6\0COM7", 9))); // a name ends where it says
    EXPECT_EQ(undone(), "");
    SetUp();
    EXPECT_RESULT(S_OK, device5().put_portName(nullptr));
    EXPECT_EQ(port().portName(), L"");
    EXPECT_EQ(machine.portDatabase.claimed, std::set<DWORD>{0}); // what has no number claims 0
}

// The event thread looks names up too, and must not wait for this one.
TEST_F(Rename, EventsGoOnWhileTheDriverDoesNotAnswer) {
    Signal arrived;
    Signal released;
    driver().beforeAnswer = [&](std::uint32_t code) {
        if (code != static_cast<std::uint32_t>(Set::PortName))
            return;
        arrived.tell();
        released.wait();
    };
    std::thread renaming([&] { EXPECT_RESULT(S_OK, rename(L"COM6")); });
    arrived.wait();
    machine.signal(port());
    journal.await(1);
    machine.change([&] { machine.addPort(L"COM7"); });
    std::thread announcing([&] { machine.announce(); });
    journal.await(2);
    released.tell();
    renaming.join();
    announcing.join();
    EXPECT_EQ(
        journal.texts(), (Texts{"listener changed COM6 mode", "listener added COM7", "listener changed COM6 name"}));
}

TEST_F(Rename, DeviceThatHasAnotherNameByNowIsLeftAloneAndReported) {
    for (const auto* name : {L"COM9", L"com5"}) {
        SetUp();
        port().setPortName(name);
        EXPECT_RESULT(S_OK, rename(L"COM6"));
        EXPECT_EQ(port().portName(), name);
        EXPECT_EQ(machine.portDatabase.claimed, std::set<DWORD>{5});
        EXPECT_EQ(journal.texts(), kReportedWithoutChange);
    }
}

} // namespace

} // namespace zorvan::simulation

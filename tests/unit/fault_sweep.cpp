#include "fault_sweep.h"

#include "function_failures.h"
#include "listed_members.h"
#include "runner/runner.h"
#include "simulation/heap.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace zorvan::simulation {

namespace {

// More than any method makes.
constexpr int kTooMany = 5000;

const char* nameOf(Share share) {
    return share == Share::Half ? " with half of it" : " with nothing";
}

const Outcome* find(const Row& row, const std::string& key) {
    const auto found = row.outcomes.find(key);
    return found == row.outcomes.end() ? nullptr : &found->second;
}

Outcome outcomeOfCall(const Row& row, const Fault& fault) {
    const bool less = fault.kind == Fault::Kind::Less;
    const std::string suffix = less ? ", less" : "";
    if (fault.kind == Fault::Kind::Always)
        return kAnything;
    if (const auto* exact = find(row, fault.function + "#" + std::to_string(fault.nthOfFunction) + suffix))
        return *exact;
    if (const auto* ofFunction = find(row, fault.function + suffix))
        return *ofFunction;
    if (less)
        return kIgnored;
    const auto& general = functionNamed(fault.function).outcome;
    const auto* otherwise = find(row, kElse);
    return otherwise != nullptr && general.kind == Outcome::Kind::Error ? *otherwise : general;
}

Outcome outcomeOfAllocation(const Row& row, HRESULT result) {
    if (const auto* exact = find(row, kAllocation))
        return *exact;
    return result == E_OUTOFMEMORY ? failsWith(E_OUTOFMEMORY) : kUnnoticed;
}

bool isAmong(const std::vector<HRESULT>& results, HRESULT result) {
    return std::find(results.begin(), results.end(), result) != results.end();
}

std::string hexOf(HRESULT result) {
    return describe(Hex{static_cast<DWORD>(result)});
}

bool isNothing(const std::string& given) {
    return given.empty() || given == "untouched" || given == "null";
}

// What the driver of a port says of it while the sweep runs. One port cannot be all this at once, but nobody asks for
// more than one thing at a time.
void describeConnections(DeviceNode& port, Process& host, DWORD partner) {
    auto& state = port.driver.state;
    state.pair = partner;
    state.remoteServer = L"server";
    state.remotePort = L"COM3";
    state.securityDescriptor = L"D:AR(A;;CC;;;WD)";
    state.pipe.pipe = host.own(std::make_shared<File>(L"\\\\.\\pipe\\name"));
    state.files.inputFile = host.own(std::make_shared<File>(L"C:\\in.txt"));
    state.files.outputFile = host.own(std::make_shared<File>(L"C:\\out.txt"));
}

} // namespace

Scene::Scene(Machine& simulated, ShippedLibrary& shipped) : machine(simulated), dll(shipped) {
    void* made = nullptr;
    require(dll.getClassObject(__uuidof(VirtualSerialLibrary), __uuidof(IClassFactory), &made), "the class factory");
    factory = ComPointer<IClassFactory>::attach(static_cast<IClassFactory*>(made));
    require(factory->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), &made), "CreateInstance");
    library = ComPointer<IVirtualSerialLibrary>::attach(static_cast<IVirtualSerialLibrary*>(made));
    machine.threads.awaitSettled();

    devices = readObject(*library, &IVirtualSerialLibrary::get_devicesCollection);
    array = readObject(*library, &IVirtualSerialLibrary::get_devicesArray);
    const auto unknown = readObject(*devices, &IDeviceCollection::get__NewEnum);
    require(unknown->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(enumerator.put())), "the enumerator");
    require(devices->get_Item(Variant(L"COM5"), other.put()), "COM5");
    require(devices->get_Item(Variant(L"COM6"), device.put()), "COM6");
    socket = readObject(*device, &IVirtualSerialDevice::get_localSocket);
    pin = readObject(*socket, &ISocket::get_DTR);
    target = readObject(*socket, &ISocket::get_DSR);
}

std::string Fault::text() const {
    switch (kind) {
    case Kind::None:
        return "nothing fails";
    case Kind::Error:
        return "call " + std::to_string(nth) + ", " + function + ", fails with " + std::to_string(error);
    case Kind::Always:
        return function + " fails always, with " + std::to_string(error);
    case Kind::Less:
        return "call " + std::to_string(nth) + ", " + function + ", succeeds" + nameOf(share);
    default:
        return "allocation " + std::to_string(nth) + " fails";
    }
}

void FaultSweep::SetUp() {
    machine.addSerialPort(L"COM1");
    auto& port5 = machine.addPort(L"COM5");
    auto& port6 = machine.addPort(L"COM6");
    port6.friendlyName = L"Port (COM6)";
    auto& host = machine.hostOf(port6);
    host.needsDebugPrivilege = true;
    describeConnections(port6, host, port5.driver.hostProcessId);
    machine.portDatabase.claimed = {1, 5, 6};
    machine.dosNames.targets = {{L"COM6", L"\\Device\\Serial6"}};
    machine.files.existing = {L"C:\\in.txt", L"\\\\.\\pipe\\name"};
    machine.users.accounts = {{L"user", {L"domain", kPassword}}};
    machine.modules.libraryPath = L"C:\\Product\\bin\\zorvanlib.dll";
    machine.modules.loadable = {L"C:\\Product\\bin\\DIFxAPI.dll"};
    // What others have registered.
    for (const auto* name : {L"AppID", L"CLSID"}) {
        machine.registry.classesRoot.keys[name].keys[L"other"];
        machine.registry.currentUser.keys[L"Software"].keys[L"Classes"].keys[name].keys[L"other"];
    }
    initial_ = std::make_unique<MachineState>(machine);
    test::allowTime(std::chrono::seconds(120));
}

FaultSweep::Counts FaultSweep::total_;
std::set<std::string> FaultSweep::swept_;

FaultSweep::Counts& FaultSweep::Counts::operator+=(const Counts& more) {
    methods += more.methods;
    calls += more.calls;
    allocations += more.allocations;
    return *this;
}

std::string FaultSweep::Counts::text() const {
    return std::to_string(calls) + " calls and " + std::to_string(allocations) + " allocations failed";
}

void FaultSweep::sweep(const std::vector<Row>& rows) {
    Counts swept;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto counts = sweepRow(row);
        std::printf("  %s: %s\n", row.name, counts.text().c_str());
        swept += counts;
        const std::string name = row.name;
        swept_.insert(name.substr(0, name.find(','))); // what follows says which case it is
    }
    shared_.reset();
    machine.threads.awaitEnd();
    expectNothingHeld();
    total_ += swept;
    RecordProperty("methods", swept.methods);
    RecordProperty("calls_failed", swept.calls);
    RecordProperty("allocations_failed", swept.allocations);
}

void FaultSweep::TearDownTestSuite() {
    const auto& suite = *testing::UnitTest::GetInstance()->current_test_suite();
    const bool isWhole = suite.test_to_run_count() == suite.total_test_count();
    for (const auto& member : isWhole ? listedMembers() : std::vector<std::string>())
        EXPECT_TRUE(swept_.contains(member)) << member << " has no row";
    std::printf("Of %d methods and cases of methods, %s.\n", total_.methods, total_.text().c_str());
}

FaultSweep::Counts FaultSweep::sweepRow(const Row& row) {
    // The first time may leave room for what comes after it.
    attempt(row, {});
    attempt(row, {});
    const auto functions = calls_;
    sweepFunctions(row, functions);
    return {1, sweepCalls(row, functions), sweepAllocations(row)};
}

int FaultSweep::sweepCalls(const Row& row, const std::vector<std::string>& functions) {
    int failed = 0;
    std::map<std::string, int> counts;
    for (std::size_t i = 0; i < functions.size(); ++i) {
        Fault fault;
        fault.kind = Fault::Kind::Error;
        fault.nth = static_cast<int>(i) + 1;
        fault.function = functions[i];
        fault.nthOfFunction = ++counts[functions[i]];
        const auto& function = functionNamed(fault.function);
        fault.error = function.error;
        if (!attempt(row, fault))
            continue; // a function that cannot fail
        ++failed;
        fault.error = ERROR_SUCCESS;
        failed += !function.returnsError && attempt(row, fault) ? 1 : 0;
        fault.kind = Fault::Kind::Less;
        for (fault.share = Share::Half; bringsData(fault.function); fault.share = Share::Nothing) {
            failed += attempt(row, fault) ? 1 : 0;
            if (fault.share == Share::Nothing)
                break;
        }
    }
    return failed;
}

// What a method can do without, it can do without for good. The result may be anything.
void FaultSweep::sweepFunctions(const Row& row, const std::vector<std::string>& functions) {
    std::set<std::string> names(functions.begin(), functions.end());
    // Without these the event thread takes no message for good, and whoever sends it one waits as long.
    names.erase("MsgWaitForMultipleObjects");
    names.erase("PostMessageW");
    for (const auto& name : names) {
        Fault fault;
        fault.kind = Fault::Kind::Always;
        fault.function = name;
        fault.error = functionNamed(name).error;
        attempt(row, fault);
    }
}

int FaultSweep::sweepAllocations(const Row& row) {
    Fault fault;
    fault.kind = Fault::Kind::Allocation;
    fault.nth = 1;
    while (fault.nth < kTooMany && attempt(row, fault))
        ++fault.nth;
    EXPECT_LT(fault.nth, kTooMany);
    return fault.nth - 1;
}

bool FaultSweep::attempt(const Row& row, const Fault& fault) {
    SCOPED_TRACE(fault.text());
    // The C++ runtime keeps what it sets up for the first exceptions of a kind: a leak shows every time.
    if (blocksKept(row, fault) != 0) {
        EXPECT_EQ(blocksKept(row, fault), 0) << "memory is leaked";
    }
    return disturbed_;
}

Scene& FaultSweep::sharedScene() {
    if (shared_ == nullptr) {
        initial_->restore(machine);
        shared_ = std::make_unique<Scene>(machine, dll());
        // Keeps the type library loaded: whoever asks for it reads the file again otherwise.
        DISPID unused = DISPID_UNKNOWN;
        require(dispatchId(*shared_->library, L"createDevice", unused), "the type library");
        sharedState_ = std::make_unique<MachineState>(machine);
    }
    return *shared_;
}

long FaultSweep::blocksKept(const Row& row, const Fault& fault) {
    if (row.fresh)
        return blocksKeptByScene(row, fault);
    auto& scene = sharedScene();
    const auto held = machine.held();
    const long blocks = Heap::blocks();
    sharedState_->restore(machine);
    run(scene, row, fault);
    EXPECT_EQ(machine.held(), held) << "the method has not given these back";
    return Heap::blocks() - blocks;
}

long FaultSweep::blocksKeptByScene(const Row& row, const Fault& fault) {
    if (shared_ != nullptr) {
        shared_.reset();
        machine.threads.awaitEnd();
    }
    dll();
    const long blocks = Heap::blocks();
    initial_->restore(machine);
    {
        Scene scene(machine, dll());
        run(scene, row, fault);
    }
    machine.threads.awaitEnd();
    expectNothingHeld();
    return Heap::blocks() - blocks;
}

void FaultSweep::expectNothingHeld() {
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
    EXPECT_EQ(machine.held(), std::vector<std::string>{"mutex"}) << "the library has not given these back";
    machine.change([&] { // the list only grows
        machine.threads = {};
        machine.kernel.events.clear();
        machine.windows.notifications.clear();
    });
}

void FaultSweep::run(Scene& scene, const Row& row, const Fault& fault) {
    const MachineState untouched(machine);
    if (row.arrange)
        row.arrange(scene);
    const auto before = stateOf(machine);
    const auto answer = call(scene, row, fault);
    if (fault.kind == Fault::Kind::None)
        success_ = answer;
    else if (disturbed_)
        check(row, fault, before, answer);
    if (row.verify)
        row.verify(scene, fault);
    if (fault.kind != Fault::Kind::None)
        repeat(scene, row, untouched, answer.state == before && isNothing(answer.given));
}

// On the same object, in the state that the failure has left when nothing was done.
void FaultSweep::repeat(Scene& scene, const Row& row, const MachineState& untouched, bool undone) {
    if (!undone && row.fresh)
        return;
    if (!undone) {
        untouched.restore(machine);
        if (row.arrange)
            row.arrange(scene);
    }
    const bool disturbed = disturbed_;
    const auto again = call(scene, row, {});
    disturbed_ = disturbed;
    EXPECT_RESULT(success_.result, again.result) << "when nothing fails any more";
    EXPECT_EQ(success_.given, again.given) << "when nothing fails any more";
    if (!row.fresh) {
        EXPECT_EQ(success_.state, again.state) << "when nothing fails any more";
    }
}

FaultSweep::Answer FaultSweep::call(Scene& scene, const Row& row, const Fault& fault) {
    machine.calls.clear();
    if (fault.kind == Fault::Kind::Error)
        machine.calls.failNth(fault.nth, fault.error);
    if (fault.kind == Fault::Kind::Always)
        machine.calls.fail(fault.function, CallLog::kEvery, fault.error);
    if (fault.kind == Fault::Kind::Less)
        machine.calls.shortenNth(fault.nth, fault.share);
    if (fault.kind == Fault::Kind::Allocation)
        Heap::failAllocation(fault.nth);
    Answer answer;
    const auto actingAs = machine.users.actingAs;
    const int secrets = Heap::freedWith(kPassword, [&] { answer.result = row.act(scene, answer.given); });
    const bool toCome = Heap::failAllocation(0);
    disturbed_ = fault.kind == Fault::Kind::Allocation ? !toCome : machine.calls.disturbed();
    if (fault.kind == Fault::Kind::None)
        calls_ = machine.calls.names();
    machine.calls.clear();
    answer.state = stateOf(machine);
    EXPECT_EQ(secrets, 0) << "freed memory holds the password";
    const bool revertible =
        fault.kind != Fault::Kind::Always || (fault.function != "RevertToSelf" && fault.function != "SetThreadToken");
    EXPECT_TRUE(machine.users.actingAs == actingAs || !revertible) << "a thread acts as another user than before";
    return answer;
}

void FaultSweep::check(const Row& row, const Fault& fault, const std::string& before, const Answer& answer) const {
    const auto outcome =
        fault.kind == Fault::Kind::Allocation ? outcomeOfAllocation(row, answer.result) : outcomeOfCall(row, fault);
    std::vector<HRESULT> expected = outcome.results;
    if (outcome.kind == Outcome::Kind::Anything)
        expected = {answer.result};
    if (outcome.kind == Outcome::Kind::Success)
        expected = {success_.result};
    if (outcome.kind == Outcome::Kind::Error)
        expected = {fault.error == 0 ? row.silent : HRESULT_FROM_WIN32(static_cast<LONG>(fault.error))};
    EXPECT_TRUE(isAmong(expected, answer.result))
        << "the result is " << hexOf(answer.result) << ", not " << hexOf(expected.front());
    checkGiven(answer, outcome, before);
}

void FaultSweep::checkGiven(const Answer& answer, const Outcome& outcome, const std::string& before) const {
    if (FAILED(answer.result)) {
        EXPECT_TRUE(isNothing(answer.given)) << "a failure has given out " << answer.given;
    }
    if (outcome.effect == Outcome::Effect::None) {
        EXPECT_TRUE(isNothing(answer.given)) << "given out: " << answer.given;
        EXPECT_EQ(answer.state, before);
    }
    if (outcome.effect == Outcome::Effect::Whole) {
        EXPECT_EQ(answer.given, success_.given);
        EXPECT_EQ(answer.state, success_.state);
    }
}

} // namespace zorvan::simulation

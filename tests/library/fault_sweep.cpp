#include "fault_sweep.h"

#include "simulation/heap.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

// clang-format off

// Functions that return their error, so that 0 is a success.
const std::set<std::string> kReturnError{
    "CM_Get_Device_IDW", "ComDBClaimPort", "ComDBClose", "ComDBOpen", "ComDBReleasePort", "DriverPackagePreinstallW",
    "DriverPackageUninstallW", "LoadRegTypeLib", "LoadTypeLib", "RegCloseKey", "RegCreateKeyExW", "RegDeleteKeyExW",
    "RegEnumKeyExW", "RegOpenKeyExW", "RegQueryValueExW", "RegSetValueExW", "RegisterTypeLib",
    "RegisterTypeLibForUser", "SafeArrayCreateVector", "SafeArrayLock", "SysAllocStringLen", "UnRegisterTypeLib",
    "UnRegisterTypeLibForUser", "VarBstrCmp", "VariantChangeType", "VariantCopy"};
// Functions whose success may bring less than was asked for.
const std::set<std::string> kBringData{
    "CM_Get_Device_IDW", "DeviceIoControl", "GetComputerNameExW", "GetFileInformationByHandleEx", "RegQueryValueExW",
    "SetupDiGetDeviceRegistryPropertyW"};
// Functions whose failure most methods do not report, or not with its error.
const Outcomes kUsual{
    {"CloseHandle", kUnnoticed}, {"ComDBClose", kUnnoticed}, {"FreeLibrary", kUnnoticed}, {"RegCloseKey", kUnnoticed},
    {"SetupDiDeleteDeviceInterfaceData", kUnnoticed}, {"SetupDiDestroyDeviceInfoList", kUnnoticed},
    {"SafeArrayCreateVector", {{E_OUTOFMEMORY}}}, {"SysAllocStringLen", {{E_OUTOFMEMORY}}},
    {kAllocation, {{E_OUTOFMEMORY, S_OK}}}};

// clang-format on

DWORD errorOf(const std::string& function) {
    if (function == "SetupDiEnumDeviceInfo")
        return ERROR_NO_MORE_ITEMS;
    return function == "RegQueryValueExW" ? ERROR_FILE_NOT_FOUND : ERROR_GEN_FAILURE;
}

Outcome outcomeOf(
    const Row& row, const std::string& exact, const std::string& function, const Outcome& otherwise = kReported) {
    const std::pair<const Outcomes&, std::string> keys[] = {
        {row.outcomes, exact}, {row.outcomes, function}, {kUsual, function}};
    for (const auto& [outcomes, key] : keys)
        if (const auto found = outcomes.find(key); found != outcomes.end())
            return found->second;
    const auto found = row.outcomes.find(kElse);
    return found == row.outcomes.end() || function.ends_with(", less") ? otherwise : found->second;
}

std::vector<Fault> faultsOfCalls(const Row& row, const std::vector<std::string>& functions) {
    std::vector<Fault> faults;
    std::map<std::string, int> counts;
    for (std::size_t i = 0; i < functions.size(); ++i) {
        const auto& name = functions[i];
        const int nth = static_cast<int>(i) + 1;
        const auto text = "call " + std::to_string(nth) + ", " + name;
        const auto exact = name + "#" + std::to_string(++counts[name]);
        const auto fails = [&](DWORD error) {
            const auto arrange = [=](CallLog& calls) { calls.failNth(nth, error); };
            const auto how = ", fails with " + std::to_string(error);
            faults.push_back({text + how, name, arrange, outcomeOf(row, exact, name), error});
        };
        const auto brings = [&](Share share, const char* how) {
            const auto arrange = [=](CallLog& calls) { calls.shortenNth(nth, share); };
            faults.push_back(
                {text + how, name, arrange, outcomeOf(row, exact + ", less", name + ", less", kIgnored)});
        };
        // What a method can do without, it can do without for good; the result may be anything. Without these two the
        // event thread takes no message for good, and whoever sends it one waits as long.
        const auto failsAlways = [=](CallLog& calls) { calls.fail(name, CallLog::kEvery, errorOf(name)); };
        if (counts[name] == 1 && name != "MsgWaitForMultipleObjects" && name != "PostMessageW")
            faults.push_back({name + " fails always", name, failsAlways});
        fails(errorOf(name));
        if (!kReturnError.contains(name))
            fails(ERROR_SUCCESS);
        if (kBringData.contains(name)) {
            brings(Share::Half, ", brings half");
            brings(Share::Nothing, ", brings nothing");
        }
    }
    return faults;
}

} // namespace

IDispatch& Scene::object(const std::string& interfaceName) const {
    return *std::map<std::string, IDispatch*>{
        {"IVirtualSerialLibrary", library.get()},
        {"IVirtualSerialDevice", device.get()},
        {"IDeviceCollection", devices.get()},
        {"ISocket", socket.get()},
        {"IPin", pin.get()}}
                .at(interfaceName);
}

void FaultSweep::SetUp() {
    machine.addSerialPort(L"COM1");
    auto& port5 = machine.addPort(L"COM5");
    auto& port6 = machine.addPort(L"COM6");
    port6.friendlyName = L"Port (COM6)";
    auto& host = machine.hostOf(port6);
    host.needsDebugPrivilege = true;
    // One port cannot be all this at once, but nobody asks for more than one thing at a time.
    auto& state = port6.driver.state;
    state.pair = port5.driver.hostProcessId;
    state.remoteServer = L"server";
    state.remotePort = L"COM3";
    state.securityDescriptor = L"D:AR(A;;CC;;;WD)";
    state.pipe.pipe = host.own(std::make_shared<File>(kPipe));
    state.files.inputFile = host.own(std::make_shared<File>(L"C:\\in.txt"));
    state.files.outputFile = host.own(std::make_shared<File>(L"C:\\out.txt"));
    machine.portDatabase.claimed = {1, 5, 6};
    machine.dosNames.targets = {{L"COM6", L"\\Device\\Serial6"}};
    machine.files.existing = {L"C:\\in.txt", kPipe};
    machine.users.accounts = {{L"user", {L"domain", kPassword}}};
    machine.modules.libraryPath = L"C:\\Product\\bin\\zorvanlib.dll";
    machine.modules.loadable = {L"C:\\Product\\bin\\DIFxAPI.dll"};
    // What others have registered.
    for (const auto* name : {L"AppID", L"CLSID"}) {
        machine.registry.classesRoot.keys[name].keys[L"other"];
        machine.registry.currentUser.keys[L"Software"].keys[L"Classes"].keys[name].keys[L"other"];
    }
    initial_ = std::make_unique<MachineState>(machine);
    dll();
}

void FaultSweep::sweep(std::map<std::string, std::vector<Row>> rowsOfInterfaces) {
    std::set<std::string> named;
    std::vector<Row> rows;
    for (auto& [interfaceName, rowsOfInterface] : rowsOfInterfaces)
        for (auto& row : rowsOfInterface) {
            row.name = interfaceName + "::" + row.name;
            named.insert(row.name.substr(0, row.name.find(',')));
            rows.push_back(row);
        }
    for (const auto& [name, member] : listedMembers()) {
        EXPECT_TRUE(named.contains(member.interfaceName + "::Invoke")) << name << " is not called by its name";
        if (named.contains(name))
            continue;
        EXPECT_FALSE(member.takesArguments) << name << " has no row";
        if (!member.takesArguments)
            rows.push_back({name});
    }
    for (const auto& row : rows)
        sweepRow(row);
    endScene();
    EXPECT_GT(failures_, 3'000) << "calls and allocations have not failed that should have";
}

void FaultSweep::sweepRow(const Row& row) {
    SCOPED_TRACE(row.name);
    // The first time may leave room for what comes after it.
    attempt(row, {});
    attempt(row, {});
    for (const auto& fault : faultsOfCalls(row, success_.calls))
        failures_ += attempt(row, fault) ? 1 : 0;
    for (int nth = 1;; ++nth) {
        const auto text = "allocation " + std::to_string(nth) + " fails";
        const auto arrange = [=](const CallLog&) { Heap::failAllocation(nth); };
        if (!attempt(row, {text, kAllocation, arrange, outcomeOf(row, kAllocation, kAllocation)}))
            return;
        ++failures_;
    }
}

bool FaultSweep::attempt(const Row& row, const Fault& fault) {
    SCOPED_TRACE(fault.text);
    bool disturbed = false;
    // The C++ runtime keeps what it sets up for the first exceptions of a kind: a leak shows the second time, too.
    long kept = 1;
    for (int times = 0; times < 2 && kept != 0; ++times) {
        row.fresh ? endScene() : beginScene();
        const auto held = machine.held();
        const long blocks = Heap::blocks();
        beginScene();
        disturbed = run(row, fault);
        if (row.fresh)
            endScene();
        EXPECT_EQ(machine.held(), held) << "the method has not given these back";
        kept = Heap::blocks() - blocks;
    }
    EXPECT_EQ(kept, 0) << "memory is leaked";
    return disturbed;
}

void FaultSweep::beginScene() {
    (scene_ ? state_ : initial_)->restore(machine);
    if (scene_)
        return;
    scene_.reset(new Scene{machine, dll()});
    scene_->factory = classFactory();
    scene_->library = createLibrary();
    scene_->devices = collection(*scene_->library);
    scene_->array = readObject(*scene_->library, &IVirtualSerialLibrary::get_devicesArray);
    const auto unknown = readObject(*scene_->devices, &IDeviceCollection::get__NewEnum);
    require(unknown->QueryInterface(IID_PPV_ARGS(scene_->enumerator.put())), "the enumerator");
    scene_->other = device(*scene_->library, L"COM5");
    scene_->device = device(*scene_->library, L"COM6");
    scene_->socket = readObject(*scene_->device, &IVirtualSerialDevice::get_localSocket);
    scene_->pin = readObject(*scene_->socket, &ISocket::get_DTR);
    scene_->target = readObject(*scene_->socket, &ISocket::get_DSR);
    state_ = std::make_unique<MachineState>(machine);
}

void FaultSweep::endScene() {
    scene_.reset();
    machine.threads.awaitEnd();
    EXPECT_RESULT(S_OK, dll().canUnloadNow());
    machine.change([&] { // the list only grows
        machine.threads = {};
        machine.windows.notifications.clear();
    });
}

bool FaultSweep::run(const Row& row, const Fault& fault) {
    const auto arrange = [&] { require(row.arrange ? row.arrange(*scene_) : S_OK, "what comes before"); };
    arrange();
    const auto before = stateOf(machine);
    const auto answer = call(row, fault);
    if (!fault.arrange)
        success_ = answer;
    else if (answer.disturbed)
        check(row, fault, answer, before);
    if (row.verify)
        row.verify(*scene_, fault);
    // Once more on the same object, in the state that the failure has left when nothing was done.
    const bool undone = answer.state == before && answer.given.empty();
    if (!fault.arrange || (row.fresh && !undone))
        return answer.disturbed;
    if (!undone) {
        state_->restore(machine);
        arrange();
    }
    const auto again = call(row, {});
    EXPECT_RESULT(success_.result, again.result) << "when nothing fails any more";
    EXPECT_EQ(success_.given, again.given) << "when nothing fails any more";
    EXPECT_TRUE(success_.state == again.state || row.fresh) << "when nothing fails any more: " << again.state;
    return answer.disturbed;
}

FaultSweep::Answer FaultSweep::call(const Row& row, const Fault& fault) {
    const auto callRow = [&] {
        if (row.call)
            return row.call(*scene_);
        const auto& member = listedMembers().at(row.name);
        return member.call(scene_->object(member.interfaceName), scene_->out.as(member.result));
    };
    Answer answer;
    const auto actingAs = machine.users.actingAs;
    scene_->out.reset();
    machine.calls.clear();
    if (fault.arrange)
        fault.arrange(machine.calls);
    const int secrets = Heap::freedWith(kPassword, [&] { answer.result = callRow(); });
    const bool allocationFailed = !Heap::failAllocation(0);
    answer.given = scene_->out.text();
    EXPECT_FALSE(scene_->out.isGarbage());
    scene_->out.reset();
    answer.disturbed = fault.function == kAllocation ? allocationFailed : machine.calls.disturbed();
    answer.calls = machine.calls.names();
    machine.calls.clear();
    answer.state = stateOf(machine);
    EXPECT_EQ(secrets, 0) << "freed memory holds the password";
    const bool staysForGood =
        !fault.outcome && (fault.function == "RevertToSelf" || fault.function == "SetThreadToken");
    EXPECT_TRUE(machine.users.actingAs == actingAs || staysForGood) << "a thread acts as another user than before";
    return answer;
}

void FaultSweep::check(const Row& row, const Fault& fault, const Answer& answer, const std::string& before) const {
    EXPECT_TRUE(SUCCEEDED(answer.result) || answer.given.empty()) << "a failure has given out " << answer.given;
    if (!fault.outcome)
        return;
    auto [results, partly] = *fault.outcome;
    const bool isReported = results.empty();
    if (isReported)
        results = {fault.error == 0 ? row.silent : HRESULT_FROM_WIN32(static_cast<LONG>(fault.error))};
    EXPECT_TRUE(std::find(results.begin(), results.end(), answer.result) != results.end())
        << "the result is " << Result{answer.result} << ", not " << Result{results.front()};
    if (partly)
        return;
    const bool undone = isReported || FAILED(answer.result);
    EXPECT_EQ(answer.given, undone ? "" : success_.given);
    EXPECT_EQ(answer.state, undone ? before : success_.state);
}

} // namespace zorvan::simulation

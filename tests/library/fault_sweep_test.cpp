// Every method and export of the library, with everything that it asks of Windows failing in turn: see fault_sweep.h.
#include "fault_sweep.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

// An error may have done part of the work, where nothing else is said.
const Outcome kOutOfMemoryOrDone{{E_OUTOFMEMORY, S_OK}, true};
const Outcome kFailureOrNothing{{S_OK, E_FAIL}, true};
const Outcome kStaysClosed{{HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED)}};

// clang-format off

// Without the privilege the host process stays closed, which is then what is reported.
const Outcomes kHostHandles{{"LookupPrivilegeValueW", kStaysClosed}};
// A reply without a handle: the host process has no such handle.
const Outcomes kHostHandleNames{
    {"LookupPrivilegeValueW", kStaysClosed},
    {"DeviceIoControl, less", {{S_OK, HRESULT_FROM_WIN32(ERROR_INVALID_HANDLE)}, true}}};
// A handle that cannot be handed over is sent as 0, for the driver to refuse; the simulated one takes it.
const Outcomes kHandOver{
    {"OpenProcess", kIgnored}, {"OpenProcessToken", kIgnored}, {"LookupPrivilegeValueW", kIgnored},
    {"AdjustTokenPrivileges", kIgnored}, {"DuplicateHandle", kIgnored}};
// The partner is told to listen first, which stays so.
const Outcomes kBridge{
    {"CreateFileW#2", kReportedLate}, {"DeviceIoControl#2", kReportedLate}, {kAllocation, kOutOfMemoryOrDone}};
// What is not found or not readable ends the renaming early, as does a friendly name that cannot be changed; the
// driver, told last, may refuse when all else is done.
const Outcomes kRenaming{
    {kElse, kIgnored}, {"RegQueryValueExW", kFailureOrNothing}, {"RegQueryValueExW, less", kFailureOrNothing},
    {"CreateFileW", kReportedLate}, {"DeviceIoControl", kReportedLate}, {kAllocation, kOutOfMemoryOrDone}};
// A device that cannot be opened is left to the next look, and one that its driver does not know is not alive. A port
// without a number fails the listing. Without an instance ID nobody knows what to wait for, although the port is there.
const Outcomes kCreation{
    {kElse, kIgnored}, {"RegQueryValueExW", kFailureOrNothing}, {"RegQueryValueExW, less", kFailureOrNothing},
    {"ComDBOpen", {{E_FAIL}}}, {"SetupDiCreateDeviceInfoList", kReported}, {"SetupDiCreateDeviceInfoW", kReported},
    {"SetupDiSetDeviceRegistryPropertyW", kReported}, {"SetupDiCallClassInstaller", kReported},
    {"DiInstallDevice", kReported}, {"CM_Get_Device_IDW", {{S_OK, kRestartNeeded}, true}},
    {"CM_Get_Device_IDW, less", {{S_OK, kRestartNeeded}, true}}, {kAllocation, kOutOfMemoryOrDone}};
// A callback's own failures end nothing; those of the queue and of the keep-alive's answer do.
const Outcomes kDispatching{
    {kElse, kIgnored}, {"SysAllocStringLen", kIgnored}, {"SleepConditionVariableSRW", kReported},
    {"VariantChangeType", kReported}, {kAllocation, kOutOfMemoryOrDone}};
const Outcomes kNobodyIsTold{
    {kElse, kIgnored}, {"SafeArrayCreateVector", kIgnored}, {"SysAllocStringLen", kIgnored}, {kAllocation, kIgnored}};
// The third event is the thread's; the others are of devices, which the next look opens. The thread comes last.
const Outcomes kLibrary{
    {kElse, kIgnored}, {"CreateEventW#3", {{E_FAIL}, true}}, {"GetModuleHandleExW", {{E_FAIL}, true}},
    {"CreateThread", {{E_FAIL}, true}}, {kAllocation, kOutOfMemoryOrDone}};
const Outcomes kUninstalling{
    {"GetProcAddress", {{E_POINTER}}}, {"GetProcAddress#2", kUnnoticed}, // what installs is not needed
    {"GetSystemDirectoryW", kIgnored}, {"DeleteFileW", kIgnored}};
// Functions that are looked up, and that there are others for.
const Outcomes kLookedUp{{"GetModuleHandleW", kUnnoticed}, {"GetProcAddress", kUnnoticed}};
// What was done before a failure stays done.
const Outcomes kNotUndone{
    {"GetModuleHandleW", kUnnoticed}, {"GetProcAddress", kUnnoticed}, {kElse, kReportedLate},
    {kAllocation, {{E_OUTOFMEMORY}, true}}};
// There is no other function for the user's type library.
const Outcomes kNotUndoneForUser{
    {"GetModuleHandleW", kUnnoticed}, {"GetProcAddress", {{S_OK, HRESULT_FROM_WIN32(ERROR_GEN_FAILURE)}, true}},
    {kElse, kReportedLate}, {kAllocation, {{E_OUTOFMEMORY}, true}}};
// What a member fails with is the exception of a late-bound call.
const Outcomes kExceptions{
    {"SysAllocStringLen", {{DISP_E_EXCEPTION}}}, {"CreateFileW", {{DISP_E_EXCEPTION, S_OK}, true}},
    {"DeviceIoControl", {{DISP_E_EXCEPTION, S_OK}, true}},
    {kAllocation, {{DISP_E_EXCEPTION, E_OUTOFMEMORY, S_OK}, true}}};

// clang-format on

HRESULT createRemoteBridge(Scene& scene, VARIANT_BOOL permanent) {
    return scene.device->createRemoteBridge(
        Bstr(L"COM3").get(), Bstr(L"server").get(), permanent, Bstr(L"user").get(), Bstr(kPassword).get(),
        Bstr(L"domain").get());
}

HRESULT connectToFiles(Scene& scene) {
    return scene.device->connectToFiles(Bstr(L"C:\\in.txt").get(), Bstr(L"C:\\out.txt").get(), CTF_CreateAlways);
}

HRESULT getItem(Scene& scene, const Variant& index) {
    return scene.devices->get_Item(index, scene.out.as(VT_UNKNOWN));
}

// From the start.
HRESULT next(Scene& scene) {
    Variant elements[3];
    scene.enumerator->Reset();
    return scene.enumerator->Next(3, elements, scene.out.as(VT_UI4));
}

HRESULT create(Scene& scene, const wchar_t* name) {
    return scene.library->createDevice(Variant(name), scene.out.as(VT_UNKNOWN));
}

HRESULT getClassObject(Scene& scene) {
    return scene.dll.getClassObject(__uuidof(VirtualSerialLibrary), IID_IClassFactory, scene.out.as(VT_UNKNOWN));
}

HRESULT registerServer(Scene& scene) {
    return scene.dll.registerServer();
}

HRESULT installForUser(Scene& scene) {
    return scene.dll.install(true, L"user");
}

HRESULT actAsSomebody(Scene& scene) {
    scene.machine.users.actingAs[GetCurrentThreadId()] = L"somebody";
    return S_OK;
}

HRESULT unplug(Scene& scene) {
    return scene.device->restoreDefaultPins();
}

HRESULT plug(Scene& scene) {
    require(unplug(scene), "unplug");
    return scene.pin->sendTo(scene.target.get());
}

// Returns when the event thread has looked and waits again.
HRESULT announce(Scene& scene) {
    scene.machine.announce();
    scene.machine.threads.awaitSettled();
    return S_OK;
}

// One event without data comes to the window when the thread has done what it was signalled for.
HRESULT signal(Scene& scene) {
    scene.machine.signal(scene.machine.plugAndPlay.nodes()[2]);
    scene.machine.announce(0x8000, std::nullopt);
    scene.machine.threads.awaitSettled();
    return S_OK;
}

HRESULT subscribe(Scene& scene) {
    for (const auto method :
         {&IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed}) {
        LONG id = 0;
        require((scene.library.get()->*method)(scene.script.variant(), &id), "subscribing");
    }
    return scene.library->addListener(&scene.listener);
}

// COM5 goes and COM7 comes.
HRESULT changePorts(Scene& scene) {
    scene.machine.change([&] {
        scene.machine.plugAndPlay.nodes()[1].present = false;
        scene.machine.addPort(L"COM7");
    });
    return subscribe(scene);
}

// What is queued for scripts: a list and a change.
HRESULT queueEvents(Scene& scene) {
    require(changePorts(scene), "subscribing");
    announce(scene);
    return scene.device->put_portName(Bstr(L"COM8").get());
}

HRESULT createInstance(Scene& scene) {
    void** const made = scene.out.as(VT_UNKNOWN);
    const HRESULT result = scene.factory->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), made);
    scene.machine.threads.awaitSettled();
    if (result == S_OK)
        scene.created = ComPointer<IVirtualSerialLibrary>(static_cast<IVirtualSerialLibrary*>(*made));
    return result;
}

HRESULT destroyInstance(Scene& scene) {
    scene.created = {};
    return S_OK;
}

void expectAllDevices(IVirtualSerialLibrary& library, Scene& scene) {
    const auto& nodes = scene.machine.plugAndPlay.nodes();
    const auto present =
        std::count_if(nodes.begin(), nodes.end(), [](const auto& node) { return node.present && node.controlPath; });
    const auto devices = readObject(library, &IVirtualSerialLibrary::get_devicesCollection);
    EXPECT_EQ(read(*devices, &IDeviceCollection::get_Count), present);
}

// Whatever failed while the library looked: the next look finds what is there.
void expectAllAfterALook(Scene& scene, const Fault&) {
    announce(scene);
    expectAllDevices(*scene.library, scene);
}

// A library object that could not open a device at first opens it when it looks again.
void expectAllInTheCreated(Scene& scene, const Fault&) {
    if (!scene.created)
        return;
    EXPECT_RESULT(S_OK, scene.created->createDevice(Variant(L""), scene.other.put()));
    expectAllDevices(*scene.created, scene);
    destroyInstance(scene);
    scene.machine.threads.awaitSettled();
}

// A port that comes only now is found: no failure has ended the thread.
void expectThreadGoesOn(Scene& scene, const Fault& fault) {
    scene.machine.change([&] { scene.machine.addPort(L"COM9"); });
    expectAllAfterALook(scene, fault);
}

// At this look or the next one. Only the array of a report itself can be missing, and the report with it.
void expectReports(Scene& scene, const Fault& fault) {
    expectAllAfterALook(scene, fault);
    const auto texts = scene.journal.texts();
    for (const std::string event : {"listener added", "listener deleted"}) {
        const auto isReport = [&](const auto& text) { return text.starts_with(event); };
        EXPECT_TRUE(fault.function.starts_with("SafeArray") || std::any_of(texts.begin(), texts.end(), isReport))
            << event;
    }
    expectThreadGoesOn(scene, fault);
}

HRESULT getTypeInfo(Scene& scene, IDispatch& object) {
    UINT count = 0;
    EXPECT_RESULT(S_OK, object.GetTypeInfoCount(&count));
    return object.GetTypeInfo(0, LOCALE_USER_DEFAULT, scene.out.as(VT_UNKNOWN));
}

// After GetIDsOfNames.
HRESULT invoke(Scene& scene, IDispatch& object, const wchar_t* member, IDispatch* argument = nullptr) {
    std::vector<Variant> arguments(argument == nullptr ? 0 : 1);
    for (auto& value : arguments) {
        value.vt = VT_DISPATCH;
        value.pdispVal = ComPointer<IDispatch>(argument).detach();
    }
    constexpr WORD kFlags = DISPATCH_PROPERTYGET | DISPATCH_METHOD;
    Variant value;
    const HRESULT result = dispatch(object, member, kFlags, std::move(arguments), &value);
    if (SUCCEEDED(result)) // of a failure nobody looks at the value
        *static_cast<LONG*>(scene.out.as(VT_I4)) = value.vt;
    return result;
}

// clang-format off

// A late-bound call asks for the type library once for each object, so each has a new one.
TEST_F(FaultSweep, EveryMethod) {
    sweep({
        {"IVirtualSerialDevice", {
            {"put_enabled", [](Scene& s) { return s.device->put_enabled(VARIANT_FALSE); }},
            {"put_emulateTxOverflow", [](Scene& s) { return s.device->put_emulateTxOverflow(VARIANT_TRUE); }},
            {"put_crossoverProbability", [](Scene& s) { return s.device->put_crossoverProbability(0.25); }},
            {"get_PipeName", {}, kHostHandleNames},
            {"get_inputFileName", {}, kHostHandleNames},
            {"get_outputFileName", {}, kHostHandleNames},
            {"get_pair", {}, {{"DeviceIoControl, less", {{S_OK, E_FAIL, HRESULT_FROM_WIN32(ERROR_NOT_FOUND)}, true}}}},
            {"startListening", [](Scene& s) { return s.device->startListening(Variant(L"D:(A;;GA;;;WD)")); }},
            {"connectToPipe", [](Scene& s) { return s.device->connectToPipe(Bstr(kPipe).get()); }, kHandOver},
            {"createAndConnectPipe",
             [](Scene& s) { return s.device->createAndConnectPipe(Bstr(kPipe).get(), 1, 4096, 4096, 0); }, kHandOver},
            {"createBridge", [](Scene& s) { return s.device->createBridge(s.other.get(), VARIANT_TRUE); }, kBridge},
            {"createRemoteBridge", [](Scene& s) { return createRemoteBridge(s, VARIANT_FALSE); }},
            {"createRemoteBridge, permanent", [](Scene& s) { return createRemoteBridge(s, VARIANT_TRUE); }},
            {"createRemoteBridge, by a thread that acts as somebody",
             [](Scene& s) { return createRemoteBridge(s, VARIANT_TRUE); }, {}, false, actAsSomebody},
            {"connectToFiles", connectToFiles, kHostHandles, false, {}, {}, E_FAIL},
            {"deleteDevice", {}, {{"SetupDiGetDeviceInstallParamsW", kUnnoticed}}},
            {"put_portName", [](Scene& s) { return s.device->put_portName(Bstr(L"COM8").get()); }, kRenaming, true},
            {"restoreDefaultPins", {}, {}, false, plug},
            {"GetTypeInfo", [](Scene& s) { return getTypeInfo(s, *s.device); }, {}, true},
            {"Invoke", [](Scene& s) { return invoke(s, *s.device, L"portName"); }, kExceptions, true},
        }},
        {"ISocket", {
            {"GetTypeInfo", [](Scene& s) { return getTypeInfo(s, *s.socket); }, {}, true},
            {"Invoke", [](Scene& s) { return invoke(s, *s.socket, L"DTR"); }, kExceptions, true},
        }},
        {"IPin", {
            {"sendTo", [](Scene& s) { return s.pin->sendTo(s.target.get()); }, {}, false, unplug},
            {"removeConnectionTo", [](Scene& s) { return s.pin->removeConnectionTo(s.target.get()); }, {}, false, plug},
            {"GetTypeInfo", [](Scene& s) { return getTypeInfo(s, *s.pin); }, {}, true},
            {"Invoke", [](Scene& s) { return invoke(s, *s.pin, L"sendTo", s.target.get()); }, kExceptions, true},
        }},
        {"IDeviceCollection", {
            // A name that cannot be compared is no match.
            {"get_Item, by name", [](Scene& s) { return getItem(s, Variant(L"COM6")); }, {{"VarBstrCmp", {{S_OK, E_INVALIDARG}, true}}}},
            {"get_Item, by number", [](Scene& s) { return getItem(s, Variant(1L)); }},
            {"GetTypeInfo", [](Scene& s) { return getTypeInfo(s, *s.devices); }, {}, true},
            {"Invoke", [](Scene& s) { return invoke(s, *s.devices, L"Count"); }, kExceptions, true},
        }},
        {"IVirtualSerialLibrary", {
            {"createDevice, a number", [](Scene& s) { return create(s, L"COM7"); },
             kCreation, true, {}, expectAllAfterALook, kRestartNeeded},
            {"createDevice, any number", [](Scene& s) { return create(s, L""); },
             kCreation, true, {}, expectAllAfterALook, kRestartNeeded},
            {"addListener", [](Scene& s) { return s.library->addListener(&s.listener); }, {}, true},
            {"removeListener", [](Scene& s) { return s.library->removeListener(&s.listener); }, {}, true, subscribe},
            {"added", [](Scene& s) { return s.library->added(s.script.variant(), s.out.as(VT_I4)); }, {}, true},
            {"deleted", [](Scene& s) { return s.library->deleted(s.script.variant(), s.out.as(VT_I4)); }, {}, true},
            {"changed", [](Scene& s) { return s.library->changed(s.script.variant(), s.out.as(VT_I4)); }, {}, true},
            {"added, ending",
             [](Scene& s) { return s.library->added(Variant(L"1"), s.out.as(VT_I4)); }, {}, true, subscribe},
            {"dispatchEvents",
             [](Scene& s) { return s.library->dispatchEvents(&s.script, 0); }, kDispatching, true, queueEvents},
            {"stopEventDispatching", {}, {}, true},
            {"Release", destroyInstance, {{kElse, kIgnored}}, true, createInstance},
            {"GetTypeInfo", [](Scene& s) { return getTypeInfo(s, *s.library); }, {}, true},
            {"Invoke", [](Scene& s) { return invoke(s, *s.library, L"devicesArray"); }, kExceptions, true},
        }},
        {"IVirtualSerialLibraryListener", {
            {"added, deleted", announce, kNobodyIsTold, true, changePorts, expectReports},
            {"changed", signal, kNobodyIsTold, true, subscribe, expectThreadGoesOn},
        }},
        {"IEnumVARIANT", {
            {"Next", next},
            {"Skip", [](Scene& s) { return s.enumerator->Skip(3); }},
            {"Clone", [](Scene& s) { return s.enumerator->Clone(s.out.as(VT_UNKNOWN)); }},
        }},
        {"device array", {{"Invoke", [](Scene& s) { return invoke(s, *s.array, L"0"); }}}},
        {"IClassFactory", {
            {"LockServer", [](Scene& s) { return s.factory->LockServer(TRUE) | s.factory->LockServer(FALSE); }},
            {"CreateInstance", createInstance, kLibrary, true, {}, expectAllInTheCreated},
        }},
        {"module", {
            {"DllGetClassObject", getClassObject},
            {"DllCanUnloadNow", [](Scene& s) { return s.dll.canUnloadNow(); }},
            {"AutoInstallEx, install",
             [](Scene& s) { return s.dll.autoInstallEx(0); }, {{"GetProcAddress", {{E_POINTER}}}}},
            {"AutoInstallEx, uninstall", [](Scene& s) { return s.dll.autoInstallEx(3); }, kUninstalling},
            {"DllRegisterServer", registerServer, kNotUndone},
            {"DllUnregisterServer", [](Scene& s) { return s.dll.unregisterServer(); }, kNotUndone, false, registerServer},
            {"DllInstall, install", [](Scene& s) { return s.dll.install(true, nullptr); }, kLookedUp},
            {"DllInstall, install for the user", installForUser, {{"GetModuleHandleW", kUnnoticed}}},
            {"DllInstall, uninstall for the user",
             [](Scene& s) { return s.dll.install(false, L"user"); }, kNotUndoneForUser, false, installForUser},
        }},
    });
}

// clang-format on

} // namespace

} // namespace zorvan::simulation

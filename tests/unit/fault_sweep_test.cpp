// Every method and export of the library, with everything that it asks of Windows failing in turn: see fault_sweep.h.
#include "fault_sweep.h"

#include <algorithm>

namespace zorvan::simulation {

namespace {

constexpr HRESULT kAccessDenied = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
constexpr HRESULT kInvalidHandle = HRESULT_FROM_WIN32(ERROR_INVALID_HANDLE);
constexpr HRESULT kNotFound = HRESULT_FROM_WIN32(ERROR_NOT_FOUND);
constexpr HRESULT kRestartNeeded = static_cast<HRESULT>(0x80070BC2);

using Outcomes = std::map<std::string, Outcome>;

Outcomes operator+(Outcomes first, const Outcomes& second) {
    first.insert(second.begin(), second.end());
    return first;
}

// Without the privilege the host process stays closed, which is then what is reported.
const Outcomes kHostHandles{{"LookupPrivilegeValueW", failsWith(kAccessDenied)}};
// A reply without a handle: the host process has no such handle.
const Outcomes kHostHandleNames = kHostHandles + Outcomes{{"DeviceIoControl, less", oneOf({S_OK, kInvalidHandle})}};
// A handle that cannot be handed over is sent as 0, for the driver to refuse; the simulated one takes it.
const Outcomes kHandOver{
    {"OpenProcess", kIgnored},
    {"OpenProcessToken", kIgnored},
    {"LookupPrivilegeValueW", kIgnored},
    {"AdjustTokenPrivileges", kIgnored},
    {"DuplicateHandle", kIgnored}};

// The late-bound half of an interface. The type library is asked for once for each object, so each call has a new
// one.
template <class Interface>
std::vector<Row> lateBoundRows(
    const char* const (&names)[4], ComPointer<Interface> Scene::*object, const wchar_t* member, WORD flags,
    const std::function<std::vector<Variant>(Scene&)>& arguments = [](Scene&) { return std::vector<Variant>(); }) {
    const Act getIds = [=](Scene& scene, std::string& given) {
        DISPID id = DISPID_UNKNOWN;
        const HRESULT result = dispatchId(*(scene.*object), member, id);
        given = id == DISPID_UNKNOWN ? "" : std::to_string(id);
        return result;
    };
    const Act getTypeInfo = [=](Scene& scene, std::string& given) {
        OutParameter<ITypeInfo*> information;
        const HRESULT result = (scene.*object)->GetTypeInfo(0, LOCALE_USER_DEFAULT, information.put());
        given = information.text();
        return result;
    };
    const Act invoke = [=](Scene& scene, std::string& given) {
        Variant value;
        const HRESULT result = dispatch(*(scene.*object), member, flags, arguments(scene), &value);
        given = FAILED(result) || value.vt == VT_EMPTY ? "" : "a value"; // of a failure nobody looks at the value
        return result;
    };
    // What the member itself fails with is the exception of a late-bound call.
    const Outcomes exceptions{
        {"SysAllocStringLen", failsWith(DISP_E_EXCEPTION)},
        {"CreateFileW", oneOf({DISP_E_EXCEPTION, S_OK})},
        {"DeviceIoControl", oneOf({DISP_E_EXCEPTION, S_OK})},
        {kAllocation, oneOf({DISP_E_EXCEPTION, E_OUTOFMEMORY, S_OK})}};
    return {
        {names[0], reading(object, &Interface::GetTypeInfoCount)},
        {names[1], getTypeInfo, {}, true},
        {names[2], getIds, {}, true},
        {names[3], invoke, exceptions, true}};
}

void append(std::vector<Row>& rows, std::vector<Row> more) {
    rows.insert(rows.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

// Devices

using Device = IVirtualSerialDevice;

template <class Value>
Act readingDevice(HRESULT (STDMETHODCALLTYPE Device::*getter)(Value*)) {
    return reading(&Scene::device, getter);
}

Act withText(HRESULT (STDMETHODCALLTYPE Device::*method)(BSTR), const wchar_t* text) {
    return [=](Scene& scene, std::string&) { return ((*scene.device).*method)(Bstr(text).get()); };
}

TEST_F(FaultSweep, DeviceProperties) {
    sweep({
        {"IVirtualSerialDevice::get_mode", readingDevice(&Device::get_mode)},
        {"IVirtualSerialDevice::get_path", readingDevice(&Device::get_path)},
        {"IVirtualSerialDevice::get_deleted", readingDevice(&Device::get_deleted)},
        {"IVirtualSerialDevice::get_portName", readingDevice(&Device::get_portName)},
        {"IVirtualSerialDevice::get_enabled", readingDevice(&Device::get_enabled)},
        {"IVirtualSerialDevice::put_enabled", calling(&Scene::device, &Device::put_enabled, VARIANT_FALSE)},
        {"IVirtualSerialDevice::get_vLibrary", readingDevice(&Device::get_vLibrary)},
        {"IVirtualSerialDevice::get_connections", readingDevice(&Device::get_connections)},
        {"IVirtualSerialDevice::get_bytesSent", readingDevice(&Device::get_bytesSent)},
        {"IVirtualSerialDevice::get_bytesReceived", readingDevice(&Device::get_bytesReceived)},
        {"IVirtualSerialDevice::get_emulateTxOverflow", readingDevice(&Device::get_emulateTxOverflow)},
        {"IVirtualSerialDevice::put_emulateTxOverflow",
         calling(&Scene::device, &Device::put_emulateTxOverflow, VARIANT_TRUE)},
        {"IVirtualSerialDevice::get_crossoverProbability", readingDevice(&Device::get_crossoverProbability)},
        {"IVirtualSerialDevice::put_crossoverProbability",
         calling(&Scene::device, &Device::put_crossoverProbability, 0.25)},
        {"IVirtualSerialDevice::get_securityDescriptor", readingDevice(&Device::get_securityDescriptor)},
        {"IVirtualSerialDevice::get_PipeName", readingDevice(&Device::get_PipeName), kHostHandleNames},
        {"IVirtualSerialDevice::get_inputFileName", readingDevice(&Device::get_inputFileName), kHostHandleNames},
        {"IVirtualSerialDevice::get_outputFileName", readingDevice(&Device::get_outputFileName), kHostHandleNames},
        {"IVirtualSerialDevice::get_pair",
         readingDevice(&Device::get_pair),
         {{"DeviceIoControl, less", oneOf({S_OK, E_FAIL, kNotFound})}}},
        {"IVirtualSerialDevice::get_remoteServer", readingDevice(&Device::get_remoteServer)},
        {"IVirtualSerialDevice::get_remotePort", readingDevice(&Device::get_remotePort)},
        {"IVirtualSerialDevice::get_remoteEndpoint", readingDevice(&Device::get_remoteEndpoint)},
        {"IVirtualSerialDevice::get_localSocket", readingDevice(&Device::get_localSocket)},
        {"IVirtualSerialDevice::get_remoteSocket", readingDevice(&Device::get_remoteSocket)},
    });
}

HRESULT createRemoteBridge(Scene& scene, VARIANT_BOOL permanent) {
    return scene.device->createRemoteBridge(
        Bstr(L"COM3").get(), Bstr(L"server").get(), permanent, Bstr(L"user").get(), Bstr(kPassword).get(),
        Bstr(L"domain").get());
}

TEST_F(FaultSweep, DeviceConnections) {
    sweep({
        {"IVirtualSerialDevice::disconnectDevice", calling(&Scene::device, &Device::disconnectDevice)},
        {"IVirtualSerialDevice::startListening",
         [](Scene& scene, std::string&) { return scene.device->startListening(Variant(L"D:(A;;GA;;;WD)")); }},
        {"IVirtualSerialDevice::connectToPipe", withText(&Device::connectToPipe, L"\\\\.\\pipe\\name"), kHandOver},
        {"IVirtualSerialDevice::createAndConnectPipe",
         [](Scene& scene, std::string&) {
             return scene.device->createAndConnectPipe(Bstr(L"\\\\.\\pipe\\new").get(), 1, 4096, 4096, 0);
         },
         kHandOver},
        // The partner is told to listen first, which stays so.
        {"IVirtualSerialDevice::createBridge",
         [](Scene& scene, std::string&) { return scene.device->createBridge(scene.other.get(), VARIANT_TRUE); },
         {{"CreateFileW#2", kReportedLate},
          {"DeviceIoControl#2", kReportedLate},
          {kAllocation, oneOf({E_OUTOFMEMORY, S_OK})}}},
        {"IVirtualSerialDevice::createRemoteBridge",
         [](Scene& scene, std::string&) { return createRemoteBridge(scene, VARIANT_FALSE); }},
        {"IVirtualSerialDevice::createRemoteBridge, permanent",
         [](Scene& scene, std::string&) { return createRemoteBridge(scene, VARIANT_TRUE); }},
        {"IVirtualSerialDevice::createRemoteBridge, by a thread that acts as somebody",
         [](Scene& scene, std::string&) { return createRemoteBridge(scene, VARIANT_TRUE); },
         {},
         false,
         [](Scene& scene) { scene.machine.users.actingAs[GetCurrentThreadId()] = L"somebody"; }},
        {"IVirtualSerialDevice::connectToFiles",
         [](Scene& scene, std::string&) {
             return scene.device->connectToFiles(
                 Bstr(L"C:\\in.txt").get(), Bstr(L"C:\\out.txt").get(), CTF_CreateAlways);
         },
         kHostHandles},
    });
}

TEST_F(FaultSweep, DeviceNodes) {
    sweep({
        {"IVirtualSerialDevice::deleteDevice",
         calling(&Scene::device, &Device::deleteDevice),
         {{"SetupDiGetDeviceInstallParamsW", kUnnoticed}}},
        // What is not found or not readable ends the renaming early, as does a friendly name that cannot be changed;
        // the driver, told last, may refuse when all else is done.
        {"IVirtualSerialDevice::put_portName",
         withText(&Device::put_portName, L"COM8"),
         {{kElse, kIgnored},
          {"RegQueryValueExW", oneOf({S_OK, E_FAIL})},
          {"RegQueryValueExW, less", oneOf({S_OK, E_FAIL})},
          {"CreateFileW", kReportedLate},
          {"DeviceIoControl", kReportedLate},
          {kAllocation, oneOf({E_OUTOFMEMORY, S_OK})}},
         true},
    });
}

TEST_F(FaultSweep, DeviceLateBound) {
    sweep(lateBoundRows(
        {"IVirtualSerialDevice::GetTypeInfoCount", "IVirtualSerialDevice::GetTypeInfo",
         "IVirtualSerialDevice::GetIDsOfNames", "IVirtualSerialDevice::Invoke"},
        &Scene::device, L"portName", DISPATCH_PROPERTYGET));
}

// Sockets and pins

template <class Object>
Act wiring(HRESULT (STDMETHODCALLTYPE Object::*method)(IPin*)) {
    return [=](Scene& scene, std::string&) { return ((*scene.pin).*method)(scene.target.get()); };
}

void unplug(Scene& scene) {
    require(scene.device->restoreDefaultPins(), "restoreDefaultPins");
}

void plug(Scene& scene) {
    unplug(scene);
    require(scene.pin->sendTo(scene.target.get()), "sendTo");
}

TEST_F(FaultSweep, SocketsAndPins) {
    std::vector<Row> rows{
        {"ISocket::get_DTR", reading(&Scene::socket, &ISocket::get_DTR)},
        {"ISocket::get_DSR", reading(&Scene::socket, &ISocket::get_DSR)},
        {"ISocket::get_DCD", reading(&Scene::socket, &ISocket::get_DCD)},
        {"ISocket::get_RTS", reading(&Scene::socket, &ISocket::get_RTS)},
        {"ISocket::get_CTS", reading(&Scene::socket, &ISocket::get_CTS)},
        {"ISocket::get_RI", reading(&Scene::socket, &ISocket::get_RI)},
        {"IPin::sendTo", wiring(&IPin::sendTo), {}, false, unplug},
        {"IPin::removeConnectionTo", wiring(&IPin::removeConnectionTo), {}, false, plug},
        {"IVirtualSerialDevice::restoreDefaultPins",
         calling(&Scene::device, &Device::restoreDefaultPins),
         {},
         false,
         plug},
    };
    append(
        rows, lateBoundRows(
                  {"ISocket::GetTypeInfoCount", "ISocket::GetTypeInfo", "ISocket::GetIDsOfNames", "ISocket::Invoke"},
                  &Scene::socket, L"DTR", DISPATCH_PROPERTYGET));
    append(
        rows, lateBoundRows(
                  {"IPin::GetTypeInfoCount", "IPin::GetTypeInfo", "IPin::GetIDsOfNames", "IPin::Invoke"}, &Scene::pin,
                  L"sendTo", DISPATCH_METHOD, [](Scene& scene) {
                      std::vector<Variant> arguments(1);
                      arguments[0].vt = VT_DISPATCH;
                      arguments[0].pdispVal = ComPointer<IDispatch>(scene.target.get()).detach();
                      return arguments;
                  }));
    sweep(rows);
}

// Collections

Act item(const std::function<Variant()>& index) {
    return [=](Scene& scene, std::string& given) {
        OutParameter<IVirtualSerialDevice*> device;
        const HRESULT result = scene.devices->get_Item(index(), device.put());
        given = device.text();
        return result;
    };
}

HRESULT next(Scene& scene, std::string& given) {
    Variant elements[3];
    ULONG fetched = 0;
    const HRESULT result = scene.enumerator->Next(3, elements, &fetched);
    given = std::to_string(fetched) + " fetched";
    return result;
}

HRESULT element(Scene& scene, std::string& given) {
    Variant value;
    DISPPARAMS none{};
    const HRESULT result = scene.array->Invoke(0, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr);
    given = value.vt == VT_EMPTY ? "" : "a device";
    return result;
}

HRESULT arrayMember(Scene& scene, std::string& given) {
    DISPID id = DISPID_UNKNOWN;
    const HRESULT result = dispatchId(*scene.array, L"length", id);
    given = std::to_string(id);
    return result;
}

TEST_F(FaultSweep, Collections) {
    std::vector<Row> rows{
        {"IDeviceCollection::get_Count", reading(&Scene::devices, &IDeviceCollection::get_Count)},
        // A name that cannot be compared is no match.
        {"IDeviceCollection::get_Item, by name",
         item([] { return Variant(L"COM6"); }),
         {{"VarBstrCmp", oneOf({S_OK, E_INVALIDARG})}}},
        {"IDeviceCollection::get_Item, by number", item([] { return Variant(1L); })},
        {"IDeviceCollection::get__NewEnum", reading(&Scene::devices, &IDeviceCollection::get__NewEnum)},
        {"IEnumVARIANT::Next", next, {}, false, [](Scene& scene) { scene.enumerator->Reset(); }},
        {"IEnumVARIANT::Skip", calling(&Scene::enumerator, &IEnumVARIANT::Skip, 3U)},
        {"IEnumVARIANT::Reset", calling(&Scene::enumerator, &IEnumVARIANT::Reset)},
        {"IEnumVARIANT::Clone", reading(&Scene::enumerator, &IEnumVARIANT::Clone)},
        {"device array, GetTypeInfoCount", reading(&Scene::array, &IDispatch::GetTypeInfoCount)},
        {"device array, GetIDsOfNames", arrayMember},
        {"device array, Invoke", element},
    };
    append(
        rows, lateBoundRows(
                  {"IDeviceCollection::GetTypeInfoCount", "IDeviceCollection::GetTypeInfo",
                   "IDeviceCollection::GetIDsOfNames", "IDeviceCollection::Invoke"},
                  &Scene::devices, L"Count", DISPATCH_PROPERTYGET));
    sweep(rows);
}

// The library

long deviceCount(IVirtualSerialLibrary& library) {
    return read(*readObject(library, &IVirtualSerialLibrary::get_devicesCollection), &IDeviceCollection::get_Count);
}

Act creating(const wchar_t* name) {
    return [=](Scene& scene, std::string& given) {
        OutParameter<IVirtualSerialDevice*> device;
        const HRESULT result = scene.library->createDevice(Variant(name), device.put());
        given = device.text();
        return result;
    };
}

// Returns when the event thread has looked and waits again.
void announceChange(Scene& scene) {
    scene.machine.announce();
    scene.machine.threads.awaitSettled();
}

// Whatever failed while the library looked: the next look finds what is there.
void expectAllDevicesAfterALook(Scene& scene, const Fault&) {
    announceChange(scene);
    const auto& nodes = scene.machine.plugAndPlay.nodes();
    const auto present =
        std::count_if(nodes.begin(), nodes.end(), [](const auto& node) { return node.present && node.controlPath; });
    EXPECT_EQ(deviceCount(*scene.library), present);
}

// A device that cannot be opened is left to the next look, and one that its driver does not know is not alive.
const Outcomes kCreation{
    {kElse, kIgnored},
    {"RegQueryValueExW", oneOf({S_OK, E_FAIL})}, // a port without a number fails the listing
    {"RegQueryValueExW, less", oneOf({S_OK, E_FAIL})},
    {"ComDBOpen", failsWith(E_FAIL)},
    {"SetupDiCreateDeviceInfoList", kReported},
    {"SetupDiCreateDeviceInfoW", kReported},
    {"SetupDiSetDeviceRegistryPropertyW", kReported},
    {"SetupDiCallClassInstaller", kReported},
    {"DiInstallDevice", kReported},
    // Nobody knows then what to wait for, although the port is there.
    {"CM_Get_Device_IDW", oneOf({S_OK, kRestartNeeded})},
    {"CM_Get_Device_IDW, less", oneOf({S_OK, kRestartNeeded})},
    {kAllocation, oneOf({E_OUTOFMEMORY, S_OK})}};

TEST_F(FaultSweep, DeviceCreation) {
    sweep({
        {"IVirtualSerialLibrary::createDevice, a number",
         creating(L"COM7"),
         kCreation,
         true,
         {},
         expectAllDevicesAfterALook,
         kRestartNeeded},
        {"IVirtualSerialLibrary::createDevice, any number",
         creating(L""),
         kCreation,
         true,
         {},
         expectAllDevicesAfterALook,
         kRestartNeeded},
    });
}

Act subscribing(HRESULT (STDMETHODCALLTYPE IVirtualSerialLibrary::*method)(VARIANT, LONG*)) {
    return [=](Scene& scene, std::string& given) {
        OutParameter<LONG> id;
        const HRESULT result = ((*scene.library).*method)(scene.script.variant(), id.put());
        given = id.text();
        EXPECT_EQ(scene.script.references(), SUCCEEDED(result) ? 1 : 0);
        return result;
    };
}

HRESULT unsubscribe(Scene& scene, std::string&) {
    Variant id(L"1");
    LONG unused = 0;
    return scene.library->added(id, &unused);
}

void subscribe(Scene& scene) {
    for (const auto method :
         {&IVirtualSerialLibrary::added, &IVirtualSerialLibrary::deleted, &IVirtualSerialLibrary::changed}) {
        LONG id = 0;
        require(((*scene.library).*method)(scene.script.variant(), &id), "subscribing");
    }
    require(scene.library->addListener(&scene.listener), "addListener");
}

HRESULT addListener(Scene& scene, std::string& given) {
    const HRESULT result = scene.library->addListener(&scene.listener);
    given = scene.listener.references() == 0 ? "" : "a reference";
    return result;
}

TEST_F(FaultSweep, Library) {
    std::vector<Row> rows{
        {"IVirtualSerialLibrary::get_devicesCollection",
         reading(&Scene::library, &IVirtualSerialLibrary::get_devicesCollection)},
        {"IVirtualSerialLibrary::get_devicesArray",
         reading(&Scene::library, &IVirtualSerialLibrary::get_devicesArray)},
        {"IVirtualSerialLibrary::addListener", addListener, {}, true},
        {"IVirtualSerialLibrary::removeListener",
         [](Scene& scene, std::string&) { return scene.library->removeListener(&scene.listener); },
         {},
         true,
         subscribe},
        {"IVirtualSerialLibrary::added", subscribing(&IVirtualSerialLibrary::added), {}, true},
        {"IVirtualSerialLibrary::deleted", subscribing(&IVirtualSerialLibrary::deleted), {}, true},
        {"IVirtualSerialLibrary::changed", subscribing(&IVirtualSerialLibrary::changed), {}, true},
        {"IVirtualSerialLibrary::added, ending", unsubscribe, {}, true, subscribe},
        {"IVirtualSerialLibrary::stopEventDispatching",
         calling(&Scene::library, &IVirtualSerialLibrary::stopEventDispatching),
         {},
         true},
    };
    append(
        rows, lateBoundRows(
                  {"IVirtualSerialLibrary::GetTypeInfoCount", "IVirtualSerialLibrary::GetTypeInfo",
                   "IVirtualSerialLibrary::GetIDsOfNames", "IVirtualSerialLibrary::Invoke"},
                  &Scene::library, L"devicesArray", DISPATCH_PROPERTYGET));
    sweep(rows);
}

// Events

// COM5 goes and COM7 comes.
void changePorts(Scene& scene) {
    scene.machine.change([&] {
        scene.port5().present = false;
        scene.machine.addPort(L"COM7");
    });
}

HRESULT announce(Scene& scene, std::string&) {
    announceChange(scene);
    return S_OK;
}

bool hasHeard(const Scene& scene, const std::string& event) {
    const auto texts = scene.journal.texts();
    return std::any_of(texts.begin(), texts.end(), [&](const auto& text) { return text.starts_with(event); });
}

// A port that comes only now is found: no failure has ended the thread.
void expectThreadGoesOn(Scene& scene, const Fault& fault) {
    scene.machine.change([&] { scene.machine.addPort(L"COM9"); });
    expectAllDevicesAfterALook(scene, fault);
}

// At this look or the next one. Only the array of a report itself can be missing, and the report with it.
void expectReports(Scene& scene, const Fault& fault) {
    expectAllDevicesAfterALook(scene, fault);
    if (!fault.function.starts_with("SafeArray")) {
        EXPECT_TRUE(hasHeard(scene, "listener added"));
        EXPECT_TRUE(hasHeard(scene, "listener deleted"));
    }
    expectThreadGoesOn(scene, fault);
}

// One event without data comes to the window when the thread has done what it was signalled for.
HRESULT signal(Scene& scene, std::string&) {
    scene.machine.signal(scene.port6());
    scene.machine.announce(0x8000, std::nullopt);
    scene.machine.threads.awaitSettled();
    return S_OK;
}

// What is queued for scripts: a list and a change.
void queueEvents(Scene& scene) {
    subscribe(scene);
    changePorts(scene);
    announceChange(scene);
    require(scene.device->put_portName(Bstr(L"COM8").get()), "put_portName");
}

TEST_F(FaultSweep, Events) {
    const Outcomes nobodyIsTold{
        {kElse, kIgnored},
        {"SafeArrayCreateVector", kIgnored},
        {"SysAllocStringLen", kIgnored},
        {kAllocation, kIgnored}};
    // A callback's own failures end nothing; those of the queue and of the keep-alive's answer do.
    const Outcomes dispatching{
        {kElse, kIgnored},
        {"SysAllocStringLen", kIgnored},
        {"SleepConditionVariableSRW", kReported},
        {"VariantChangeType", kReported},
        {kAllocation, oneOf({E_OUTOFMEMORY, S_OK})}};
    sweep({
        {"IVirtualSerialLibraryListener::added, deleted", announce, nobodyIsTold, true,
         [](Scene& scene) {
             subscribe(scene);
             changePorts(scene);
         },
         expectReports},
        {"IVirtualSerialLibraryListener::changed", signal, nobodyIsTold, true, subscribe, expectThreadGoesOn},
        {"IVirtualSerialLibrary::dispatchEvents",
         [](Scene& scene, std::string&) { return scene.library->dispatchEvents(&scene.script, 0); }, dispatching,
         true, queueEvents},
    });
}

// The module

HRESULT createInstance(Scene& scene, std::string& given) {
    OutParameter<IVirtualSerialLibrary*> made;
    const HRESULT result =
        scene.factory->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), reinterpret_cast<void**>(made.put()));
    scene.machine.threads.awaitSettled();
    given = made.text();
    if (result == S_OK)
        scene.created = ComPointer<IVirtualSerialLibrary>(*made.put());
    return result;
}

// A library object that could not open a device at first opens it when it looks again.
void expectAllDevicesInTheNewLibrary(Scene& scene, const Fault&) {
    if (!scene.created)
        return;
    ComPointer<IVirtualSerialDevice> device;
    EXPECT_RESULT(S_OK, scene.created->createDevice(Variant(L""), device.put()));
    EXPECT_EQ(deviceCount(*scene.created), 3);
    scene.created = {};
    scene.machine.threads.awaitSettled();
}

HRESULT getClassObject(Scene& scene, std::string& given) {
    OutParameter<IUnknown*> factory;
    const HRESULT result = scene.dll.getClassObject(
        __uuidof(VirtualSerialLibrary), __uuidof(IClassFactory), reinterpret_cast<void**>(factory.put()));
    given = factory.text();
    return result;
}

HRESULT lockAndUnlock(Scene& scene, std::string&) {
    const HRESULT result = scene.factory->LockServer(TRUE);
    return result == S_OK ? scene.factory->LockServer(FALSE) : result;
}

Act autoInstall(int mode) {
    return [=](Scene& scene, std::string&) { return scene.dll.autoInstallEx(mode); };
}

TEST_F(FaultSweep, Module) {
    const Outcome noThread = oneOf({E_FAIL}); // the devices are open by then
    const Outcome noEntryPoint = failsWith(E_POINTER);
    sweep({
        {"DllGetClassObject", getClassObject},
        {"DllCanUnloadNow", [](Scene& scene, std::string&) { return scene.dll.canUnloadNow(); }},
        {"IClassFactory::LockServer", lockAndUnlock},
        // The third event is the thread's; the others are of devices, which the next look opens.
        {"IClassFactory::CreateInstance",
         createInstance,
         {{kElse, kIgnored},
          {"CreateEventW#3", noThread},
          {"GetModuleHandleExW", noThread},
          {"CreateThread", noThread},
          {kAllocation, oneOf({E_OUTOFMEMORY, S_OK})}},
         true,
         {},
         expectAllDevicesInTheNewLibrary},
        {"IVirtualSerialLibrary::Release",
         [](Scene& scene, std::string&) {
             scene.created = {};
             return S_OK;
         },
         {{kElse, kIgnored}},
         true,
         [](Scene& scene) {
             std::string given;
             require(createInstance(scene, given), "CreateInstance");
         }},
        {"AutoInstallEx, install", autoInstall(0), {{"GetProcAddress", noEntryPoint}}},
        {"AutoInstallEx, uninstall",
         autoInstall(3),
         {{"GetProcAddress", noEntryPoint},
          {"GetProcAddress#2", kUnnoticed}, // what installs is not needed
          {"GetSystemDirectoryW", kIgnored},
          {"DeleteFileW", kIgnored}}},
    });
}

// Registration

HRESULT registerServer(Scene& scene, std::string&) {
    return scene.dll.registerServer();
}

HRESULT unregisterServer(Scene& scene, std::string&) {
    return scene.dll.unregisterServer();
}

Act installing(bool install, const wchar_t* commandLine) {
    return [=](Scene& scene, std::string&) { return scene.dll.install(install, commandLine); };
}

// Functions that are looked up, and that there are others for.
const Outcomes kLookedUp{{"GetModuleHandleW", kUnnoticed}, {"GetProcAddress", kUnnoticed}};
// What was done before a failure stays done.
const Outcomes kNotUndone = kLookedUp + Outcomes{{kElse, kReportedLate}, {kAllocation, oneOf({E_OUTOFMEMORY})}};

TEST_F(FaultSweep, Registration) {
    const auto isRegistered = [](Scene& scene) { require(scene.dll.registerServer(), "DllRegisterServer"); };
    sweep({
        {"DllRegisterServer", registerServer, kNotUndone},
        {"DllUnregisterServer", unregisterServer, kNotUndone, false, isRegistered},
        {"DllInstall, install", installing(true, nullptr), kLookedUp},
    });
}

TEST_F(FaultSweep, RegistrationForTheUser) {
    const auto isRegistered = [](Scene& scene) { require(scene.dll.install(true, L"user"), "DllInstall"); };
    const HRESULT noFunction = HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    // There is no other function for the user's type library.
    const Outcomes forUser{{"GetModuleHandleW", kUnnoticed}, {"GetProcAddress", oneOf({S_OK, noFunction})}};
    sweep({
        {"DllInstall, install for the user", installing(true, L"user"), {{"GetModuleHandleW", kUnnoticed}}},
        {"DllInstall, uninstall for the user", installing(false, L"user"), forUser + kNotUndone, false, isRegistered},
    });
}

} // namespace

} // namespace zorvan::simulation

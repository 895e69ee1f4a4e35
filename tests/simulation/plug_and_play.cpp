#include "simulation/plug_and_play.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <cfgmgr32.h>
#include <objbase.h>

#include <algorithm>
#include <cstddef>
#include <cwchar>

namespace zorvan::simulation {

const GUID kPortsClass{0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
const GUID kControlInterface{0x24E7F5CF, 0xEF4A, 0x4BD2, {0x87, 0xF4, 0x72, 0x21, 0x02, 0xE5, 0x39, 0x63}};
const GUID kSerialInterface{0x86E0D1E0, 0x8089, 0x11D0, {0x9C, 0xE4, 0x08, 0x00, 0x3E, 0x30, 0x1F, 0x73}};

namespace {

constexpr DWORD kFirstHostProcess = 4000;

std::wstring guidText(const GUID& guid) {
    wchar_t text[40];
    StringFromGUID2(guid, text, 40);
    return text;
}

// As Windows makes them: the instance ID with # for \, and the class.
std::wstring makeInterfacePath(const std::wstring& instanceId, const GUID& interfaceClass) {
    std::wstring id = instanceId;
    std::replace(id.begin(), id.end(), L'\\', L'#');
    return L"\\\\?\\" + id + L"#" + guidText(interfaceClass);
}

} // namespace

std::string nameOfClass(const GUID& guid) {
    if (guid == kPortsClass)
        return "Ports";
    if (guid == kControlInterface)
        return "control";
    if (guid == kSerialInterface)
        return "serial";
    return describe(guidText(guid));
}

DeviceNode& PlugAndPlay::addNode(const std::wstring& instanceId) {
    auto& node = nodes_.emplace_back();
    node.instanceId = instanceId;
    node.instance = static_cast<DWORD>(nodes_.size());
    return node;
}

DeviceNode& PlugAndPlay::addPort(const std::wstring& portName) {
    wchar_t id[32];
    std::swprintf(id, 32, L"ROOT\\PORTS\\%04zu", nodes_.size());
    auto& node = addNode(id);
    serve(node, Machine::current());
    node.setPortName(portName);
    node.driver.state.portName = portName;
    return node;
}

DeviceNode& PlugAndPlay::addSerialPort(const std::wstring& portName) {
    auto& node = addNode(L"ACPI\\PNP0501\\" + std::to_wstring(nodes_.size()));
    node.serialPath = makeInterfacePath(node.instanceId, kSerialInterface);
    node.setPortName(portName);
    return node;
}

DeviceNode* PlugAndPlay::find(DWORD instance) {
    return instance >= 1 && instance <= nodes_.size() ? &nodes_[instance - 1] : nullptr;
}

DeviceNode* PlugAndPlay::findByControlPath(const std::wstring& path) {
    for (auto& node : nodes_)
        if (node.present && node.controlPath == path)
            return &node;
    return nullptr;
}

void serve(DeviceNode& node, Machine& machine) {
    node.controlPath = makeInterfacePath(node.instanceId, kControlInterface);
    node.serialPath = makeInterfacePath(node.instanceId, kSerialInterface);
    node.driver.hostProcessId = kFirstHostProcess + node.instance;
    machine.processes.add(node.driver.hostProcessId);
}

const std::optional<std::wstring>& interfacePath(const DeviceNode& node, const GUID& interfaceClass) {
    static const std::optional<std::wstring> none;
    if (interfaceClass == kControlInterface)
        return node.controlPath;
    return interfaceClass == kSerialInterface ? node.serialPath : none;
}

DeviceInfoSet::Element* DeviceInfoSet::find(const SP_DEVINFO_DATA* data) {
    if (data == nullptr || data->cbSize != sizeof *data)
        return nullptr;
    const auto found = std::find_if(elements.begin(), elements.end(), [&](const Element& element) {
        return element.node->instance == data->DevInst;
    });
    return found == elements.end() ? nullptr : &*found;
}

void DeviceInfoSet::add(DeviceNode& node) {
    const auto same = [&](const Element& element) { return element.node == &node; };
    if (std::none_of(elements.begin(), elements.end(), same))
        elements.push_back({&node, {}});
}

void fillDeviceInfo(const DeviceNode& node, const GUID& setupClass, SP_DEVINFO_DATA& data) {
    data.ClassGuid = setupClass;
    data.DevInst = node.instance;
    data.Reserved = 0;
}

namespace {

// Whether this enumeration shows the node; a node that is slow to appear comes nearer.
bool shows(DeviceNode& node, const GUID& interfaceClass) {
    if (!node.present || !interfacePath(node, interfaceClass))
        return false;
    if (node.looksUntilPresent == 0)
        return true;
    if (node.looksUntilPresent > 0 && interfaceClass == kControlInterface)
        --node.looksUntilPresent;
    return false;
}

HDEVINFO WINAPI setupDiGetClassDevsEx(
    const GUID* interfaceClass, PCWSTR enumerator, HWND, DWORD flags, HDEVINFO existing, PCWSTR computer, PVOID) {
    Call call("SetupDiGetClassDevsExW", interfaceClass, Hex{flags}, existing == nullptr ? "new" : "extend", computer);
    if (call.fails())
        return INVALID_HANDLE_VALUE;
    if (interfaceClass == nullptr || enumerator != nullptr || flags != (DIGCF_PRESENT | DIGCF_DEVICEINTERFACE)) {
        call.reportMisuse("the simulation lists the present devices of an interface class only");
        SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
        return INVALID_HANDLE_VALUE;
    }
    auto set = existing == nullptr ? std::make_shared<DeviceInfoSet>() : call.object<DeviceInfoSet>(existing);
    if (set == nullptr)
        return INVALID_HANDLE_VALUE;
    set->interfaceClasses.push_back(*interfaceClass);
    for (auto& node : call->plugAndPlay.nodes())
        if (shows(node, *interfaceClass))
            set->add(node);
    return existing == nullptr ? call.open(std::move(set)) : existing;
}
SIMULATE(SetupDiGetClassDevsExW, setupDiGetClassDevsEx);

BOOL WINAPI setupDiEnumDeviceInfo(HDEVINFO handle, DWORD index, PSP_DEVINFO_DATA data) {
    Call call("SetupDiEnumDeviceInfo", index);
    const auto set = call.object<DeviceInfoSet>(handle);
    if (set == nullptr || call.fails())
        return FALSE;
    if (data->cbSize != sizeof *data)
        return Call::failed(ERROR_INVALID_USER_BUFFER);
    if (index >= set->elements.size())
        return Call::failed(ERROR_NO_MORE_ITEMS);
    fillDeviceInfo(*set->elements[index].node, kPortsClass, *data);
    return TRUE;
}
SIMULATE(SetupDiEnumDeviceInfo, setupDiEnumDeviceInfo);

CONFIGRET WINAPI cmGetDeviceId(DEVINST instance, PWSTR buffer, ULONG length, ULONG flags) {
    Call call("CM_Get_Device_IDW", instance, length, flags);
    if (call.failure())
        return *call.failure();
    const auto* node = call->plugAndPlay.find(instance);
    if (node == nullptr)
        return CR_NO_SUCH_DEVNODE;
    // Without room for the terminator the text is not terminated.
    const auto id = node->instanceId.substr(0, call.bring(node->instanceId.size()));
    std::copy_n(id.c_str(), std::min<std::size_t>(id.size() + 1, length), buffer);
    return id.size() > length ? CR_BUFFER_SMALL : CR_SUCCESS;
}
SIMULATE(CM_Get_Device_IDW, cmGetDeviceId);

bool holds(const DeviceInfoSet& set, const GUID& interfaceClass) {
    return std::find(set.interfaceClasses.begin(), set.interfaceClasses.end(), interfaceClass) !=
           set.interfaceClasses.end();
}

BOOL WINAPI setupDiEnumDeviceInterfaces(
    HDEVINFO handle, PSP_DEVINFO_DATA device, const GUID* interfaceClass, DWORD index,
    PSP_DEVICE_INTERFACE_DATA data) {
    Call call("SetupDiEnumDeviceInterfaces", interfaceClass, index);
    const auto set = call.object<DeviceInfoSet>(handle);
    if (set == nullptr || call.fails())
        return FALSE;
    const auto* element = set->find(device);
    if (element == nullptr || data->cbSize != sizeof *data) {
        call.reportMisuse("the device is none of the set's, or a size field is wrong");
        return Call::failed(ERROR_INVALID_PARAMETER);
    }
    if (index != 0 || !holds(*set, *interfaceClass) || !interfacePath(*element->node, *interfaceClass))
        return Call::failed(ERROR_NO_MORE_ITEMS);
    data->InterfaceClassGuid = *interfaceClass;
    data->Flags = SPINT_ACTIVE;
    data->Reserved = element->node->instance;
    return TRUE;
}
SIMULATE(SetupDiEnumDeviceInterfaces, setupDiEnumDeviceInterfaces);

BOOL WINAPI setupDiGetDeviceInterfaceDetail(
    HDEVINFO handle, PSP_DEVICE_INTERFACE_DATA data, PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail, DWORD size,
    PDWORD required, PSP_DEVINFO_DATA) {
    Call call("SetupDiGetDeviceInterfaceDetailW", &data->InterfaceClassGuid, detail == nullptr ? "size" : "path");
    if (call.object<DeviceInfoSet>(handle) == nullptr || call.fails())
        return FALSE;
    const auto* node = call->plugAndPlay.find(static_cast<DWORD>(data->Reserved));
    const auto& path = interfacePath(*node, data->InterfaceClassGuid);
    const auto bytes = (path->size() + 1) * sizeof(wchar_t);
    const auto needed = static_cast<DWORD>(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath) + bytes);
    if (required != nullptr)
        *required = needed;
    if (size < needed)
        return Call::failed(ERROR_INSUFFICIENT_BUFFER);
    if (detail == nullptr || detail->cbSize != sizeof *detail)
        return Call::failed(ERROR_INVALID_USER_BUFFER);
    std::copy_n(path->c_str(), path->size() + 1, static_cast<wchar_t*>(detail->DevicePath));
    return TRUE;
}
SIMULATE(SetupDiGetDeviceInterfaceDetailW, setupDiGetDeviceInterfaceDetail);

HKEY openKey(const Call& call, HDEVINFO handle, PSP_DEVINFO_DATA device, REGSAM access, bool create) {
    HKEY const failure = static_cast<HKEY>(INVALID_HANDLE_VALUE);
    const auto set = call.object<DeviceInfoSet>(handle);
    if (set == nullptr || call.fails())
        return failure;
    const auto* element = set->find(device);
    if (element == nullptr) {
        call.reportMisuse("the device is none of the set's");
        SetLastError(ERROR_INVALID_PARAMETER);
        return failure;
    }
    auto& key = element->node->key;
    const DWORD error = key.exists || create || key.openError != 0 ? key.openError : ERROR_FILE_NOT_FOUND;
    if (error != ERROR_SUCCESS) {
        SetLastError(error);
        return failure;
    }
    key.exists = true;
    return static_cast<HKEY>(
        call.open(std::make_shared<OpenedKey>(key, access, describe(element->node->instanceId))));
}

HKEY WINAPI
setupDiOpenDevRegKey(HDEVINFO set, PSP_DEVINFO_DATA device, DWORD scope, DWORD profile, DWORD type, REGSAM access) {
    Call call("SetupDiOpenDevRegKey", scope, profile, type, Hex{access});
    return openKey(call, set, device, access, false);
}
SIMULATE(SetupDiOpenDevRegKey, setupDiOpenDevRegKey);

HKEY WINAPI setupDiCreateDevRegKey(
    HDEVINFO set, PSP_DEVINFO_DATA device, DWORD scope, DWORD profile, DWORD type, HINF inf, PCWSTR section) {
    Call call(
        "SetupDiCreateDevRegKeyW", scope, profile, type, inf == nullptr ? "no INF" : "INF",
        section == nullptr ? "no section" : "section");
    return openKey(call, set, device, KEY_ALL_ACCESS, true);
}
SIMULATE(SetupDiCreateDevRegKeyW, setupDiCreateDevRegKey);

BOOL WINAPI setupDiDestroyDeviceInfoList(HDEVINFO handle) {
    Call call("SetupDiDestroyDeviceInfoList");
    if (call.object<DeviceInfoSet>(handle) == nullptr)
        return FALSE;
    call.close(handle);
    if (call.fails())
        return FALSE;
    SetLastError(ERROR_SUCCESS); // which must not hide the error that the library cleans up after
    return TRUE;
}
SIMULATE(SetupDiDestroyDeviceInfoList, setupDiDestroyDeviceInfoList);

} // namespace

} // namespace zorvan::simulation

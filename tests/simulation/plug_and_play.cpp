#include "simulation/plug_and_play.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <cfgmgr32.h>
#include <objbase.h>

#include <algorithm>
#include <cstddef>
#include <cwctype>
#include <iterator>

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

// The path of a node's interface, if it has one.
const std::optional<std::wstring>& interfacePath(const DeviceNode& node, const GUID& interfaceClass) {
    return interfaceClass == kControlInterface ? node.controlPath : node.serialPath;
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

std::wstring generatedId(std::wstring name, std::size_t number) {
    std::transform(name.begin(), name.end(), name.begin(), std::towupper);
    const auto digits = std::to_wstring(number);
    return L"ROOT\\" + name + L"\\" + std::wstring(4 - std::min<std::size_t>(4, digits.size()), L'0') + digits;
}

DeviceNode& PlugAndPlay::addNode(const std::wstring& instanceId) {
    auto& node = nodes_.emplace_back();
    node.instanceId = instanceId;
    node.instance = static_cast<DWORD>(nodes_.size());
    return node;
}

DeviceNode& PlugAndPlay::addPort(const std::wstring& portName) {
    auto& node = addNode(generatedId(L"Ports", nodes_.size()));
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

DeviceNode& nodeOf(const Call& call, HDEVINFO set, const SP_DEVINFO_DATA* device) {
    requireSize(*device);
    const auto& nodes = call.object<DeviceInfoSet>(set)->nodes;
    const auto found = nodes.find(device->DevInst);
    call.misuseIf(found == nodes.end(), "the device is none of the set's");
    return *found->second;
}

void fillDeviceInfo(const DeviceNode& node, SP_DEVINFO_DATA& data) {
    requireSize(data);
    data.ClassGuid = kPortsClass;
    data.DevInst = node.instance;
    data.Reserved = 0;
}

void fillInterfaceData(const DeviceNode& node, const GUID& interfaceClass, SP_DEVICE_INTERFACE_DATA& data) {
    requireSize(data);
    data.InterfaceClassGuid = interfaceClass;
    data.Flags = SPINT_ACTIVE;
    data.Reserved = node.instance;
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

void listPresent(const Call& call, const GUID* interfaceClass, PCWSTR enumerator, DWORD flags, DeviceInfoSet& set) {
    call.misuseIf(
        interfaceClass == nullptr || enumerator != nullptr || flags != (DIGCF_PRESENT | DIGCF_DEVICEINTERFACE),
        "the simulation lists the present devices of an interface class only");
    set.interfaceClasses.push_back(*interfaceClass);
    for (auto& node : call->plugAndPlay.nodes())
        if (shows(node, *interfaceClass))
            set.add(node);
}

SIMULATE(
    OrInvalid<HDEVINFO>, SetupDiGetClassDevsW, const GUID* interfaceClass, PCWSTR enumerator, HWND, DWORD flags) {
    const auto set = std::make_shared<DeviceInfoSet>();
    listPresent(call, interfaceClass, enumerator, flags, *set);
    return call.open(set);
}

SIMULATE(
    OrInvalid<HDEVINFO>, SetupDiGetClassDevsExW, const GUID* interfaceClass, PCWSTR enumerator, HWND, DWORD flags,
    HDEVINFO existing, PCWSTR computer, PVOID) {
    failIf(existing == INVALID_HANDLE_VALUE, ERROR_INVALID_HANDLE); // an earlier look failed
    const auto set = existing == nullptr ? std::make_shared<DeviceInfoSet>() : call.object<DeviceInfoSet>(existing);
    listPresent(call, interfaceClass, enumerator, flags, *set);
    return existing == nullptr ? call.open(set) : existing;
}

SIMULATE(BOOL, SetupDiEnumDeviceInfo, HDEVINFO set, DWORD index, PSP_DEVINFO_DATA data) {
    const auto& nodes = call.object<DeviceInfoSet>(set)->nodes;
    failIf(index >= nodes.size(), ERROR_NO_MORE_ITEMS);
    fillDeviceInfo(*std::next(nodes.begin(), index)->second, *data);
}

SIMULATE(OrError<CONFIGRET>, CM_Get_Device_IDW, DEVINST instance, PWSTR buffer, ULONG length, ULONG flags) {
    const auto* node = call->plugAndPlay.find(instance);
    failIf(node == nullptr, CR_NO_SUCH_DEVNODE);
    // Without room for the terminator the text is not terminated.
    const auto id = node->instanceId.substr(0, call.bring(node->instanceId.size()));
    std::copy_n(id.c_str(), std::min<std::size_t>(id.size() + 1, length), buffer);
    failIf(id.size() > length, CR_BUFFER_SMALL);
}

SIMULATE(
    BOOL, SetupDiEnumDeviceInterfaces, HDEVINFO set, PSP_DEVINFO_DATA device, const GUID* interfaceClass, DWORD index,
    PSP_DEVICE_INTERFACE_DATA data) {
    failIf(set == INVALID_HANDLE_VALUE, ERROR_INVALID_HANDLE); // likewise
    const auto& node = nodeOf(call, set, device);
    const auto& classes = call.object<DeviceInfoSet>(set)->interfaceClasses;
    const bool listed = std::find(classes.begin(), classes.end(), *interfaceClass) != classes.end();
    failIf(index != 0 || !listed || !interfacePath(node, *interfaceClass), ERROR_NO_MORE_ITEMS);
    fillInterfaceData(node, *interfaceClass, *data);
}

SIMULATE(
    BOOL, SetupDiGetDeviceInterfaceDetailW, HDEVINFO set, PSP_DEVICE_INTERFACE_DATA data,
    PSP_DEVICE_INTERFACE_DETAIL_DATA_W detail, DWORD size, PDWORD required, PSP_DEVINFO_DATA) {
    call.object<DeviceInfoSet>(set);
    const auto* node = call->plugAndPlay.find(static_cast<DWORD>(data->Reserved));
    const auto& path = *interfacePath(*node, data->InterfaceClassGuid);
    const auto bytes = (path.size() + 1) * sizeof(wchar_t);
    const auto needed = static_cast<DWORD>(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath) + bytes);
    if (required != nullptr)
        *required = needed;
    failIf(size < needed, ERROR_INSUFFICIENT_BUFFER);
    requireSize(*detail);
    std::copy_n(path.c_str(), path.size() + 1, static_cast<wchar_t*>(detail->DevicePath));
}

HKEY openDeviceKey(const Call& call, DeviceNode& node, REGSAM access) {
    failIf(node.key.openError != ERROR_SUCCESS, node.key.openError);
    failIf(!node.key.exists, ERROR_FILE_NOT_FOUND);
    return openKey(call, node.key, access, node.instanceId);
}

SIMULATE(
    OrInvalid<HKEY>, SetupDiOpenDevRegKey, HDEVINFO set, PSP_DEVINFO_DATA device, DWORD scope, DWORD profile,
    DWORD type, REGSAM access) {
    return openDeviceKey(call, nodeOf(call, set, device), access);
}

SIMULATE(
    OrInvalid<HKEY>, SetupDiCreateDevRegKeyW, HDEVINFO set, PSP_DEVINFO_DATA device, DWORD scope, DWORD profile,
    DWORD type, HINF inf, PCWSTR section) {
    auto& node = nodeOf(call, set, device);
    node.key.exists = true;
    return openDeviceKey(call, node, KEY_ALL_ACCESS);
}

SIMULATE_SURE(BOOL, SetupDiDestroyDeviceInfoList, HDEVINFO set) {
    call.close<DeviceInfoSet>(set);
    SetLastError(ERROR_SUCCESS); // which must not hide the error that the library cleans up after
}

} // namespace

} // namespace zorvan::simulation

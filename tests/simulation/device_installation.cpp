// Creating and removing device nodes: the class installer's side of plug and play.
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <newdev.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>

namespace zorvan::simulation {

namespace {

HDEVINFO WINAPI setupDiCreateDeviceInfoList(const GUID* setupClass, HWND parent) {
    Call call("SetupDiCreateDeviceInfoList", setupClass, parent == nullptr ? "no window" : "window");
    return call.fails() ? INVALID_HANDLE_VALUE : call.open(std::make_shared<DeviceInfoSet>());
}
SIMULATE(SetupDiCreateDeviceInfoList, setupDiCreateDeviceInfoList);

BOOL WINAPI setupDiClassNameFromGuid(const GUID* setupClass, PWSTR name, DWORD size, PDWORD required) {
    Call call("SetupDiClassNameFromGuidW", setupClass, size);
    if (call.fails())
        return FALSE;
    const std::wstring text = *setupClass == kPortsClass ? L"Ports" : L"Unknown";
    if (required != nullptr)
        *required = static_cast<DWORD>(text.size() + 1);
    if (size <= text.size())
        return Call::failed(ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(text.c_str(), text.size() + 1, name);
    return TRUE;
}
SIMULATE(SetupDiClassNameFromGuidW, setupDiClassNameFromGuid);

std::wstring generatedId(const std::wstring& name, std::size_t number) {
    std::wstring upper = name;
    std::transform(upper.begin(), upper.end(), upper.begin(), std::towupper);
    wchar_t digits[24];
    std::swprintf(digits, 24, L"%04zu", number);
    return L"ROOT\\" + upper + L"\\" + digits;
}

BOOL WINAPI setupDiCreateDeviceInfo(
    HDEVINFO handle, PCWSTR name, const GUID* setupClass, PCWSTR description, HWND, DWORD flags,
    PSP_DEVINFO_DATA data) {
    Call call("SetupDiCreateDeviceInfoW", name, setupClass, description, Hex{flags});
    const auto set = call.object<DeviceInfoSet>(handle);
    if (set == nullptr || call.fails())
        return FALSE;
    if ((flags & DICD_GENERATE_ID) == 0 || (data != nullptr && data->cbSize != sizeof *data))
        return Call::failed(ERROR_INVALID_PARAMETER);
    auto& node = call->plugAndPlay.addNode(generatedId(name, call->plugAndPlay.nodes().size()));
    node.present = false;
    node.key.exists = false;
    set->add(node);
    if (data != nullptr)
        fillDeviceInfo(node, *setupClass, *data);
    return TRUE;
}
SIMULATE(SetupDiCreateDeviceInfoW, setupDiCreateDeviceInfo);

// The element that the call is about. Naming a device that the set does not hold fails the test.
DeviceInfoSet::Element* elementOf(const Call& call, HDEVINFO handle, const SP_DEVINFO_DATA* device) {
    const auto set = call.object<DeviceInfoSet>(handle);
    auto* element = set == nullptr ? nullptr : set->find(device);
    if (set != nullptr && element == nullptr) {
        call.reportMisuse("the device is none of the set's");
        SetLastError(ERROR_INVALID_PARAMETER);
    }
    return element;
}

BOOL WINAPI setupDiSetDeviceRegistryProperty(
    HDEVINFO handle, PSP_DEVINFO_DATA device, DWORD property, const BYTE* data, DWORD size) {
    Call call("SetupDiSetDeviceRegistryPropertyW", property, size);
    auto* element = elementOf(call, handle, device);
    if (element == nullptr || call.fails())
        return FALSE;
    const auto* text = reinterpret_cast<const wchar_t*>(data);
    if (property == SPDRP_HARDWAREID)
        element->node->hardwareIds.assign(text, size / sizeof(wchar_t));
    if (property == SPDRP_FRIENDLYNAME)
        element->node->friendlyName.emplace(text, size / sizeof(wchar_t));
    return TRUE;
}
SIMULATE(SetupDiSetDeviceRegistryPropertyW, setupDiSetDeviceRegistryProperty);

BOOL WINAPI setupDiGetDeviceRegistryProperty(
    HDEVINFO handle, PSP_DEVINFO_DATA device, DWORD property, PDWORD type, PBYTE buffer, DWORD size,
    PDWORD required) {
    Call call("SetupDiGetDeviceRegistryPropertyW", property, size);
    const auto* element = elementOf(call, handle, device);
    if (element == nullptr || call.fails())
        return FALSE;
    if (property != SPDRP_FRIENDLYNAME || !element->node->friendlyName)
        return Call::failed(ERROR_INVALID_DATA);
    const auto text = element->node->friendlyName->substr(0, call.bring(element->node->friendlyName->size()));
    const auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (type != nullptr)
        *type = REG_SZ;
    if (required != nullptr)
        *required = bytes;
    if (size < bytes)
        return Call::failed(ERROR_INSUFFICIENT_BUFFER);
    std::copy(text.begin(), text.end(), reinterpret_cast<wchar_t*>(buffer));
    return TRUE;
}
SIMULATE(SetupDiGetDeviceRegistryPropertyW, setupDiGetDeviceRegistryProperty);

BOOL WINAPI setupDiOpenDeviceInfo(HDEVINFO handle, PCWSTR instanceId, HWND, DWORD flags, PSP_DEVINFO_DATA data) {
    Call call("SetupDiOpenDeviceInfoW", instanceId, flags);
    const auto set = call.object<DeviceInfoSet>(handle);
    if (set == nullptr || call.fails())
        return FALSE;
    if (data->cbSize != sizeof *data)
        return Call::failed(ERROR_INVALID_USER_BUFFER);
    for (auto& node : call->plugAndPlay.nodes())
        if (node.instanceId == instanceId && node.present) {
            set->add(node);
            fillDeviceInfo(node, kPortsClass, *data);
            return TRUE;
        }
    return Call::failed(ERROR_NO_SUCH_DEVINST);
}
SIMULATE(SetupDiOpenDeviceInfoW, setupDiOpenDeviceInfo);

BOOL WINAPI
setupDiSetClassInstallParams(HDEVINFO handle, PSP_DEVINFO_DATA device, PSP_CLASSINSTALL_HEADER header, DWORD size) {
    Call call("SetupDiSetClassInstallParamsW", header->cbSize, Hex{header->InstallFunction}, size);
    auto* element = elementOf(call, handle, device);
    if (element == nullptr || call.fails())
        return FALSE;
    if (header->cbSize != sizeof *header || header->InstallFunction != DIF_REMOVE ||
        size != sizeof(SP_REMOVEDEVICE_PARAMS))
        return Call::failed(ERROR_INVALID_PARAMETER);
    element->removal = *reinterpret_cast<const SP_REMOVEDEVICE_PARAMS*>(header);
    return TRUE;
}
SIMULATE(SetupDiSetClassInstallParamsW, setupDiSetClassInstallParams);

DWORD remove(DeviceInfoSet::Element& element) {
    if (!element.removal || element.removal->Scope != DI_REMOVEDEVICE_GLOBAL || element.removal->HwProfile != 0)
        return ERROR_INVALID_PARAMETER;
    element.node->present = false;
    element.node->installFlags |= element.node->removalInstallFlags;
    return ERROR_SUCCESS;
}

DWORD callInstaller(DI_FUNCTION function, DeviceInfoSet::Element& element) {
    switch (function) {
    case DIF_REGISTERDEVICE:
        element.node->registered = true;
        return ERROR_SUCCESS;
    case DIF_REMOVE:
        return remove(element);
    default:
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
}

BOOL WINAPI setupDiCallClassInstaller(DI_FUNCTION function, HDEVINFO handle, PSP_DEVINFO_DATA device) {
    Call call("SetupDiCallClassInstaller", Hex{function});
    auto* element = elementOf(call, handle, device);
    if (element == nullptr || call.fails())
        return FALSE;
    const DWORD error = callInstaller(function, *element);
    return error == ERROR_SUCCESS ? TRUE : Call::failed(error);
}
SIMULATE(SetupDiCallClassInstaller, setupDiCallClassInstaller);

BOOL WINAPI
setupDiGetDeviceInstallParams(HDEVINFO handle, PSP_DEVINFO_DATA device, PSP_DEVINSTALL_PARAMS_W parameters) {
    Call call("SetupDiGetDeviceInstallParamsW", parameters->cbSize);
    const auto* element = elementOf(call, handle, device);
    if (element == nullptr || call.fails())
        return FALSE;
    if (parameters->cbSize != sizeof *parameters)
        return Call::failed(ERROR_INVALID_USER_BUFFER);
    parameters->Flags = element->node->installFlags;
    return TRUE;
}
SIMULATE(SetupDiGetDeviceInstallParamsW, setupDiGetDeviceInstallParams);

// The Ports class installer gives a port without a name the next free number.
void nameIfNeeded(DeviceNode& node, PortDatabase& database) {
    node.key.exists = true;
    if (node.key.values.count(L"PortName") == 0)
        node.setPortName(L"COM" + std::to_wstring(database.claimNextFree()));
}

void install(DeviceNode& node, Machine& machine) {
    const auto& outcome = machine.plugAndPlay.installation;
    node.installed = true;
    node.present = true;
    node.looksUntilPresent = outcome.looksUntilPresent;
    node.installFlags |= outcome.installFlags;
    nameIfNeeded(node, machine.portDatabase);
    node.driver.state.portName = node.portName();
    serve(node, machine);
}

BOOL WINAPI diInstallDevice(
    HWND, HDEVINFO handle, PSP_DEVINFO_DATA device, PSP_DRVINFO_DATA_W driver, DWORD flags, PBOOL rebootNeeded) {
    Call call("DiInstallDevice", driver == nullptr ? "best driver" : "driver", Hex{flags});
    const auto& outcome = call->plugAndPlay.installation;
    if (rebootNeeded != nullptr)
        *rebootNeeded = outcome.rebootNeeded ? TRUE : FALSE;
    auto* element = elementOf(call, handle, device);
    if (element == nullptr || call.fails())
        return FALSE;
    if (outcome.error != ERROR_SUCCESS)
        return Call::failed(outcome.error);
    if (!element->node->registered)
        return Call::failed(ERROR_NO_SUCH_DEVINST);
    install(*element->node, call.machine());
    return TRUE;
}
SIMULATE(DiInstallDevice, diInstallDevice);

BOOL WINAPI setupDiOpenDeviceInterface(HDEVINFO handle, PCWSTR path, DWORD flags, PSP_DEVICE_INTERFACE_DATA data) {
    Call call("SetupDiOpenDeviceInterfaceW", path, flags);
    const auto set = call.object<DeviceInfoSet>(handle);
    if (set == nullptr || call.fails())
        return FALSE;
    auto* node = call->plugAndPlay.findByControlPath(path);
    if (node == nullptr)
        return Call::failed(ERROR_NO_SUCH_DEVICE_INTERFACE);
    if (data != nullptr && data->cbSize != sizeof *data)
        return Call::failed(ERROR_INVALID_USER_BUFFER);
    set->add(*node);
    if (data != nullptr) {
        data->InterfaceClassGuid = kControlInterface;
        data->Flags = SPINT_ACTIVE;
        data->Reserved = node->instance;
    }
    return TRUE;
}
SIMULATE(SetupDiOpenDeviceInterfaceW, setupDiOpenDeviceInterface);

BOOL WINAPI setupDiDeleteDeviceInterfaceData(HDEVINFO handle, PSP_DEVICE_INTERFACE_DATA data) {
    Call call("SetupDiDeleteDeviceInterfaceData", &data->InterfaceClassGuid);
    if (call.object<DeviceInfoSet>(handle) == nullptr || call.fails())
        return FALSE;
    const auto* node = call->plugAndPlay.find(static_cast<DWORD>(data->Reserved));
    return node == nullptr ? Call::failed(ERROR_INVALID_PARAMETER) : TRUE;
}
SIMULATE(SetupDiDeleteDeviceInterfaceData, setupDiDeleteDeviceInterfaceData);

} // namespace

} // namespace zorvan::simulation

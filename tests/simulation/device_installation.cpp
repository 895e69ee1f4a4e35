// Creating and removing device nodes: the class installer's side of plug and play.
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <newdev.h>

#include <algorithm>

namespace zorvan::simulation {

namespace {

SIMULATE(OrInvalid<HDEVINFO>, SetupDiCreateDeviceInfoList, const GUID* setupClass, HWND parent) {
    return call.open(std::make_shared<DeviceInfoSet>());
}

SIMULATE(BOOL, SetupDiClassNameFromGuidW, const GUID* setupClass, PWSTR name, DWORD size, PDWORD) {
    const std::wstring text = *setupClass == kPortsClass ? L"Ports" : L"Unknown";
    failIf(size <= text.size(), ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(text.c_str(), text.size() + 1, name);
}

SIMULATE(
    BOOL, SetupDiCreateDeviceInfoW, HDEVINFO handle, PCWSTR name, const GUID* setupClass, PCWSTR description, HWND,
    DWORD flags, PSP_DEVINFO_DATA data) {
    const auto set = call.object<DeviceInfoSet>(handle);
    requireSize(*data);
    failIf((flags & DICD_GENERATE_ID) == 0, ERROR_INVALID_PARAMETER);
    auto& node = call->plugAndPlay.addNode(generatedId(name, call->plugAndPlay.nodes().size()));
    node.present = false;
    node.key.exists = false;
    set->add(node);
    fillDeviceInfo(node, *data);
}

SIMULATE(
    BOOL, SetupDiSetDeviceRegistryPropertyW, HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property, const BYTE* data,
    DWORD size) {
    auto& node = nodeOf(call, set, device);
    const std::wstring text(reinterpret_cast<const wchar_t*>(data), size / sizeof(wchar_t));
    if (property == SPDRP_HARDWAREID)
        node.hardwareIds = text;
    if (property == SPDRP_FRIENDLYNAME)
        node.friendlyName = text;
}

SIMULATE(
    BOOL, SetupDiGetDeviceRegistryPropertyW, HDEVINFO set, PSP_DEVINFO_DATA device, DWORD property, PDWORD,
    PBYTE buffer, DWORD size, PDWORD) {
    const auto& name = nodeOf(call, set, device).friendlyName;
    failIf(property != SPDRP_FRIENDLYNAME || !name, ERROR_INVALID_DATA);
    const auto length = call.bring(name->size());
    failIf(size < length * sizeof(wchar_t), ERROR_INSUFFICIENT_BUFFER);
    std::copy_n(name->begin(), length, reinterpret_cast<wchar_t*>(buffer));
}

SIMULATE(BOOL, SetupDiOpenDeviceInfoW, HDEVINFO handle, PCWSTR instanceId, HWND, DWORD flags, PSP_DEVINFO_DATA data) {
    const auto set = call.object<DeviceInfoSet>(handle);
    for (auto& node : call->plugAndPlay.nodes())
        if (node.instanceId == instanceId && node.present) {
            set->add(node);
            fillDeviceInfo(node, *data);
            return;
        }
    throw Failure{ERROR_NO_SUCH_DEVINST};
}

SIMULATE(
    BOOL, SetupDiSetClassInstallParamsW, HDEVINFO set, PSP_DEVINFO_DATA device, PSP_CLASSINSTALL_HEADER header,
    DWORD size) {
    const auto& removal = *reinterpret_cast<const SP_REMOVEDEVICE_PARAMS*>(header);
    failIf(header->cbSize != sizeof *header || size != sizeof removal, ERROR_INVALID_PARAMETER);
    failIf(header->InstallFunction != DIF_REMOVE, ERROR_INVALID_PARAMETER);
    failIf(removal.Scope != DI_REMOVEDEVICE_GLOBAL || removal.HwProfile != 0, ERROR_INVALID_PARAMETER);
    nodeOf(call, set, device).removable = true;
}

SIMULATE(BOOL, SetupDiCallClassInstaller, DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device) {
    auto& node = nodeOf(call, set, device);
    failIf(function == DIF_REMOVE ? !node.removable : function != DIF_REGISTERDEVICE, ERROR_INVALID_PARAMETER);
    node.registered = function == DIF_REGISTERDEVICE;
    if (function == DIF_REMOVE) {
        node.present = false;
        node.installFlags |= node.removalInstallFlags;
    }
}

SIMULATE_SURE(
    BOOL, SetupDiGetDeviceInstallParamsW, HDEVINFO set, PSP_DEVINFO_DATA device, PSP_DEVINSTALL_PARAMS_W parameters) {
    requireSize(*parameters);
    parameters->Flags = nodeOf(call, set, device).installFlags;
    call.failIfTold(); // what it has written stays written
}

void install(DeviceNode& node, Machine& machine) {
    const auto& outcome = machine.plugAndPlay.installation;
    node.installed = true;
    node.present = true;
    node.looksUntilPresent = outcome.looksUntilPresent;
    node.installFlags |= outcome.installFlags;
    // The Ports class installer gives a port without a name the next free number.
    node.key.exists = true;
    if (!node.key.values.contains(L"PortName"))
        node.setPortName(L"COM" + std::to_wstring(machine.portDatabase.claimNextFree()));
    node.driver.state.portName = node.portName();
    serve(node, machine);
}

SIMULATE_SURE(
    BOOL, DiInstallDevice, HWND, HDEVINFO set, PSP_DEVINFO_DATA device, PSP_DRVINFO_DATA_W driver, DWORD flags,
    PBOOL rebootNeeded) {
    const auto& outcome = call->plugAndPlay.installation;
    *rebootNeeded = outcome.rebootNeeded;
    call.failIfTold();
    auto& node = nodeOf(call, set, device);
    failIf(
        outcome.error != ERROR_SUCCESS || !node.registered,
        outcome.error != ERROR_SUCCESS ? outcome.error : ERROR_NO_SUCH_DEVINST);
    install(node, Machine::current());
}

SIMULATE(BOOL, SetupDiOpenDeviceInterfaceW, HDEVINFO set, PCWSTR path, DWORD flags, PSP_DEVICE_INTERFACE_DATA data) {
    auto* node = call->plugAndPlay.findByControlPath(path);
    failIf(node == nullptr, ERROR_NO_SUCH_DEVICE_INTERFACE);
    fillInterfaceData(*node, kControlInterface, *data);
    call.object<DeviceInfoSet>(set)->add(*node);
}

SIMULATE(BOOL, SetupDiDeleteDeviceInterfaceData, HDEVINFO set, PSP_DEVICE_INTERFACE_DATA data) {
    call.object<DeviceInfoSet>(set);
    failIf(call->plugAndPlay.find(static_cast<DWORD>(data->Reserved)) == nullptr, ERROR_INVALID_PARAMETER);
}

} // namespace

} // namespace zorvan::simulation

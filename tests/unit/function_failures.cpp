#include "function_failures.h"

#include <set>

namespace zorvan::simulation {

const Function& functionNamed(const std::string& name) {
    static const Function usual;
    static const Function closing{ERROR_INVALID_HANDLE, false, kUnnoticed};
    static const Function closingWithResult{ERROR_INVALID_HANDLE, true, kUnnoticed};
    static const Function allocating{ERROR_NOT_ENOUGH_MEMORY, true, failsWith(E_OUTOFMEMORY)};
    static const std::map<std::string, Function> functions{
        {"CM_Get_Device_IDW", {13 /* CR_NO_SUCH_DEVNODE */, true}},
        {"CloseHandle", closing},
        {"ComDBClaimPort", {ERROR_SHARING_VIOLATION, true}},
        {"ComDBClose", closingWithResult},
        {"ComDBOpen", {ERROR_ACCESS_DENIED, true}},
        {"ComDBReleasePort", {ERROR_ACCESS_DENIED, true}},
        {"CreateFileW", {ERROR_ACCESS_DENIED}},
        {"CreateNamedPipeW", {ERROR_PIPE_BUSY}},
        {"DeviceIoControl", {ERROR_BUSY}},
        {"DriverPackagePreinstallW", {ERROR_FILE_NOT_FOUND, true}},
        {"DriverPackageUninstallW", {0xE0000235 /* ERROR_IN_WOW64 */, true}},
        {"DuplicateHandle", {ERROR_INVALID_HANDLE}},
        {"FreeLibrary", closing},
        {"GetProcAddress", {ERROR_PROC_NOT_FOUND}},
        {"LoadLibraryW", {ERROR_MOD_NOT_FOUND}},
        {"LoadRegTypeLib", {static_cast<DWORD>(TYPE_E_LIBNOTREGISTERED), true}},
        {"LogonUserW", {ERROR_LOGON_FAILURE}},
        {"OpenProcess", {ERROR_INVALID_PARAMETER}},
        {"OpenThreadToken", {ERROR_ACCESS_DENIED}},
        {"LoadTypeLib", {static_cast<DWORD>(TYPE_E_CANTLOADLIBRARY), true}},
        {"RegCloseKey", closingWithResult},
        {"RegCreateKeyExW", {ERROR_ACCESS_DENIED, true}},
        {"RegDeleteKeyExW", {ERROR_ACCESS_DENIED, true}},
        {"RegEnumKeyExW", {ERROR_KEY_DELETED, true}},
        {"RegOpenKeyExW", {ERROR_ACCESS_DENIED, true}},
        {"RegQueryValueExW", {ERROR_FILE_NOT_FOUND, true}},
        {"RegSetValueExW", {ERROR_ACCESS_DENIED, true}},
        {"RegisterTypeLib", {static_cast<DWORD>(TYPE_E_REGISTRYACCESS), true}},
        {"RegisterTypeLibForUser", {static_cast<DWORD>(TYPE_E_REGISTRYACCESS), true}},
        {"SafeArrayCreateVector", allocating},
        {"SafeArrayLock", {static_cast<DWORD>(E_UNEXPECTED), true}},
        {"SetupDiDeleteDeviceInterfaceData", closing},
        {"SetupDiDestroyDeviceInfoList", closing},
        {"SetupDiEnumDeviceInfo", {ERROR_NO_MORE_ITEMS}},
        {"SysAllocStringLen", allocating},
        {"UnRegisterTypeLib", {static_cast<DWORD>(TYPE_E_REGISTRYACCESS), true}},
        {"UnRegisterTypeLibForUser", {static_cast<DWORD>(TYPE_E_REGISTRYACCESS), true}},
        {"VarBstrCmp", {static_cast<DWORD>(E_INVALIDARG), true}},
        {"VariantChangeType", {static_cast<DWORD>(DISP_E_TYPEMISMATCH), true}},
        {"VariantCopy", {static_cast<DWORD>(E_OUTOFMEMORY), true}},
    };
    const auto found = functions.find(name);
    return found == functions.end() ? usual : found->second;
}

bool bringsData(const std::string& function) {
    static const std::set<std::string> names{"CM_Get_Device_IDW",  "DeviceIoControl",
                                             "GetComputerNameExW", "GetFileInformationByHandleEx",
                                             "RegQueryValueExW",   "SetupDiGetDeviceRegistryPropertyW"};
    return names.contains(function);
}

} // namespace zorvan::simulation

#include "kernel_call.h"

#include "import_slot.h"

#include <windows.h>

#include <algorithm>
#include <new>
#include <setupapi.h>
#include <vector>
#include <winternl.h>

// Declared by the driver kit only, whose headers cannot stand beside <windows.h>.
extern "C" NTSTATUS NTAPI
NtCreateKey(HANDLE*, ACCESS_MASK, OBJECT_ATTRIBUTES*, ULONG, UNICODE_STRING*, ULONG, ULONG*);

namespace zorvan::engine {
namespace {

// What this thread's call has opened and not closed.
struct OpenedByCall {
    bool calling = false;
    std::vector<HDEVINFO> sets;
    std::vector<HANDLE> keys;
};
thread_local OpenedByCall opened;

// What cannot be noted for lack of memory stays open.
void note(std::vector<void*>& list, void* what) noexcept {
    if (!opened.calling)
        return;
    try {
        list.push_back(what);
    } catch (const std::bad_alloc&) {
        return;
    }
}

HDEVINFO WINAPI getClassDevs(const GUID* interfaceClass, PCWSTR enumerator, HWND parent, DWORD flags) {
    const HDEVINFO set = SetupDiGetClassDevsW(interfaceClass, enumerator, parent, flags);
    if (set != INVALID_HANDLE_VALUE)
        note(opened.sets, set);
    return set;
}

BOOL WINAPI destroyDeviceInfoList(HDEVINFO set) {
    std::erase(opened.sets, set);
    return SetupDiDestroyDeviceInfoList(set);
}

NTSTATUS NTAPI createKey(
    HANDLE* key, ACCESS_MASK access, OBJECT_ATTRIBUTES* attributes, ULONG index, UNICODE_STRING* keyClass,
    ULONG options, ULONG* disposition) {
    const NTSTATUS status = NtCreateKey(key, access, attributes, index, keyClass, options, disposition);
    if (status >= 0)
        note(opened.keys, *key);
    return status;
}

NTSTATUS NTAPI closeHandle(HANDLE handle) {
    std::erase(opened.keys, handle);
    return NtClose(handle);
}

template <class Function>
void redirect(HMODULE kernel, const wchar_t* dll, const char* name, Function* replacement) {
    const auto function = GetProcAddress(GetModuleHandleW(dll), name);
    if (function != nullptr)
        replaceImport(kernel, reinterpret_cast<const void*>(function), reinterpret_cast<const void*>(replacement));
}

} // namespace

// Done for each call, as the kernel finds some of its imports late.
void zorvanBeginKernelCall() {
    const HMODULE kernel = GetModuleHandleW(L"ntoskrnl.exe");
    redirect(kernel, L"setupapi.dll", "SetupDiDestroyDeviceInfoList", destroyDeviceInfoList);
    redirect(kernel, L"setupapi.dll", "SetupDiGetClassDevsW", getClassDevs);
    redirect(kernel, L"ntdll.dll", "NtClose", closeHandle);
    redirect(kernel, L"ntdll.dll", "NtCreateKey", createKey);
    opened.calling = true;
}

void zorvanEndKernelCall() {
    std::for_each(opened.sets.begin(), opened.sets.end(), SetupDiDestroyDeviceInfoList);
    std::for_each(opened.keys.begin(), opened.keys.end(), NtClose);
    opened = {};
}

} // namespace zorvan::engine

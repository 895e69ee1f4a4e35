#include "machine.h"

#include <windows.h>

#include <fmt/format.h>

namespace zorvan::bench {

namespace {

std::string processorName() {
    char name[200];
    DWORD size = sizeof name;
    const auto result = RegGetValueA(
        HKEY_LOCAL_MACHINE, R"(HARDWARE\DESCRIPTION\System\CentralProcessor\0)", "ProcessorNameString", RRF_RT_REG_SZ,
        nullptr, name, &size);
    return result == ERROR_SUCCESS ? name : "unknown processor";
}

std::string systemName() {
    using Version = const char*();
    const auto function = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version");
    if (function == nullptr)
        return "Windows";
    return std::string("Wine ") + reinterpret_cast<Version*>(reinterpret_cast<void*>(function))();
}

} // namespace

std::string describeMachine() {
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    return fmt::format("{}, {} processors, {}", processorName(), system.dwNumberOfProcessors, systemName());
}

} // namespace zorvan::bench

// Calls the registration entry points of a DLL in a process of its own: per-user mode lasts as long as the process.
//
//   registrar DLL CALL...      CALL: register, unregister, install[=COMMANDLINE], uninstall[=COMMANDLINE]
//
// The exit code is the HRESULT of the first call that fails, or of the last one.
#include <windows.h>

#include <objbase.h>

#include <bit>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

template <class Function>
Function* entryPoint(HMODULE library, const char* name) {
    return std::bit_cast<Function*>(GetProcAddress(library, name));
}

using RegisterFunction = HRESULT WINAPI();
using InstallFunction = HRESULT WINAPI(BOOL, PCWSTR);

HRESULT call(HMODULE library, std::wstring_view text) {
    const std::size_t equals = text.find(L'=');
    const std::wstring_view name = text.substr(0, equals);
    const bool hasCommandLine = equals != std::wstring_view::npos;
    const std::wstring commandLine(hasCommandLine ? text.substr(equals + 1) : L"");
    if (name == L"register")
        return entryPoint<RegisterFunction>(library, "DllRegisterServer")();
    if (name == L"unregister")
        return entryPoint<RegisterFunction>(library, "DllUnregisterServer")();
    if (name == L"install" || name == L"uninstall")
        return entryPoint<InstallFunction>(library, "DllInstall")(
            name == L"install", hasCommandLine ? commandLine.c_str() : nullptr);
    return E_INVALIDARG;
}

// A call may not change the locale of the thread that makes it.
HRESULT callKeepingLocale(HMODULE library, std::wstring_view text) {
    constexpr LCID kGerman = 0x0407;
    SetThreadLocale(kGerman);
    const HRESULT result = call(library, text);
    if (GetThreadLocale() == kGerman)
        return result;
    std::fputs("the call has changed the thread's locale\n", stderr);
    return E_UNEXPECTED;
}

HRESULT runCalls(const wchar_t* path, wchar_t** first, wchar_t** last) {
    const HMODULE library = LoadLibraryW(path);
    if (library == nullptr)
        return HRESULT_FROM_WIN32(GetLastError());
    HRESULT result = S_OK;
    for (wchar_t** text = first; text != last && SUCCEEDED(result); ++text)
        result = callKeepingLocale(library, *text);
    FreeLibrary(library);
    return result;
}

} // namespace

int wmain(int count, wchar_t** values) {
    if (count < 3)
        return E_INVALIDARG;
    const HRESULT initialised = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(initialised))
        return initialised;
    const HRESULT result = runCalls(values[1], values + 2, values + count);
    CoUninitialize();
    return result;
}

// Loading the DLL with all that it imports, and making a library object from nothing, in a process that has little
// loaded but COM. Writes its rows into loading.json.
#include "listing.h"
#include "report.h"

#include "base/com_pointer.h"
#include "base/hresult_error.h"
#include "pnp/device_classes.h"
#include "support/expect.h"

#include <dbt.h>
#include <zorvanlib.h>

#include <filesystem>
#include <thread>

namespace zorvan::bench {

using test::expect;
using test::require;

namespace {

constexpr Plan kPlan{15, 11};

std::wstring programFolder() {
    std::wstring program(MAX_PATH, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), MAX_PATH));
    return std::filesystem::path(program).parent_path();
}

void hearOfDevices() {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"bench";
    RegisterClassW(&windowClass);
    HWND window =
        CreateWindowExW(0, L"bench", nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, windowClass.hInstance, nullptr);
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof filter;
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    filter.dbcc_classguid = pnp::kControlInterface;
    const HDEVNOTIFY notification = RegisterDeviceNotificationW(window, &filter, DEVICE_NOTIFY_WINDOW_HANDLE);
    expect(notification != nullptr, "hearing of devices");
    UnregisterDeviceNotification(notification);
    DestroyWindow(window);
    UnregisterClassW(L"bench", windowClass.hInstance);
}

template <class Function>
Function* setupFunction(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"setupapi.dll"), name)));
}

// Looked up, so that they come and go with the DLL that imports them.
ListingFunctions listingFunctions() {
    return {
        setupFunction<decltype(SetupDiGetClassDevsExW)>("SetupDiGetClassDevsExW"),
        setupFunction<decltype(SetupDiEnumDeviceInfo)>("SetupDiEnumDeviceInfo"),
        setupFunction<decltype(CM_Get_Device_IDW)>("CM_Get_Device_IDW"),
        setupFunction<decltype(SetupDiDestroyDeviceInfoList)>("SetupDiDestroyDeviceInfoList")};
}

HMODULE load(const std::wstring& path) {
    const HMODULE module = LoadLibraryW(path.c_str());
    expect(module != nullptr, "loading a DLL");
    return module;
}

double secondsToLoad(const std::wstring& path) {
    const double begun = now();
    const HMODULE module = load(path);
    const double seconds = now() - begun;
    FreeLibrary(module);
    return seconds;
}

// Class object, library object, and back to nothing.
void makeLibraryObject(HMODULE module) {
    const auto getClassObject = reinterpret_cast<decltype(&DllGetClassObject)>(
        reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    ComPointer<IClassFactory> factory;
    require(getClassObject(__uuidof(VirtualSerialLibrary), IID_PPV_ARGS(factory.put())), "the class object");
    ComPointer<IVirtualSerialLibrary> library;
    require(factory->CreateInstance(nullptr, IID_PPV_ARGS(library.put())), "the library object");
}

double secondsToUse(const std::wstring& path) {
    return secondsOf([&] {
        const HMODULE module = load(path);
        makeLibraryObject(module);
        FreeLibrary(module);
    });
}

// What a library object cannot do without: a thread with a window that hears of devices, and a look at the ports.
double secondsOfBareWork(const std::wstring& path) {
    return secondsOf([&] {
        const HMODULE module = load(path);
        std::thread(hearOfDevices).join();
        listDevices(listingFunctions());
        FreeLibrary(module);
    });
}

double secondsToLoadAndUnload(const std::wstring& path) {
    return secondsOf([&] { FreeLibrary(load(path)); });
}

double kibibytes(const std::wstring& path) {
    return static_cast<double>(std::filesystem::file_size(path)) / 1024;
}

std::vector<Row> measureLoading() {
    const auto library = programFolder() + L"\\..\\zorvanlib.dll";
    const auto empty = programFolder() + L"\\empty.dll";
    const char kEmpty[] = "an empty DLL with the same imports";

    const auto loads = takeTurns(
        kPlan, {[&] { return secondsToLoad(library); }, [&] { return secondsToLoad(empty); },
                [&] { return secondsToLoad(empty); }});
    const auto uses = takeTurns(
        kPlan, {[&] { return secondsToUse(library); }, [&] { return secondsToLoadAndUnload(empty); },
                [&] { return secondsOfBareWork(empty); }});
    const double size = kibibytes(library);
    return {
        ratioRow("the same twice: loading the empty DLL", kNoGoal, loads[2], loads[1], kEmpty),
        ratioRow("loading the DLL", atMost(1.25), loads[0], loads[1], kEmpty),
        ratioRow("load, class and library object, release, unload", atMost(2.5), uses[0], uses[1], kEmpty),
        ratioRow(
            "the same beside its bare work", kNoGoal, uses[0], uses[2],
            "the empty DLL, a window's thread, a look at the ports"),
        {"size of the DLL", atMost(300), {size, size, size}, "KiB", ""}};
}

} // namespace

} // namespace zorvan::bench

int wmain() {
    try {
        zorvan::test::require(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "initialising COM");
        zorvan::bench::writeRows("loading.json", zorvan::bench::measureLoading());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "FAILED: %s\n", error.what());
    } catch (const zorvan::HResultError& error) {
        std::fprintf(stderr, "FAILED: error 0x%08lX\n", error.code());
    }
    return 1;
}

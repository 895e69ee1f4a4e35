// Loading the DLL, and making a library object from nothing.
#include "sections.h"

#include "imports.h"
#include "ports.h"

#include <filesystem>

namespace zorvan::bench {

namespace {

constexpr Plan kPlan{15, 11};

std::wstring programFolder() {
    std::wstring program(MAX_PATH, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), MAX_PATH));
    return std::filesystem::path(program).parent_path();
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
    ComPtr<IClassFactory> factory;
    check(getClassObject(__uuidof(VirtualSerialLibrary), IID_PPV_ARGS(factory.GetAddressOf())), "the class object");
    Library library;
    check(factory->CreateInstance(nullptr, IID_PPV_ARGS(library.GetAddressOf())), "the library object");
}

double secondsToUse(const std::wstring& path) {
    return secondsOf([&] {
        const HMODULE module = load(path);
        makeLibraryObject(module);
        FreeLibrary(module);
    });
}

double secondsToLoadAndUnload(const std::wstring& path) {
    return secondsOf([&] { FreeLibrary(load(path)); });
}

double kibibytes(const std::wstring& path) {
    return static_cast<double>(std::filesystem::file_size(path)) / 1024;
}

} // namespace

void measureLoading(Report& report) {
    const auto library = programFolder() + L"\\..\\zorvanlib.dll";
    const auto empty = programFolder() + L"\\empty.dll";
    const KeptImports importsStay(load(library)); // what counts is the DLL, not what it brings along

    const auto loads = takeTurns(
        kPlan, {[&] { return secondsToLoad(library); }, [&] { return secondsToLoad(empty); },
                [&] { return secondsToLoad(empty); }});
    const char kEmpty[] = "an empty DLL with the same imports";
    report.addRatio("the same twice: loading the empty DLL", kNoGoal, loads[2], loads[1], kEmpty);
    report.addRatio("loading the DLL", atMost(1.25), loads[0], loads[1], kEmpty);

    const auto uses =
        takeTurns(kPlan, {[&] { return secondsToUse(library); }, [&] { return secondsToLoadAndUnload(empty); }});
    report.addRatio("load, class and library object, release, unload", atMost(2.5), uses[0], uses[1], kEmpty);

    const double size = kibibytes(library);
    report.add({"size of the DLL", atMost(300), {size, size, size}, "KiB", ""});
}

} // namespace zorvan::bench

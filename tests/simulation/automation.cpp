#include "simulation/automation.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <zorvanlib.h>

#include <gtest/gtest.h>

#include <fstream>

// No header of mingw-w64 declares them.
extern "C" decltype(RegisterTypeLib) RegisterTypeLibForUser;
extern "C" decltype(UnRegisterTypeLib) UnRegisterTypeLibForUser;

namespace zorvan::simulation {

static std::wstring temporaryFile() {
    wchar_t folder[MAX_PATH + 1];
    wchar_t file[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, folder);
    return GetTempFileNameW(folder, L"tlb", 0, file) != 0 ? file : L"";
}

// A copy beside the module: a type library that is open would keep the module itself loaded.
void Automation::serveTypeLibrary(const std::wstring& modulePath) {
    HMODULE module = ::LoadLibraryExW(modulePath.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(1), L"TYPELIB");
    ASSERT_NE(resource, nullptr) << "the DLL carries no type library";
    const auto* content = static_cast<const char*>(LockResource(LoadResource(module, resource)));
    typeLibraryFile = temporaryFile();
    std::ofstream file(typeLibraryFile.c_str(), std::ios::binary);
    EXPECT_TRUE(file.write(content, static_cast<std::streamsize>(SizeofResource(module, resource))).flush());
    FreeLibrary(module);
}

// Loading gives the one object of the type library that lives in this process, if any does; the count after our own
// release is that of others.
static ULONG othersReferences(const std::wstring& typeLibraryFile) {
    ITypeLib* library = nullptr;
    if (FAILED(LoadTypeLib(typeLibraryFile.c_str(), &library)))
        return 0;
    return library->Release();
}

std::vector<std::string> Automation::held() const {
    const ULONG references = typeLibraryFile.empty() ? 0 : othersReferences(typeLibraryFile);
    return std::vector<std::string>(references, "reference to the type library");
}

namespace {

// Registered for its own locale alone, so that no other finds it.
SIMULATE(HRESULT, LoadRegTypeLib, REFGUID id, WORD major, WORD minor, LCID locale, ITypeLib** library) {
    if (id != LIBID_zorvanlibLib || major != 3 || minor != 0 || locale != 0x0409)
        return TYPE_E_LIBNOTREGISTERED;
    return ::LoadTypeLib(call->automation.typeLibraryFile.c_str(), library);
}

// The library asks for the type library in its own module.
SIMULATE(HRESULT, LoadTypeLib, LPCOLESTR path, ITypeLib** library) {
    if (call->modules.libraryPath != path)
        return TYPE_E_CANTLOADLIBRARY;
    return ::LoadTypeLib(call->automation.typeLibraryFile.c_str(), library);
}

SIMULATE(HRESULT, RegisterTypeLib, ITypeLib*, LPCOLESTR path, LPCOLESTR) {
    call->registry.typeLibraries.insert(describe(LIBID_zorvanlibLib));
    return S_OK;
}

SIMULATE(HRESULT, RegisterTypeLibForUser, ITypeLib*, LPCOLESTR path, LPCOLESTR) {
    call->registry.typeLibrariesOfUser.insert(describe(LIBID_zorvanlibLib));
    return S_OK;
}

SIMULATE(HRESULT, UnRegisterTypeLib, REFGUID id, WORD, WORD, LCID, SYSKIND) {
    return call->registry.typeLibraries.erase(describe(id)) != 0 ? S_OK : TYPE_E_REGISTRYACCESS;
}

SIMULATE(HRESULT, UnRegisterTypeLibForUser, REFGUID id, WORD, WORD, LCID, SYSKIND) {
    return call->registry.typeLibrariesOfUser.erase(describe(id)) != 0 ? S_OK : TYPE_E_REGISTRYACCESS;
}

PASS(BSTR, SysAllocStringLen);
PASS_SURE(HRESULT, VariantClear);
PASS(HRESULT, VariantCopy);
PASS(HRESULT, VariantChangeType);
PASS(HRESULT, VarBstrCmp);
PASS(HRESULT, SafeArrayLock);
PASS_SURE(HRESULT, SafeArrayUnlock);
GIVES(SAFEARRAY*, SafeArrayCreateVector, "array");
TAKES(HRESULT, SafeArrayDestroy, "array");

} // namespace

} // namespace zorvan::simulation

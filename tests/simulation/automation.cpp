#include "simulation/automation.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"
#include "simulation/string_watch.h"

#include <zorvanlib.h>

#include <gtest/gtest.h>

namespace zorvan::simulation {

namespace {

constexpr int kTypeLibraryResource = 1;
constexpr LCID kTypeLibraryLocale = 0x0409;

std::wstring temporaryFile() {
    wchar_t folder[MAX_PATH + 1];
    wchar_t file[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, folder);
    return GetTempFileNameW(folder, L"tlb", 0, file) != 0 ? file : L"";
}

bool writeFile(const std::wstring& path, const void* data, DWORD size) {
    HANDLE file = ::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    const bool done = file != INVALID_HANDLE_VALUE && WriteFile(file, data, size, &written, nullptr) != FALSE;
    ::CloseHandle(file);
    return done && written == size;
}

} // namespace

Automation::Automation() {
    stringWatch::start();
}

Automation::~Automation() {
    if (!typeLibraryFile_.empty())
        DeleteFileW(typeLibraryFile_.c_str());
}

// A copy beside the module: a type library that is open would keep the module itself loaded.
void Automation::serveTypeLibrary(const std::wstring& modulePath) {
    HMODULE module = ::LoadLibraryExW(modulePath.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(kTypeLibraryResource), L"TYPELIB");
    ASSERT_NE(resource, nullptr) << "the DLL carries no type library";
    typeLibraryFile_ = temporaryFile();
    EXPECT_TRUE(
        writeFile(typeLibraryFile_, LockResource(LoadResource(module, resource)), SizeofResource(module, resource)));
    FreeLibrary(module);
}

void Automation::track(SAFEARRAY* array) {
    if (array != nullptr)
        arrays_[array] = array->rgsabound[0].cElements;
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
    auto descriptions = stringWatch::held();
    for (const auto& [array, size] : arrays_)
        descriptions.push_back("array of " + std::to_string(size));
    if (const ULONG references = typeLibraryFile_.empty() ? 0 : othersReferences(typeLibraryFile_))
        descriptions.push_back("type library, " + std::to_string(references) + " references");
    return descriptions;
}

namespace {

// Registered for its own locale alone, so that no other finds it.
HRESULT WINAPI loadRegTypeLib(REFGUID id, WORD major, WORD minor, LCID locale, ITypeLib** library) {
    Call call("LoadRegTypeLib", &id, static_cast<DWORD>(major), static_cast<DWORD>(minor), Hex{locale});
    if (call.failedResult())
        return *call.failedResult();
    if (id != LIBID_zorvanlibLib || major != 3 || minor != 0 || locale != kTypeLibraryLocale)
        return TYPE_E_LIBNOTREGISTERED;
    return LoadTypeLib(call->automation.typeLibraryFile().c_str(), library);
}
SIMULATE(LoadRegTypeLib, loadRegTypeLib);

// The library asks for the type library in its own module.
HRESULT WINAPI loadTypeLib(LPCOLESTR path, ITypeLib** library) {
    Call call("LoadTypeLib", path);
    if (call.failedResult())
        return *call.failedResult();
    if (call->modules.libraryPath != path)
        return TYPE_E_CANTLOADLIBRARY;
    return LoadTypeLib(call->automation.typeLibraryFile().c_str(), library);
}
SIMULATE(LoadTypeLib, loadTypeLib);

HRESULT registered(const Call& call, std::set<std::string>& libraries, ITypeLib& library) {
    if (call.failedResult())
        return *call.failedResult();
    TLIBATTR* attributes = nullptr;
    const HRESULT result = library.GetLibAttr(&attributes);
    if (SUCCEEDED(result)) {
        libraries.insert(describe(&attributes->guid));
        library.ReleaseTLibAttr(attributes);
    }
    return result;
}

HRESULT unregistered(const Call& call, std::set<std::string>& libraries, const GUID& id) {
    if (call.failedResult())
        return *call.failedResult();
    return libraries.erase(describe(&id)) != 0 ? S_OK : TYPE_E_REGISTRYACCESS;
}

HRESULT WINAPI registerTypeLib(ITypeLib* library, OLECHAR* path, OLECHAR*) {
    Call call("RegisterTypeLib", path);
    return registered(call, call->registry.typeLibraries, *library);
}
SIMULATE(RegisterTypeLib, registerTypeLib);

HRESULT WINAPI registerTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR*) {
    Call call("RegisterTypeLibForUser", path);
    return registered(call, call->registry.typeLibrariesOfUser, *library);
}
SIMULATE_UNDECLARED(RegisterTypeLibForUser, registerTypeLibForUser);

HRESULT WINAPI unregisterTypeLib(REFGUID id, WORD, WORD, LCID, SYSKIND) {
    Call call("UnRegisterTypeLib", &id);
    return unregistered(call, call->registry.typeLibraries, id);
}
SIMULATE(UnRegisterTypeLib, unregisterTypeLib);

HRESULT WINAPI unregisterTypeLibForUser(REFGUID id, WORD, WORD, LCID, SYSKIND) {
    Call call("UnRegisterTypeLibForUser", &id);
    return unregistered(call, call->registry.typeLibrariesOfUser, id);
}
SIMULATE_UNDECLARED(UnRegisterTypeLibForUser, unregisterTypeLibForUser);

BSTR followed(BSTR text) {
    stringWatch::follow(text);
    return text;
}

BSTR WINAPI sysAllocString(const OLECHAR* text) {
    Call call("SysAllocString", text);
    return call.failure() ? nullptr : followed(::SysAllocString(text));
}
SIMULATE(SysAllocString, sysAllocString);

BSTR WINAPI sysAllocStringLen(const OLECHAR* text, UINT length) {
    Call call("SysAllocStringLen", text == nullptr ? std::wstring() : std::wstring(text, length));
    return call.failure() ? nullptr : followed(::SysAllocStringLen(text, length));
}
SIMULATE(SysAllocStringLen, sysAllocStringLen);

void WINAPI sysFreeString(BSTR text) {
    Call call("SysFreeString", text);
    ::SysFreeString(text);
}
SIMULATE(SysFreeString, sysFreeString);

// Calls that release or ask objects run outside any lock: the objects may be the library's, which has its own.

void follow(const VARIANT& value) {
    if (value.vt == VT_BSTR)
        stringWatch::follow(value.bstrVal);
}

HRESULT WINAPI variantClear(VARIANTARG* value) {
    { Call call("VariantClear", static_cast<DWORD>(value->vt)); }
    return ::VariantClear(value);
}
SIMULATE(VariantClear, variantClear);

HRESULT WINAPI variantCopy(VARIANTARG* target, VARIANTARG* source) {
    {
        Call call("VariantCopy", static_cast<DWORD>(source->vt));
        if (call.failedResult())
            return *call.failedResult();
    }
    const HRESULT result = ::VariantCopy(target, source);
    follow(*target);
    return result;
}
SIMULATE(VariantCopy, variantCopy);

HRESULT WINAPI variantChangeType(VARIANTARG* target, VARIANTARG* source, USHORT flags, VARTYPE type) {
    {
        Call call("VariantChangeType", static_cast<DWORD>(source->vt), static_cast<DWORD>(type), Hex{flags});
        if (call.failedResult())
            return *call.failedResult();
    }
    const HRESULT result = ::VariantChangeType(target, source, flags, type);
    follow(*target);
    return result;
}
SIMULATE(VariantChangeType, variantChangeType);

HRESULT WINAPI varBstrCmp(BSTR left, BSTR right, LCID locale, ULONG flags) {
    Call call("VarBstrCmp", left, right, Hex{locale}, Hex{flags});
    return call.failedResult() ? *call.failedResult() : ::VarBstrCmp(left, right, locale, flags);
}
SIMULATE(VarBstrCmp, varBstrCmp);

SAFEARRAY* WINAPI safeArrayCreateVector(VARTYPE type, LONG lowerBound, ULONG size) {
    Call call("SafeArrayCreateVector", static_cast<DWORD>(type), size);
    if (call.failure())
        return nullptr;
    SAFEARRAY* array = ::SafeArrayCreateVector(type, lowerBound, size);
    call->automation.track(array);
    return array;
}
SIMULATE(SafeArrayCreateVector, safeArrayCreateVector);

HRESULT WINAPI safeArrayLock(SAFEARRAY* array) {
    Call call("SafeArrayLock");
    return call.failedResult() ? *call.failedResult() : ::SafeArrayLock(array);
}
SIMULATE(SafeArrayLock, safeArrayLock);

HRESULT WINAPI safeArrayUnlock(SAFEARRAY* array) {
    Call call("SafeArrayUnlock");
    return ::SafeArrayUnlock(array);
}
SIMULATE(SafeArrayUnlock, safeArrayUnlock);

HRESULT WINAPI safeArrayDestroy(SAFEARRAY* array) {
    {
        Call call("SafeArrayDestroy");
        call->automation.untrack(array);
    }
    return ::SafeArrayDestroy(array);
}
SIMULATE(SafeArrayDestroy, safeArrayDestroy);

} // namespace

} // namespace zorvan::simulation

#include "simulation/automation.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <zorvanlib.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>

// No header of mingw-w64 declares these.
extern "C" __declspec(dllimport) void WINAPI SetOaNoCache();
extern "C" decltype(RegisterTypeLib) RegisterTypeLibForUser;
extern "C" decltype(UnRegisterTypeLib) UnRegisterTypeLibForUser;

namespace zorvan::simulation {

namespace {

// Strings are followed until they are freed, by whoever: the library, its client, or OLE Automation itself (which
// frees the strings that pass through a late-bound call). A string's memory begins with its length, before the text.
constexpr std::uintptr_t kLargestHeader = 16;

// Innermost of all locks: it is taken inside the system's allocator.
std::mutex mutex;
std::map<std::uintptr_t, std::wstring> strings;

void forget(const void* block) {
    const std::lock_guard lock(mutex);
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const auto found = strings.lower_bound(start);
    if (found != strings.end() && found->first <= start + kLargestHeader)
        strings.erase(found);
}

// Is told of each block of the COM allocator, which holds the strings. Lives as long as the process.
class AllocatorSpy : public IMallocSpy {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (iid != IID_IUnknown && iid != IID_IMallocSpy)
            return E_NOINTERFACE;
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
    void* STDMETHODCALLTYPE PostAlloc(void* block) override { return block; }
    void* STDMETHODCALLTYPE PreFree(void* block, BOOL) override {
        forget(block);
        return block;
    }
    void STDMETHODCALLTYPE PostFree(BOOL) override {}
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** given, BOOL) override {
        *given = block;
        return size;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* block, BOOL) override { return block; }
    void* STDMETHODCALLTYPE PreGetSize(void* block, BOOL) override { return block; }
    SIZE_T STDMETHODCALLTYPE PostGetSize(SIZE_T size, BOOL) override { return size; }
    void* STDMETHODCALLTYPE PreDidAlloc(void* block, BOOL) override { return block; }
    int STDMETHODCALLTYPE PostDidAlloc(void*, BOOL, int actual) override { return actual; }
    void STDMETHODCALLTYPE PreHeapMinimize() override {}
    void STDMETHODCALLTYPE PostHeapMinimize() override {}
};

// Once: the allocator does not part with a spy while blocks live that it has seen.
bool installSpy() {
    static AllocatorSpy spy;
    SetOaNoCache(); // OLE Automation keeps freed strings for itself otherwise
    return SUCCEEDED(CoRegisterMallocSpy(&spy));
}

void startFollowing() {
    static const bool installed = installSpy();
    EXPECT_TRUE(installed) << "the allocator takes no spy";
    const std::lock_guard lock(mutex);
    strings.clear();
}

BSTR follow(BSTR text) {
    const std::lock_guard lock(mutex);
    if (text != nullptr)
        strings[reinterpret_cast<std::uintptr_t>(text)] = text;
    return text;
}

std::vector<std::string> heldStrings() {
    const std::lock_guard lock(mutex);
    std::vector<std::string> descriptions;
    for (const auto& [address, text] : strings)
        descriptions.push_back("string \"" + describe(text) + "\"");
    return descriptions;
}

} // namespace

Automation::Automation() {
    startFollowing();
}

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
    auto descriptions = heldStrings();
    if (const ULONG references = typeLibraryFile.empty() ? 0 : othersReferences(typeLibraryFile))
        descriptions.push_back("type library, " + std::to_string(references) + " references");
    return descriptions;
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

SIMULATE(BSTR, SysAllocStringLen, const OLECHAR* text, UINT length) {
    return follow(::SysAllocStringLen(text, length));
}

PASS_SURE(HRESULT, VariantClear);

HRESULT followed(HRESULT result, const VARIANT& value) {
    if (value.vt == VT_BSTR)
        follow(value.bstrVal);
    return result;
}

SIMULATE(HRESULT, VariantCopy, VARIANTARG* target, VARIANTARG* source) {
    call.over();
    return followed(::VariantCopy(target, source), *target);
}

SIMULATE(HRESULT, VariantChangeType, VARIANTARG* target, VARIANTARG* source, USHORT flags, VARTYPE type) {
    call.over();
    return followed(::VariantChangeType(target, source, flags, type), *target);
}

PASS(HRESULT, VarBstrCmp);
PASS(HRESULT, SafeArrayLock);
PASS_SURE(HRESULT, SafeArrayUnlock);
GIVES(SAFEARRAY*, SafeArrayCreateVector, "array");
TAKES(HRESULT, SafeArrayDestroy, "array");

} // namespace

} // namespace zorvan::simulation

#include "simulation/string_watch.h"

#include "simulation/call.h"

#include <objbase.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <mutex>

extern "C" __declspec(dllimport) void WINAPI SetOaNoCache();

namespace zorvan::simulation::stringWatch {

namespace {

// A string's memory begins with its length, before the text.
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

} // namespace

void start() {
    static const bool installed = installSpy();
    EXPECT_TRUE(installed) << "the allocator takes no spy";
    const std::lock_guard lock(mutex);
    strings.clear();
}

void follow(BSTR text) {
    if (text == nullptr)
        return;
    const std::lock_guard lock(mutex);
    strings[reinterpret_cast<std::uintptr_t>(text)] = text;
}

std::vector<std::string> held() {
    const std::lock_guard lock(mutex);
    std::vector<std::string> descriptions;
    for (const auto& [address, text] : strings)
        descriptions.push_back("string \"" + describe(text) + "\"");
    return descriptions;
}

} // namespace zorvan::simulation::stringWatch

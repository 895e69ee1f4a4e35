#include "simulation/heap.h"

#include "simulation/simulated_function.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <stdexcept>

#include <windows.h>
#include <malloc.h>
#include <objbase.h>

// No header of mingw-w64 declares it.
extern "C" __declspec(dllimport) void WINAPI SetOaNoCache();

namespace zorvan::simulation {

namespace {

// No lock and no list of calls: these run in every corner of the runtime.
std::atomic<long> liveBlocks{0};
std::atomic<long> allocationsToFailure{0};
std::atomic<bool> processHeapExhausted{false};

std::atomic<const std::wstring*> watchedSecret{nullptr};
std::atomic<int> secretsFreed{0};

void lookForSecret(const void* block, std::size_t size) {
    const std::wstring* secret = watchedSecret;
    if (secret == nullptr)
        return;
    const auto* const bytes = static_cast<const std::uint8_t*>(block);
    const auto* const wanted = reinterpret_cast<const std::uint8_t*>(secret->data());
    const auto* const end = bytes + size;
    if (std::search(bytes, end, wanted, wanted + secret->size() * sizeof(wchar_t)) != end)
        ++secretsFreed;
}

// New memory may hold what the test or its simulation left behind, which the library has not written; and whoever
// reads it before writing it shall not find zeros.
void scribble(void* block, std::size_t from, std::size_t size) {
    constexpr int kUnwritten = 0xCD;
    if (block != nullptr && size > from)
        std::memset(static_cast<std::uint8_t*>(block) + from, kUnwritten, size - from);
}

bool isToFail() {
    return allocationsToFailure > 0 && --allocationsToFailure == 0;
}

void* countedBlock(void* block) {
    if (block != nullptr)
        ++liveBlocks;
    return block;
}

void freed(void* block) {
    if (block != nullptr)
        --liveBlocks;
}

// Is told of each block of the COM allocator, whoever allocates or frees it. Lives as long as the process.
class AllocatorSpy : public IMallocSpy {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = this; // nobody asks for more than this
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    SIZE_T STDMETHODCALLTYPE PreAlloc(SIZE_T size) override { return size; }
    void* STDMETHODCALLTYPE PostAlloc(void* block) override { return countedBlock(block); }
    void* STDMETHODCALLTYPE PreFree(void* block, BOOL) override {
        freed(block);
        return block;
    }
    void STDMETHODCALLTYPE PostFree(BOOL) override {}
    SIZE_T STDMETHODCALLTYPE PreRealloc(void* block, SIZE_T size, void** given, BOOL) override {
        freed(*given = block);
        return size;
    }
    void* STDMETHODCALLTYPE PostRealloc(void* block, BOOL) override { return countedBlock(block); }
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

SIMULATE_SILENTLY(void*, malloc, std::size_t size) {
    if (isToFail())
        return nullptr;
    void* block = countedBlock(std::malloc(size));
    scribble(block, 0, size);
    return block;
}

SIMULATE_SILENTLY(void*, calloc, std::size_t count, std::size_t size) {
    return isToFail() ? nullptr : countedBlock(std::calloc(count, size));
}

SIMULATE_SILENTLY(void*, realloc, void* block, std::size_t size) {
    if (isToFail())
        return nullptr;
    const std::size_t before = block == nullptr ? 0 : _msize(block);
    if (block != nullptr)
        lookForSecret(block, before); // it may move, and leave what it held behind
    void* moved = std::realloc(block, size);
    scribble(moved, before, size);
    return block == nullptr ? countedBlock(moved) : moved;
}

SIMULATE_SILENTLY(LPVOID, HeapAlloc, HANDLE heap, DWORD flags, SIZE_T size) {
    return processHeapExhausted ? nullptr : ::HeapAlloc(heap, flags, size);
}

SIMULATE_SILENTLY(void, free, void* block) {
    freed(block);
    if (block != nullptr)
        lookForSecret(block, _msize(block));
    std::free(block);
}

} // namespace

long Heap::blocks() {
    static const bool installed = installSpy();
    return installed ? long{liveBlocks} : throw std::runtime_error("the allocator takes no spy");
}

bool Heap::failAllocation(long nth) {
    return allocationsToFailure.exchange(nth) > 0;
}

void Heap::exhaustProcessHeap(bool exhausted) {
    processHeapExhausted = exhausted;
}

int Heap::watchFor(const std::wstring* secret) {
    watchedSecret = secret;
    return secretsFreed.exchange(0);
}

} // namespace zorvan::simulation

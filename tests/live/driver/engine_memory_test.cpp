// The driver's engine without memory, in this process: what it is asked for fails, alone, and the next request works.
#include "driver/protocol.h"
#include "requests/engine_api.h"
#include "support/test_main.h"
#include "wine/kernel/import_slot.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>

namespace zorvan::engine {
namespace {

std::atomic<int> allocationsToFailure = 0;
Status completed = Status::Success;

void* scarceMalloc(std::size_t size) {
    return --allocationsToFailure == 0 ? nullptr : std::malloc(size);
}

void noteCompletion(void*, Outcome outcome) {
    completed = outcome.status;
}

template <class Function>
Function* exported(const char* name, const wchar_t* module = L"zorvan_engine.dll") {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(module), name)));
}

// Repeats the action, with each of its allocations failing in turn, until it needs no more.
template <class Action>
void withEachAllocationFailing(Action action) {
    for (int nth = 1;; ++nth) {
        allocationsToFailure = nth;
        const Status status = action();
        const bool failed = allocationsToFailure <= 0;
        EXPECT_EQ(status, failed ? Status::InsufficientResources : Status::Success) << "allocation " << nth;
        if (!failed) {
            EXPECT_GT(nth, 1) << "nothing was allocated";
            return;
        }
    }
}

TEST(EngineMemory, EachFailedAllocationFailsItsRequestAlone) {
    HMODULE engine = LoadLibraryW(test::siblingPath(L"..\\devkit\\driver\\zorvan_engine.dll").c_str());
    ASSERT_NE(engine, nullptr);
    const auto* const malloc = reinterpret_cast<void*>(exported<decltype(std::malloc)>("malloc", L"msvcrt.dll"));
    replaceImport(engine, malloc, reinterpret_cast<void*>(&scarceMalloc));

    exported<decltype(zorvanStartDriver)>("zorvanStartDriver")(noteCompletion, L"\\Device\\ZorvanTest");
    Port* port = nullptr;
    withEachAllocationFailing([&] {
        // Any key will do: it holds none of a port's values.
        port = exported<decltype(zorvanCreatePort)>("zorvanCreatePort")(HKEY_CURRENT_USER, L"\\Device\\ZorvanTest1");
        return port == nullptr ? Status::InsufficientResources : Status::Success;
    });
    std::array<char, 4096> buffer{};
    withEachAllocationFailing([&] {
        constexpr auto kCode = static_cast<std::uint32_t>(protocol::Query::SecurityDescriptor);
        return exported<decltype(zorvanControl)>("zorvanControl")(port, kCode, buffer.data(), 0, 4096).status;
    });
    withEachAllocationFailing([&] { return exported<decltype(zorvanOpenSerial)>("zorvanOpenSerial")(port); });
    withEachAllocationFailing([&] {
        completed = Status::Success;
        exported<decltype(zorvanSubmit)>("zorvanSubmit")(port, Operation::Read, &buffer, buffer.data(), 16);
        const Status status = completed;
        exported<decltype(zorvanCancel)>("zorvanCancel")(port, &buffer);
        return status;
    });
    exported<decltype(zorvanStopPort)>("zorvanStopPort")(port);
    exported<decltype(zorvanFreePort)>("zorvanFreePort")(port);
}

} // namespace
} // namespace zorvan::engine

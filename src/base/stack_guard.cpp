// The value that the compiler's stack protector puts on the stack, and what happens when it was overwritten.
//
// mingw-w64's own asks CryptoAPI for the value, and so loads and unloads three DLLs of the system while the library
// is being loaded. What is gathered here costs next to nothing and needs no DLL but kernel32.dll. Other compilers
// bring their own.
#ifdef __MINGW32__

#include <windows.h>

#include <cstdint>

// NOLINTBEGIN(bugprone-reserved-identifier): the compiler's names

extern "C" {
std::uintptr_t __stack_chk_guard = 0x00000AFF2D9E8C35; // for what runs before the seed

[[noreturn]] void __stack_chk_fail() {
    // What other compilers call __fastfail: ends the process without running anything more in it.
    asm volatile("int $0x29" : : "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE));
    __builtin_unreachable();
}
}

namespace {

// Every bit of the input has a hand in every bit of the result.
constexpr std::uint64_t mixed(std::uint64_t bits) {
    bits = (bits ^ bits >> 33) * 0xFF51AFD7ED558CCD;
    bits = (bits ^ bits >> 33) * 0xC4CEB9FE1A85EC53;
    return bits ^ bits >> 33;
}

// Before every other constructor, and itself without the guard that it changes. The lowest byte is 0: what overruns a
// text ends there.
__attribute__((constructor(101), no_stack_protector)) void seedStackGuard() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    const auto time = std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
    const auto place = reinterpret_cast<std::uintptr_t>(&now) ^ reinterpret_cast<std::uintptr_t>(&seedStackGuard);
    const auto thread = std::uint64_t{GetCurrentProcessId()} << 32 | GetCurrentThreadId();
    __stack_chk_guard = mixed(__builtin_ia32_rdtsc() ^ mixed(time ^ mixed(place ^ mixed(thread)))) & ~0xFFULL;
}

} // namespace

// NOLINTEND(bugprone-reserved-identifier)

#endif

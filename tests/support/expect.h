// For what the rest of a test, or of a round of the soak, cannot do without.
#pragma once

#include <windows.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace zorvan::test {

// Both throw a std::runtime_error that says what did not go as it should.
inline void expect(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(std::string("not as expected: ") + what);
}

inline void require(HRESULT result, const char* what) {
    if (SUCCEEDED(result))
        return;
    char code[20];
    std::snprintf(code, sizeof code, ": 0x%08lX", result);
    throw std::runtime_error(what + std::string(code));
}

// Whether the condition holds within twenty seconds.
template <class Condition>
bool becomesTrue(Condition&& condition) {
    for (const auto deadline = GetTickCount64() + 20'000; !condition(); Sleep(1))
        if (GetTickCount64() > deadline)
            return false;
    return true;
}

} // namespace zorvan::test

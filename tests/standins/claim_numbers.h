// How the tests and the claim_numbers program start together.
#pragma once

#include <windows.h>

namespace zorvan::test {

// Released once by each program that is ready to begin.
constexpr wchar_t kClaimersReady[] = L"Local\\zorvanlib-standins-test-ready";
// Set when all may begin.
constexpr wchar_t kClaimersGo[] = L"Local\\zorvanlib-standins-test-go";
constexpr DWORD kClaimersWait = 30'000; // milliseconds

} // namespace zorvan::test

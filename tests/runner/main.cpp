// The main function of every test program: GoogleTest, a watchdog, and an apartment for the tests' thread.
#include "runner/crash.h"
#include "runner/runner.h"
#include "runner/watchdog.h"

#include <objbase.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace zorvan::test {

namespace {

std::vector<std::wstring> programArguments;
Watchdog* watchdog = nullptr; // owned by GoogleTest

} // namespace

const std::vector<std::wstring>& arguments() {
    return programArguments;
}

std::wstring programPath() {
    std::wstring path(MAX_PATH, L'\0');
    DWORD length = 0;
    while ((length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()))) == path.size())
        path.resize(2 * path.size());
    path.resize(length);
    return path;
}

std::wstring siblingPath(const std::wstring& relative) {
    const auto program = programPath();
    const auto path = program.substr(0, program.find_last_of(L'\\') + 1) + relative;
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    return full;
}

void allowTime(std::chrono::seconds limit) {
    watchdog->allow(limit);
}

static int run(int count, wchar_t** values) {
    reportCrashes();
    testing::InitGoogleTest(&count, values);
    programArguments.assign(values + 1, values + count);
    watchdog = new Watchdog;
    testing::UnitTest::GetInstance()->listeners().Append(watchdog);
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        std::fputs("COM cannot be initialised in this process.\n", stderr);
        return EXIT_FAILURE;
    }
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}

} // namespace zorvan::test

int wmain(int count, wchar_t** values) {
    return zorvan::test::run(count, values);
}

// The main function of every test program: GoogleTest, a watchdog, and an apartment for the tests' thread.
#include "runner/crash.h"
#include "runner/runner.h"
#include "runner/watchdog.h"

#include <objbase.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace zorvan::test {

namespace {

std::vector<std::wstring> programArguments;
Watchdog* watchdog = nullptr; // owned by GoogleTest

} // namespace

const std::vector<std::wstring>& arguments() {
    return programArguments;
}

std::wstring siblingPath(const std::wstring& relative) {
    std::wstring program(32'767, L'\0'); // the longest path that there is
    program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
    return (std::filesystem::path(program).parent_path() / relative).lexically_normal();
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
        writeError("COM cannot be initialised in this process.\n");
        return 1;
    }
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}

} // namespace zorvan::test

int wmain(int count, wchar_t** values) {
    return zorvan::test::run(count, values);
}

// The main function of every test program: GoogleTest, and an apartment for the tests' thread.
#include "test_main.h"

#include <objbase.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace zorvan::test {

namespace {

std::vector<std::wstring> programArguments;

// Wine's debugger would end the program with success. The test that has begun and not ended is the one that crashes.
LONG WINAPI onCrash(EXCEPTION_POINTERS* crash) {
    const auto& record = *crash->ExceptionRecord;
    std::fprintf(
        stderr, "\nThe test crashes, exception 0x%lx at %p\n", record.ExceptionCode, record.ExceptionAddress);
    TerminateProcess(GetCurrentProcess(), EXIT_FAILURE);
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

const std::vector<std::wstring>& arguments() {
    return programArguments;
}

std::wstring siblingPath(const std::wstring& relative) {
    std::wstring program(32'767, L'\0'); // the longest path that there is
    program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
    return (std::filesystem::path(program).parent_path() / relative).lexically_normal();
}

static int run(int count, wchar_t** values) {
    SetUnhandledExceptionFilter(onCrash);
    testing::InitGoogleTest(&count, values);
    programArguments.assign(values + 1, values + count);
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        std::fputs("COM cannot be initialised in this process.\n", stderr);
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

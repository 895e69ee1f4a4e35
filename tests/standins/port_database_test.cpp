#include "scratch_database.h"

#include "driver/device_node.h"
#include "runner/runner.h"
#include "support/child_process.h"

#include <gtest/gtest.h>

#include <numeric>

namespace zorvan::test {

namespace {

enum class Call { Claim, Force, Next, Release, Resize, Size };

// What a claim says of force, the number that was given, the size.
DWORD result = 0;

LONG take(HCOMDB database, Call call, DWORD argument) {
    BOOL forced = 42;
    LONG status = ERROR_SUCCESS;
    result = 0;
    switch (call) {
    case Call::Claim:
    case Call::Force:
        status = ComDBClaimPort(database, argument, call == Call::Force, &forced);
        result = static_cast<DWORD>(forced);
        return status;
    case Call::Next:
        return ComDBClaimNextFreePort(database, &result);
    case Call::Release:
        return ComDBReleasePort(database, argument);
    case Call::Resize:
        return ComDBResizeDatabase(database, argument);
    default:
        return ComDBGetCurrentPortUsage(database, nullptr, 0, CDB_REPORT_BITS, &result);
    }
}

} // namespace

// One after the other, on a database that has only 250 and 253 to 256 left: 252 is not claimed but
// the name of a port.
TEST(PortDatabase, TakesTheseCalls) {
    const struct {
        Call call;
        DWORD argument;
        LONG status;
        DWORD result;
    } steps[] = {
        {Call::Size, 0, ERROR_SUCCESS, 256},
        {Call::Next, 0, ERROR_SUCCESS, 250},
        {Call::Next, 0, ERROR_SUCCESS, 253},
        {Call::Claim, 7, ERROR_SHARING_VIOLATION, FALSE},
        {Call::Force, 7, ERROR_SUCCESS, TRUE},
        {Call::Release, 7, ERROR_SUCCESS, 0},
        {Call::Release, 7, ERROR_SUCCESS, 0}, // is free already
        {Call::Force, 7, ERROR_SUCCESS, FALSE},
        {Call::Release, 8, ERROR_SUCCESS, 0},
        {Call::Next, 0, ERROR_SUCCESS, 8},
        {Call::Claim, 254, ERROR_SUCCESS, FALSE},
        {Call::Next, 0, ERROR_SUCCESS, 255},
        {Call::Next, 0, ERROR_SUCCESS, 256},
        {Call::Next, 0, ERROR_NO_LOG_SPACE, 0},
        {Call::Claim, 0, ERROR_INVALID_PARAMETER, FALSE},
        {Call::Force, 4097, ERROR_INVALID_PARAMETER, FALSE},
        {Call::Release, 0, ERROR_INVALID_PARAMETER, 0},
        {Call::Release, 257, ERROR_INVALID_PARAMETER, 0},
        {Call::Resize, 1000, ERROR_INVALID_PARAMETER, 0},
        {Call::Resize, 5120, ERROR_BAD_LENGTH, 0},
        {Call::Resize, 1024, ERROR_SUCCESS, 0},
        {Call::Resize, 1024, ERROR_BAD_LENGTH, 0},
        {Call::Size, 0, ERROR_SUCCESS, 1024},
        {Call::Next, 0, ERROR_SUCCESS, 257},
        {Call::Claim, 1025, ERROR_SUCCESS, FALSE}, // enlarges it by a whole step
        {Call::Size, 0, ERROR_SUCCESS, 2048},
        {Call::Claim, 4096, ERROR_SUCCESS, FALSE},
    };
    ScratchDatabase::Numbers numbers(249);
    std::iota(numbers.begin(), numbers.end(), 1);
    numbers.push_back(251);
    const DeviceNode port(L"COM252");
    const ScratchDatabase database(numbers);
    for (const auto& step : steps) {
        EXPECT_EQ(take(database.handle(), step.call, step.argument), step.status) << &step - steps;
        EXPECT_EQ(result, step.result) << &step - steps;
    }
    numbers.insert(numbers.begin() + 249, 250);
    numbers.insert(numbers.end(), {253, 254, 255, 256, 257, 1025, 4096});
    EXPECT_EQ(database.used(), numbers);
}

TEST(PortDatabase, ReportsUsageAsFarAsTheBufferGoes) {
    const ScratchDatabase database({1, 3, 9});
    const auto report = [&](ULONG type, DWORD size) {
        std::vector<BYTE> buffer(4, 0xEE);
        DWORD ports = 0;
        EXPECT_EQ(ComDBGetCurrentPortUsage(database.handle(), buffer.data(), size, type, &ports), ERROR_SUCCESS);
        EXPECT_EQ(ports, type == CDB_REPORT_BITS ? 8 * size : size);
        return buffer;
    };
    EXPECT_EQ(report(CDB_REPORT_BITS, 2), (std::vector<BYTE>{0x05, 0x01, 0xEE, 0xEE}));
    EXPECT_EQ(report(CDB_REPORT_BYTES, 3), (std::vector<BYTE>{1, 0, 1, 0xEE}));
}

TEST(PortDatabase, RefusesWhatIsNotOpen) {
    HCOMDB closed = HCOMDB_INVALID_HANDLE_VALUE;
    ASSERT_EQ(ComDBOpen(&closed), ERROR_SUCCESS);
    ASSERT_EQ(ComDBClose(closed), ERROR_SUCCESS);
    EXPECT_EQ(ComDBClose(closed), ERROR_INVALID_PARAMETER);
    for (const Call call : {Call::Claim, Call::Next, Call::Release, Call::Resize, Call::Size})
        EXPECT_EQ(take(closed, call, 1024), ERROR_INVALID_PARAMETER);
}

// The test's own program takes the other side, with an argument.
TEST(PortDatabase, GivesDifferentNumbersToProcessesThatClaimAtOnce) {
    constexpr DWORD kEach = 80;
    constexpr DWORD kWait = 30'000; // milliseconds
    const UniqueHandle ready(CreateEventW(nullptr, TRUE, FALSE, L"Local\\zorvanlib-standins-test-ready"));
    const UniqueHandle go(CreateEventW(nullptr, TRUE, FALSE, L"Local\\zorvanlib-standins-test-go"));
    const auto claimAll = [&](HCOMDB database) {
        for (DWORD i = 0; i < kEach; ++i)
            EXPECT_EQ(take(database, Call::Next, 0), ERROR_SUCCESS);
    };
    if (!arguments().empty()) {
        HCOMDB database = HCOMDB_INVALID_HANDLE_VALUE;
        ASSERT_EQ(ComDBOpen(&database), ERROR_SUCCESS);
        SetEvent(ready.get());
        EXPECT_EQ(WaitForSingleObject(go.get(), kWait), WAIT_OBJECT_0);
        claimAll(database);
        ComDBClose(database);
        return;
    }
    const ScratchDatabase database;
    const ChildProcess other(
        L'"' + programPath() + L"\" other --gtest_brief=1 --gtest_filter=PortDatabase.GivesDifferentNumbers*");
    ASSERT_EQ(WaitForSingleObject(ready.get(), kWait), WAIT_OBJECT_0);
    SetEvent(go.get());
    claimAll(database.handle());
    EXPECT_EQ(other.exitCode(), 0U);
    EXPECT_EQ(database.used().size(), 2U * kEach);
}

} // namespace zorvan::test

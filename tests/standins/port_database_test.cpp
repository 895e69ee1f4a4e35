#include "claim_numbers.h"
#include "database_fixture.h"
#include "runner/runner.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace zorvan::test {

namespace {

struct ProcessTraits {
    using Value = HANDLE;
    static Value invalid() { return nullptr; }
    static void close(Value process) {
        TerminateProcess(process, 1);
        CloseHandle(process);
    }
};
using UniqueProcess = Unique<ProcessTraits>;

UniqueProcess startClaiming(int count) {
    std::wstring commandLine = L'"' + siblingPath(L"claim_numbers.exe") + L"\" " + std::to_wstring(count);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    if (!CreateProcessW(
            nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &information))
        return UniqueProcess();
    CloseHandle(information.hThread);
    return UniqueProcess(information.hProcess);
}

DWORD exitCode(HANDLE process) {
    DWORD code = STILL_ACTIVE;
    WaitForSingleObject(process, kClaimersWait);
    GetExitCodeProcess(process, &code);
    return code;
}

bool isDosDevice(DWORD number) {
    wchar_t target[MAX_PATH];
    return QueryDosDeviceW((L"COM" + std::to_wstring(number)).c_str(), target, MAX_PATH) != 0;
}

} // namespace

class PortDatabaseTest : public DatabaseTest {
protected:
    DWORD size() const {
        DWORD ports = 0;
        EXPECT_EQ(standIns_.getCurrentPortUsage(database_, nullptr, 0, CDB_REPORT_BITS, &ports), ERROR_SUCCESS);
        return ports;
    }
};

TEST_F(PortDatabaseTest, ANewDatabaseHasTheMinimumSizeAndNothingInUse) {
    EXPECT_EQ(size(), COMDB_MIN_PORTS_ARBITRATED);
    EXPECT_EQ(usedCount(), 0U);
}

TEST_F(PortDatabaseTest, IsKeptWhereWindowsKeepsItOneBitPerNumber) {
    for (const DWORD number : {1U, 9U, 16U, 256U})
        ASSERT_EQ(standIns_.claimPort(database_, number, FALSE, nullptr), ERROR_SUCCESS) << number;
    std::vector<BYTE> expected(COMDB_MIN_PORTS_ARBITRATED / 8);
    expected[0] = 0x01;
    expected[1] = 0x81;
    expected[31] = 0x80;
    EXPECT_EQ(registryValue(), expected);
}

TEST_F(PortDatabaseTest, Claims) {
    struct Row {
        DWORD number;
        BOOL force;
        LONG status;
        BOOL forced;
    };
    const Row rows[] = {
        {0, FALSE, ERROR_INVALID_PARAMETER, FALSE},
        {0, TRUE, ERROR_INVALID_PARAMETER, FALSE},
        {4097, TRUE, ERROR_INVALID_PARAMETER, FALSE},
        {7, FALSE, ERROR_SUCCESS, FALSE},
        {7, FALSE, ERROR_SHARING_VIOLATION, FALSE},
        {7, TRUE, ERROR_SUCCESS, TRUE},
        {8, TRUE, ERROR_SUCCESS, FALSE},
        {256, FALSE, ERROR_SUCCESS, FALSE},
        {257, FALSE, ERROR_SUCCESS, FALSE},
        {4096, FALSE, ERROR_SUCCESS, FALSE},
        {4096, FALSE, ERROR_SHARING_VIOLATION, FALSE},
    };
    for (const Row& row : rows) {
        BOOL forced = 42;
        EXPECT_EQ(standIns_.claimPort(database_, row.number, row.force, &forced), row.status) << row.number;
        EXPECT_EQ(forced, row.forced) << row.number;
    }
    EXPECT_EQ(usedCount(), 5U);
}

TEST_F(PortDatabaseTest, AClaimBeyondItsSizeEnlargesItByWholeSteps) {
    ASSERT_EQ(standIns_.claimPort(database_, 3, FALSE, nullptr), ERROR_SUCCESS);
    ASSERT_EQ(standIns_.claimPort(database_, 300, FALSE, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(size(), 1024U);
    EXPECT_TRUE(isUsed(3));
    EXPECT_TRUE(isUsed(300));
    EXPECT_EQ(usedCount(), 2U);
}

TEST_F(PortDatabaseTest, Releases) {
    ASSERT_EQ(standIns_.claimPort(database_, 5, FALSE, nullptr), ERROR_SUCCESS);
    ASSERT_EQ(standIns_.claimPort(database_, 6, FALSE, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(standIns_.releasePort(database_, 5), ERROR_SUCCESS);
    EXPECT_EQ(standIns_.releasePort(database_, 5), ERROR_SUCCESS) << "was not in use";
    EXPECT_EQ(standIns_.releasePort(database_, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(standIns_.releasePort(database_, 257), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(isUsed(5));
    EXPECT_TRUE(isUsed(6));
}

TEST_F(PortDatabaseTest, TheNextFreeNumberIsTheLowestThatNobodyHas) {
    DWORD lowest = 1;
    while (isDosDevice(lowest))
        ++lowest;
    DWORD number = 0;
    ASSERT_EQ(standIns_.claimNextFreePort(database_, &number), ERROR_SUCCESS);
    EXPECT_EQ(number, lowest);
    EXPECT_TRUE(isUsed(lowest));

    // The one after is a DOS name; the second after is claimed.
    const std::wstring dosName = L"COM" + std::to_wstring(lowest + 1);
    ASSERT_TRUE(DefineDosDeviceW(DDD_RAW_TARGET_PATH, dosName.c_str(), L"\\Device\\Null"));
    ASSERT_EQ(standIns_.claimPort(database_, lowest + 2, FALSE, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(standIns_.claimNextFreePort(database_, &number), ERROR_SUCCESS);
    EXPECT_EQ(number, lowest + 3);
    EXPECT_TRUE(DefineDosDeviceW(DDD_REMOVE_DEFINITION, dosName.c_str(), nullptr));

    ASSERT_EQ(standIns_.releasePort(database_, lowest), ERROR_SUCCESS);
    EXPECT_EQ(standIns_.claimNextFreePort(database_, &number), ERROR_SUCCESS);
    EXPECT_EQ(number, lowest);
}

TEST_F(PortDatabaseTest, AFullDatabaseGivesNumbersAgainOnceItIsEnlarged) {
    for (DWORD number = 1; number <= COMDB_MIN_PORTS_ARBITRATED; ++number)
        ASSERT_EQ(standIns_.claimPort(database_, number, FALSE, nullptr), ERROR_SUCCESS);
    DWORD number = 0;
    EXPECT_EQ(standIns_.claimNextFreePort(database_, &number), ERROR_NO_LOG_SPACE);
    ASSERT_EQ(standIns_.resizeDatabase(database_, 1024), ERROR_SUCCESS);
    EXPECT_EQ(standIns_.claimNextFreePort(database_, &number), ERROR_SUCCESS);
    EXPECT_EQ(number, 257U);
}

TEST_F(PortDatabaseTest, Sizes) {
    struct Row {
        DWORD size;
        LONG status;
        DWORD sizeAfter;
    };
    const Row rows[] = {
        {0, ERROR_BAD_LENGTH, 256},     {256, ERROR_INVALID_PARAMETER, 256}, {1000, ERROR_INVALID_PARAMETER, 256},
        {5120, ERROR_BAD_LENGTH, 256},  {2048, ERROR_SUCCESS, 2048},         {1024, ERROR_BAD_LENGTH, 2048},
        {2048, ERROR_BAD_LENGTH, 2048}, {4096, ERROR_SUCCESS, 4096},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(standIns_.resizeDatabase(database_, row.size), row.status) << row.size;
        EXPECT_EQ(size(), row.sizeAfter) << row.size;
    }
}

TEST_F(PortDatabaseTest, ReportsUsageAsFarAsTheBufferGoes) {
    struct Row {
        ULONG type;
        DWORD bufferSize;
        DWORD ports;
        std::array<BYTE, 4> begin;
    };
    const Row rows[] = {
        {CDB_REPORT_BITS, 2, 16, {0x05, 0x01, 0xEE, 0xEE}}, {CDB_REPORT_BITS, 512, 256, {0x05, 0x01, 0, 0}},
        {CDB_REPORT_BYTES, 3, 3, {1, 0, 1, 0xEE}},          {CDB_REPORT_BYTES, 512, 256, {1, 0, 1, 0}},
        {CDB_REPORT_BITS, 0, 0, {0xEE, 0xEE, 0xEE, 0xEE}},
    };
    for (const DWORD number : {1U, 3U, 9U})
        ASSERT_EQ(standIns_.claimPort(database_, number, FALSE, nullptr), ERROR_SUCCESS);
    for (const Row& row : rows) {
        std::vector<BYTE> buffer(512, 0xEE);
        DWORD ports = 42;
        EXPECT_EQ(
            standIns_.getCurrentPortUsage(database_, buffer.data(), row.bufferSize, row.type, &ports), ERROR_SUCCESS);
        EXPECT_EQ(ports, row.ports);
        EXPECT_TRUE(std::equal(row.begin.begin(), row.begin.end(), buffer.begin()));
        EXPECT_EQ(buffer.back(), 0xEE);
    }
    BYTE byte = 0;
    EXPECT_EQ(standIns_.getCurrentPortUsage(database_, &byte, 1, 2, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(standIns_.getCurrentPortUsage(database_, nullptr, 0, 0, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(PortDatabaseTest, RefusesHandlesThatAreNotOpen) {
    HCOMDB closed = HCOMDB_INVALID_HANDLE_VALUE;
    ASSERT_EQ(standIns_.open(&closed), ERROR_SUCCESS);
    ASSERT_EQ(standIns_.close(closed), ERROR_SUCCESS);
    DWORD value = 0;
    for (const HCOMDB handle : {HCOMDB_INVALID_HANDLE_VALUE, HCOMDB{}, closed}) {
        EXPECT_EQ(standIns_.close(handle), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(standIns_.claimPort(handle, 1, TRUE, nullptr), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(standIns_.claimNextFreePort(handle, &value), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(standIns_.releasePort(handle, 1), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(standIns_.resizeDatabase(handle, 1024), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(standIns_.getCurrentPortUsage(handle, nullptr, 0, 0, &value), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(standIns_.open(nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(standIns_.claimNextFreePort(database_, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(usedCount(), 0U);
}

TEST_F(PortDatabaseTest, AValueOfAnotherTypeIsLeftAlone) {
    const wchar_t text[] = L"text";
    ASSERT_EQ(
        RegSetValueExW(key_.get(), L"ComDB", 0, REG_SZ, reinterpret_cast<const BYTE*>(text), sizeof text),
        ERROR_SUCCESS);
    DWORD number = 0;
    EXPECT_EQ(standIns_.claimPort(database_, 3, TRUE, nullptr), ERROR_NOT_CONNECTED);
    EXPECT_EQ(standIns_.claimNextFreePort(database_, &number), ERROR_NOT_CONNECTED);
    EXPECT_EQ(standIns_.getCurrentPortUsage(database_, nullptr, 0, 0, &number), ERROR_NOT_CONNECTED);
    wchar_t read[5] = {};
    DWORD size = sizeof read;
    EXPECT_EQ(RegGetValueW(key_.get(), nullptr, L"ComDB", RRF_RT_REG_SZ, nullptr, read, &size), ERROR_SUCCESS);
    EXPECT_STREQ(read, text);
}

TEST_F(PortDatabaseTest, ProcessesThatClaimAtOnceGetDifferentNumbers) {
    constexpr int kEach = 80;
    const UniqueHandle ready(CreateSemaphoreW(nullptr, 0, 3, kClaimersReady));
    const UniqueHandle go(CreateEventW(nullptr, TRUE, FALSE, kClaimersGo));
    ASSERT_TRUE(ready && go);
    const std::array<UniqueProcess, 3> processes{startClaiming(kEach), startClaiming(kEach), startClaiming(kEach)};
    for (const UniqueProcess& process : processes)
        ASSERT_TRUE(process && WaitForSingleObject(ready.get(), kClaimersWait) == WAIT_OBJECT_0);
    SetEvent(go.get());
    for (const UniqueProcess& process : processes)
        EXPECT_EQ(exitCode(process.get()), static_cast<DWORD>(ERROR_SUCCESS));
    EXPECT_EQ(usedCount(), 3U * kEach);
}

} // namespace zorvan::test

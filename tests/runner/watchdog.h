// Ends the program when a test hangs, and says which test stood and where.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace zorvan::test {

class Watchdog : public testing::EmptyTestEventListener {
public:
    static constexpr int kExitCode = 86;
    static constexpr std::chrono::seconds kDefaultLimit{60};

    Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;
    ~Watchdog() override;

    void OnTestStart(const testing::TestInfo& test) override;
    void OnTestEnd(const testing::TestInfo& test) override;

    void allow(std::chrono::seconds limit);

private:
    void watch();
    [[noreturn]] void endProgram();

    std::string test_;                        // written only while the deadline is off
    std::atomic<ULONGLONG> deadline_ = ~0ULL; // in GetTickCount64's time
    HANDLE stop_;
    std::thread thread_;
};

} // namespace zorvan::test

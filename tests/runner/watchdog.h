// Ends the program when a test hangs, and says which test stood and where.
#pragma once

#include "base/unique.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace zorvan::test {

class Watchdog : public testing::EmptyTestEventListener {
public:
    static constexpr int kExitCode = 86;
    static constexpr std::chrono::seconds kDefaultLimit{60};

    ~Watchdog() override { SetEvent(stop_.get()); }

    void OnTestStart(const testing::TestInfo& test) override;
    void OnTestEnd(const testing::TestInfo&) override { deadline_ = ~0ULL; }

    void allow(std::chrono::milliseconds limit) {
        deadline_ = GetTickCount64() + static_cast<ULONGLONG>(limit.count());
    }

private:
    void watch();
    void endProgram();

    std::string test_;                        // written only while the deadline is off
    std::atomic<ULONGLONG> deadline_ = ~0ULL; // in GetTickCount64's time
    UniqueHandle stop_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::jthread thread_{[this] { watch(); }};
};

} // namespace zorvan::test

// A program whose test hangs, for the test of the watchdog.
#include "runner/runner.h"

#include <windows.h>

#include <gtest/gtest.h>

TEST(Program, Hangs) {
    zorvan::test::allowTime(std::chrono::seconds(1));
    Sleep(INFINITE);
}

// A program whose test crashes, for the test of the programs' main function.
#include <gtest/gtest.h>

TEST(Program, Crashes) {
    *static_cast<volatile int*>(nullptr) = 1;
}

// The test program, and the process that it starts to compete with itself: "--claim COUNT" claims that many numbers.
#include <gtest/gtest.h>

#include <string>

#include "stand_ins.h"

namespace {

int claimNumbers(int count) {
    const zorvan::test::StandIns standIns;
    HCOMDB database = HCOMDB_INVALID_HANDLE_VALUE;
    LONG status = standIns.open(&database);
    for (int i = 0; i < count && status == ERROR_SUCCESS; ++i) {
        DWORD number = 0;
        status = standIns.claimNextFreePort(database, &number);
    }
    standIns.close(database);
    return static_cast<int>(status);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--claim")
        return claimNumbers(std::stoi(argv[2]));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

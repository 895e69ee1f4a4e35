// Many ports.
#include "client.h"

#include "runner/runner.h"

namespace zorvan::test {

namespace {

using ManyPortsSystemTest = SystemTest;

TEST_F(ManyPortsSystemTest, ThirtyTwoPorts) {
    constexpr int kCount = 32;
    allowTime(std::chrono::minutes(3)); // a creation takes half a second by design, and the machine may be busy
    const auto before = presentPortNames();
    std::set<std::wstring> names;
    for (int i = 0; i < kCount; ++i)
        names.insert(portName(*create()));
    EXPECT_EQ(kCount, static_cast<int>(names.size())) << "every port has a number of its own";

    auto expected = before;
    expected.insert(names.begin(), names.end());
    EXPECT_EQ(expected, listPortNames(*library_));
    EXPECT_EQ(expected, presentPortNames());

    deletePorts();
    EXPECT_EQ(before, presentPortNames());
}

} // namespace

} // namespace zorvan::test

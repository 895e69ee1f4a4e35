// Clients in script languages, run by cscript. Each script checks for itself and says so; see scripts/.
#include "programs.h"

#include <gtest/gtest.h>

namespace zorvan::test {

namespace {

class ScriptsSystemTest : public testing::TestWithParam<const wchar_t*> {};

// Wine's cscript ends with 0 even after an error that no script handled, so the script's own last line must be there.
TEST_P(ScriptsSystemTest, SaysThatAllIsAsExpected) {
    const auto result = runScript(GetParam());
    EXPECT_EQ(0U, result.exitCode) << result.output;
    EXPECT_EQ("All as expected.\n", result.output);
}

INSTANTIATE_TEST_SUITE_P(
    Languages, ScriptsSystemTest, testing::Values(L"collection.vbs", L"collection.js", L"errors.vbs", L"errors.js"),
    [](const auto& info) {
        std::string name;
        for (const wchar_t* c = info.param; *c != L'\0'; ++c)
            name += *c == L'.' ? '_' : static_cast<char>(*c);
        return name;
    });

} // namespace

} // namespace zorvan::test

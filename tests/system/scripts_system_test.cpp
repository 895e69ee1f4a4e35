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

// "errors.vbs" becomes "errors_vbs": a test's name is a word.
std::string testName(const testing::TestParamInfo<const wchar_t*>& script) {
    std::string name;
    for (const wchar_t* character = script.param; *character != L'\0'; ++character)
        name += *character == L'.' ? '_' : static_cast<char>(*character);
    return name;
}

INSTANTIATE_TEST_SUITE_P(
    Languages, ScriptsSystemTest, testing::Values(L"collection.vbs", L"collection.js", L"errors.vbs", L"errors.js"),
    testName);

} // namespace

} // namespace zorvan::test

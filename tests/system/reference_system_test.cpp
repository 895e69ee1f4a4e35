// docs/reference.md against the library: it names every member of the type library and nothing else.
#include "reference_facts.h"

#include "runner/runner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace zorvan::test {

namespace {

Facts difference(const Facts& facts, const Facts& others) {
    Facts result;
    std::set_difference(
        facts.begin(), facts.end(), others.begin(), others.end(), std::inserter(result, result.end()));
    return result;
}

TEST(ReferenceSystemTest, NamesEveryMemberAndNothingElse) {
    const auto library = factsOfTypeLibrary(siblingPath(L"..\\zorvanlib.dll"));
    const auto reference = factsOfReference();
    ASSERT_GT(library.size(), 60U);
    EXPECT_EQ(Facts{}, difference(library, reference)) << "in the type library, but not in the reference";
    EXPECT_EQ(Facts{}, difference(reference, library)) << "in the reference, but not in the type library";
}

} // namespace

} // namespace zorvan::test

// The type library inside the DLL, compared with the written contract.
#include "typelib/library_file.h"
#include "typelib/type_library_dump.h"

#include "base/com_pointer.h"
#include "runner/runner.h"

#include <oleauto.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace zorvan::test {

namespace {

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string readExpectation() {
    const std::filesystem::path path = siblingPath(L"typelib_expected.txt");
    std::ifstream file(path);
    EXPECT_TRUE(file) << "cannot read " << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// The lines that only one side has, in their order: "-" is missing in the type library, "+" is there in excess.
std::string difference(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
    // common[i][j]: the length of the longest common subsequence of expected from i on and actual from j on.
    std::vector<std::vector<std::size_t>> common(expected.size() + 1, std::vector<std::size_t>(actual.size() + 1));
    for (std::size_t i = expected.size(); i-- > 0;)
        for (std::size_t j = actual.size(); j-- > 0;)
            common[i][j] =
                expected[i] == actual[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    std::string text;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < expected.size() || j < actual.size()) {
        if (i < expected.size() && j < actual.size() && expected[i] == actual[j]) {
            ++i;
            ++j;
        } else if (j == actual.size() || (i < expected.size() && common[i + 1][j] >= common[i][j + 1])) {
            text += "line " + std::to_string(i + 1) + " - " + expected[i] + "\n";
            ++i;
        } else {
            text += "line " + std::to_string(i + 1) + " + " + actual[j] + "\n";
            ++j;
        }
    }
    return text;
}

ComPointer<ITypeLib> loadTypeLibrary() {
    ComPointer<ITypeLib> library;
    const std::wstring path = siblingPath(L"..\\zorvanlib.dll");
    EXPECT_EQ(S_OK, LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
    return library;
}

bool holdsName(ITypeLib& library, std::wstring name) {
    BOOL found = FALSE;
    EXPECT_EQ(S_OK, library.IsName(name.data(), 0, &found));
    return found != FALSE;
}

} // namespace

TEST(TypeLibrary, EqualsTheContract) {
    const auto library = loadTypeLibrary();
    ASSERT_TRUE(library);
    const std::string text = dumpTypeLibrary(*library);
    EXPECT_EQ("", difference(splitLines(readExpectation()), splitLines(text))) << "The whole type library:\n" << text;
}

TEST(TypeLibrary, NamesNoParameterOfASetter) {
    const auto library = loadTypeLibrary();
    ASSERT_TRUE(library);
    EXPECT_TRUE(holdsName(*library, L"pval"));
    EXPECT_FALSE(holdsName(*library, L"value"));
}

// The second accessors' help strings, which the type library holds but nobody can ask it for.
TEST(TypeLibrary, HoldsTheHelpOfSecondAccessors) {
    const LibraryFile file(siblingPath(L"..\\zorvanlib.dll"));
    const std::string_view data = file.resource(L"TYPELIB", 1);
    for (const char* help :
         {"Set the device's port name (rename device)", "Get the TX buffer overrun emulation flag",
          "Get the single bit crossover probability (BSCp)"})
        EXPECT_NE(std::string_view::npos, data.find(help)) << help;
}

} // namespace zorvan::test

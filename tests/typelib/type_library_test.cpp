// The type library inside the DLL, compared with the written contract.
#include "typelib/type_library_dump.h"

#include "base/com_pointer.h"
#include "runner/runner.h"

#include <oleauto.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace zorvan::test {

namespace {

std::string readExpectation() {
    const std::filesystem::path path = siblingPath(L"typelib_expected.txt");
    std::ifstream file(path);
    EXPECT_TRUE(file) << "cannot read " << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

ComPointer<ITypeLib> loadTypeLibrary() {
    ComPointer<ITypeLib> library;
    const std::wstring path = siblingPath(L"..\\zorvanlib.dll");
    EXPECT_EQ(S_OK, LoadTypeLibEx(path.c_str(), REGKIND_NONE, library.put()));
    return library;
}

} // namespace

TEST(TypeLibrary, EqualsTheContract) {
    const auto library = loadTypeLibrary();
    ASSERT_TRUE(library);
    EXPECT_EQ(readExpectation(), dumpTypeLibrary(*library));
}

TEST(TypeLibrary, NamesNoParameterOfASetter) {
    const auto library = loadTypeLibrary();
    ASSERT_TRUE(library);
    wchar_t name[] = L"value";
    BOOL found = TRUE;
    EXPECT_EQ(S_OK, library->IsName(name, 0, &found));
    EXPECT_FALSE(found);
}

} // namespace zorvan::test

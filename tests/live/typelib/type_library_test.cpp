// The type library inside the DLL, compared with the written contract and with the reference.
#include "type_library_facts.h"

#include "base/com_pointer.h"
#include "base/hresult_error.h"
#include "support/program.h"
#include "support/test_main.h"

#include <oleauto.h>

#include <gtest/gtest.h>

#include <sstream>

namespace zorvan::test {

namespace {

ComPointer<ITypeLib> loadTypeLibrary() {
    ComPointer<ITypeLib> library;
    throwIfFailed(LoadTypeLibEx(siblingPath(L"..\\zorvanlib.dll").c_str(), REGKIND_NONE, library.put()));
    return library;
}

std::string textOf(const Type& type) {
    std::ostringstream text;
    text << "\n" << type.description << "\n";
    if (!type.help.empty())
        text << "  \"" << type.help << "\"\n";
    for (const auto& member : type.members) {
        text << "  slot " << member.slot << " id " << member.id << " " << member.kind << " " << member.name
             << member.parameters << (member.value.empty() ? "" : " : ") << member.value << "\n";
        if (!member.help.empty())
            text << "    \"" << member.help << "\"\n";
    }
    for (const auto& [name, value] : type.constants)
        text << "  " << name << " = " << value << "\n";
    return text.str();
}

std::string textOf(ITypeLib& library) {
    TLIBATTR* attributes = nullptr;
    throwIfFailed(library.GetLibAttr(&attributes));
    std::ostringstream text;
    text << "library " << guidText(attributes->guid) << " version " << attributes->wMajorVerNum << "."
         << attributes->wMinorVerNum << " locale " << attributes->lcid << " system " << attributes->syskind << "\n";
    library.ReleaseTLibAttr(attributes);
    for (const auto& type : typesOf(library))
        text << textOf(type);
    return text.str();
}

TEST(TypeLibrary, EqualsTheContract) {
    EXPECT_EQ(readFile(SOURCE_FOLDER L"tests/live/typelib/expected.txt"), textOf(*loadTypeLibrary()));
}

TEST(TypeLibrary, NamesNoParameterOfASetter) {
    wchar_t name[] = L"value";
    BOOL found = TRUE;
    EXPECT_EQ(S_OK, loadTypeLibrary()->IsName(name, 0, &found));
    EXPECT_FALSE(found);
}

// How the rows of the reference begin, one for each member or constant; a property that is read and written is one.
std::vector<std::string> rowsOf(const Type& type) {
    std::vector<std::string> rows;
    const auto end = type.members.end();
    for (auto member = type.members.begin(); member != end; ++member) {
        const auto next = member + 1;
        const bool hasSecond = next != end && next->id == member->id;
        rows.push_back(
            "`" + member->name + member->parameters + "` | " + std::to_string(member->id) + " | " +
            (hasSecond ? "get, put" : member->kind) +
            (member->value.empty() ? " | |" : " | `" + member->value + "` |"));
        if (hasSecond)
            member = next;
    }
    for (const auto& [name, value] : type.constants)
        rows.push_back("`" + name + "` | " + value + " |");
    return rows;
}

TEST(Reference, NamesEveryMemberAndNothingElse) {
    const auto reference = readFile(SOURCE_FOLDER L"docs/reference.md");
    std::size_t rows = 0;
    for (const auto& type : typesOf(*loadTypeLibrary())) {
        const auto begin = reference.find("\n## " + type.name + "\n");
        const auto section =
            begin == std::string::npos ? "" : reference.substr(begin, reference.find("\n## ", begin + 1) - begin);
        for (const auto& row : rowsOf(type)) {
            EXPECT_NE(std::string::npos, section.find("\n| " + row)) << type.name << ": " << row;
            ++rows;
        }
    }
    ASSERT_LT(60U, rows);
    std::istringstream lines(reference);
    for (std::string line; std::getline(lines, line);)
        rows -= line.starts_with("| `") ? 1 : 0;
    EXPECT_EQ(0U, rows) << "rows of the reference without a member, or twice";
}

} // namespace

} // namespace zorvan::test

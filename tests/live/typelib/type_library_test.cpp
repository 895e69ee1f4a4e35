// The type library inside the DLL, compared with the written contract.
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

} // namespace

} // namespace zorvan::test

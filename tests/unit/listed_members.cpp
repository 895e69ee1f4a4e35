#include "listed_members.h"

#include "simulation/call.h"
#include "simulation/client.h"
#include "simulation/shipped_library.h"

namespace zorvan::simulation {

namespace {

std::string documentedName(ITypeInfo& information, MEMBERID member) {
    Bstr name;
    require(information.GetDocumentation(member, name.put(), nullptr, nullptr, nullptr), "GetDocumentation");
    return describe(name.text());
}

std::string memberName(ITypeInfo& information, const FUNCDESC& function) {
    const char* const kind = function.invkind == INVOKE_PROPERTYGET   ? "get_"
                             : function.invkind == INVOKE_PROPERTYPUT ? "put_"
                                                                      : "";
    return documentedName(information, MEMBERID_NIL) + "::" + kind + documentedName(information, function.memid);
}

// The members of IUnknown and IDispatch are listed with each interface, by numbers that no interface gives itself.
bool isInherited(const FUNCDESC& function) {
    constexpr MEMBERID kFirstInherited = 0x60000000;
    return function.memid >= kFirstInherited;
}

void listMembers(ITypeInfo& information, std::vector<std::string>& names) {
    FUNCDESC* function = nullptr;
    for (UINT i = 0; SUCCEEDED(information.GetFuncDesc(i, &function)); ++i) {
        if (!isInherited(*function))
            names.push_back(memberName(information, *function));
        information.ReleaseFuncDesc(function);
    }
}

} // namespace

std::vector<std::string> listedMembers() {
    ComPointer<ITypeLib> library;
    require(LoadTypeLib(shippedLibraryPath().c_str(), library.put()), "LoadTypeLib");
    std::vector<std::string> names;
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        TYPEKIND kind{};
        ComPointer<ITypeInfo> information;
        require(library->GetTypeInfoType(i, &kind), "GetTypeInfoType");
        require(library->GetTypeInfo(i, information.put()), "GetTypeInfo");
        if (kind == TKIND_DISPATCH)
            listMembers(*information, names);
    }
    EXPECT_FALSE(names.empty());
    return names;
}

} // namespace zorvan::simulation

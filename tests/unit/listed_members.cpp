#include "listed_members.h"

#include "simulation/call.h"
#include "simulation/shipped_library.h"

namespace zorvan::simulation {

namespace {

std::string documentedName(ITypeInfo& information, MEMBERID member) {
    Bstr name;
    require(information.GetDocumentation(member, name.put(), nullptr, nullptr, nullptr), "GetDocumentation");
    return describe(name.text());
}

VARTYPE resultType(const TYPEDESC& type) {
    if (type.vt == VT_PTR || type.vt == VT_DISPATCH)
        return VT_UNKNOWN;
    return type.vt == VT_USERDEFINED ? VARTYPE{VT_I4} : type.vt; // else an enumeration
}

// The members of IUnknown and IDispatch are listed with each interface, by numbers that no interface gives itself.
void listMembers(ITypeInfo& information, std::map<std::string, ListedMember>& members) {
    constexpr MEMBERID kFirstInherited = 0x60000000;
    const std::string kinds[] = {"", "", "get_", "", "put_"}; // by INVOKEKIND
    FUNCDESC* function = nullptr;
    for (UINT i = 0; SUCCEEDED(information.GetFuncDesc(i, &function)); ++i) {
        ListedMember member{documentedName(information, MEMBERID_NIL), function->oVft, function->cParams != 0};
        member.result = resultType(function->elemdescFunc.tdesc);
        const auto name = kinds[function->invkind] + documentedName(information, function->memid);
        if (function->memid < kFirstInherited)
            members[member.interfaceName + "::" + name] = member;
        information.ReleaseFuncDesc(function);
    }
}

std::map<std::string, ListedMember> readTypeLibrary() {
    std::map<std::string, ListedMember> members;
    ComPointer<ITypeLib> library;
    require(LoadTypeLib(shippedLibraryPath().c_str(), library.put()), "LoadTypeLib");
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        TYPEKIND kind{};
        ComPointer<ITypeInfo> information;
        require(library->GetTypeInfoType(i, &kind), "GetTypeInfoType");
        require(library->GetTypeInfo(i, information.put()), "GetTypeInfo");
        if (kind == TKIND_DISPATCH)
            listMembers(*information, members);
    }
    EXPECT_FALSE(members.empty());
    return members;
}

} // namespace

std::string OutParameter::text() const {
    if (type_ == VT_EMPTY || value_ == kPattern || (isPointer() && value_ == 0))
        return {};
    if (type_ == VT_BSTR)
        return describe(std::wstring(reinterpret_cast<BSTR>(value_)));
    return type_ == VT_UNKNOWN ? "object" : std::to_string(value_);
}

void OutParameter::reset() {
    Variant written;
    written.vt = text().empty() ? VARTYPE{VT_EMPTY} : type_;
    written.llVal = value_;
    value_ = kPattern;
    type_ = VT_EMPTY;
}

// Whoever takes nothing does not see the out-parameter.
HRESULT ListedMember::call(IDispatch& object, OutParameter& out) const {
    using Function = HRESULT(STDMETHODCALLTYPE*)(IDispatch*, void*);
    const auto* const table = *reinterpret_cast<const char* const*>(&object);
    return (*reinterpret_cast<const Function*>(table + offset))(&object, static_cast<LONGLONG*>(out.as(result)));
}

const std::map<std::string, ListedMember>& listedMembers() {
    static const auto members = readTypeLibrary();
    return members;
}

} // namespace zorvan::simulation

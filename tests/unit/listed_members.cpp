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

// Of what an out-parameter points to.
VARTYPE resultType(const TYPEDESC& type) {
    if (type.vt == VT_PTR || type.vt == VT_DISPATCH)
        return VT_UNKNOWN;
    return type.vt == VT_USERDEFINED ? VARTYPE{VT_I4} : type.vt; // else an enumeration
}

void listMembers(ITypeInfo& information, std::map<std::string, Member>& members) {
    FUNCDESC* function = nullptr;
    for (UINT i = 0; SUCCEEDED(information.GetFuncDesc(i, &function)); ++i) {
        Member member{documentedName(information, MEMBERID_NIL), function->oVft};
        for (SHORT j = 0; j < function->cParams; ++j) {
            const auto& parameter = function->lprgelemdescParam[j];
            if ((parameter.paramdesc.wParamFlags & PARAMFLAG_FOUT) != 0)
                member.result = resultType(*parameter.tdesc.lptdesc);
            else
                member.takesArguments = true;
        }
        const std::string kinds[] = {"", "", "get_", "", "put_"}; // by INVOKEKIND
        members
            [member.interfaceName + "::" + kinds[function->invkind] + documentedName(information, function->memid)] =
                member;
        information.ReleaseFuncDesc(function);
    }
}

std::map<std::string, Member> readTypeLibrary() {
    std::map<std::string, Member> members;
    ComPointer<ITypeLib> library;
    require(LoadTypeLib(shippedLibraryPath().c_str(), library.put()), "LoadTypeLib");
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        constexpr UINT kTable = static_cast<UINT>(-1); // the same interface, as one of functions with an HRESULT
        HREFTYPE table = 0;
        ComPointer<ITypeInfo> forScripts;
        ComPointer<ITypeInfo> information;
        require(library->GetTypeInfo(i, forScripts.put()), "GetTypeInfo");
        if (FAILED(forScripts->GetRefTypeOfImplType(kTable, &table)))
            continue;
        require(forScripts->GetRefTypeInfo(table, information.put()), "GetRefTypeInfo");
        listMembers(*information, members);
    }
    return members;
}

} // namespace

std::string OutParameter::text() const {
    const bool isPointer = type_ == VT_BSTR || type_ == VT_UNKNOWN;
    if (type_ == VT_EMPTY || value_ == kPattern || (isPointer && value_ == 0))
        return {};
    if (type_ == VT_BSTR)
        return describe(std::wstring(reinterpret_cast<BSTR>(value_)));
    return isPointer ? "object" : std::to_string(value_);
}

void OutParameter::reset() {
    Variant written;
    written.vt = text().empty() ? VARTYPE{VT_EMPTY} : type_;
    written.llVal = value_;
    value_ = kPattern;
    type_ = VT_EMPTY;
}

// Whoever takes nothing does not see the out-parameter.
HRESULT Member::call(IDispatch& object, OutParameter& out) const {
    using Function = HRESULT(STDMETHODCALLTYPE*)(IDispatch*, void*);
    const auto* const table = *reinterpret_cast<const char* const*>(&object);
    return (*reinterpret_cast<const Function*>(table + offset))(&object, static_cast<LONGLONG*>(out.as(result)));
}

const std::map<std::string, Member>& listedMembers() {
    static const auto members = readTypeLibrary();
    return members;
}

} // namespace zorvan::simulation

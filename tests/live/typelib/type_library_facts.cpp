#include "type_library_facts.h"

#include "base/automation.h"
#include "base/com_pointer.h"
#include "base/hresult_error.h"

#include <oleauto.h>

#include <algorithm>
#include <map>

namespace zorvan::test {

namespace {

// Everything that a type library holds is ASCII.
std::string narrow(std::wstring_view text) {
    return {text.begin(), text.end()};
}

std::string takeText(BSTR text) {
    std::string result = narrow(bstrText(text));
    SysFreeString(text);
    return result;
}

// What GetTypeAttr and its like lend out and take back.
template <class Description, auto get, auto giveBack>
class Lent {
public:
    template <class... Index>
    explicit Lent(ITypeInfo& owner, Index... index) : owner_(owner) {
        throwIfFailed((owner_.*get)(index..., &description_));
    }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;
    ~Lent() { (owner_.*giveBack)(description_); }
    const Description* operator->() const { return description_; }

private:
    ITypeInfo& owner_;
    Description* description_ = nullptr;
};
using TypeAttributes = Lent<TYPEATTR, &ITypeInfo::GetTypeAttr, &ITypeInfo::ReleaseTypeAttr>;
using Function = Lent<FUNCDESC, &ITypeInfo::GetFuncDesc, &ITypeInfo::ReleaseFuncDesc>;
using Variable = Lent<VARDESC, &ITypeInfo::GetVarDesc, &ITypeInfo::ReleaseVarDesc>;

// The name and the help string.
std::pair<std::string, std::string> documentationOf(ITypeInfo& type, MEMBERID member = MEMBERID_NIL) {
    BSTR name = nullptr;
    BSTR help = nullptr;
    throwIfFailed(type.GetDocumentation(member, &name, &help, nullptr, nullptr));
    return {takeText(name), takeText(help)};
}

std::string nameOf(ITypeInfo& type, MEMBERID member = MEMBERID_NIL) {
    return documentationOf(type, member).first;
}

ComPointer<ITypeInfo> referencedType(ITypeInfo& type, HREFTYPE reference) {
    ComPointer<ITypeInfo> referenced;
    throwIfFailed(type.GetRefTypeInfo(reference, referenced.put()));
    return referenced;
}

ComPointer<ITypeInfo> implementedType(ITypeInfo& type, int index) {
    HREFTYPE reference = 0;
    throwIfFailed(type.GetRefTypeOfImplType(static_cast<UINT>(index), &reference));
    return referencedType(type, reference);
}

std::string typeName(ITypeInfo& type, const TYPEDESC& description) {
    static const std::map<VARTYPE, std::string> kNames = {
        {VT_I4, "long"},           {VT_UI4, "unsigned long"}, {VT_UI8, "unsigned __int64"},
        {VT_R8, "double"},         {VT_BOOL, "VARIANT_BOOL"}, {VT_BSTR, "BSTR"},
        {VT_VARIANT, "VARIANT"},   {VT_HRESULT, "HRESULT"},   {VT_DISPATCH, "IDispatch*"},
        {VT_UNKNOWN, "IUnknown*"},
    };
    switch (description.vt) {
    case VT_PTR:
        return typeName(type, *description.lptdesc) + "*";
    case VT_SAFEARRAY:
        return "SAFEARRAY(" + typeName(type, *description.lptdesc) + ")";
    case VT_USERDEFINED:
        return nameOf(*referencedType(type, description.hreftype));
    default:
        const auto found = kNames.find(description.vt);
        return found == kNames.end() ? "VT_" + std::to_string(description.vt) : found->second;
    }
}

// With its type, when that is not the expected one.
std::string numberText(const VARIANT& number, VARTYPE expectedType) {
    return std::to_string(convertVariant(number, VT_I4).lVal) +
           (number.vt == expectedType ? "" : " of type " + std::to_string(number.vt));
}

std::string parameterText(ITypeInfo& type, const ELEMDESC& element, const std::string& name) {
    const auto flags = element.paramdesc.wParamFlags;
    const auto text = typeName(type, element.tdesc) + " " + name;
    switch (flags) {
    case PARAMFLAG_FIN:
        return text;
    case PARAMFLAG_FIN | PARAMFLAG_FOPT:
        return "[" + text + "]";
    case PARAMFLAG_FIN | PARAMFLAG_FOPT | PARAMFLAG_FHASDEFAULT:
        return "[" + text + " = " + numberText(element.paramdesc.pparamdescex->varDefaultValue, element.tdesc.vt) +
               "]";
    default:
        return "flags " + std::to_string(flags) + " " + text;
    }
}

// The function's own name is the first. Names are looked up by identifier: for the second of a getter and a setter
// these are those of the first.
std::vector<std::string> namesOf(ITypeInfo& type, const Function& function) {
    std::vector<BSTR> texts(1 + static_cast<std::size_t>(function->cParams));
    UINT count = 0;
    throwIfFailed(type.GetNames(function->memid, texts.data(), static_cast<UINT>(texts.size()), &count));
    std::vector<std::string> names;
    for (BSTR text : texts)
        names.push_back(takeText(text));
    return names;
}

// Takes the parameter that is the value, which is the last one of all but most methods.
std::string takeValue(ITypeInfo& type, const Function& function, int& parameters) {
    if (parameters == 0)
        return "";
    const ELEMDESC& last = function->lprgelemdescParam[parameters - 1];
    const bool isPut = function->invkind == INVOKE_PROPERTYPUT && last.paramdesc.wParamFlags == PARAMFLAG_FIN;
    const bool isReturned = last.paramdesc.wParamFlags == (PARAMFLAG_FOUT | PARAMFLAG_FRETVAL);
    if (!isPut && !isReturned)
        return "";
    --parameters;
    return typeName(type, isPut ? last.tdesc : *last.tdesc.lptdesc);
}

// What is the same for every function of a COM interface.
bool isUsual(ITypeInfo& type, const Function& function) {
    return typeName(type, function->elemdescFunc.tdesc) == "HRESULT" && function->callconv == CC_STDCALL &&
           function->funckind == FUNC_PUREVIRTUAL && function->wFuncFlags == 0;
}

Member memberOf(ITypeInfo& type, UINT index, int inheritedSlots) {
    static const std::map<INVOKEKIND, std::string> kKinds = {
        {INVOKE_FUNC, "method"}, {INVOKE_PROPERTYGET, "get"}, {INVOKE_PROPERTYPUT, "put"}};
    const Function function(type, index);
    const auto names = namesOf(type, function);
    int parameters = function->cParams;
    Member member{
        names[0],
        "",
        kKinds.at(function->invkind),
        takeValue(type, function, parameters),
        documentationOf(type, function->memid).second,
        function->memid,
        function->oVft / static_cast<int>(sizeof(void*)) + 1 - inheritedSlots};
    for (int i = 0; i < parameters; ++i)
        member.parameters +=
            (i == 0 ? "" : ", ") + parameterText(type, function->lprgelemdescParam[i], names[i + 1U]);
    if (parameters != 0 || function->invkind == INVOKE_FUNC)
        member.parameters = "(" + member.parameters + ")";
    if (!isUsual(type, function))
        member.kind += " of an unusual kind";
    return member;
}

void addMembers(ITypeInfo& type, Type& described) {
    const auto base = nameOf(*implementedType(type, 0));
    described.description += " : " + base;
    const int inheritedSlots = base == "IDispatch" ? 7 : 3;
    for (UINT i = 0; i < TypeAttributes(type)->cFuncs; ++i)
        described.members.push_back(memberOf(type, i, inheritedSlots));
}

void addConstants(ITypeInfo& type, Type& described) {
    for (UINT i = 0; i < TypeAttributes(type)->cVars; ++i) {
        const Variable variable(type, i);
        described.constants.emplace_back(nameOf(type, variable->memid), numberText(*variable->lpvarValue, VT_I4));
    }
}

void addInterfaces(ITypeInfo& type, Type& described) {
    for (int i = 0; i < TypeAttributes(type)->cImplTypes; ++i) {
        INT flags = 0;
        throwIfFailed(type.GetImplTypeFlags(static_cast<UINT>(i), &flags));
        described.description += " : " + nameOf(*implementedType(type, i)) + " flags " + std::to_string(flags);
    }
}

Type typeOf(ITypeInfo& type) {
    constexpr const char* kKinds[] = {"enum",     "record",  "module", "interface",
                                      "dispatch", "coclass", "alias",  "union"};
    const TypeAttributes attributes(type);
    // The dispatch half of a dual interface does not tell all; the other half does.
    const auto vtable = attributes->typekind == TKIND_DISPATCH ? implementedType(type, -1) : ComPointer(&type);
    const std::string name = nameOf(type);
    Type described{
        name,
        std::string(kKinds[attributes->typekind]) + " " + name + " " + guidText(attributes->guid) + " flags " +
            std::to_string(TypeAttributes(*vtable)->wTypeFlags),
        documentationOf(type).second,
        {},
        {}};
    if (attributes->typekind == TKIND_ENUM)
        addConstants(type, described);
    else if (attributes->typekind == TKIND_COCLASS)
        addInterfaces(type, described);
    else
        addMembers(*vtable, described);
    return described;
}

} // namespace

std::vector<Type> typesOf(ITypeLib& library) {
    std::vector<Type> types;
    for (UINT i = 0; i < library.GetTypeInfoCount(); ++i) {
        ComPointer<ITypeInfo> type;
        throwIfFailed(library.GetTypeInfo(i, type.put()));
        types.push_back(typeOf(*type));
    }
    std::sort(types.begin(), types.end(), [](const Type& a, const Type& b) { return a.name < b.name; });
    return types;
}

std::string guidText(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return narrow(text);
}

} // namespace zorvan::test

#include "typelib/type_library_dump.h"

#include "base/automation.h"
#include "base/com_pointer.h"
#include "base/hresult_error.h"

#include <oleauto.h>

#include <map>
#include <sstream>
#include <string_view>
#include <vector>

namespace zorvan::test {

namespace {

// Everything that a type library holds is ASCII.
std::string narrow(std::wstring_view text) {
    std::string result;
    for (const wchar_t character : text)
        result += character < 0x80 ? static_cast<char>(character) : '?';
    return result;
}

std::string takeText(BSTR text) {
    std::string result = narrow(bstrText(text));
    SysFreeString(text);
    return result;
}

std::string guidText(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return narrow(text);
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

struct Documentation {
    std::string name;
    std::string help;
    std::string remarks;
};

Documentation documentation(ITypeInfo& type, MEMBERID member) {
    BSTR name = nullptr;
    BSTR help = nullptr;
    BSTR helpFile = nullptr;
    throwIfFailed(type.GetDocumentation(member, &name, &help, nullptr, &helpFile));
    Documentation result{takeText(name), takeText(help), {}};
    if (const std::string file = takeText(helpFile); !file.empty())
        result.remarks = " [help file " + file + "]";
    return result;
}

std::string referencedName(ITypeInfo& type, HREFTYPE reference) {
    ComPointer<ITypeInfo> referenced;
    throwIfFailed(type.GetRefTypeInfo(reference, referenced.put()));
    return documentation(*referenced, MEMBERID_NIL).name;
}

std::string simpleTypeName(VARTYPE type) {
    static const std::map<VARTYPE, std::string> kNames = {
        {VT_I4, "long"},           {VT_UI4, "unsigned long"}, {VT_UI8, "unsigned __int64"},
        {VT_R8, "double"},         {VT_BOOL, "VARIANT_BOOL"}, {VT_BSTR, "BSTR"},
        {VT_VARIANT, "VARIANT"},   {VT_HRESULT, "HRESULT"},   {VT_DISPATCH, "IDispatch*"},
        {VT_UNKNOWN, "IUnknown*"},
    };
    const auto found = kNames.find(type);
    return found == kNames.end() ? "VT_" + std::to_string(type) : found->second;
}

std::string typeName(ITypeInfo& type, const TYPEDESC& description) {
    switch (description.vt) {
    case VT_PTR:
        return typeName(type, *description.lptdesc) + "*";
    case VT_SAFEARRAY:
        return "SAFEARRAY(" + typeName(type, *description.lptdesc) + ")";
    case VT_USERDEFINED:
        return referencedName(type, description.hreftype);
    default:
        return simpleTypeName(description.vt);
    }
}

struct Flag {
    unsigned value;
    const char* name;
};

// The names of the flags, each followed by a space; a flag without a name is given as a number.
std::string flagNames(unsigned flags, const std::vector<Flag>& names) {
    std::string result;
    for (const Flag& flag : names) {
        if ((flags & flag.value) != 0)
            result += std::string(flag.name) + " ";
        flags &= ~flag.value;
    }
    return flags == 0 ? result : result + "[flags " + std::to_string(flags) + "] ";
}

std::string typeFlags(unsigned flags) {
    const std::string names = flagNames(
        flags, {{TYPEFLAG_FCANCREATE, "cancreate"},
                {TYPEFLAG_FDUAL, "dual"},
                {TYPEFLAG_FNONEXTENSIBLE, "nonextensible"},
                {TYPEFLAG_FOLEAUTOMATION, "oleautomation"},
                {TYPEFLAG_FDISPATCHABLE, "dispatchable"}});
    return names.empty() ? "" : " " + names.substr(0, names.size() - 1);
}

std::string integerText(const VARIANT& value, VARTYPE expectedType) {
    const Variant number = convertVariant(value, VT_I4);
    const std::string text = std::to_string(number.lVal);
    return value.vt == expectedType ? text : text + " [of type " + simpleTypeName(value.vt) + "]";
}

// Parameters and functions.

std::string parameterText(ITypeInfo& type, const ELEMDESC& element, const std::string& name) {
    const PARAMDESC& parameter = element.paramdesc;
    std::string text = flagNames(
        parameter.wParamFlags & ~static_cast<unsigned>(PARAMFLAG_FHASDEFAULT), {{PARAMFLAG_FIN, "in"},
                                                                                {PARAMFLAG_FOUT, "out"},
                                                                                {PARAMFLAG_FRETVAL, "retval"},
                                                                                {PARAMFLAG_FOPT, "optional"}});
    text += typeName(type, element.tdesc) + name;
    if ((parameter.wParamFlags & PARAMFLAG_FHASDEFAULT) != 0)
        text += " = " + integerText(parameter.pparamdescex->varDefaultValue, element.tdesc.vt);
    return text;
}

// Names of parameters and help strings are looked up by identifier alone. Of a getter and a setter that share one,
// only the first can be asked.
bool sharesEarlierIdentifier(ITypeInfo& type, const Function& function, UINT index) {
    for (UINT i = 0; i < index; ++i)
        if (Function(type, i)->memid == function->memid)
            return true;
    return false;
}

// Each with a space before it.
std::vector<std::string> parameterNames(ITypeInfo& type, const Function& function) {
    std::vector<BSTR> names(1 + static_cast<std::size_t>(function->cParams));
    UINT count = 0;
    throwIfFailed(type.GetNames(function->memid, names.data(), static_cast<UINT>(names.size()), &count));
    names.resize(count);
    std::vector<std::string> result;
    for (BSTR name : names)
        result.push_back(" " + takeText(name));
    result.erase(result.begin()); // the function's own
    result.resize(static_cast<std::size_t>(function->cParams), " <unnamed>");
    return result;
}

std::string parametersText(ITypeInfo& type, const Function& function, const std::vector<std::string>& names) {
    std::string text;
    for (std::size_t i = 0; i < names.size(); ++i)
        text += (i == 0 ? "" : ", ") + parameterText(type, function->lprgelemdescParam[i], names[i]);
    return "(" + text + ")";
}

std::string invokeKindName(INVOKEKIND kind) {
    switch (kind) {
    case INVOKE_FUNC:
        return "method";
    case INVOKE_PROPERTYGET:
        return "get";
    case INVOKE_PROPERTYPUT:
        return "put";
    default:
        return "[invoke kind " + std::to_string(kind) + "]";
    }
}

// What is the same for every function of a COM interface.
std::string functionRemarks(ITypeInfo& type, const Function& function) {
    std::string remarks;
    const std::string result = typeName(type, function->elemdescFunc.tdesc);
    if (result != "HRESULT")
        remarks += " [returns " + result + "]";
    if (function->callconv != CC_STDCALL)
        remarks += " [calling convention " + std::to_string(function->callconv) + "]";
    if (function->funckind != FUNC_PUREVIRTUAL)
        remarks += " [function kind " + std::to_string(function->funckind) + "]";
    if (function->wFuncFlags != 0)
        remarks += " [function flags " + std::to_string(function->wFuncFlags) + "]";
    return remarks;
}

std::string functionText(ITypeInfo& type, UINT index, std::size_t inheritedSlots) {
    const Function function(type, index);
    const bool secondAccessor = sharesEarlierIdentifier(type, function, index);
    const auto names = secondAccessor ? std::vector<std::string>(static_cast<std::size_t>(function->cParams))
                                      : parameterNames(type, function);
    const auto described = documentation(type, function->memid);
    const std::size_t entry = static_cast<std::size_t>(function->oVft) / sizeof(void*);
    const std::string text = "  slot " + std::to_string(entry + 1 - inheritedSlots) + " id " +
                             std::to_string(function->memid) + " " + invokeKindName(function->invkind) + " " +
                             described.name + parametersText(type, function, names) + functionRemarks(type, function);
    if (secondAccessor)
        return text + " (second accessor)\n";
    return text + described.remarks + (described.help.empty() ? "\n" : "\n    \"" + described.help + "\"\n");
}

std::string baseName(ITypeInfo& type) {
    HREFTYPE base = 0;
    throwIfFailed(type.GetRefTypeOfImplType(0, &base));
    return referencedName(type, base);
}

std::string functionsText(ITypeInfo& type) {
    const TypeAttributes attributes(type);
    constexpr std::size_t kUnknownSlots = 3;
    constexpr std::size_t kDispatchSlots = 7;
    const std::size_t inherited = baseName(type) == "IDispatch" ? kDispatchSlots : kUnknownSlots;
    std::string text;
    for (UINT i = 0; i < attributes->cFuncs; ++i)
        text += functionText(type, i, inherited);
    return text;
}

// The types.

std::string helpLine(const Documentation& described) {
    return described.help.empty() ? "" : "  \"" + described.help + "\"\n";
}

// The interface whose virtual table a dual dispatch interface describes.
ComPointer<ITypeInfo> interfaceOfDual(ITypeInfo& type) {
    HREFTYPE reference = 0;
    throwIfFailed(type.GetRefTypeOfImplType(static_cast<UINT>(-1), &reference));
    ComPointer<ITypeInfo> result;
    throwIfFailed(type.GetRefTypeInfo(reference, result.put()));
    return result;
}

std::string enumMembers(ITypeInfo& type) {
    const TypeAttributes attributes(type);
    std::string text;
    for (UINT i = 0; i < attributes->cVars; ++i) {
        const Variable variable(type, i);
        const auto described = documentation(type, variable->memid);
        text += "  " + described.name + " = " + integerText(*variable->lpvarValue, VT_I4) + described.remarks + "\n" +
                helpLine(described);
    }
    return text;
}

std::string implementedInterfaces(ITypeInfo& type) {
    const TypeAttributes attributes(type);
    std::string text;
    for (UINT i = 0; i < attributes->cImplTypes; ++i) {
        HREFTYPE reference = 0;
        INT flags = 0;
        throwIfFailed(type.GetRefTypeOfImplType(i, &reference));
        throwIfFailed(type.GetImplTypeFlags(i, &flags));
        text += "  " +
                flagNames(
                    static_cast<unsigned>(flags), {{IMPLTYPEFLAG_FDEFAULT, "default"},
                                                   {IMPLTYPEFLAG_FSOURCE, "source"},
                                                   {IMPLTYPEFLAG_FRESTRICTED, "restricted"}}) +
                referencedName(type, reference) + "\n";
    }
    return text;
}

std::string typeText(ITypeInfo& type) {
    const TypeAttributes attributes(type);
    const auto described = documentation(type, MEMBERID_NIL);
    const std::string name = " " + described.name + " " + guidText(attributes->guid);
    const std::string flags = typeFlags(attributes->wTypeFlags);
    const std::string end = described.remarks + "\n" + helpLine(described);
    switch (attributes->typekind) {
    case TKIND_ENUM:
        return "enum" + name + flags + end + enumMembers(type);
    case TKIND_DISPATCH: {
        // The dispatch half never tells whether the interface is made for automation; the other half does.
        const auto vtable = interfaceOfDual(type);
        return "dispatch" + name + typeFlags(TypeAttributes(*vtable)->wTypeFlags) + " : " + baseName(*vtable) + end +
               functionsText(*vtable);
    }
    case TKIND_INTERFACE:
        return "interface" + name + flags + " : " + baseName(type) + end + functionsText(type);
    case TKIND_COCLASS:
        return "coclass" + name + flags + end + implementedInterfaces(type);
    default:
        return "[type kind " + std::to_string(attributes->typekind) + "]" + name + flags + end;
    }
}

std::string libraryText(ITypeLib& library) {
    BSTR name = nullptr;
    BSTR help = nullptr;
    BSTR helpFile = nullptr;
    throwIfFailed(library.GetDocumentation(-1, &name, &help, nullptr, &helpFile));
    TLIBATTR* attributes = nullptr;
    throwIfFailed(library.GetLibAttr(&attributes));
    std::ostringstream text;
    text << "library " << takeText(name) << " " << guidText(attributes->guid) << " version "
         << attributes->wMajorVerNum << "." << attributes->wMinorVerNum << " locale " << attributes->lcid
         << (attributes->syskind == SYS_WIN64 ? " win64" : " not win64");
    library.ReleaseTLibAttr(attributes);
    for (BSTR extra : {help, helpFile})
        if (const std::string remark = takeText(extra); !remark.empty())
            text << " [help " << remark << "]";
    return text.str() + "\n";
}

} // namespace

std::string dumpTypeLibrary(ITypeLib& library) {
    std::multimap<std::string, std::string> types;
    for (UINT i = 0; i < library.GetTypeInfoCount(); ++i) {
        ComPointer<ITypeInfo> type;
        throwIfFailed(library.GetTypeInfo(i, type.put()));
        types.emplace(documentation(*type, MEMBERID_NIL).name, typeText(*type));
    }
    std::string text = libraryText(library);
    for (const auto& [name, type] : types)
        text += "\n" + type;
    return text;
}

} // namespace zorvan::test

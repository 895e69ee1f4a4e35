#include "listed_members.h"

#include "live/typelib/type_library_facts.h"
#include "simulation/call.h"
#include "simulation/shipped_library.h"

namespace zorvan::simulation {

namespace {

VARTYPE resultType(const std::string& name) {
    static const std::map<std::string, VARTYPE> kTypes{
        {"", VT_EMPTY}, {"BSTR", VT_BSTR}, {"VARIANT_BOOL", VT_BOOL}, {"unsigned __int64", VT_I8}, {"double", VT_I8}};
    if (const auto found = kTypes.find(name); found != kTypes.end())
        return found->second;
    return static_cast<VARTYPE>(name.ends_with('*') ? VT_UNKNOWN : VT_I4);
}

std::map<std::string, ListedMember> readTypeLibrary() {
    constexpr int kInherited = 7;
    std::map<std::string, ListedMember> members;
    ComPointer<ITypeLib> library;
    require(LoadTypeLib(shippedLibraryPath().c_str(), library.put()), "LoadTypeLib");
    for (const auto& type : test::typesOf(*library)) {
        if (!type.description.starts_with("dispatch"))
            continue;
        for (const auto& member : type.members) {
            const auto kind = member.kind == "method" ? "" : member.kind + "_";
            const bool takesArguments = member.kind == "put" || member.parameters.size() > std::size("()") - 1;
            members[type.name + "::" + kind + member.name] = {
                type.name, member.slot - 1 + kInherited, takesArguments, resultType(member.value)};
        }
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
    return type_ == VT_UNKNOWN ? "object"
           : type_ == VT_BOOL  ? std::to_string(static_cast<short>(value_))
           : type_ == VT_I4    ? std::to_string(static_cast<int>(value_))
                               : std::to_string(value_);
}

void OutParameter::reset() {
    Variant written;
    written.vt = text().empty() ? VARTYPE{VT_EMPTY} : type_;
    written.llVal = value_;
    value_ = kPattern;
    type_ = VT_EMPTY;
}

HRESULT ListedMember::call(IDispatch& object, void* out) const {
    using Function = HRESULT(STDMETHODCALLTYPE*)(IDispatch*, void*);
    return (*reinterpret_cast<const Function* const*>(&object))[slot](&object, out);
}

const std::map<std::string, ListedMember>& listedMembers() {
    static const auto members = readTypeLibrary();
    return members;
}

} // namespace zorvan::simulation

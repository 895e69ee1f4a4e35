// The members that the type library of the DLL under test lists. Those that take nothing are called through their
// interface's table.
#pragma once

#include "simulation/call.h"

#include <map>
#include <string>

namespace zorvan::simulation {

// Filled with a pattern before a call, so that it shows whether something was written. Frees what was.
class OutParameter {
public:
    OutParameter() = default;
    OutParameter(const OutParameter&) = delete;
    OutParameter& operator=(const OutParameter&) = delete;
    ~OutParameter() { reset(); }

    // To be passed to a method: out.as(VT_BSTR).
    OutParameter& as(VARTYPE type) {
        type_ = type;
        return *this;
    }
    template <class Value>
    operator Value*() {
        return reinterpret_cast<Value*>(&value_);
    }

    // Empty when nothing was written, or null.
    std::string text() const;
    // A string or an object that nobody has set, not even to null: whoever has a success would use it.
    bool isGarbage() const { return isPointer() && value_ == kPattern; }
    void reset();

private:
    static constexpr LONGLONG kPattern = 0x5A5A5A5A5A5A5A5A;

    bool isPointer() const { return type_ == VT_BSTR || type_ == VT_UNKNOWN; }

    VARTYPE type_ = VT_EMPTY;
    LONGLONG value_ = kPattern; // or what was written over it
};

struct ListedMember {
    std::string interfaceName;
    int slot = 0; // in the table
    bool takesArguments = false;
    VARTYPE result = VT_EMPTY;

    // Of one that takes no arguments. Whoever gives no result does not see the out-parameter.
    HRESULT call(IDispatch& object, void* out) const;
};

// By names such as "IPin::sendTo" and "ISocket::get_DTR". Of the interfaces for automation: the only other one is the
// client's to implement.
const std::map<std::string, ListedMember>& listedMembers();

inline HRESULT callListed(const std::string& name, IDispatch& object, OutParameter& out) {
    const auto& member = listedMembers().at(name);
    return member.call(object, out.as(member.result));
}

} // namespace zorvan::simulation

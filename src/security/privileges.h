// Privileges of an access token.
#pragma once

#include <windows.h>

#include <vector>

namespace zorvan {

class PrivilegeSet {
public:
    void add(LUID privilege, DWORD attributes) { privileges_.push_back({privilege, attributes}); }
    bool empty() const { return privileges_.empty(); }
    const std::vector<LUID_AND_ATTRIBUTES>& privileges() const { return privileges_; }

private:
    std::vector<LUID_AND_ATTRIBUTES> privileges_;
};

// Applies the set to the token. An empty set succeeds without asking the system. Success does not mean that the token
// has each privilege: the system also calls it a success when it granted fewer.
bool enablePrivileges(HANDLE token, const PrivilegeSet& set);

} // namespace zorvan

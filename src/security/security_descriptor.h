// Security identifiers, access control lists and security descriptors as values.
#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace zorvan {

// A security identifier of at most SECURITY_MAX_SID_SIZE bytes.
class Sid {
public:
    Sid(SID_IDENTIFIER_AUTHORITY authority, std::initializer_list<DWORD> subAuthorities);

    // Whether the parts made an identifier; an invalid one is in no list.
    bool valid() const { return valid_; }
    PSID get() const { return const_cast<std::uint8_t*>(bytes_.data()); } // the system's functions take no const

private:
    alignas(SID) std::array<std::uint8_t, SECURITY_MAX_SID_SIZE> bytes_{};
    bool valid_ = false;
};

// An access control list: entries in the order in which they were added.
class Dacl {
public:
    void addAllowed(const Sid& sid, ACCESS_MASK mask);

    // The list in the system's form.
    std::vector<std::uint8_t> build() const;

private:
    struct Entry {
        Sid sid;
        ACCESS_MASK mask = 0;
    };
    std::vector<Entry> entries_;
};

// A security descriptor in self-relative form.
class SecurityDescriptor {
public:
    // A descriptor with this list and nothing else.
    void setDacl(const Dacl& dacl);

    // A copy of the descriptor, in whichever form that is.
    void assign(PSECURITY_DESCRIPTOR descriptor);

    PSECURITY_DESCRIPTOR get() { return bytes_.empty() ? nullptr : bytes_.data(); }

private:
    std::vector<std::uint8_t> bytes_;
};

} // namespace zorvan

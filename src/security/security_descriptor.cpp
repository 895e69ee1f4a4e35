#include "security/security_descriptor.h"

#include "base/hresult_error.h"

#include <cstring>

namespace zorvan {

namespace {

// An entry ends with its identifier, whose first DWORD is counted in the structure.
constexpr DWORD kAllowedAceHeader = sizeof(ACCESS_ALLOWED_ACE) - sizeof(DWORD);

void check(BOOL succeeded) {
    if (succeeded == FALSE)
        throwLastError();
}

} // namespace

Sid::Sid(SID_IDENTIFIER_AUTHORITY authority, std::initializer_list<DWORD> subAuthorities) {
    const auto count = static_cast<BYTE>(subAuthorities.size());
    if (GetSidLengthRequired(count) > bytes_.size())
        return;
    check(InitializeSid(get(), &authority, count));
    DWORD index = 0;
    for (const DWORD subAuthority : subAuthorities)
        *GetSidSubAuthority(get(), index++) = subAuthority;
    valid_ = IsValidSid(get()) != FALSE;
}

void Dacl::addAllowed(const Sid& sid, ACCESS_MASK mask) {
    if (!sid.valid())
        throw HResultError(hresultFromWin32(ERROR_INVALID_SID));
    entries_.push_back(Entry{sid, mask});
}

std::vector<std::uint8_t> Dacl::build() const {
    DWORD size = sizeof(ACL);
    for (const Entry& entry : entries_)
        size += kAllowedAceHeader + GetLengthSid(entry.sid.get());

    std::vector<std::uint8_t> list(size);
    auto* acl = reinterpret_cast<ACL*>(list.data());
    check(InitializeAcl(acl, size, ACL_REVISION));
    for (const Entry& entry : entries_)
        check(AddAccessAllowedAceEx(acl, ACL_REVISION, 0, entry.mask, entry.sid.get()));
    return list;
}

void SecurityDescriptor::setDacl(const Dacl& dacl) {
    auto list = dacl.build();
    SECURITY_DESCRIPTOR absolute;
    check(InitializeSecurityDescriptor(&absolute, SECURITY_DESCRIPTOR_REVISION));
    check(SetSecurityDescriptorDacl(&absolute, TRUE, reinterpret_cast<ACL*>(list.data()), FALSE));
    assign(&absolute);
}

void SecurityDescriptor::assign(PSECURITY_DESCRIPTOR descriptor) {
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    check(GetSecurityDescriptorControl(descriptor, &control, &revision));

    DWORD size = GetSecurityDescriptorLength(descriptor);
    std::vector<std::uint8_t> copy(size);
    if ((control & SE_SELF_RELATIVE) != 0)
        std::memcpy(copy.data(), descriptor, size);
    else
        check(MakeSelfRelativeSD(descriptor, copy.data(), &size));
    bytes_ = std::move(copy);
}

} // namespace zorvan

#include "security/privileges.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zorvan {

namespace {

std::vector<std::uint8_t> buildTokenPrivileges(const PrivilegeSet& set) {
    const auto& privileges = set.privileges();
    const std::size_t listSize = privileges.size() * sizeof(LUID_AND_ATTRIBUTES);
    std::vector<std::uint8_t> buffer(offsetof(TOKEN_PRIVILEGES, Privileges) + listSize);
    auto* array = reinterpret_cast<TOKEN_PRIVILEGES*>(buffer.data());
    array->PrivilegeCount = static_cast<DWORD>(privileges.size());
    std::memcpy(buffer.data() + offsetof(TOKEN_PRIVILEGES, Privileges), privileges.data(), listSize);
    return buffer;
}

} // namespace

bool enablePrivileges(HANDLE token, const PrivilegeSet& set) {
    if (set.empty())
        return true;
    auto wanted = buildTokenPrivileges(set);
    std::vector<std::uint8_t> previous(wanted.size());
    DWORD previousSize = 0;
    return AdjustTokenPrivileges(
               token, FALSE, reinterpret_cast<TOKEN_PRIVILEGES*>(wanted.data()), static_cast<DWORD>(previous.size()),
               reinterpret_cast<TOKEN_PRIVILEGES*>(previous.data()), &previousSize) != FALSE;
}

} // namespace zorvan

#include "relay/private_pipe.h"

#include "com/failure.h"
#include "com/text.h"

#include <fmt/core.h>

#include <objbase.h>
#include <sddl.h>

#include <vector>

namespace portwright {
namespace {

constexpr char kAsked[] = "create a pipe for this user alone";
constexpr DWORD kBufferSize = 65536;

std::wstring userSid() {
    zorvan::UniqueHandle token;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.put()) == FALSE)
        throwLastError(kAsked);
    DWORD size = 0;
    GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
    std::vector<BYTE> user(size);
    if (GetTokenInformation(token.get(), TokenUser, user.data(), size, &size) == FALSE)
        throwLastError(kAsked);
    zorvan::UniqueLocalMemory text;
    if (ConvertSidToStringSidW(
            reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid, reinterpret_cast<wchar_t**>(text.put())) ==
        FALSE)
        throwLastError(kAsked);
    return static_cast<const wchar_t*>(text.get());
}

std::string newName(const std::string& port) {
    GUID unique{};
    check(CoCreateGuid(&unique), kAsked);
    wchar_t text[40]{};
    StringFromGUID2(unique, text, 40);
    return fmt::format(R"(\\.\pipe\portwright-{}-{})", port, utf8(text));
}

} // namespace

PrivatePipe createPrivatePipe(const std::string& port) {
    zorvan::UniqueLocalMemory descriptor;
    const auto sddl = L"D:P(A;;GA;;;" + userSid() + L")";
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(
            sddl.c_str(), SDDL_REVISION_1, descriptor.put(), nullptr) == FALSE)
        throwLastError(kAsked);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor.get(), FALSE};
    PrivatePipe pipe{newName(port), {}};
    // The first instance and the only one, so that no other program's can take its place.
    pipe.end = UniqueFile(CreateNamedPipeW(
        wide(pipe.name).c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1, kBufferSize, kBufferSize, 0,
        &attributes));
    if (!pipe.end)
        throwLastError(kAsked);
    return pipe;
}

} // namespace portwright

// Tokens with their privileges, users who log on, and security descriptors, which are real.
#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <sddl.h>

#include <cwchar>

namespace zorvan::simulation {

namespace {

constexpr LUID kDebugPrivilege{20, 0};

// Of this process, or of a user.
struct Token : Object {
    explicit Token(DWORD rights) : Object("token"), access(rights) {}
    Token(const std::wstring& whose, DWORD rights)
        : Object("token of " + describe(whose)), access(rights), user(whose) {}

    void require(DWORD rights) const { failIf((access & rights) != rights, ERROR_ACCESS_DENIED); }

    const DWORD access;
    const std::wstring user;
};

SIMULATE(BOOL, OpenProcessToken, HANDLE process, DWORD access, PHANDLE token) {
    *token = call.open(std::make_shared<Token>(access));
}

SIMULATE(BOOL, LookupPrivilegeValueW, LPCWSTR system, LPCWSTR name, PLUID value) {
    failIf(std::wcscmp(name, L"SeDebugPrivilege") != 0, ERROR_NO_SUCH_PRIVILEGE);
    *value = kDebugPrivilege;
}

// Of one privilege. What it was before interests nobody.
SIMULATE(
    BOOL, AdjustTokenPrivileges, HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES asked, DWORD previousSize,
    PTOKEN_PRIVILEGES, PDWORD) {
    const auto& privilege = asked->Privileges[0];
    call.object<Token>(token)->require(TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY);
    const bool held = privilege.Luid.LowPart == kDebugPrivilege.LowPart;
    if (held)
        call->processes.debugPrivilegeEnabled = (privilege.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    SetLastError(held ? ERROR_SUCCESS : ERROR_NOT_ALL_ASSIGNED);
}

std::wstring textOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

SIMULATE(
    BOOL, LogonUserW, LPCWSTR login, LPCWSTR domain, LPCWSTR password, DWORD type, DWORD provider, PHANDLE token) {
    const auto account = call->users.accounts.find(textOf(login));
    failIf(
        account == call->users.accounts.end() || account->second.domain != textOf(domain) ||
            account->second.password != textOf(password),
        ERROR_LOGON_FAILURE);
    *token = call.open(std::make_shared<Token>(account->first, TOKEN_ALL_ACCESS));
}

SIMULATE(BOOL, OpenThreadToken, HANDLE thread, DWORD access, BOOL openAsSelf, PHANDLE token) {
    const auto acting = call->users.actingAs.find(GetCurrentThreadId());
    failIf(acting == call->users.actingAs.end(), ERROR_NO_TOKEN);
    *token = call.open(std::make_shared<Token>(acting->second, access));
}

void actAs(const Call& call, HANDLE handle, DWORD neededAccess) {
    const auto token = call.object<Token>(handle);
    token->require(neededAccess);
    call->users.actingAs[GetCurrentThreadId()] = token->user;
}

SIMULATE(BOOL, ImpersonateLoggedOnUser, HANDLE token) {
    actAs(call, token, TOKEN_QUERY | TOKEN_IMPERSONATE);
}

SIMULATE(BOOL, SetThreadToken, PHANDLE thread, HANDLE token) {
    actAs(call, token, TOKEN_IMPERSONATE);
}

SIMULATE(BOOL, RevertToSelf) {
    call->users.actingAs.erase(GetCurrentThreadId());
}

SIMULATE(
    BOOL, ConvertStringSecurityDescriptorToSecurityDescriptorW, LPCWSTR text, DWORD revision,
    PSECURITY_DESCRIPTOR* descriptor, PULONG size) {
    succeedAs(::ConvertStringSecurityDescriptorToSecurityDescriptorW(text, revision, descriptor, size));
    call->count("memory of a security descriptor", 1);
}

SIMULATE_SURE(HLOCAL, LocalFree, HLOCAL memory) {
    call->count("memory of a security descriptor", -1);
    return ::LocalFree(memory);
}

PASS(BOOL, GetSecurityDescriptorControl);
PASS(BOOL, MakeSelfRelativeSD);

} // namespace

} // namespace zorvan::simulation

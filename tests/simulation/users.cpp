#include "simulation/users.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

namespace zorvan::simulation {

namespace {

struct UserToken : Object {
    UserToken(std::wstring whose, DWORD rights) : user(std::move(whose)), access(rights) {}
    std::string description() const override { return "token of " + describe(user); }

    const std::wstring user;
    const DWORD access;
};

std::wstring textOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

BOOL WINAPI logonUser(LPCWSTR login, LPCWSTR domain, LPCWSTR password, DWORD type, DWORD provider, PHANDLE token) {
    Call call("LogonUserW", login, domain, password, type, provider);
    if (call.fails())
        return FALSE;
    const auto account = call->users.accounts.find(textOf(login));
    if (account == call->users.accounts.end() || account->second.domain != textOf(domain) ||
        account->second.password != textOf(password))
        return Call::failed(ERROR_LOGON_FAILURE);
    *token = call.open(std::make_shared<UserToken>(account->first, TOKEN_ALL_ACCESS));
    return TRUE;
}
SIMULATE(LogonUserW, logonUser);

BOOL WINAPI openThreadToken(HANDLE thread, DWORD access, BOOL openAsSelf, PHANDLE token) {
    Call call(
        "OpenThreadToken", thread == GetCurrentThread() ? "own" : "other", Hex{access},
        openAsSelf ? "as self" : "as the thread's user");
    if (call.fails())
        return FALSE;
    const auto acting = call->users.actingAs.find(GetCurrentThreadId());
    if (acting == call->users.actingAs.end())
        return Call::failed(ERROR_NO_TOKEN);
    *token = call.open(std::make_shared<UserToken>(acting->second, access));
    return TRUE;
}
SIMULATE(OpenThreadToken, openThreadToken);

BOOL actAs(const Call& call, HANDLE token, DWORD neededAccess) {
    const auto user = call.object<UserToken>(token);
    if (user == nullptr || call.fails())
        return FALSE;
    if ((user->access & neededAccess) != neededAccess)
        return Call::failed(ERROR_ACCESS_DENIED);
    call->users.actingAs[GetCurrentThreadId()] = user->user;
    return TRUE;
}

BOOL WINAPI impersonateLoggedOnUser(HANDLE token) {
    Call call("ImpersonateLoggedOnUser", token);
    return actAs(call, token, TOKEN_QUERY | TOKEN_IMPERSONATE);
}
SIMULATE(ImpersonateLoggedOnUser, impersonateLoggedOnUser);

BOOL WINAPI setThreadToken(PHANDLE thread, HANDLE token) {
    Call call("SetThreadToken", thread == nullptr ? "own" : "other", token);
    return actAs(call, token, TOKEN_IMPERSONATE);
}
SIMULATE(SetThreadToken, setThreadToken);

BOOL WINAPI revertToSelf() {
    Call call("RevertToSelf");
    if (call.fails())
        return FALSE;
    call->users.actingAs.erase(GetCurrentThreadId());
    return TRUE;
}
SIMULATE(RevertToSelf, revertToSelf);

} // namespace

} // namespace zorvan::simulation

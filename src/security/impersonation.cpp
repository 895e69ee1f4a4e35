#include "security/impersonation.h"

#include "base/hresult_error.h"

namespace zorvan {

namespace {

UniqueHandle threadToken() {
    UniqueHandle token;
    // As the process, whose user may open the token whomever the thread acts as.
    constexpr BOOL kOpenAsSelf = TRUE;
    if (OpenThreadToken(GetCurrentThread(), TOKEN_IMPERSONATE, kOpenAsSelf, token.put()) == FALSE &&
        GetLastError() != ERROR_NO_TOKEN)
        throwLastError();
    return token;
}

} // namespace

UniqueHandle logOn(const wchar_t* login, const wchar_t* domain, const wchar_t* password) {
    UniqueHandle token;
    if (LogonUserW(login, domain, password, LOGON32_LOGON_NETWORK_CLEARTEXT, LOGON32_PROVIDER_DEFAULT, token.put()) ==
        FALSE)
        throwLastError();
    return token;
}

Impersonation::Impersonation(UniqueHandle user) : user_(std::move(user)), previous_(threadToken()) {
    if (ImpersonateLoggedOnUser(user_.get()) == FALSE)
        throwLastError();
    impersonating_ = true;
}

Impersonation::~Impersonation() {
    const DWORD lastError = GetLastError();
    restoreThread(); // nobody is left to be told of a failure
    SetLastError(lastError);
}

void Impersonation::end() {
    if (!restoreThread())
        throwLastError();
}

bool Impersonation::restoreThread() {
    if (impersonating_ && RevertToSelf() == FALSE)
        return false;
    impersonating_ = false;
    if (previous_ && SetThreadToken(nullptr, previous_.get()) == FALSE)
        return false;
    previous_.reset();
    return true;
}

} // namespace zorvan

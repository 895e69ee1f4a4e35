// Acting as another user for a while.
#pragma once

#include "base/unique.h"

namespace zorvan {

// A token of the user; throws the system's error. The names and the password stay the caller's: no copy is made.
UniqueHandle logOn(const wchar_t* login, const wchar_t* domain, const wchar_t* password);

// The calling thread acts as the user of a token until end(); then it has the token again that it had before, if any.
// Without end(), as when an exception passes, the destructor does what it can.
class Impersonation {
public:
    explicit Impersonation(UniqueHandle user);
    Impersonation(const Impersonation&) = delete;
    Impersonation& operator=(const Impersonation&) = delete;
    ~Impersonation();

    // Throws the system's error: the thread may still be acting as the user, and nothing more may be done as if it
    // were not.
    void end();

private:
    bool restoreThread();

    const UniqueHandle user_;
    UniqueHandle previous_; // null: the thread had no token of its own
    bool impersonating_ = false;
};

} // namespace zorvan

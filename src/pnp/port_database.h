// The system's COM port database, which says which port numbers are taken.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <cstdint>

// From the system's msports.h, which mingw-w64 lacks.
extern "C" {
using HCOMDB = HANDLE;
DECLSPEC_IMPORT LONG WINAPI ComDBOpen(HCOMDB* database);
DECLSPEC_IMPORT LONG WINAPI ComDBClose(HCOMDB database);
DECLSPEC_IMPORT LONG WINAPI ComDBClaimPort(HCOMDB database, DWORD number, BOOL force, BOOL* forced);
DECLSPEC_IMPORT LONG WINAPI ComDBReleasePort(HCOMDB database, DWORD number);
}

namespace zorvan::pnp {

class PortDatabase {
public:
    // Throws E_FAIL when the database does not open. A database that says it did but gives no handle is empty.
    void open();
    explicit operator bool() const { return static_cast<bool>(database_); }

    // Takes the number over if another device holds it: oddity 20 of docs/architecture.md. So the result is ignored.
    void claim(std::uint32_t number) const { ComDBClaimPort(database_.get(), number, TRUE, nullptr); }

    // A number that cannot be released stays claimed, which harms nobody.
    void release(std::uint32_t number) const { ComDBReleasePort(database_.get(), number); }

private:
    Unique<ComDBClose, -1> database_;
};

} // namespace zorvan::pnp

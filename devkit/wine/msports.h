// The COM port database as Windows documents it; mingw-w64 has the import library but no header.
#pragma once

#include <windows.h>

#include <setupapi.h>

DECLARE_HANDLE(HCOMDB);
using PHCOMDB = HCOMDB*;

inline const HCOMDB HCOMDB_INVALID_HANDLE_VALUE = static_cast<HCOMDB>(INVALID_HANDLE_VALUE);

constexpr DWORD COMDB_MIN_PORTS_ARBITRATED = 256;
constexpr DWORD COMDB_MAX_PORTS_ARBITRATED = 4096;
constexpr ULONG CDB_REPORT_BITS = 0;

extern "C" {

LONG WINAPI ComDBOpen(PHCOMDB database);
LONG WINAPI ComDBClose(HCOMDB database);
LONG WINAPI ComDBClaimNextFreePort(HCOMDB database, LPDWORD number);
LONG WINAPI ComDBClaimPort(HCOMDB database, DWORD number, BOOL forceClaim, PBOOL forced);
LONG WINAPI ComDBGetCurrentPortUsage(HCOMDB database, PBYTE buffer, DWORD size, ULONG reportType, LPDWORD portCount);
LONG WINAPI ComDBReleasePort(HCOMDB database, DWORD number);

DWORD WINAPI PortsClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device);
}

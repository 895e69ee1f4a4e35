// The functions under test, taken from their DLLs at run time: a program that imports msports.dll could not see what
// loading and unloading it does.
#pragma once

#include "msports.h"
#include "newdev_stand_in.h"

#include <windows.h>

namespace zorvan::test {

// Keeps msports.dll loaded. Throws when it is not there.
class StandIns {
public:
    StandIns();
    ~StandIns() { FreeLibrary(msports_); }
    StandIns(const StandIns&) = delete;
    StandIns& operator=(const StandIns&) = delete;

private:
    HMODULE msports_;

public:
    decltype(&ComDBOpen) const open;
    decltype(&ComDBClose) const close;
    decltype(&ComDBGetCurrentPortUsage) const getCurrentPortUsage;
    decltype(&ComDBClaimNextFreePort) const claimNextFreePort;
    decltype(&ComDBClaimPort) const claimPort;
    decltype(&ComDBReleasePort) const releasePort;
    decltype(&ComDBResizeDatabase) const resizeDatabase;
    decltype(&DiInstallDevice) const installDevice;
};

} // namespace zorvan::test

// Stands in for the COM port database functions of Windows's msports.dll that ports need; Wine 8 only names them.
#include "base/slim_lock.h"
#include "com_name_arbiter.h"
#include "msports.h"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <new>

namespace {

using zorvan::devkit::ComNameArbiter;
using zorvan::devkit::PortBits;

// The handles that are open in this process: a wrong or closed one must be refused, not followed.
class OpenDatabases {
public:
    HCOMDB add(std::shared_ptr<ComNameArbiter> database) {
        auto* const handle = reinterpret_cast<HCOMDB>(database.get());
        const std::lock_guard lock(lock_);
        databases_.emplace(handle, std::move(database));
        return handle;
    }
    std::shared_ptr<ComNameArbiter> find(HCOMDB handle) {
        const std::lock_guard lock(lock_);
        const auto found = databases_.find(handle);
        return found == databases_.end() ? nullptr : found->second;
    }
    bool remove(HCOMDB handle) {
        const std::lock_guard lock(lock_);
        return databases_.erase(handle) != 0;
    }

private:
    zorvan::SlimLock lock_;
    std::map<HCOMDB, std::shared_ptr<ComNameArbiter>> databases_;
};

OpenDatabases g_openDatabases;

template <class Operation>
LONG withDatabase(HCOMDB handle, Operation operation) noexcept {
    try {
        const std::shared_ptr<ComNameArbiter> database = g_openDatabases.find(handle);
        return database ? operation(*database) : ERROR_INVALID_PARAMETER;
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

} // namespace

LONG WINAPI ComDBOpen(PHCOMDB database) {
    if (!database)
        return ERROR_INVALID_PARAMETER;
    *database = HCOMDB_INVALID_HANDLE_VALUE;
    try {
        std::shared_ptr<ComNameArbiter> opened = ComNameArbiter::open();
        if (!opened)
            return ERROR_ACCESS_DENIED;
        *database = g_openDatabases.add(std::move(opened));
        return ERROR_SUCCESS;
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

LONG WINAPI ComDBClose(HCOMDB database) {
    return g_openDatabases.remove(database) ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

LONG WINAPI ComDBClaimNextFreePort(HCOMDB database, LPDWORD number) {
    if (!number)
        return ERROR_INVALID_PARAMETER;
    return withDatabase(database, [&](ComNameArbiter& opened) { return opened.claimNextFree(*number); });
}

LONG WINAPI ComDBClaimPort(HCOMDB database, DWORD number, BOOL forceClaim, PBOOL forced) {
    return withDatabase(database, [&](ComNameArbiter& opened) {
        bool wasForced = false;
        const LONG status = opened.claim(number, forceClaim != FALSE, wasForced);
        if (forced)
            *forced = wasForced;
        return status;
    });
}

LONG WINAPI ComDBReleasePort(HCOMDB database, DWORD number) {
    return withDatabase(database, [&](ComNameArbiter& opened) { return opened.release(number); });
}

// One bit for each number; without a buffer, how many numbers there are.
LONG WINAPI ComDBGetCurrentPortUsage(HCOMDB database, PBYTE buffer, DWORD size, ULONG reportType, LPDWORD portCount) {
    if (reportType != CDB_REPORT_BITS || (!buffer && !portCount))
        return ERROR_INVALID_PARAMETER;
    return withDatabase(database, [&](ComNameArbiter& opened) {
        PortBits bits({});
        const LONG status = opened.load(bits);
        if (status != ERROR_SUCCESS)
            return status;
        if (buffer)
            std::copy_n(bits.bytes().begin(), std::min<std::size_t>(size, bits.bytes().size()), buffer);
        if (portCount)
            *portCount = bits.size();
        return status;
    });
}

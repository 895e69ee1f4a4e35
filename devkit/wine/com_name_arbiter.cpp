#include "com_name_arbiter.h"

#include "msports.h"
#include "mutex_lock.h"

#include <string>

namespace zorvan::devkit {

namespace {

constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\COM Name Arbiter";
constexpr wchar_t kValue[] = L"ComDB";
constexpr wchar_t kArbiterMutex[] = L"Global\\zorvanlib-devkit-com-name-arbiter";
constexpr DWORD kSizeStep = 1024;

// Windows enters the machine's own ports in the database; Wine makes DOS names for the host's (COM1 for
// /dev/ttyS0) and enters nothing. To hand out such a number would give a port a name that opens another.
bool isDosDevice(DWORD number) {
    wchar_t target[MAX_PATH];
    return QueryDosDeviceW((L"COM" + std::to_wstring(number)).c_str(), target, MAX_PATH) != 0;
}

DWORD roundedUp(DWORD ports) {
    return (ports + kSizeStep - 1) / kSizeStep * kSizeStep;
}

} // namespace

void PortBits::setUsed(DWORD number, bool used) {
    BYTE& byte = bytes_[(number - 1) / 8];
    const auto bit = static_cast<BYTE>(1U << ((number - 1) % 8));
    byte = static_cast<BYTE>(used ? byte | bit : byte & ~bit);
}

std::unique_ptr<ComNameArbiter> ComNameArbiter::open() {
    UniqueRegistryKey key;
    const LSTATUS status = RegCreateKeyExW(
        HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, nullptr, key.put(), nullptr);
    if (status != ERROR_SUCCESS) {
        SetLastError(static_cast<DWORD>(status));
        return nullptr;
    }
    UniqueHandle mutex(CreateMutexW(nullptr, FALSE, kArbiterMutex));
    if (!mutex)
        return nullptr;
    return std::unique_ptr<ComNameArbiter>(new ComNameArbiter(std::move(key), std::move(mutex)));
}

// A database that was never written has no number in use.
LONG ComNameArbiter::load(PortBits& bits) const {
    std::vector<BYTE> bytes(COMDB_MAX_PORTS_ARBITRATED / 8);
    auto size = static_cast<DWORD>(bytes.size());
    const LSTATUS status = RegGetValueW(key_.get(), nullptr, kValue, RRF_RT_REG_BINARY, nullptr, bytes.data(), &size);
    if (status == ERROR_FILE_NOT_FOUND)
        size = COMDB_MIN_PORTS_ARBITRATED / 8;
    else if (status != ERROR_SUCCESS) {
        SetLastError(static_cast<DWORD>(status));
        return ERROR_NOT_CONNECTED;
    }
    bytes.resize(size);
    bits = PortBits(std::move(bytes));
    return ERROR_SUCCESS;
}

LONG ComNameArbiter::store(const PortBits& bits) const {
    const std::vector<BYTE>& bytes = bits.bytes();
    const LSTATUS status =
        RegSetValueExW(key_.get(), kValue, 0, REG_BINARY, bytes.data(), static_cast<DWORD>(bytes.size()));
    return status == ERROR_SUCCESS ? ERROR_SUCCESS : ERROR_CANTWRITE;
}

template <class Change>
LONG ComNameArbiter::update(Change change) {
    const MutexLock lock(mutex_.get());
    if (!lock)
        return ERROR_NOT_CONNECTED;
    PortBits bits({});
    LONG status = load(bits);
    if (status == ERROR_SUCCESS)
        status = change(bits);
    return status == ERROR_SUCCESS ? store(bits) : status;
}

LONG ComNameArbiter::claim(DWORD number, bool force, bool& forced) {
    forced = false;
    if (number < 1 || number > COMDB_MAX_PORTS_ARBITRATED)
        return ERROR_INVALID_PARAMETER;
    return update([&](PortBits& bits) -> LONG {
        if (!bits.arbitrates(number))
            bits.resize(roundedUp(number));
        if (bits.isUsed(number) && !force)
            return ERROR_SHARING_VIOLATION;
        forced = bits.isUsed(number);
        bits.setUsed(number, true);
        return ERROR_SUCCESS;
    });
}

LONG ComNameArbiter::claimNextFree(DWORD& number) {
    return update([&](PortBits& bits) -> LONG {
        for (DWORD candidate = 1; candidate <= bits.size(); ++candidate) {
            if (bits.isUsed(candidate) || isDosDevice(candidate))
                continue;
            bits.setUsed(candidate, true);
            number = candidate;
            return ERROR_SUCCESS;
        }
        return ERROR_NO_LOG_SPACE;
    });
}

LONG ComNameArbiter::release(DWORD number) {
    return update([&](PortBits& bits) -> LONG {
        if (!bits.arbitrates(number))
            return ERROR_INVALID_PARAMETER;
        bits.setUsed(number, false);
        return ERROR_SUCCESS;
    });
}

} // namespace zorvan::devkit

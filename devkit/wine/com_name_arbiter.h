// The COM port database, kept where Windows keeps it: one bit per port number in the registry value
// HKLM\SYSTEM\CurrentControlSet\Control\COM Name Arbiter, "ComDB".
//
// Results are Windows error codes. Each operation is atomic between processes: a named mutex guards it.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <memory>
#include <vector>

namespace zorvan::devkit {

// Which numbers are in use. Bit n-1 is COMn.
class PortBits {
public:
    explicit PortBits(std::vector<BYTE> bytes) : bytes_(std::move(bytes)) {}

    DWORD size() const { return static_cast<DWORD>(bytes_.size()) * 8; }
    bool arbitrates(DWORD number) const { return number >= 1 && number <= size(); }
    bool isUsed(DWORD number) const { return (bytes_[(number - 1) / 8] >> ((number - 1) % 8) & 1) != 0; }
    void setUsed(DWORD number, bool used);
    void resize(DWORD ports) { bytes_.resize(ports / 8); }
    const std::vector<BYTE>& bytes() const { return bytes_; }

private:
    std::vector<BYTE> bytes_;
};

class ComNameArbiter {
public:
    // Null, with the thread's last error set, when the registry or the mutex cannot be opened.
    static std::unique_ptr<ComNameArbiter> open();

    LONG claim(DWORD number, bool force, bool& forced);
    // The lowest number that is neither in use nor the name of a port of Wine's own.
    LONG claimNextFree(DWORD& number);
    LONG release(DWORD number);
    LONG load(PortBits& bits) const;

private:
    ComNameArbiter(UniqueRegistryKey key, UniqueHandle mutex) : key_(std::move(key)), mutex_(std::move(mutex)) {}

    template <class Change>
    LONG update(Change change);
    LONG store(const PortBits& bits) const;

    UniqueRegistryKey key_;
    UniqueHandle mutex_;
};

} // namespace zorvan::devkit

// Values in a device's hardware key: they outlive the driver and go with the device.
#pragma once

#include "base/unique.h"

#include <optional>
#include <string>

namespace zorvan::engine {

// A value that is missing or of another type reads as none. What cannot be written throws std::system_error.
class DeviceKey {
public:
    // The key stays the caller's. Throws std::system_error when it cannot be opened once more.
    explicit DeviceKey(HKEY key);

    std::optional<std::wstring> readText(const wchar_t* name) const;
    void writeText(const wchar_t* name, const std::wstring& text);

    template <class Record>
    std::optional<Record> readRecord(const wchar_t* name) const {
        Record record{};
        DWORD size = sizeof record;
        const auto error = RegGetValueW(key_.get(), nullptr, name, RRF_RT_REG_BINARY, nullptr, &record, &size);
        return error == ERROR_SUCCESS && size == sizeof record ? std::optional(record) : std::nullopt;
    }
    template <class Record>
    void writeRecord(const wchar_t* name, const Record& record) {
        write(name, REG_BINARY, &record, sizeof record);
    }

    // Fails when there is nothing to remove, or when the device is being removed and its key is gone already.
    void remove(const wchar_t* name) noexcept { RegDeleteValueW(key_.get(), name); }

private:
    void write(const wchar_t* name, DWORD type, const void* data, std::size_t size);

    UniqueRegistryKey key_;
};

} // namespace zorvan::engine

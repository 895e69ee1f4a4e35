// Bytes on their way, checked on arrival. Failures are thrown as std::runtime_error.
#pragma once

#include "examples/client.h"

#include "base/unique.h"

#include <cstdint>

namespace zorvan::devkit {

using Bytes = std::vector<std::uint8_t>;

Bytes randomBytes(std::size_t size, unsigned seed);

// A file, a pipe or a serial port, opened as any program does.
class OpenFile {
public:
    explicit OpenFile(const std::wstring& name);

    HANDLE get() const { return handle_.get(); }
    void write(const Bytes& bytes) const;
    Bytes read(std::size_t size) const;

private:
    UniqueHandle handle_;
};

// What does not come within ten seconds, does not come.
class OpenPort : public OpenFile {
public:
    explicit OpenPort(IVirtualSerialDevice& device);
};

// Writes on one side while it reads on the other, and compares.
void send(const OpenFile& from, const OpenFile& to, const Bytes& bytes);

// A file with this content, which is deleted with this.
class TemporaryFile {
public:
    explicit TemporaryFile(const Bytes& content);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { DeleteFileW(name_.c_str()); } // one that stays is the next clean-up's

    const std::wstring& name() const { return name_; }

private:
    std::wstring name_;
};

} // namespace zorvan::devkit

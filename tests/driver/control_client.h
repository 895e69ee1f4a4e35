// Control requests as a client sends them: each opens the device's control path, sends one request and closes it.
#pragma once

#include "base/unique.h"
#include "driver/protocol.h"
#include "driver/record.h"

#include <string>

namespace zorvan::test {

// What a request came to; 0 is success. The errors are those that a Win32 caller sees.
struct Answer {
    DWORD error;
    protocol::Bytes reply;
};

UniqueHandle openPath(const std::wstring& path, DWORD access = GENERIC_READ | GENERIC_WRITE);

Answer sendRequest(HANDLE device, std::uint32_t code, const protocol::Bytes& input = {}, std::size_t outputSize = 0);

class ControlClient {
public:
    explicit ControlClient(std::wstring controlPath) : path_(std::move(controlPath)) {}

    Answer query(protocol::Query code) const;
    DWORD set(protocol::Set code, const protocol::Bytes& input = {}) const;

    // The reply's first item; throws when the request fails.
    template <class Item>
    Item ask(protocol::Query code) const {
        return protocol::RecordReader(replyOf(code)).read<Item>();
    }
    std::wstring askText(protocol::Query code) const { return protocol::RecordReader(replyOf(code)).readString(); }
    protocol::Bytes replyOf(protocol::Query code) const;

    std::uint32_t mode() const { return ask<std::uint32_t>(protocol::Query::Mode); }
    std::uint32_t hostProcessId() const { return ask<std::uint32_t>(protocol::Query::HostProcessId); }
    DWORD bridgeTo(const std::wstring& partner, const std::wstring& server = L".") const;
    DWORD listen() const;

    // Leaves a copy of the handle in the port's host process; 0: that failed.
    std::uint64_t copyToHost(HANDLE handle) const;

private:
    std::wstring path_;
};

protocol::Bytes bridgeRecord(const std::wstring& partner, const std::wstring& server, std::uint8_t permanent);

// The modes as clients see them.
enum Mode : std::uint32_t { kBroken, kListening, kPipe, kBridge, kHandles };

} // namespace zorvan::test

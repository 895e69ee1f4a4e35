#include "control_client.h"

#include <system_error>

namespace zorvan::test {
namespace {

[[noreturn]] void throwError(DWORD error, const char* what) {
    throw std::system_error(static_cast<int>(error), std::system_category(), what);
}

} // namespace

UniqueHandle openPath(const std::wstring& path, DWORD access) {
    return fileHandle(CreateFileW(
        path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
        nullptr));
}

Answer sendRequest(HANDLE device, std::uint32_t code, const protocol::Bytes& input, std::size_t outputSize) {
    auto request = input;
    Answer answer{ERROR_SUCCESS, protocol::Bytes(outputSize)};
    DWORD returned = 0;
    if (!DeviceIoControl(
            device, code, input.empty() ? nullptr : request.data(), static_cast<DWORD>(request.size()),
            outputSize == 0 ? nullptr : answer.reply.data(), static_cast<DWORD>(outputSize), &returned, nullptr)) {
        answer.error = GetLastError();
        returned = 0;
    }
    answer.reply.resize(returned);
    return answer;
}

Answer ControlClient::query(protocol::Query code) const {
    const auto device = openPath(path_, GENERIC_READ);
    if (!device)
        return {GetLastError(), {}};
    return sendRequest(device.get(), static_cast<std::uint32_t>(code), {}, protocol::kReplySize);
}

DWORD ControlClient::set(protocol::Set code, const protocol::Bytes& input) const {
    const auto device = openPath(path_);
    if (!device)
        return GetLastError();
    return sendRequest(device.get(), static_cast<std::uint32_t>(code), input).error;
}

protocol::Bytes ControlClient::replyOf(protocol::Query code) const {
    auto answer = query(code);
    if (answer.error != ERROR_SUCCESS)
        throwError(answer.error, "a query failed");
    return std::move(answer.reply);
}

DWORD ControlClient::bridgeTo(const std::wstring& partner, const std::wstring& server) const {
    return set(protocol::Set::CreateBridge, bridgeRecord(partner, server, 0));
}

DWORD ControlClient::listen() const {
    protocol::RecordWriter record;
    return set(protocol::Set::StartListening, record.appendString(L"D:AR(A;;CC;;;WD)").bytes());
}

std::uint64_t ControlClient::copyToHost(HANDLE handle) const {
    const UniqueHandle host(OpenProcess(PROCESS_DUP_HANDLE, FALSE, hostProcessId()));
    HANDLE copy = nullptr;
    if (!host || !DuplicateHandle(GetCurrentProcess(), handle, host.get(), &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
        return 0;
    return reinterpret_cast<std::uint64_t>(copy);
}

protocol::Bytes bridgeRecord(const std::wstring& partner, const std::wstring& server, std::uint8_t permanent) {
    protocol::RecordWriter record;
    record.appendString(partner).appendString(server);
    record.appendString(L"").appendString(L"").appendString(L""); // login, password, domain
    return record.append(permanent).bytes();
}

} // namespace zorvan::test

#include "control_client.h"

#include "base/hresult_error.h"
#include "security/host_process.h"

namespace zorvan::test {

UniqueHandle openPath(const std::wstring& path, DWORD access) {
    return fileHandle(CreateFileW(
        path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
        nullptr));
}

DWORD sendRequest(HANDLE device, std::uint32_t code, protocol::Bytes input, std::size_t outputSize) {
    protocol::Bytes reply(outputSize);
    DWORD returned = 0;
    const BOOL succeeded = DeviceIoControl(
        device, code, input.data(), static_cast<DWORD>(input.size()), reply.data(), static_cast<DWORD>(outputSize),
        &returned, nullptr);
    return succeeded ? ERROR_SUCCESS : GetLastError();
}

DWORD ControlClient::set(protocol::Set code, const protocol::Bytes& input) const {
    return static_cast<DWORD>(HRESULT_CODE(comBoundary([&] { driver::sendSet(path_, code, input); })));
}

DWORD
ControlClient::bridgeTo(const std::wstring& partner, const std::wstring& server, std::uint8_t permanent) const {
    return set(protocol::Set::CreateBridge, bridgeRecord(partner, server, permanent));
}

DWORD ControlClient::listen() const {
    return set(protocol::Set::StartListening, textRecord(L"D:AR(A;;CC;;;WD)"));
}

std::uint64_t ControlClient::copyToHost(HANDLE handle) const {
    return duplicateIntoHost(hostProcessId(), handle).release().value;
}

protocol::Bytes textRecord(const std::wstring& text) {
    return protocol::RecordWriter().appendString(text).bytes();
}

protocol::Bytes pinRecord(const std::vector<std::uint16_t>& entries) {
    return protocol::RecordWriter().appendList(entries).bytes();
}

protocol::Bytes bridgeRecord(const std::wstring& partner, const std::wstring& server, std::uint8_t permanent) {
    protocol::RecordWriter record;
    record.appendString(partner).appendString(server);
    record.appendString(L"").appendString(L"").appendString(L""); // login, password, domain
    return record.append(permanent).bytes();
}

} // namespace zorvan::test

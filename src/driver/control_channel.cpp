#include "driver/control_channel.h"

#include "base/hresult_error.h"

namespace zorvan::driver {

namespace {

// Oddity 10 of docs/architecture.md.
constexpr DWORD kOpenFlags = FILE_ATTRIBUTE_NORMAL | SECURITY_IMPERSONATION;
static_assert(kOpenFlags == 0x00020080);

// Oddity 9 of docs/architecture.md.
DWORD desiredAccess(std::uint32_t code) {
    const bool reads = (protocol::requiredAccess(code) & protocol::kFileReadAccess) != 0;
    return reads ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
}

// Sends the request and returns how many bytes of the reply the driver filled.
DWORD control(
    const UniqueHandle& handle, std::uint32_t code, std::span<const std::uint8_t> input,
    std::span<std::uint8_t> reply) {
    auto* inputData = const_cast<std::uint8_t*>(input.data()); // only read, but declared without const
    DWORD returned = 0;
    const BOOL succeeded = DeviceIoControl(
        handle.get(), code, input.empty() ? nullptr : inputData, static_cast<DWORD>(input.size()),
        reply.empty() ? nullptr : reply.data(), static_cast<DWORD>(reply.size()), &returned, nullptr);
    if (succeeded == FALSE)
        throwLastError();
    return returned;
}

UniqueHandle openControlPath(const std::wstring& path, std::uint32_t code) {
    auto handle = fileHandle(CreateFileW(
        path.c_str(), desiredAccess(code), FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, kOpenFlags,
        nullptr));
    if (!handle)
        throwLastError();
    return handle;
}

} // namespace

UniqueHandle openControlPath(const std::wstring& path, protocol::Set request) {
    return openControlPath(path, static_cast<std::uint32_t>(request));
}

void sendSet(const UniqueHandle& control, protocol::Set request, std::span<const std::uint8_t> input) {
    driver::control(control, static_cast<std::uint32_t>(request), input, {});
}

void sendSet(const std::wstring& path, protocol::Set request, std::span<const std::uint8_t> input) {
    sendSet(openControlPath(path, request), request, input);
}

Reply sendQuery(const std::wstring& path, protocol::Query request) {
    const auto code = static_cast<std::uint32_t>(request);
    const auto handle = openControlPath(path, code);
    Reply reply(protocol::kReplySize);
    reply.resize(control(handle, code, {}, reply));
    return reply;
}

} // namespace zorvan::driver

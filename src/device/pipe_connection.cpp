// Pipe mode: the port's data flows through a named pipe, whose handle the driver is given.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"
#include "security/hand_over.h"

namespace zorvan {

namespace {

constexpr wchar_t kPipeNamespace[] = L"\\\\.\\pipe";

UniqueHandle requireFile(HANDLE opened) {
    auto file = fileHandle(opened);
    if (!file)
        throwLastError();
    return file;
}

UniqueHandle openPipe(const wchar_t* name) {
    return requireFile(CreateFileW(
        name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
        FILE_FLAG_OVERLAPPED, nullptr));
}

enum class PipeEnd : std::uint8_t { Client = 0, Server = 1 };

void handOverPipe(const BoundDriver& driver, UniqueHandle pipe, PipeEnd end) {
    // Where it cannot be handed over, 0: oddity 14 of docs/architecture.md.
    auto hostPipe = duplicateIntoHost(driver.hostProcessId, pipe.get());
    const protocol::PipeConnection connection{hostPipe.get().value, static_cast<std::uint8_t>(end)};
    handOver(driver.controlPath, protocol::Set::ConnectPipe, connection, hostPipe);
}

} // namespace

HRESULT CVirtualSerialDevice::connectToPipe(BSTR pipeName) noexcept {
    return comBoundary([&] {
        const auto driver = aliveDriver();
        handOverPipe(driver, openPipe(nulTerminated(pipeName)), PipeEnd::Client);
    });
}

HRESULT CVirtualSerialDevice::createAndConnectPipe(
    BSTR pipeName, ULONG instances, ULONG outputBufferSize, ULONG inputBufferSize, ULONG defaultTimeout) noexcept {
    return comBoundary([&] {
        const auto driver = aliveDriver();
        auto pipe = requireFile(CreateNamedPipeW(
            nulTerminated(pipeName), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
            PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, instances, outputBufferSize, inputBufferSize,
            defaultTimeout, nullptr));
        handOverPipe(driver, std::move(pipe), PipeEnd::Server);
    });
}

HRESULT CVirtualSerialDevice::get_PipeName(BSTR* name) noexcept {
    return comGetter(name, [&] {
        const auto driver = aliveDriver();
        const auto pipe = driver::query<std::uint64_t>(driver.controlPath, protocol::Query::PipeHandle);
        return newBstr(kPipeNamespace + getHostHandleName(driver.hostProcessId, pipe));
    });
}

} // namespace zorvan

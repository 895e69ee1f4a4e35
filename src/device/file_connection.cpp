// File mode: the port receives what one file holds, and what is sent goes to another. The driver is given both.

#include "base/automation.h"
#include "base/hresult_error.h"
#include "device/virtual_serial_device.h"
#include "driver/control_channel.h"
#include "security/hand_over.h"

namespace zorvan {

namespace {

using protocol::HostHandlePair;

UniqueHandle openFile(const wchar_t* name, DWORD access, DWORD share, DWORD disposition) {
    auto file = fileHandle(CreateFileW(name, access, share, nullptr, disposition, FILE_FLAG_OVERLAPPED, nullptr));
    if (!file)
        throwLastError();
    return file;
}

UniqueHostHandle requireHostHandle(DWORD hostProcessId, const UniqueHandle& file) {
    auto hostFile = duplicateIntoHost(hostProcessId, file.get());
    if (!hostFile)
        throwLastError();
    return hostFile;
}

} // namespace

HRESULT CVirtualSerialDevice::connectToFiles(BSTR inputFile, BSTR outputFile, FileCreationMode creation) noexcept {
    bool connected = false;
    const HRESULT result = comBoundary([&] {
        const auto driver = aliveDriver();
        const auto input =
            openFile(nulTerminated(inputFile), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
        // The values of FileCreationMode are the system's.
        const auto output =
            openFile(nulTerminated(outputFile), GENERIC_WRITE, FILE_SHARE_READ, static_cast<DWORD>(creation));

        auto hostOutput = requireHostHandle(driver.hostProcessId, output);
        auto hostInput = requireHostHandle(driver.hostProcessId, input);
        const HostHandlePair files{hostOutput.get().value, hostInput.get().value};
        handOver(driver.controlPath, protocol::Set::ConnectFiles, files, hostOutput, hostInput);
        connected = true;
    });
    // Oddity 1 of docs/architecture.md.
    return SUCCEEDED(result) && !connected ? E_FAIL : result;
}

HRESULT CVirtualSerialDevice::get_inputFileName(BSTR* name) noexcept {
    return getFileName(&HostHandlePair::inputFile, name);
}

HRESULT CVirtualSerialDevice::get_outputFileName(BSTR* name) noexcept {
    return getFileName(&HostHandlePair::outputFile, name);
}

HRESULT CVirtualSerialDevice::getFileName(std::uint64_t HostHandlePair::*file, BSTR* name) noexcept {
    return comGetter(name, [&] {
        const auto driver = aliveDriver();
        const auto files = driver::query<HostHandlePair>(driver.controlPath, protocol::Query::FileHandles);
        return newBstr(getHostHandleName(driver.hostProcessId, files.*file));
    });
}

} // namespace zorvan

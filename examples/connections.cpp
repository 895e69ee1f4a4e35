// Connects two virtual COM ports in every way, lets bytes flow by ordinary file calls and shows what arrives.
//
// Ends with status 0 when everything went as described, otherwise with 1; it leaves no port and no file behind.
#include "client.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <future>
#include <random>
#include <stdexcept>

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kFileSize = 1 << 20;
constexpr wchar_t kPipe[] = L"\\\\.\\pipe\\zorvanlib-connections";

// A file, a pipe or a serial port, as any program opens it.
class File {
public:
    explicit File(const std::wstring& name, DWORD disposition = OPEN_EXISTING)
        : handle_(CreateFileW(
              name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition, 0,
              nullptr)) {
        expect(handle_ != INVALID_HANDLE_VALUE, "opening a file or port");
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { CloseHandle(handle_); }

    HANDLE get() const { return handle_; }

    void write(const Bytes& bytes) const {
        DWORD count = 0;
        expect(
            WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr) != FALSE, "writing");
        expect(count == bytes.size(), "how much was written");
    }

    Bytes read(std::size_t size) const {
        Bytes bytes(size);
        for (std::size_t done = 0; done < size;) {
            DWORD count = 0;
            const auto left = static_cast<DWORD>(size - done);
            expect(ReadFile(handle_, bytes.data() + done, left, &count, nullptr) != FALSE, "reading");
            expect(count > 0, "that bytes arrive within ten seconds");
            done += count;
        }
        return bytes;
    }

private:
    HANDLE handle_;
};

// Opened for reading and writing without end: what does not come within ten seconds, does not come.
class SerialPort : public File {
public:
    explicit SerialPort(IVirtualSerialDevice& device) : File(L"\\\\.\\" + portName(device), OPEN_EXISTING) {
        COMMTIMEOUTS timeouts{};
        timeouts.ReadTotalTimeoutConstant = 10000;
        timeouts.WriteTotalTimeoutConstant = 10000;
        timeouts.WriteTotalTimeoutMultiplier = 1;
        expect(SetCommTimeouts(get(), &timeouts) != FALSE, "setting time-outs");
    }

    void setDtr(bool on) const { expect(EscapeCommFunction(get(), on ? SETDTR : CLRDTR) != FALSE, "setting DTR"); }

    bool clearToSend() const {
        DWORD status = 0;
        expect(GetCommModemStatus(get(), &status) != FALSE, "reading the modem status");
        return (status & MS_CTS_ON) != 0;
    }
};

class TemporaryFile {
public:
    explicit TemporaryFile(const Bytes& content) {
        wchar_t folder[MAX_PATH];
        wchar_t name[MAX_PATH];
        expect(
            GetTempPathW(MAX_PATH, folder) != 0 && GetTempFileNameW(folder, L"zvl", 0, name) != 0,
            "a temporary file");
        name_ = name;
        File(name_).write(content);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { DeleteFileW(name_.c_str()); }

    const std::wstring& name() const { return name_; }

private:
    std::wstring name_;
};

Bytes bytesOf(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

Bytes randomBytes(std::size_t size) {
    std::mt19937 random(20260101);
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

void send(const File& from, const File& to, const Bytes& bytes, const char* what) {
    auto written = std::async(std::launch::async, [&] { from.write(bytes); });
    const auto arrived = to.read(bytes.size());
    written.get();
    std::printf("  %s: %zu bytes, %s\n", what, bytes.size(), arrived == bytes ? "the same" : "DIFFERENT");
    expect(arrived == bytes, "what arrived");
}

void sayCounters(IVirtualSerialDevice& device) {
    const auto [connections, sent, received] = counters(device);
    std::printf(
        "  %ls: connections %llu, bytes sent %llu, received %llu\n", portName(device).c_str(), connections, sent,
        received);
}

void showTraffic(IVirtualSerialDevice& left, IVirtualSerialDevice& right) {
    const SerialPort here(left);
    const SerialPort there(right);
    send(here, there, bytesOf("Hello, COM52"), "a text to the right");
    send(there, here, bytesOf("Hello, COM51"), "a text to the left");

    const TemporaryFile file(randomBytes(kFileSize));
    const auto content = File(file.name()).read(kFileSize);
    send(here, there, content, "a file to the right");
    send(there, here, content, "a file to the left");
}

ComPtr<IPin> pin(IVirtualSerialDevice& device, bool remote, HRESULT (ISocket::*property)(IPin**)) {
    ComPtr<ISocket> socket;
    ComPtr<IPin> pin;
    check(remote ? device.get_remoteSocket(&socket) : device.get_localSocket(&socket), "a socket");
    check((socket.Get()->*property)(&pin), "a pin");
    return pin;
}

// The remote RTS no longer matters for what DTR does: two sources of one line are or-ed.
void showPins(IVirtualSerialDevice& left, IVirtualSerialDevice& right) {
    const SerialPort here(left);
    const SerialPort there(right);
    expect(EscapeCommFunction(here.get(), CLRRTS) != FALSE, "clearing RTS");
    const auto dtr = pin(left, false, &ISocket::get_DTR);
    const auto cts = pin(left, true, &ISocket::get_CTS);
    const auto show = [&](const char* wiring, bool expected) {
        here.setDtr(false);
        const bool low = there.clearToSend();
        here.setDtr(true);
        const bool high = there.clearToSend();
        std::printf(
            "  %s: DTR off and on here, CTS %s and %s there\n", wiring, low ? "on" : "off", high ? "on" : "off");
        expect(!low && high == expected, "the lines");
    };
    show("as it is", false);
    check(dtr->sendTo(cts.Get()), "sendTo");
    show("DTR sent to CTS", true);
    check(left.restoreDefaultPins(), "restoreDefaultPins");
    show("default pins restored", false);
}

void showErrors(IVirtualSerialDevice& left, IVirtualSerialDevice& right) {
    constexpr double kProbability = 0.01;
    check(right.put_crossoverProbability(kProbability), "setting crossoverProbability");
    const SerialPort here(left);
    const SerialPort there(right);
    const auto sent = randomBytes(kFileSize / 8);
    auto written = std::async(std::launch::async, [&] { here.write(sent); });
    const auto arrived = there.read(sent.size());
    written.get();
    std::size_t flipped = 0;
    for (std::size_t i = 0; i < sent.size(); ++i)
        flipped += static_cast<std::size_t>(std::popcount(static_cast<unsigned>(sent[i] ^ arrived[i])));
    const double rate = static_cast<double>(flipped) / static_cast<double>(sent.size() * 8);
    std::printf("  %zu of %zu bits arrived flipped: %.5f\n", flipped, sent.size() * 8, rate);
    expect(rate > kProbability / 2 && rate < kProbability * 2, "the rate of errors");
    check(right.put_crossoverProbability(0.0), "setting crossoverProbability");
}

void showBridge(IVirtualSerialDevice& left, IVirtualSerialDevice& right) {
    std::puts("Bridging both");
    check(left.createBridge(&right, VARIANT_TRUE), "createBridge");
    ComPtr<IVirtualSerialDevice> pair;
    check(left.get_pair(&pair), "pair");
    std::printf(
        "  pair: %ls, remoteEndpoint: %ls\n", portName(*pair.Get()).c_str(),
        textOf(left, &IVirtualSerialDevice::get_remoteEndpoint).c_str());
    showTraffic(left, right);
    sayCounters(left);
    sayCounters(right);
    std::puts("Rewiring the bridge");
    showPins(left, right);
    std::puts("Flipping bits with a probability of 0.01");
    showErrors(left, right);
    check(left.disconnectDevice(), "disconnectDevice");
}

void showPipe(IVirtualSerialDevice& device) {
    std::puts("Connecting the first to a pipe");
    check(device.createAndConnectPipe(makeBstr(kPipe).get(), 1, 4096, 4096, 0), "createAndConnectPipe");
    std::printf("  PipeName: %ls\n", textOf(device, &IVirtualSerialDevice::get_PipeName).c_str());
    const File pipe(kPipe);
    const SerialPort port(device);
    send(port, pipe, bytesOf("through the pipe"), "out of the pipe");
    send(pipe, port, bytesOf("and back again"), "into the pipe");
    check(device.disconnectDevice(), "disconnectDevice");
}

void showFiles(IVirtualSerialDevice& device) {
    std::puts("Connecting the first to two files");
    const auto received = bytesOf("what the port receives");
    const auto sent = bytesOf("what the port sends");
    const TemporaryFile input(received);
    const TemporaryFile output({});
    check(
        device.connectToFiles(makeBstr(input.name()).get(), makeBstr(output.name()).get(), CTF_TruncateExisting),
        "connectToFiles");
    std::printf(
        "  inputFileName: %ls\n  outputFileName: %ls\n",
        textOf(device, &IVirtualSerialDevice::get_inputFileName).c_str(),
        textOf(device, &IVirtualSerialDevice::get_outputFileName).c_str());
    {
        const SerialPort port(device);
        expect(port.read(received.size()) == received, "what the port received");
        port.write(sent);
    }
    check(device.disconnectDevice(), "disconnectDevice");
    expect(File(output.name()).read(sent.size()) == sent, "what the port sent");
    std::puts("  both files hold what they should");
}

void showListening(IVirtualSerialDevice& device) {
    std::puts("Letting the first listen, for administrators only");
    const std::wstring administrators = L"D:(A;;GA;;;BA)";
    const auto text = makeBstr(administrators);
    VARIANT descriptor{};
    descriptor.vt = VT_BSTR;
    descriptor.bstrVal = text.get();
    check(device.startListening(descriptor), "startListening");
    const auto read = textOf(device, &IVirtualSerialDevice::get_securityDescriptor);
    std::printf("  securityDescriptor: %ls\n", read.c_str());
    expect(read == administrators, "the security descriptor");
}

void demonstrate() {
    const auto library = createLibrary();
    CreatedPorts ports;
    std::puts("Creating two ports");
    auto& left = ports.create(*library.Get(), L"COM51");
    auto& right = ports.create(*library.Get(), L"COM52");
    showBridge(left, right);
    showPipe(left);
    showFiles(left);
    showListening(left);
    ports.deleteAll();
}

} // namespace

int wmain() {
    return runExample(demonstrate);
}

#include "round.h"

#include "traffic.h"

namespace zorvan::devkit {

namespace {

constexpr std::size_t kBlock = std::size_t{64} * 1024;
constexpr unsigned kPortsInRound = 2;
constexpr unsigned kFirstOwnNumber = 100; // the system's choices are smaller

ComPtr<IPin> pinOf(IVirtualSerialDevice& device, HRESULT (IVirtualSerialDevice::*side)(ISocket**)) {
    ComPtr<ISocket> socket;
    ComPtr<IPin> pin;
    check((device.*side)(&socket), "a socket");
    check(socket->get_DTR(&pin), "a pin");
    return pin;
}

void expectMode(IVirtualSerialDevice& device, VirtualSerialDeviceMode expected) {
    VirtualSerialDeviceMode mode{};
    check(device.get_mode(&mode), "mode");
    expect(mode == expected, "the mode");
}

} // namespace

OwnPort::OwnPort(IVirtualSerialLibrary& library) {
    check(createPort(library, nullptr, device_), "createDevice");
}

OwnPort::~OwnPort() {
    if (!removed_)
        device_->deleteDevice(); // on the way out; one that stays is in the next listing
}

void OwnPort::remove() {
    check(device_->deleteDevice(), "deleteDevice");
    removed_ = true;
}

Rounds::Rounds(const ComPtr<IVirtualSerialLibrary>& library, bool alone)
    : alone_(alone), library_(library), pipePort_(*library_.Get()), filePort_(*library_.Get()), watch_(library_) {}

void Rounds::run() {
    joinNewPorts();
    pipe();
    files();
    listen();
    otherClient();
    work_.events = watch_.events();
    ++work_.rounds;
}

void Rounds::joinNewPorts() {
    OwnPort first(*library_.Get());
    OwnPort second(*library_.Get());
    watch_.awaitAdded(first.device());
    watch_.awaitAdded(second.device());
    rename(second.device());
    bridge(first.device(), second.device());
    first.remove();
    second.remove();
    watch_.awaitDeleted(first.device());
    watch_.awaitDeleted(second.device());
    watch_.expectComplete({&first.device(), &second.device()}, alone_);
    work_.ports += kPortsInRound;
}

// To a name that no other rounds use, as no other port has the number of the one that stays.
void Rounds::rename(IVirtualSerialDevice& device) const {
    const auto name = L"COM" + std::to_wstring(kFirstOwnNumber + std::stoul(residentPort().substr(3)));
    check(device.put_portName(makeBstr(name).get()), "setting portName");
    expect(portName(device) == name, "the new name");
}

void Rounds::bridge(IVirtualSerialDevice& first, IVirtualSerialDevice& second) {
    check(first.createBridge(&second, VARIANT_FALSE), "createBridge");
    expectMode(first, VSDM_Bridge);
    pins(first);
    const OpenPort here(first);
    const OpenPort there(second);
    send(here, there, randomBytes(kBlock, 2 * work_.rounds));
    send(there, here, randomBytes(kBlock, 2 * work_.rounds + 1));
    unsigned __int64 sent = 0;
    check(first.get_bytesSent(&sent), "bytesSent");
    expect(sent == kBlock, "bytesSent");
    work_.bytes += 2 * kBlock;
}

void Rounds::pins(IVirtualSerialDevice& device) {
    const auto here = pinOf(device, &IVirtualSerialDevice::get_localSocket);
    const auto there = pinOf(device, &IVirtualSerialDevice::get_remoteSocket);
    expect(here->sendTo(there.Get()) == E_INVALIDARG, "that no output drives an output");
    check(device.restoreDefaultPins(), "restoreDefaultPins");
}

void Rounds::pipe() {
    auto& device = pipePort_.device();
    const auto name = L"\\\\.\\pipe\\zorvanlib-soak-" + residentPort();
    check(device.createAndConnectPipe(makeBstr(name).get(), 1, 4096, 4096, 0), "createAndConnectPipe");
    expect(textOf(device, &IVirtualSerialDevice::get_PipeName) == name, "PipeName");
    {
        const OpenFile pipe(name);
        const OpenPort port(device);
        send(port, pipe, randomBytes(kBlock, work_.rounds));
        send(pipe, port, randomBytes(kBlock, work_.rounds));
    }
    check(device.disconnectDevice(), "disconnectDevice");
    work_.bytes += 2 * kBlock;
}

void Rounds::files() {
    auto& device = filePort_.device();
    const auto bytes = randomBytes(kBlock, work_.rounds);
    const TemporaryFile input(bytes);
    const TemporaryFile output({});
    check(
        device.connectToFiles(makeBstr(input.name()).get(), makeBstr(output.name()).get(), CTF_TruncateExisting),
        "connectToFiles");
    expect(!textOf(device, &IVirtualSerialDevice::get_outputFileName).empty(), "outputFileName");
    {
        const OpenPort port(device);
        expect(port.read(kBlock) == bytes, "that what the port receives is what the file holds");
        port.write(bytes);
    }
    check(device.disconnectDevice(), "disconnectDevice");
    expect(OpenFile(output.name()).read(kBlock) == bytes, "that the file holds what the port has sent");
    work_.bytes += 2 * kBlock;
}

void Rounds::listen() {
    auto& device = filePort_.device();
    VARIANT anybody{}; // the default security descriptor
    check(device.startListening(anybody), "startListening");
    expectMode(device, VSDM_Listening);
    check(device.disconnectDevice(), "disconnectDevice");
}

// A library object with its event thread comes and goes.
void Rounds::otherClient() {
    const auto library = createLibrary();
    const EventWatch watch(library);
    ComPtr<IDeviceCollection> devices;
    check(library->get_devicesCollection(&devices), "devicesCollection");
    LONG count = 0;
    check(devices->get_Count(&count), "Count");
    expect(count >= 2, "that the collection holds the ports that stay");
}

} // namespace zorvan::devkit

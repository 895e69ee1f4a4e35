#include "round.h"

#include "support/program.h"
#include "support/serial_client.h"

namespace zorvan::test {

namespace {

constexpr std::size_t kBlock = std::size_t{64} * 1024;
constexpr unsigned kFirstOwnNumber = 100; // the system's choices are smaller

ComPointer<IPin> pinOf(IVirtualSerialDevice& device, HRESULT (IVirtualSerialDevice::*side)(ISocket**)) {
    return readObject(*readObject(device, side), &ISocket::get_DTR);
}

void expectMode(IVirtualSerialDevice& device, VirtualSerialDeviceMode expected) {
    expect(read(device, &IVirtualSerialDevice::get_mode) == expected, "the mode");
}

} // namespace

Rounds::Rounds(const ComPointer<IVirtualSerialLibrary>& library, bool alone)
    : alone_(alone), library_(library), pipePort_(*library_), filePort_(*library_) {
    require(library_->addListener(watch_.get()), "addListener");
}

Rounds::~Rounds() {
    library_->removeListener(watch_.get()); // cannot fail for a listener that is registered
    watch_->forget();                       // the devices keep their library alive
}

void Rounds::run() {
    joinNewPorts();
    pipe();
    files();
    listen();
    otherClient();
    ++work_.rounds;
}

void Rounds::joinNewPorts() {
    OwnPort first(*library_);
    OwnPort second(*library_);
    const auto told = [&](const char* what, const OwnPort& port) { return watch_->count(what, &port.device()); };
    const auto await = [&](const char* what) {
        for (const auto* port : {&first, &second})
            expect(becomesTrue([&] { return told(what, *port) != 0; }), "that a port is reported within 20 s");
    };
    await("added");
    rename(second.device());
    bridge(first.device(), second.device());
    first.remove();
    second.remove();
    await("deleted");
    for (const auto* what : {"added", "deleted"})
        expect(told(what, first) == 1 && told(what, second) == 1, "that each port is reported once");
    // All is forgotten: an event that comes later still is one of another port.
    const auto heard = watch_->forget();
    const auto comesOrGoes = [](const Event& event) { return event.what == "added" || event.what == "deleted"; };
    expect(!alone_ || std::count_if(heard.begin(), heard.end(), comesOrGoes) == 4, "that no other port is reported");
    work_.ports += 2;
    work_.events += heard.size();
}

// To a name that no other rounds use, as no other port has the number of the one that stays.
void Rounds::rename(IVirtualSerialDevice& device) const {
    const auto name = L"COM" + std::to_wstring(kFirstOwnNumber + std::stoul(residentPort().substr(3)));
    require(device.put_portName(Bstr(name).get()), "setting portName");
    expect(portName(device) == name, "the new name");
}

void Rounds::bridge(IVirtualSerialDevice& first, IVirtualSerialDevice& second) {
    require(first.createBridge(&second, VARIANT_FALSE), "createBridge");
    expectMode(first, VSDM_Bridge);
    pins(first);
    const SerialClient here(portName(first));
    const SerialClient there(portName(second));
    send(here.get(), there.get(), randomBytes(kBlock, 2 * work_.rounds));
    send(there.get(), here.get(), randomBytes(kBlock, 2 * work_.rounds + 1));
    expect(read(first, &IVirtualSerialDevice::get_bytesSent) == kBlock, "bytesSent");
    work_.bytes += 2 * kBlock;
}

void Rounds::pins(IVirtualSerialDevice& device) {
    const auto here = pinOf(device, &IVirtualSerialDevice::get_localSocket);
    const auto there = pinOf(device, &IVirtualSerialDevice::get_remoteSocket);
    expect(here->sendTo(there.get()) == E_INVALIDARG, "that no output drives an output");
    require(device.restoreDefaultPins(), "restoreDefaultPins");
}

void Rounds::pipe() {
    auto& device = pipePort_.device();
    const auto name = L"\\\\.\\pipe\\zorvanlib-soak-" + residentPort();
    require(device.createAndConnectPipe(Bstr(name).get(), 1, 4096, 4096, 0), "createAndConnectPipe");
    expect(readText(device, &IVirtualSerialDevice::get_PipeName) == name, "PipeName");
    {
        const auto pipe = openFile(name);
        const SerialClient port(portName(device));
        send(port.get(), pipe.get(), randomBytes(kBlock, work_.rounds));
        send(pipe.get(), port.get(), randomBytes(kBlock, work_.rounds));
    }
    require(device.disconnectDevice(), "disconnectDevice");
    work_.bytes += 2 * kBlock;
}

void Rounds::files() {
    auto& device = filePort_.device();
    const auto bytes = randomBytes(kBlock, work_.rounds);
    const TemporaryFile input(bytes);
    const TemporaryFile output({});
    require(
        device.connectToFiles(Bstr(input.name()).get(), Bstr(output.name()).get(), CTF_TruncateExisting),
        "connectToFiles");
    expect(!readText(device, &IVirtualSerialDevice::get_outputFileName).empty(), "outputFileName");
    {
        const SerialClient port(portName(device));
        expect(port.read(kBlock).data == bytes, "that what the port receives is what the file holds");
        expect(port.write(bytes).count == kBlock, "that the port sends");
    }
    require(device.disconnectDevice(), "disconnectDevice");
    expect(readFile(output.name()) == bytes, "that the file holds what the port has sent");
    work_.bytes += 2 * kBlock;
}

void Rounds::listen() {
    auto& device = filePort_.device();
    VARIANT anybody{}; // the default security descriptor
    require(device.startListening(anybody), "startListening");
    expectMode(device, VSDM_Listening);
    require(device.disconnectDevice(), "disconnectDevice");
}

// A library object with its event thread comes and goes.
void Rounds::otherClient() {
    const auto library = createRegisteredLibrary();
    const auto watch = makeComObject<EventWatch>();
    require(library->addListener(watch.get()), "addListener");
    expect(devicesOf(*library).size() >= 2, "that the library finds the ports that stay");
    require(library->removeListener(watch.get()), "removeListener");
}

} // namespace zorvan::test

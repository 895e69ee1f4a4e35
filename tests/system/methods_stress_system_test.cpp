// Sixteen threads that use every method of the library at once, for real, with bytes on their way.
//
// Eight have ports of their own and know what must come of each call. Eight visit the ports of all others, read all
// that can be read of them, and create and delete a port each.
#include "client.h"

#include "runner/runner.h"
#include "traffic.h"

#include <atomic>
#include <exception>
#include <functional>
#include <thread>

namespace zorvan::test {

namespace {

using devkit::Bytes;
using devkit::OpenFile;
using devkit::OpenPort;
using devkit::randomBytes;
using devkit::send;
using devkit::TemporaryFile;

constexpr unsigned kPairs = 4;   // threads that bridge two ports
constexpr unsigned kSingles = 4; // threads that connect one to pipes and files
constexpr unsigned kVisitors = 8;
constexpr unsigned kRounds = 10;
constexpr std::size_t kBlock = 4096;

void expectMode(IVirtualSerialDevice& device, VirtualSerialDeviceMode expected) {
    VirtualSerialDeviceMode mode{};
    check(device.get_mode(&mode), "mode");
    expect(mode == expected, "the mode");
}

unsigned __int64
numberOf(IVirtualSerialDevice& device, HRESULT (IVirtualSerialDevice::*property)(unsigned __int64*)) {
    unsigned __int64 number = 0;
    check((device.*property)(&number), "a counter");
    return number;
}

ComPtr<IPin> pinOf(IVirtualSerialDevice& device, bool remote, HRESULT (ISocket::*property)(IPin**)) {
    ComPtr<ISocket> socket;
    ComPtr<IPin> pin;
    check(remote ? device.get_remoteSocket(&socket) : device.get_localSocket(&socket), "a socket");
    check((socket.Get()->*property)(&pin), "a pin");
    return pin;
}

void rewire(IVirtualSerialDevice& device) {
    const auto dtr = pinOf(device, false, &ISocket::get_DTR);
    const auto cts = pinOf(device, true, &ISocket::get_CTS);
    check(dtr->sendTo(cts.Get()), "sendTo");
    check(dtr->removeConnectionTo(cts.Get()), "removeConnectionTo");
    expect(dtr->sendTo(dtr.Get()) == E_INVALIDARG, "that an output drives no output");
    check(device.restoreDefaultPins(), "restoreDefaultPins");
}

void setAndReadBack(IVirtualSerialDevice& device, unsigned round) {
    const double probability = round % 2 == 0 ? 0.25 : 0;
    double read = -1;
    check(device.put_crossoverProbability(probability), "setting crossoverProbability");
    check(device.get_crossoverProbability(&read), "crossoverProbability");
    expect(read == probability, "crossoverProbability");
    const VARIANT_BOOL wanted = round % 2 == 0 ? VARIANT_TRUE : VARIANT_FALSE;
    VARIANT_BOOL overflow = VARIANT_FALSE;
    check(device.put_emulateTxOverflow(wanted), "setting emulateTxOverflow");
    check(device.get_emulateTxOverflow(&overflow), "emulateTxOverflow");
    expect((overflow != VARIANT_FALSE) == (wanted != VARIANT_FALSE), "emulateTxOverflow");
    check(device.put_crossoverProbability(0), "setting crossoverProbability");
    check(device.put_emulateTxOverflow(VARIANT_FALSE), "setting emulateTxOverflow");
}

void bridgeOnce(IVirtualSerialDevice& here, IVirtualSerialDevice& there, unsigned round) {
    check(here.createBridge(&there, VARIANT_FALSE), "createBridge");
    expectMode(here, VSDM_Bridge);
    ComPtr<IVirtualSerialDevice> pair;
    check(here.get_pair(&pair), "pair");
    expect(pair.Get() == &there, "that the pair is the other port");
    expect(textOf(here, &IVirtualSerialDevice::get_remotePort) == ::portName(there), "remotePort");
    rewire(here);
    const auto sentBefore = numberOf(here, &IVirtualSerialDevice::get_bytesSent);
    {
        const OpenPort from(here);
        const OpenPort to(there);
        send(from, to, randomBytes(kBlock, round));
        send(to, from, randomBytes(kBlock, round + 1));
    }
    expect(numberOf(here, &IVirtualSerialDevice::get_bytesSent) == sentBefore + kBlock, "bytesSent");
    check(here.disconnectDevice(), "disconnectDevice");
}

void usePipe(IVirtualSerialDevice& device, unsigned round) {
    const auto name = L"\\\\.\\pipe\\zorvanlib-stress-" + ::portName(device);
    check(device.createAndConnectPipe(makeBstr(name).get(), 1, kBlock, kBlock, 0), "createAndConnectPipe");
    expect(textOf(device, &IVirtualSerialDevice::get_PipeName) == name, "PipeName");
    {
        const OpenFile pipe(name);
        const OpenPort port(device);
        send(port, pipe, randomBytes(kBlock, round));
        send(pipe, port, randomBytes(kBlock, round));
    }
    check(device.disconnectDevice(), "disconnectDevice");
}

void useFiles(IVirtualSerialDevice& device, unsigned round) {
    const auto bytes = randomBytes(kBlock, round);
    const TemporaryFile input(bytes);
    const TemporaryFile output({});
    check(
        device.connectToFiles(makeBstr(input.name()).get(), makeBstr(output.name()).get(), CTF_OpenExisting),
        "connectToFiles");
    expectMode(device, VSDM_Handles);
    {
        const OpenPort port(device);
        expect(port.read(kBlock) == bytes, "what the port receives");
        port.write(bytes);
    }
    check(device.disconnectDevice(), "disconnectDevice");
    expect(OpenFile(output.name()).read(kBlock) == bytes, "what the port has sent");
}

void listen(IVirtualSerialDevice& device) {
    const std::wstring administrators = L"D:(A;;GA;;;BA)";
    const auto text = makeBstr(administrators);
    VARIANT descriptor{};
    descriptor.vt = VT_BSTR;
    descriptor.bstrVal = text.get();
    check(device.startListening(descriptor), "startListening");
    expect(textOf(device, &IVirtualSerialDevice::get_securityDescriptor) == administrators, "securityDescriptor");
}

// What there is to read depends on what the owner is doing with the port.
void readWhateverThereIs(IVirtualSerialDevice& device) {
    for (const auto property :
         {&IVirtualSerialDevice::get_PipeName, &IVirtualSerialDevice::get_inputFileName,
          &IVirtualSerialDevice::get_outputFileName, &IVirtualSerialDevice::get_remoteServer,
          &IVirtualSerialDevice::get_remotePort, &IVirtualSerialDevice::get_remoteEndpoint}) {
        BSTR text = nullptr;
        const HRESULT result = (device.*property)(&text);
        const Bstr owner(text);
        expect(SUCCEEDED(result) || text == nullptr, "that an error comes without a text");
    }
    ComPtr<IVirtualSerialDevice> pair;
    const HRESULT result = device.get_pair(&pair);
    expect(SUCCEEDED(result) == (pair != nullptr), "that there is a pair or an error");
}

void visit(IVirtualSerialDevice& device) {
    VARIANT_BOOL deleted = VARIANT_FALSE;
    check(device.get_deleted(&deleted), "deleted");
    VirtualSerialDeviceMode mode{};
    if (device.get_mode(&mode) == E_HANDLE || deleted != VARIANT_FALSE)
        return; // another visitor's port, on its way out
    readWhateverThereIs(device);
    BSTR text = nullptr;
    const HRESULT named = device.get_portName(&text);
    const Bstr name(text);
    expect(SUCCEEDED(named) == (name != nullptr), "that a port has a name");
}

void visitAll(IVirtualSerialLibrary& library, const std::vector<Device>& ports) {
    for (const auto& device : listDevices(library))
        visit(*device.get());
    for (const auto& port : ports) {
        for (const auto counter :
             {&IVirtualSerialDevice::get_connections, &IVirtualSerialDevice::get_bytesSent,
              &IVirtualSerialDevice::get_bytesReceived})
            numberOf(*port, counter);
        VARIANT_BOOL enabled = VARIANT_FALSE;
        check(port->get_enabled(&enabled), "enabled");
        expect(enabled != VARIANT_FALSE, "that the port is enabled");
        ComPtr<IVirtualSerialLibrary> itsLibrary;
        check(port->get_vLibrary(&itsLibrary), "vLibrary");
        expect(itsLibrary.Get() == &library, "that the port is of this library");
        pinOf(*port, true, &ISocket::get_RI);
    }
    ComPtr<IDispatch> devices;
    check(library.get_devicesArray(&devices), "devicesArray");
}

class MethodsStressSystemTest : public SystemTest {
protected:
    void SetUp() override {
        SystemTest::SetUp();
        for (unsigned i = 0; i < 2 * kPairs + kSingles; ++i)
            ports_.push_back(create());
    }

    // On a thread of its own. What it throws fails the test, with the name of the thread.
    void start(std::string name, std::function<void()> work) {
        threads_.emplace_back([name = std::move(name), work = std::move(work)] {
            try {
                work();
            } catch (const std::exception& error) {
                ADD_FAILURE() << name << ": " << error.what();
            }
        });
    }

    void join() {
        for (auto& thread : threads_)
            thread.join();
        threads_.clear();
    }

    void bridge(unsigned pair) {
        auto& here = *ports_[2 * pair];
        auto& there = *ports_[2 * pair + 1];
        for (unsigned round = 0; round < kRounds; ++round)
            bridgeOnce(round % 2 == 0 ? here : there, round % 2 == 0 ? there : here, round);
    }

    void connect(unsigned single) {
        auto& port = *ports_[2 * kPairs + single];
        for (unsigned round = 0; round < kRounds; ++round) {
            usePipe(port, round);
            setAndReadBack(port, round);
            useFiles(port, round);
            listen(port);
        }
    }

    void visitAndCreate() {
        Device own;
        check(createPort(*library_, std::nullopt, own), "createDevice");
        for (unsigned round = 0; round < kRounds; ++round)
            visitAll(*library_, ports_);
        check(own->deleteDevice(), "deleteDevice");
    }

    std::vector<Device> ports_;

private:
    std::vector<std::thread> threads_;
};

TEST_F(MethodsStressSystemTest, EveryMethodFromSixteenThreads) {
    allowTime(std::chrono::minutes(2));
    for (unsigned i = 0; i < kPairs; ++i)
        start("bridge " + std::to_string(i), [this, i] { bridge(i); });
    for (unsigned i = 0; i < kSingles; ++i)
        start("pipe and files " + std::to_string(i), [this, i] { connect(i); });
    for (unsigned i = 0; i < kVisitors; ++i)
        start("visitor " + std::to_string(i), [this] { visitAndCreate(); });
    join();
    for (const auto& port : ports_) {
        EXPECT_FALSE(isDeleted(*port));
        // Each bridge carried a block either way, so did each pipe and each pair of files.
        EXPECT_EQ(
            numberOf(*port, &IVirtualSerialDevice::get_bytesSent),
            numberOf(*port, &IVirtualSerialDevice::get_bytesReceived));
    }
}

} // namespace

} // namespace zorvan::test

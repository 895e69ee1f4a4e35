// Sixteen threads at one library object, for real, with bytes on their way. Eight have ports of their own and know
// what must come of each call and which events; eight read all that can be read of the ports of all others.
#include "client.h"
#include "soak/round.h"

#include <atomic>
#include <future>

namespace zorvan::test {

namespace {

constexpr int kOwners = 8;
constexpr int kVisitors = 8;
constexpr int kRounds = 2;

// What there is to read depends on what the owner is doing with the port.
void visit(IVirtualSerialDevice& device) {
    for (const auto property :
         {&IVirtualSerialDevice::get_path, &IVirtualSerialDevice::get_portName,
          &IVirtualSerialDevice::get_securityDescriptor, &IVirtualSerialDevice::get_PipeName,
          &IVirtualSerialDevice::get_inputFileName, &IVirtualSerialDevice::get_outputFileName,
          &IVirtualSerialDevice::get_remoteServer, &IVirtualSerialDevice::get_remotePort,
          &IVirtualSerialDevice::get_remoteEndpoint}) {
        Bstr text;
        expect(
            SUCCEEDED((device.*property)(text.put())) || text.get() == nullptr, "that an error comes without a text");
    }
    ComPointer<IVirtualSerialDevice> pair;
    const HRESULT result = device.get_pair(pair.put());
    expect(SUCCEEDED(result) == static_cast<bool>(pair), "that there is a pair or an error");
    readObject(*readObject(device, &IVirtualSerialDevice::get_remoteSocket), &ISocket::get_RI);
    double probability = 0;
    const HRESULT set = device.put_crossoverProbability(0);
    const HRESULT read = device.get_crossoverProbability(&probability);
    expect(FAILED(set) || FAILED(read) || probability == 0, "crossoverProbability");
}

void visitAll(IVirtualSerialLibrary& library) {
    readObject(library, &IVirtualSerialLibrary::get_devicesArray);
    for (const auto& device : devicesOf(library))
        visit(*device);
}

using StressSystemTest = SystemTest;

TEST_F(StressSystemTest, EverythingFromSixteenThreads) {
    std::vector<std::future<void>> threads;
    for (int i = 0; i < kOwners; ++i)
        threads.push_back(std::async(std::launch::async, [this] {
            Rounds rounds(library_, false);
            for (int round = 0; round < kRounds; ++round)
                rounds.run();
        }));
    std::atomic<bool> working = true;
    for (int i = 0; i < kVisitors; ++i)
        threads.push_back(std::async(std::launch::async, [&] {
            while (working) {
                visitAll(*library_);
                Sleep(100); // leave the owners time to work
            }
        }));
    for (int i = 0; i < kOwners; ++i)
        threads[static_cast<std::size_t>(i)].wait();
    working = false;
    for (auto& thread : threads)
        EXPECT_NO_THROW(thread.get());
}

} // namespace

} // namespace zorvan::test

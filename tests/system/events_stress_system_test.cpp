// Many threads that create, rename, list and delete ports while listeners come and go: no event is lost or doubled.
#include "listener.h"

#include "runner/runner.h"

#include <atomic>
#include <thread>

namespace zorvan::test {

namespace {

constexpr unsigned kThreads = 16;
constexpr unsigned kRounds = 4;
constexpr unsigned kFirstNumber = 101; // each thread has two numbers of its own

std::wstring nameOf(unsigned thread, unsigned which) {
    return L"COM" + std::to_wstring(kFirstNumber + 2 * thread + which);
}

// The life of one port after another, on one thread.
class Worker {
public:
    Worker(Library library, RecordingListener& heard, unsigned number)
        : library_(std::move(library)), heard_(heard), number_(number) {}

    void work() {
        for (unsigned round = 0; round < kRounds; ++round) {
            SCOPED_TRACE(testing::Message() << "thread " << number_ << ", round " << round);
            Device device;
            ASSERT_EQ(S_OK, createPort(*library_, nameOf(number_, 0), device));
            devices_.push_back(device);
            ASSERT_EQ(S_OK, rename(*device, nameOf(number_, 1)));
            EXPECT_EQ(1U, listPortNames(*library_).count(nameOf(number_, 1)));
            ASSERT_EQ(S_OK, remove(device));
        }
    }

    const std::vector<Device>& devices() const { return devices_; }

private:
    // Removed is what the library has seen go: its instance ID may be given out again.
    HRESULT remove(const Device& device) {
        const HRESULT result = device->deleteDevice();
        heard_.waitFor(Happening::Deleted, device);
        return result;
    }

    Library library_;
    RecordingListener& heard_;
    unsigned number_;
    std::vector<Device> devices_;
};

// Registers a listener for a moment, again and again.
void comeAndGo(const Library& library, const std::atomic<bool>& working) {
    while (working) {
        const Listening passing(library);
        Sleep(5);
    }
}

using EventsStressSystemTest = SystemTest;

TEST_F(EventsStressSystemTest, NothingIsLostOrDoubled) {
    allowTime(std::chrono::minutes(2));
    const Listening listening(library_);
    auto& heard = listening.listener();
    std::vector<Worker> workers;
    for (unsigned i = 0; i < kThreads; ++i)
        workers.emplace_back(library_, heard, i);

    std::atomic<bool> working = true;
    std::thread passing([&] { comeAndGo(library_, working); });
    std::vector<std::thread> threads;
    for (auto& worker : workers)
        threads.emplace_back([&] { worker.work(); });
    for (auto& thread : threads)
        thread.join();
    working = false;
    passing.join();

    for (const auto& worker : workers) {
        EXPECT_EQ(std::size_t{kRounds}, worker.devices().size());
        for (const auto& device : worker.devices()) {
            EXPECT_TRUE(isDeleted(*device));
            EXPECT_EQ(1U, heard.count(Happening::Added, device));
            EXPECT_EQ(1U, heard.count(Happening::Renamed, device));
            EXPECT_EQ(1U, heard.count(Happening::Deleted, device));
        }
    }
    EXPECT_EQ(std::size_t{kThreads} * kRounds, heard.count(Happening::Added)) << "nothing else is reported";
    EXPECT_EQ(std::size_t{kThreads} * kRounds, heard.count(Happening::Deleted));
}

} // namespace

} // namespace zorvan::test

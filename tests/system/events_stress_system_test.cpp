// Many threads that create, rename, list and delete ports while listeners come and go: no event is lost or doubled.
#include "listener.h"

#include "runner/runner.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace zorvan::test {

namespace {

constexpr unsigned kThreads = 16;
constexpr unsigned kRounds = 3;
constexpr unsigned kFirstNumber = 101; // each thread has two numbers of its own

std::wstring nameOf(unsigned thread, unsigned which) {
    return L"COM" + std::to_wstring(kFirstNumber + 2 * thread + which);
}

// What the threads did, for comparison with what was heard.
class Journal {
public:
    void note(const Device& device) {
        const std::lock_guard lock(lock_);
        devices_.push_back(device);
    }
    const std::vector<Device>& devices() const { return devices_; }

private:
    std::mutex lock_;
    std::vector<Device> devices_;
};

void useOnePort(const Library& library, unsigned thread, Journal& journal) {
    Device device;
    ASSERT_EQ(S_OK, createPort(*library, nameOf(thread, 0), device)) << "thread " << thread;
    journal.note(device);
    ASSERT_EQ(S_OK, rename(*device, nameOf(thread, 1))) << "thread " << thread;
    EXPECT_EQ(1U, listPortNames(*library).count(nameOf(thread, 1))) << "thread " << thread;
    ASSERT_EQ(S_OK, device->deleteDevice()) << "thread " << thread;
}

// Registers a listener for a moment, again and again.
void comeAndGo(const Library& library, const std::atomic<bool>& working) {
    while (working) {
        const Listening passing(library);
        Sleep(5);
    }
}

class EventsStressSystemTest : public SystemTest {
protected:
    // Runs the work on all threads at once, while listeners come and go.
    void runThreads(const std::function<void(unsigned)>& work) const {
        std::atomic<bool> working = true;
        std::thread passing([&] { comeAndGo(library_, working); });
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i)
            threads.emplace_back(work, i);
        for (auto& thread : threads)
            thread.join();
        working = false;
        passing.join();
    }
};

TEST_F(EventsStressSystemTest, NothingIsLostOrDoubled) {
    allowTime(std::chrono::minutes(2));
    const Listening listening(library_);
    Journal journal;
    runThreads([&](unsigned thread) {
        for (unsigned round = 0; round < kRounds && !HasFatalFailure(); ++round)
            useOnePort(library_, thread, journal);
    });
    ASSERT_FALSE(HasFatalFailure());

    auto& heard = listening.listener();
    EXPECT_EQ(kThreads * kRounds, journal.devices().size());
    for (const auto& device : journal.devices()) {
        heard.waitFor(Happening::Deleted, device);
        EXPECT_TRUE(isDeleted(*device));
        EXPECT_EQ(1U, heard.count(Happening::Added, device));
        EXPECT_EQ(1U, heard.count(Happening::Deleted, device));
        EXPECT_EQ(1U, heard.count(Happening::Renamed, device));
    }
}

} // namespace

} // namespace zorvan::test

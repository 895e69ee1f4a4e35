// Many threads that create, rename, list and delete ports while listeners come and go: no event is lost or doubled.
#include "listener.h"

#include "runner/runner.h"

#include <array>
#include <atomic>
#include <functional>
#include <thread>

namespace zorvan::test {

namespace {

constexpr unsigned kThreads = 16;
constexpr unsigned kRounds = 5;
constexpr unsigned kFirstNumber = 101; // each thread has two numbers of its own

std::wstring nameOf(unsigned thread, unsigned which) {
    return L"COM" + std::to_wstring(kFirstNumber + 2 * thread + which);
}

// Registers a listener for a moment, again and again.
void comeAndGo(const Library& library, const std::atomic<bool>& working) {
    while (working) {
        const Listening passing(library);
        Sleep(5);
    }
}

void deletePort(IVirtualSerialDevice& device) {
    EXPECT_EQ(S_OK, device.deleteDevice());
}

class EventsStressSystemTest : public SystemTest {
protected:
    using Devices = std::array<Device, kThreads>;

    // Runs the work on all threads at once, while listeners come and go.
    void onAllThreads(const std::function<void(unsigned)>& work) const {
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

    Devices createAll() const {
        Devices devices;
        onAllThreads([&](unsigned thread) {
            EXPECT_EQ(S_OK, createPort(*library_, nameOf(thread, 0), devices[thread])) << "thread " << thread;
        });
        return devices;
    }

    void renameAndList(IVirtualSerialDevice& device, unsigned thread) const {
        EXPECT_EQ(S_OK, rename(device, nameOf(thread, 1))) << "thread " << thread;
        EXPECT_EQ(1U, listPortNames(*library_).count(nameOf(thread, 1))) << "thread " << thread;
    }

    // Half of the threads delete their ports while the others rename theirs, which they delete later.
    void renameAndDelete(const Devices& devices) const {
        const auto isRenamed = [](unsigned thread) { return thread % 2 == 0; };
        onAllThreads([&](unsigned thread) {
            if (isRenamed(thread))
                renameAndList(*devices[thread], thread);
            else
                deletePort(*devices[thread]);
        });
        onAllThreads([&](unsigned thread) {
            if (isRenamed(thread))
                deletePort(*devices[thread]);
        });
    }
};

// Ports are not created while others are deleted: the system gives the instance ID of a deleted port to the next one,
// and a library that has not looked at the system in between rightly takes the two for one.
TEST_F(EventsStressSystemTest, NothingIsLostOrDoubled) {
    allowTime(std::chrono::minutes(2));
    const Listening listening(library_);
    auto& heard = listening.listener();
    for (unsigned round = 0; round < kRounds; ++round) {
        const auto devices = createAll();
        ASSERT_FALSE(HasFailure());
        renameAndDelete(devices);
        for (unsigned i = 0; i < kThreads; ++i) {
            heard.waitFor(Happening::Deleted, devices[i]);
            EXPECT_TRUE(isDeleted(*devices[i]));
            EXPECT_EQ(i % 2 == 0 ? 1U : 0U, heard.count(Happening::Renamed, devices[i]));
        }
        for (const auto& device : devices) {
            EXPECT_EQ(1U, heard.count(Happening::Added, device));
            EXPECT_EQ(1U, heard.count(Happening::Deleted, device));
        }
    }
    EXPECT_EQ(std::size_t{kThreads} * kRounds, heard.count(Happening::Added)) << "and no others are reported";
    EXPECT_EQ(std::size_t{kThreads} * kRounds, heard.count(Happening::Deleted));
}

} // namespace

} // namespace zorvan::test

// The soak: that its figures are true and its rule finds what grows, that a short run goes well, and two at once.
#include "client.h"

#include "growth.h"
#include "runner/runner.h"
#include "sample.h"
#include "support/child_process.h"
#include "support/program.h"

#include "base/unique.h"

#include <cstdio>
#include <functional>
#include <thread>

namespace zorvan::test {

namespace {

using devkit::Growth;
using devkit::ProcessFigures;
using devkit::Sample;
using devkit::Sampler;

// A run of a hundred rounds, at the end of each of which a figure has a value.
Growth growthOf(const std::function<int(int round)>& value) {
    constexpr int kRounds = 100;
    Growth growth;
    for (int round = 0; round < kRounds; ++round)
        growth.add(devkit::quarterAt(static_cast<double>(round) / kRounds), value(round));
    return growth;
}

TEST(SoakGrowth, IsFoundWhereItIsSteady) {
    constexpr int kAllowance = 2;
    const struct {
        const char* what;
        std::function<int(int)> value;
        bool grows;
    } cases[] = {
        {"nothing happens", [](int) { return 7; }, false},
        {"one in every round", [](int round) { return round; }, true},
        {"one in every eighth round", [](int round) { return round / 8; }, true},
        {"warm-up", [](int round) { return round < 25 ? round : 25; }, false},
        {"once, late", [](int round) { return round < 60 ? 0 : 50; }, false},
        {"up and down", [](int round) { return round % 20; }, false},
        {"up and down while it grows", [](int round) { return round + 10 * (round % 5); }, true},
        {"down", [](int round) { return -round; }, false},
    };
    for (const auto& test : cases) {
        const auto growth = growthOf(test.value);
        EXPECT_TRUE(growth.enough()) << test.what;
        EXPECT_EQ(test.grows, growth.grows(kAllowance)) << test.what;
    }
    EXPECT_FALSE(Growth().enough());
}

using SoakSystemTest = SystemTest;

UniqueHandle createEvent() {
    return UniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

TEST_F(SoakSystemTest, FiguresOfThisProcessAreTrue) {
    constexpr std::int64_t kMebibytes = 8;
    constexpr std::size_t kHandles = 20;
    const Sampler sampler(portName(*create()));
    const auto before = sampler.take().client;

    std::vector<UniqueHandle> events;
    for (std::size_t i = 0; i < kHandles; ++i)
        events.push_back(createEvent());
    const std::vector<char> memory(kMebibytes * 1024 * 1024, 'x');
    const auto end = createEvent();
    std::thread thread([&] { WaitForSingleObject(end.get(), INFINITE); });
    const auto meanwhile = sampler.take().client;
    SetEvent(end.get());
    thread.join();

    EXPECT_EQ(1, meanwhile.processes);
    EXPECT_EQ(before.threads + 1, meanwhile.threads);
    EXPECT_GE(meanwhile.handles, before.handles + static_cast<std::int64_t>(kHandles) + 1);
    EXPECT_LE(meanwhile.handles, before.handles + static_cast<std::int64_t>(kHandles) + 5) << "those of the thread";
    for (const auto figure : {&ProcessFigures::privateKiB, &ProcessFigures::workingSetKiB}) {
        EXPECT_GE(meanwhile.*figure, before.*figure + kMebibytes * 1024);
        EXPECT_LE(meanwhile.*figure, before.*figure + kMebibytes * 1024 + 1024);
    }
}

TEST_F(SoakSystemTest, FiguresOfDriverAndHostsAreTrue) {
    const auto port = create();
    const Sampler sampler(portName(*port));
    const auto before = sampler.take();
    EXPECT_EQ(1, before.driver.processes);
    const auto another = create();
    const auto meanwhile = sampler.take();
    EXPECT_EQ(before.hosts.processes + 1, meanwhile.hosts.processes);
    EXPECT_GT(meanwhile.hosts.handles, before.hosts.handles);
    EXPECT_GT(meanwhile.hosts.privateKiB, before.hosts.privateKiB);
    EXPECT_GT(meanwhile.driver.handles, before.driver.handles) << "it has a handle of the new host process";
}

class Ports : public SoakSystemTest {
protected:
    void createAndDelete(int count) {
        for (int i = 0; i < count; ++i) {
            Device device;
            ASSERT_EQ(S_OK, createPort(*library_, std::nullopt, device));
            ASSERT_EQ(S_OK, device->deleteDevice());
        }
    }

    // What is closed a moment later, like the handles of a process that ends, is waited for.
    static Sample settled(const Sampler& sampler, const Sample& wanted) {
        constexpr ULONGLONG kPatience = 10000; // milliseconds
        const auto deadline = GetTickCount64() + kPatience;
        auto sample = sampler.take();
        while (!holdsNoMoreThan(sample, wanted) && GetTickCount64() < deadline) {
            Sleep(50);
            sample = sampler.take();
        }
        return sample;
    }

private:
    static bool holdsNoMoreThan(const Sample& sample, const Sample& wanted) {
        return sample.client.handles <= wanted.client.handles && sample.driver.handles <= wanted.driver.handles &&
               sample.hosts.processes <= wanted.hosts.processes;
    }
};

TEST_F(Ports, LeaveNothingOpenWhenTheyAreDeleted) {
    constexpr int kCount = 6;
    constexpr std::int64_t kAllowance = 2; // less than one for each port
    const Sampler sampler(portName(*create()));
    createAndDelete(2);
    Sleep(500); // what the first ones leave behind is not yet gone
    const auto before = sampler.take();
    createAndDelete(kCount);
    const auto after = settled(sampler, before);
    EXPECT_LE(after.client.handles, before.client.handles + kAllowance);
    EXPECT_LE(after.driver.handles, before.driver.handles + kAllowance);
    EXPECT_EQ(after.hosts.processes, before.hosts.processes);
}

std::wstring soakProgram(const std::wstring& arguments) {
    return L"\"" + siblingPath(L"..\\devkit\\tools\\soak.exe") + L"\" " + arguments;
}

TEST_F(SoakSystemTest, AShortRunGoesWell) {
    const auto file = programPath() + L".csv";
    const auto result = runProgram(soakProgram(L"--rounds 2 --csv \"" + file + L"\""));
    EXPECT_EQ(0U, result.exitCode) << result.output;
    EXPECT_NE(std::string::npos, result.output.find("Growth was not judged")) << result.output;

    const auto rows = readFile(file);
    EXPECT_TRUE(DeleteFileW(file.c_str()));
    EXPECT_EQ(0U, rows.find("seconds,rounds,ports,bytes,events,client-handles")) << rows;
    unsigned rounds = 0;
    unsigned ports = 0;
    const auto last = rows.rfind('\n', rows.size() - 2);
    EXPECT_EQ(2, std::sscanf(rows.c_str() + last + 1, "%*f,%u,%u,", &rounds, &ports)) << rows;
    EXPECT_EQ(2U, rounds);
    EXPECT_EQ(4U, ports);
}

// Each creates, joins, renames and deletes ports and moves bytes while the other does.
TEST_F(SoakSystemTest, TwoProcessesWorkAtOnce) {
    allowTime(std::chrono::minutes(2));
    const auto command = soakProgram(L"--rounds 3 --not-alone");
    const ChildProcess other(command);
    const auto result = runProgram(command);
    EXPECT_EQ(0U, result.exitCode) << result.output;
    EXPECT_EQ(0U, other.exitCode());
}

} // namespace

} // namespace zorvan::test

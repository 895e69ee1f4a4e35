// What a bridge carries between two processes, and how soon.
#include "sections.h"

#include "peer.h"
#include "ports.h"

#include <fmt/format.h>

namespace zorvan::bench {

namespace {

using Kind = Transfer::Kind;

constexpr double kMebibyte = 1024 * 1024;

struct Size {
    std::uint32_t block;
    std::uint32_t count;
    const char* name;
};
constexpr Size kSizes[] = {{65536, 128, "64 KiB"}, {4096, 256, "4 KiB"}, {256, 512, "256 B"}};

struct Direction {
    Kind here;
    Kind there;
    const char* name;
};
constexpr Direction kDirections[] = {{Kind::Send, Kind::Receive, "out"}, {Kind::Receive, Kind::Send, "back"}};

// This process's ends of every link, and the process at the others.
class Links {
public:
    explicit Links(const std::vector<Device>& devices) : peer_(portName(*devices.at(1)), portName(*devices.at(3))) {
        end(Link::Bridge) = openBridgeEnd(portName(*devices.at(0)));
        end(Link::Pipe) = peer_.takePipeEnd();
        end(Link::AtOnce) = openAtOnceEnd(portName(*devices.at(2)));
    }

    double secondsTo(Kind here, Kind there, Link link, const Size& size) const {
        return secondsOf([&] {
            peer_.begin({there, link, size.block, size.count});
            carryOut({here, link, size.block, size.count}, ends_);
            peer_.awaitEnd();
        });
    }

    // So many bytes there and back, one by one.
    double secondsThereAndBack(Link link, std::uint32_t count) const {
        peer_.begin({Kind::Echo, link, 1, count});
        const double seconds = secondsOf([&] {
            for (std::uint32_t i = 0; i < count; ++i) {
                carryOut({Kind::Send, link, 1, 1}, ends_);
                carryOut({Kind::Receive, link, 1, 1}, ends_);
            }
        });
        peer_.awaitEnd();
        return seconds / count;
    }

private:
    UniqueHandle& end(Link link) { return ends_.at(static_cast<std::size_t>(link)); }

    Ends ends_;
    Peer peer_;
};

// A rate beside another is the other's time beside the one's.
void reportRates(
    Report& report, const std::string& name, const Goal& goal, double bytes, const Series& bridge,
    const Series& other, const std::string& otherName) {
    const auto rate = fmt::format("{}: {:.1f} MiB/s", otherName, bytes / kMebibyte / spreadOf(other).median);
    report.add({name, goal, ratioOf(other, bridge), kTimes, rate});
}

void measureThroughput(Report& report, const Links& links, const Size& size, const Direction& direction) {
    constexpr Plan kPlan{9, 2};
    const auto sideOf = [&](Link link) {
        return Sample([&, link] {
            rest();
            return links.secondsTo(direction.here, direction.there, link, size);
        });
    };
    const auto taken = takeTurns(kPlan, {sideOf(Link::Bridge), sideOf(Link::AtOnce), sideOf(Link::Pipe)});
    const double bytes = static_cast<double>(size.block) * size.count;
    const auto how = fmt::format("{} {}", size.name, direction.name);
    reportRates(
        report, "a bridge beside completing at once, " + how, atLeast(0.8), bytes, taken[0], taken[1],
        "a driver that completes at once");
    reportRates(report, "a bridge beside a pipe, " + how, kNoGoal, bytes, taken[0], taken[2], "a bare pipe");
}

void measureLatency(Report& report, const Links& links) {
    constexpr std::uint32_t kBytes = 50;
    const auto sideOf = [&](Link link) {
        return Sample([&, link] {
            rest();
            return links.secondsThereAndBack(link, kBytes);
        });
    };
    const auto taken = takeTurns({15, 3}, {sideOf(Link::Bridge), sideOf(Link::Pipe), sideOf(Link::Pipe)});
    report.addRatio("the same twice: one byte through a pipe", kNoGoal, taken[2], taken[1], "a bare pipe");
    report.addRatio("one byte there and back through a bridge", atMost(1.5), taken[0], taken[1], "a bare pipe");
}

} // namespace

void measureBridge(Report& report) {
    const auto library = createRegisteredLibrary();
    const auto devices = devicesOf(*library);
    require(devices.at(0)->createBridge(devices.at(1).get(), VARIANT_FALSE), "createBridge");
    for (const auto& unjoined : {devices.at(2), devices.at(3)})
        require(unjoined->put_emulateTxOverflow(VARIANT_TRUE), "emulateTxOverflow");
    const Links links(devices);
    for (const auto& size : kSizes)
        for (const auto& direction : kDirections)
            measureThroughput(report, links, size, direction);
    measureLatency(report, links);
}

} // namespace zorvan::bench

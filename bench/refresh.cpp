// A refresh that finds everything as it was.
#include "sections.h"

#include "listing.h"
#include "message_thread.h"
#include "ports.h"

#include <dbt.h>

#include <fmt/format.h>

namespace zorvan::bench {

namespace {

constexpr Plan kPlan{9, 5};

// Has the library refresh as the system does it.
double secondsToRefresh(HWND window) {
    DEV_BROADCAST_DEVICEINTERFACE_W arrival{};
    arrival.dbcc_size = sizeof arrival;
    arrival.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    rest();
    return secondsOf(
        [&] { SendMessageW(window, WM_DEVICECHANGE, DBT_DEVICEARRIVAL, reinterpret_cast<LPARAM>(&arrival)); });
}

double secondsToList(HWND window) {
    rest();
    return secondsOf([&] { SendMessageW(window, WM_APP, 0, 0); });
}

} // namespace

void measureRefresh(Report& report) {
    const auto library = createRegisteredLibrary();
    const auto ports = devicesOf(*library).size();
    const MessageThread bare(
        ports, [] {}, [] { listDevices(); });
    HWND window = libraryWindow();
    const auto taken =
        takeTurns(kPlan, {[&] { return secondsToRefresh(window); }, [&] { return secondsToList(bare.window()); }});
    report.addRatio(
        fmt::format("a refresh with {} port{}", ports, ports == 1 ? "" : "s"), atMost(1.05), taken[0], taken[1],
        "a bare listing on a like thread");
}

} // namespace zorvan::bench

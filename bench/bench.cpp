// Measures zorvanlib beside the bare calls of the system, under Wine with the development driver.
//
//   bench.exe   prints the table, with the rows of loading.json and growth.json, which the other programs of the
//   bench
//               have left in this folder; writes bench.json and bench.dat beside them
//
// Every port of the prefix is deleted.
#include "peer.h"
#include "ports.h"
#include "report.h"
#include "sections.h"

#include "base/hresult_error.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

namespace zorvan::bench {

namespace {

void addRows(Report& report, const std::string& path) {
    for (const auto& row : readRows(path))
        report.add(row);
}

void measureEverything() {
    Report report;
    deleteAllPorts();
    addRows(report, "loading.json");
    measureCreation(report);

    haveThisManyPorts(1);
    measureCalls(report);
    measureEvents(report);
    measureRefresh(report);
    const auto few = measureHoldings();

    haveThisManyPorts(10);
    measureBridge(report);
    measureRefresh(report);

    haveThisManyPorts(60);
    measureRefresh(report);
    reportHoldings(report, few, measureHoldings());
    deleteAllPorts();

    addRows(report, "growth.json");
    report.printEnd();
    report.writeJson("bench.json");
    report.writePlotData("bench.dat");
}

} // namespace

} // namespace zorvan::bench

int wmain(int count, wchar_t** arguments) {
    constexpr int kPeerArguments = 4;
    _setmode(_fileno(stdout), _O_BINARY);
    try {
        zorvan::test::require(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "initialising COM");
        if (count == kPeerArguments)
            zorvan::bench::servePeer(arguments[2], arguments[3]);
        else
            zorvan::bench::measureEverything();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "FAILED: %s\n", error.what());
    } catch (const zorvan::HResultError& error) {
        std::fprintf(stderr, "FAILED: error 0x%08lX\n", error.code());
    }
    return 1;
}

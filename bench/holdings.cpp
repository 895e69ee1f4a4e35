// What a library object holds for each port that it knows.
#include "sections.h"

#include "ports.h"
#include "support/process_figures.h"

#include <algorithm>

namespace zorvan::bench {

namespace {

constexpr std::size_t kObjects = 10;

double handlesOfThisProcess() {
    return static_cast<double>(devkit::thisProcess().handles);
}

double bytesInUse(HANDLE heap) {
    double bytes = 0;
    PROCESS_HEAP_ENTRY entry{};
    HeapLock(heap);
    while (HeapWalk(heap, &entry) != FALSE)
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
            bytes += entry.cbData + entry.cbOverhead;
    HeapUnlock(heap);
    return bytes;
}

double bytesInUse() {
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr));
    GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    double bytes = 0;
    for (HANDLE heap : heaps)
        bytes += bytesInUse(heap);
    return bytes;
}

} // namespace

Holdings measureHoldings() {
    std::vector<Library> libraries(kObjects);
    std::generate(libraries.begin(), libraries.end(), createRegisteredLibrary); // whatever the first ones cost once
    libraries.assign(kObjects, {});
    const double bytes = bytesInUse();
    const double handles = handlesOfThisProcess();
    std::generate(libraries.begin(), libraries.end(), createRegisteredLibrary);
    rest(); // the event threads wait
    const auto ports = devicesOf(*libraries.front()).size();
    return {
        static_cast<double>(ports), (bytesInUse() - bytes) / kObjects, (handlesOfThisProcess() - handles) / kObjects};
}

void reportHoldings(Report& report, const Holdings& few, const Holdings& many) {
    const double ports = many.ports - few.ports;
    const double bytes = (many.bytes - few.bytes) / ports;
    const double handles = (many.handles - few.handles) / ports;
    report.add({"memory for each known port", kNoGoal, {bytes, bytes, bytes}, "bytes", ""});
    report.add({"handles for each known port", kNoGoal, {handles, handles, handles}, "", ""});
}

} // namespace zorvan::bench

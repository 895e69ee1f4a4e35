// How a refresh grows with the ports, over the simulated Windows: beside a bare listing by the same simulated
// functions.
//
// Writes growth.json into this folder.
#include "imports.h"
#include "listing.h"
#include "report.h"

#include "simulation/simulated_function.h"
#include "simulation/simulation_test.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <fstream>

namespace zorvan::bench {

namespace {

using simulation::SimulatedFunction;

using simulation::DeviceInfoSet;

constexpr int kRefreshes = 20; // so many that what a creation does besides hardly counts

// The simulation looks for a device of a set from the first one on, which would hide what the library takes. This
// goes on from the one before.
BOOL WINAPI enumerateInOrder(HDEVINFO handle, DWORD index, SP_DEVINFO_DATA* data) {
    static std::map<DWORD, simulation::DeviceNode*>::const_iterator next;
    const auto& nodes = static_cast<const DeviceInfoSet&>(*simulation::Machine::current().handles.find(handle)).nodes;
    if (index == 0)
        next = nodes.begin();
    if (next == nodes.end()) {
        SetLastError(ERROR_NO_MORE_ITEMS);
        return FALSE;
    }
    simulation::fillDeviceInfo(*next++->second, *data);
    return TRUE;
}

ListingFunctions simulatedFunctions() {
    return {
        SimulatedFunction::find<decltype(SetupDiGetClassDevsExW)>("SetupDiGetClassDevsExW"), enumerateInOrder,
        SimulatedFunction::find<decltype(CM_Get_Device_IDW)>("CM_Get_Device_IDW"),
        SimulatedFunction::find<decltype(SetupDiDestroyDeviceInfoList)>("SetupDiDestroyDeviceInfoList")};
}

class Growth : public simulation::SimulationTest, public testing::WithParamInterface<int> {
protected:
    // One whose event thread ends at once: it could not wait for so many ports.
    ComPointer<IVirtualSerialLibrary> createQuietLibrary() {
        machine.fail("CreateWindowExW", 1, ERROR_NOT_ENOUGH_MEMORY);
        ComPointer<IVirtualSerialLibrary> library;
        auto** object = reinterpret_cast<void**>(library.put());
        simulation::require(
            classFactory()->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), object), "CreateInstance");
        return library;
    }

    // A creation refreshes until the port appears.
    double secondsToRefresh(IVirtualSerialLibrary& library) {
        machine.calls.clear(); // a long list of calls costs time of its own
        machine.plugAndPlay.installation.looksUntilPresent = kRefreshes - 1;
        return secondsOf([&] { refresh(library); });
    }

    double secondsToList() {
        machine.calls.clear();
        const auto functions = simulatedFunctions();
        return secondsOf([&] {
            for (int i = 0; i < kRefreshes; ++i)
                listDevices(functions);
        });
    }
};

std::vector<Row> rows;

TEST_P(Growth, OfARefresh) {
    for (int port = 1; port <= GetParam(); ++port)
        machine.addPort(L"COM" + std::to_wstring(port));
    const auto library = createQuietLibrary();
    const ReplacedImport enumeration(
        GetModuleHandleW(L"zorvanlib.dll"), "SetupDiEnumDeviceInfo", reinterpret_cast<void*>(&enumerateInOrder));
    const auto taken =
        takeTurns({3, 1}, {[&] { return secondsToRefresh(*library); }, [&] { return secondsToList(); }});
    // Without a goal: how long the bare listing takes is the stand-in's affair.
    rows.push_back(
        {fmt::format("a refresh with {} simulated ports", GetParam()), kNoGoal, ratioOf(taken[0], taken[1]), kTimes,
         "a bare listing: " + duration(spreadOf(taken[1]).median / kRefreshes)});
    writeRows("growth.json", rows);
}

INSTANTIATE_TEST_SUITE_P(UpTo10000, Growth, testing::Values(100, 1000, 10000));

} // namespace

} // namespace zorvan::bench

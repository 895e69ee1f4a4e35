// The simulation notices what it is there to notice.
#include "simulation/simulated_function.h"
#include "simulation/simulation_test.h"

#include <gtest/gtest-spi.h>

namespace zorvan::simulation {

namespace {

template <class Function>
Function* simulated(Function*, const char* name) {
    return SimulatedFunction::find<Function>(name);
}
#define SIMULATED(function) simulated(&::function, #function)

using Held = std::vector<std::string>;

class Simulation : public testing::Test {
protected:
    Machine machine;
};

HANDLE newEvent() {
    return SIMULATED(CreateEventW)(nullptr, FALSE, FALSE, nullptr);
}

TEST_F(Simulation, HoldsWhatIsNotGivenBack) {
    HANDLE event = newEvent();
    EXPECT_EQ(machine.held(), Held{"event"});
    HDEVINFO set = SIMULATED(SetupDiCreateDeviceInfoList)(nullptr, nullptr);
    EXPECT_EQ(machine.held(), (Held{"event", "device information set"}));
    EXPECT_TRUE(SIMULATED(CloseHandle)(event));
    EXPECT_TRUE(SIMULATED(SetupDiDestroyDeviceInfoList)(set));
    EXPECT_EQ(machine.held(), Held());
}

TEST_F(Simulation, ReportsBadHandlesAtOnce) {
    HANDLE event = newEvent();
    SIMULATED(CloseHandle)(event);
    EXPECT_NONFATAL_FAILURE(SIMULATED(CloseHandle)(event), "a closed handle");
    EXPECT_NONFATAL_FAILURE(SIMULATED(SetEvent)(event), "a closed handle");
    EXPECT_NONFATAL_FAILURE(SIMULATED(SetupDiDestroyDeviceInfoList)(nullptr), "a handle that it was not given");
    EXPECT_NONFATAL_FAILURE(SIMULATED(CloseHandle)(INVALID_HANDLE_VALUE), "not open");
    HDEVINFO set = SIMULATED(SetupDiCreateDeviceInfoList)(nullptr, nullptr);
    EXPECT_NONFATAL_FAILURE(SIMULATED(CloseHandle)(set), "wrong kind, device information set");
    SIMULATED(SetupDiDestroyDeviceInfoList)(set);
}

TEST_F(Simulation, FollowsStringsUntilAnyoneFreesThem) {
    BSTR text = SIMULATED(SysAllocStringLen)(L"text", 4);
    EXPECT_EQ(machine.held(), Held{"string \"text\""});
    Variant value;
    value.vt = VT_BSTR;
    value.bstrVal = text;
    VariantClear(&value); // the system's own
    EXPECT_EQ(machine.held(), Held());
}

TEST_F(Simulation, NoticesReferencesToTheTypeLibrary) {
    machine.automation.serveTypeLibrary(shippedLibraryPath());
    ComPointer<ITypeLib> library;
    EXPECT_RESULT(S_OK, SIMULATED(LoadRegTypeLib)(LIBID_zorvanlibLib, 3, 0, 0x0409, library.put()));
    ComPointer<ITypeInfo> information;
    EXPECT_RESULT(S_OK, library->GetTypeInfoOfGuid(__uuidof(IVirtualSerialDevice), information.put()));
    library = {};
    EXPECT_EQ(machine.held().size(), 1U);
    information = {};
    EXPECT_EQ(machine.held(), Held());
}

TEST_F(Simulation, HoldsWindowsClassesNotificationsAndThreads) {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.lpszClassName = L"SimulationSelfTest";
    EXPECT_NE(SIMULATED(RegisterClassExW)(&windowClass), 0);
    HWND window = SIMULATED(CreateWindowExW)(
        0, windowClass.lpszClassName, nullptr, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    HANDLE thread = SIMULATED(CreateThread)(
        nullptr, 0, [](LPVOID) -> DWORD { return 0; }, nullptr, 0, nullptr);
    machine.threads.awaitEnd();
    EXPECT_EQ(machine.held(), (Held{"thread", "window", "window class SimulationSelfTest"}));
    EXPECT_NONFATAL_FAILURE(SIMULATED(PostMessageW)(nullptr, WM_NULL, 0, 0), "goes to the calling thread");
    EXPECT_TRUE(SIMULATED(DestroyWindow)(window));
    EXPECT_NONFATAL_FAILURE(SIMULATED(DestroyWindow)(window), "none of the library's");
    EXPECT_TRUE(SIMULATED(UnregisterClassW)(windowClass.lpszClassName, nullptr));
    EXPECT_TRUE(SIMULATED(CloseHandle)(thread));
    EXPECT_EQ(machine.held(), Held());
}

// The driver checks what it is sent.
TEST_F(Simulation, DriverRefusesMalformedRecords) {
    Driver driver;
    Bytes reply;
    const auto send = [&](protocol::Set code, Bytes record) {
        Request request;
        request.code = static_cast<std::uint32_t>(code);
        request.record = std::move(record);
        return driver.handle(request, reply);
    };
    EXPECT_EQ(send(protocol::Set::Enabled, {0}), DWORD{ERROR_SUCCESS});
    EXPECT_FALSE(driver.state.enabled);
    EXPECT_EQ(send(protocol::Set::Enabled, {}), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(send(protocol::Set::Enabled, {1, 0}), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(driver.state.enabled);
    EXPECT_EQ(send(static_cast<protocol::Set>(0x81F1BFFC), {}), DWORD{ERROR_INVALID_FUNCTION});
}

} // namespace

} // namespace zorvan::simulation

// A sweep: whatever a method asks of Windows fails once, in each way that matters, and so does each allocation of
// memory. After each failure
//
//   - the result is the one that the method promises for it, and an out-parameter is null, or as it was if it is a
//     number;
//   - nothing has changed when nothing was to change, and no handle is left in a driver's host process;
//   - nothing is leaked, no thread acts as another user, no freed memory holds the password;
//   - the same call works when nothing fails.
#pragma once

#include "listed_members.h"
#include "machine_state.h"
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

namespace zorvan::simulation {

// Not among the names and paths of the machine, so that it is found where it must not be.
inline constexpr wchar_t kPassword[] = L"correct horse";

// What the methods are called on. The library knows the ports COM5 and COM6.
struct Scene {
    Machine& machine;
    ShippedLibrary& dll;

    Journal journal{};
    Listener listener{journal, "listener"};
    Callback script{journal, "script"}; // as a keep-alive its empty answer says stop
    OutParameter out{};                 // of the method

    ComPointer<IClassFactory> factory{};
    ComPointer<IVirtualSerialLibrary> library{};
    ComPointer<IVirtualSerialDevice> device{}; // COM6, whose host process opens with the debug privilege alone
    ComPointer<IVirtualSerialDevice> other{};  // COM5
    ComPointer<ISocket> socket{};
    ComPointer<IPin> pin{};
    ComPointer<IPin> target{}; // which the pin may drive
    ComPointer<IDeviceCollection> devices{};
    ComPointer<IEnumVARIANT> enumerator{};
    ComPointer<IDispatch> array{};
    ComPointer<IVirtualSerialLibrary> created{}; // by a method of the factory

    // The one of an interface.
    IDispatch& object(const std::string& interfaceName) const;
};

// What a method answers for a failure. An error has changed nothing, and a success has done all.
struct Outcome {
    std::vector<HRESULT> results; // one of them; none: the error of the system, by the usual rule
    bool partly = false;          // some of the work may be done, or not, all the same
};
inline const Outcome kReported{};
inline const Outcome kReportedLate{{}, true};
inline const Outcome kUnnoticed{{S_OK}};
inline const Outcome kIgnored{{S_OK}, true};

// By the function that fails: "CreateEventW#3" is the third such call; "DeviceIoControl, less" one that succeeds with
// less than was asked for.
using Outcomes = std::map<std::string, Outcome>;
inline const std::string kAllocation = "allocation";
inline const std::string kElse = "else"; // functions that most methods have to report

// One failure that a sweep arranges.
struct Fault {
    std::string text = "nothing fails";
    std::string function = {}; // or kAllocation
    std::function<void(CallLog&)> arrange = {};
    std::optional<Outcome> outcome = {}; // none: anything
    DWORD error = ERROR_SUCCESS;
};

struct Row {
    std::string name;                                      // after a comma, which case it is
    std::function<HRESULT(Scene&)> call = {};              // none: of a listed member that takes no arguments
    Outcomes outcomes = {};                                // where they are not those of most methods
    bool fresh = false;                                    // the method changes its object: each call needs a new one
    std::function<HRESULT(Scene&)> arrange = {};           // before each call
    std::function<void(Scene&, const Fault&)> verify = {}; // after each, when nothing fails any more
    HRESULT silent = S_OK;                                 // for a failure that leaves no error
};

class FaultSweep : public SimulationTest {
protected:
    void SetUp() override;

    // The rows of each interface, or of what else has methods. Listed members without a row are called without
    // arguments.
    void sweep(std::map<std::string, std::vector<Row>> rowsOfInterfaces);

private:
    struct Answer {
        HRESULT result = E_FAIL;
        std::string given;
        std::string state;
        std::vector<std::string> calls;
        bool disturbed = false; // the failure came to pass
    };

    void sweepRow(const Row& row);
    bool attempt(const Row& row, const Fault& fault); // whether the failure came to pass
    bool run(const Row& row, const Fault& fault);
    Answer call(const Row& row, const Fault& fault);
    void check(const Row& row, const Fault& fault, const Answer& answer, const std::string& before) const;

    void beginScene();
    void endScene();

    std::unique_ptr<MachineState> initial_;
    std::unique_ptr<Scene> scene_;
    std::unique_ptr<MachineState> state_; // at its beginning
    Answer success_;                      // of the row at hand
    int failures_ = 0;                    // that came to pass
};

} // namespace zorvan::simulation

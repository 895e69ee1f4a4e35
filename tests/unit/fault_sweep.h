// A sweep: whatever a method asks of Windows fails once, in each way that matters, and so does each allocation of
// memory. After each failure
//
//   - the result is the one that the method promises for it, and an out-parameter is as it was, or null;
//   - nothing has changed when nothing was to change, and no handle is left in a driver's host process;
//   - nothing is leaked, no thread acts as another user, no freed memory holds the password;
//   - the same call works when nothing fails.
//
//     sweep({{"IVirtualSerialDevice::mode", reading(&Scene::device, &IVirtualSerialDevice::get_mode)}});
#pragma once

#include "machine_state.h"
#include "simulation/simulation_test.h"
#include "simulation/subscribers.h"

#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace zorvan::simulation {

// Not among the names and paths of the machine, so that it is found where it must not be.
inline constexpr wchar_t kPassword[] = L"correct horse";

// What the methods are called on. The library knows the ports COM5 and COM6.
struct Scene {
    Scene(Machine& simulated, ShippedLibrary& library);

    Machine& machine;
    ShippedLibrary& dll;

    Journal journal;
    Listener listener{journal, "listener"};
    Callback script{journal, "script"}; // as a keep-alive its empty answer says stop

    ComPointer<IClassFactory> factory;
    ComPointer<IVirtualSerialLibrary> library;
    ComPointer<IVirtualSerialDevice> device; // COM6, whose host process opens with the debug privilege alone
    ComPointer<IVirtualSerialDevice> other;  // COM5
    ComPointer<ISocket> socket;
    ComPointer<IPin> pin;
    ComPointer<IPin> target; // which the pin may drive
    ComPointer<IDeviceCollection> devices;
    ComPointer<IEnumVARIANT> enumerator;
    ComPointer<IDispatch> array;
    ComPointer<IVirtualSerialLibrary> created; // by a method of the factory

    DeviceNode& port5() const { return machine.plugAndPlay.nodes()[1]; }
    DeviceNode& port6() const { return machine.plugAndPlay.nodes()[2]; }
};

// What a method answers for a failure.
struct Outcome {
    enum class Kind { Error, Success, Listed, Anything };
    enum class Effect { None, Whole, Any };

    Kind kind = Kind::Error;
    Effect effect = Effect::None;
    std::vector<HRESULT> results; // when listed
};

// The system's error, by the usual rule; nothing has been done.
inline const Outcome kReported{};
// The system's error, when part of the work is done already.
inline const Outcome kReportedLate{Outcome::Kind::Error, Outcome::Effect::Any, {}};
// Nobody can tell that anything failed.
inline const Outcome kUnnoticed{Outcome::Kind::Success, Outcome::Effect::Whole, {}};
// A success that may have done less.
inline const Outcome kIgnored{Outcome::Kind::Success, Outcome::Effect::Any, {}};
inline const Outcome kAnything{Outcome::Kind::Anything, Outcome::Effect::Any, {}};
inline Outcome failsWith(HRESULT result) {
    return {Outcome::Kind::Listed, Outcome::Effect::None, {result}};
}
inline Outcome oneOf(std::vector<HRESULT> results) {
    return {Outcome::Kind::Listed, Outcome::Effect::Any, std::move(results)};
}

// One failure that a sweep arranges.
struct Fault {
    enum class Kind { None, Error, Always, Less, Allocation };

    Kind kind = Kind::None;
    int nth = 0;
    std::string function;
    int nthOfFunction = 0;
    DWORD error = ERROR_SUCCESS;
    Share share = Share::Whole;

    std::string text() const;
};

// Calls the method once; what it gave out is described, and freed.
using Act = std::function<HRESULT(Scene& scene, std::string& given)>;

// For Row::outcomes, besides names of functions: "CreateEventW#3" is the third such call; "DeviceIoControl, less" one
// that succeeds with less than was asked for.
inline constexpr const char* kAllocation = "allocation";
inline constexpr const char* kElse = "else"; // functions that most methods have to report

struct Row {
    const char* name;
    Act act;
    std::map<std::string, Outcome> outcomes = {}; // where they are not those of most methods
    bool fresh = false;                           // the method changes its object, so that each call needs a new one
    std::function<void(Scene&)> arrange = {};     // before each call
    std::function<void(Scene&, const Fault&)> verify = {}; // after each, when nothing fails any more
    HRESULT silent = S_OK;                                 // for a failure that leaves no error
};

class FaultSweep : public SimulationTest {
protected:
    void SetUp() override;

    // When every test of the sweep ran: no member that the type library lists is missing.
    static void TearDownTestSuite();

    // Prints and records how many calls and allocations of each row have failed.
    void sweep(const std::vector<Row>& rows);

private:
    struct Answer {
        HRESULT result = E_FAIL;
        std::string given;
        std::string state;
    };
    struct Counts {
        int methods = 0;
        int calls = 0;
        int allocations = 0;

        Counts& operator+=(const Counts& more);
        std::string text() const;
    };

    Counts sweepRow(const Row& row);
    int sweepCalls(const Row& row, const std::vector<std::string>& functions);
    void sweepFunctions(const Row& row, const std::vector<std::string>& functions);
    int sweepAllocations(const Row& row);

    // Whether the failure came to pass.
    bool attempt(const Row& row, const Fault& fault);
    long blocksKept(const Row& row, const Fault& fault);
    long blocksKeptByScene(const Row& row, const Fault& fault);

    Scene& sharedScene();
    void run(Scene& scene, const Row& row, const Fault& fault);
    void repeat(Scene& scene, const Row& row, const MachineState& untouched, bool undone);
    Answer call(Scene& scene, const Row& row, const Fault& fault);
    void check(const Row& row, const Fault& fault, const std::string& before, const Answer& answer) const;
    void checkGiven(const Answer& answer, const Outcome& outcome, const std::string& before) const;
    void expectNothingHeld();

    static Counts total_; // of all tests
    static std::set<std::string> swept_;

    std::unique_ptr<MachineState> initial_;
    std::unique_ptr<Scene> shared_;
    std::unique_ptr<MachineState> sharedState_;
    Answer success_;                 // of the row at hand
    std::vector<std::string> calls_; // of its success
    bool disturbed_ = false;
};

// An out-parameter: filled with a pattern before the call, so that it shows what was written.
template <class Value>
class OutParameter {
public:
    OutParameter() { std::memset(&value_, kPattern, sizeof value_); }
    OutParameter(const OutParameter&) = delete;
    OutParameter& operator=(const OutParameter&) = delete;
    ~OutParameter() {
        if (!untouched())
            free(value_);
    }

    Value* put() { return &value_; }
    bool untouched() const {
        Value pattern;
        std::memset(&pattern, kPattern, sizeof pattern);
        return std::memcmp(&pattern, &value_, sizeof pattern) == 0;
    }
    std::string text() const { return untouched() ? "untouched" : textOf(value_); }

private:
    static constexpr int kPattern = 0x5A;

    static constexpr bool kIsText = std::is_same_v<Value, BSTR>;
    static constexpr bool kIsObject = std::is_convertible_v<Value, IUnknown*>;

    static std::string textOf(Value value) {
        if constexpr (kIsText)
            return value == nullptr ? "null" : "\"" + describe(value) + "\"";
        else if constexpr (kIsObject)
            return value == nullptr ? "null" : "object";
        else if constexpr (std::is_floating_point_v<Value>)
            return std::to_string(value);
        else
            return std::to_string(static_cast<long long>(value));
    }

    static void free([[maybe_unused]] Value value) {
        if constexpr (kIsText)
            SysFreeString(value);
        if constexpr (kIsObject)
            if (value != nullptr)
                value->Release();
    }

    Value value_;
};

// A property, or a method with one out-parameter.
template <class Object, class Interface, class Value>
Act reading(ComPointer<Object> Scene::*object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(Value*)) {
    return [=](Scene& scene, std::string& given) {
        OutParameter<Value> value;
        const HRESULT result = ((scene.*object).get()->*getter)(value.put());
        given = value.text();
        return result;
    };
}

// A method without an out-parameter.
template <class Object, class Interface, class... Parameters, class... Arguments>
Act calling(
    ComPointer<Object> Scene::*object, HRESULT (STDMETHODCALLTYPE Interface::*method)(Parameters...),
    Arguments... arguments) {
    return [=](Scene& scene, std::string&) { return ((scene.*object).get()->*method)(arguments...); };
}

} // namespace zorvan::simulation

// One call of a simulated function: recorded, and made to fail where a test wants it to.
#pragma once

#include "simulation/handle_table.h"
#include "support/client.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace zorvan::simulation {

using namespace test;

class Machine;

// Guards the whole simulated machine. Recursive: a test's action may run inside a call.
std::recursive_mutex& simulationMutex();
using Guard = std::lock_guard<std::recursive_mutex>;

// How arguments are written into the list of calls: numbers beyond 16 bits as hexadecimal ones, handles as what they
// stand for, and pointers to anything but texts and identifiers as dots.
std::string describeNumber(unsigned long long number);
using test::describe;
std::string describe(const GUID& guid);
std::string describe(HANDLE handle);
std::string describe(SECURITY_ATTRIBUTES* attributes);
std::string describe(const char* text);
std::string describe(const wchar_t* text);
inline std::string describe(const std::string& text) {
    return text;
}
inline std::string describe(HKEY key) {
    return describe(static_cast<HANDLE>(key));
}
inline std::string describe(const GUID* guid) {
    return guid == nullptr ? "null" : describe(*guid);
}
template <class Number>
requires std::is_integral_v<Number> || std::is_enum_v<Number> std::string describe(Number number) {
    return describeNumber(static_cast<std::make_unsigned_t<Number>>(number));
}
template <class Target>
std::string describe(Target* pointer) {
    constexpr LONG_PTR kSmall = 0x10000; // no pointer at all, such as HWND_MESSAGE
    const auto number = reinterpret_cast<LONG_PTR>(pointer);
    return number == 0 ? "null" : number < kSmall && number > -kSmall ? std::to_string(number) : "...";
}

// How much of what it is asked for a call that succeeds brings.
enum class Share { Whole, Half, Nothing };

// The calls of the library so far, and those that are to fail. Every member may be used at any time from any thread.
class CallLog {
public:
    static constexpr int kEvery = 0;

    // Makes the nth call of the function from now on fail with this error; kEvery: each one. The error is a last
    // error, or the result of a function that returns its error. 0 is a failure that leaves no last error.
    void fail(const std::string& function, int nth, DWORD error);
    // Makes the nth call from now on fail, of whatever function that can fail.
    void failNth(int nth, DWORD error) { fail({}, nth, error); }
    // Makes the nth call from now on succeed with a share of its data only, of whatever function that brings data.
    void shortenNth(int nth, Share share);
    // Whether a call has failed, or brought less, because it was told to.
    bool disturbed() const;
    // Runs the action at the end of the nth call from now on. It may change the machine and the last error.
    void after(const std::string& function, int nth, std::function<void()> action);

    // Forgets the recorded calls, and what is to come of fail, shortenNth and after.
    void clear();

    // Of one function, or of all: as "ComDBClaimPort(7, force)".
    std::vector<std::string> texts(const std::string& function = {}) const;
    std::vector<std::string> names() const;
    int count(const std::string& function) const { return static_cast<int>(texts(function).size()); }

private:
    friend class Call;

    // What is arranged for a call.
    struct Fate {
        std::optional<DWORD> error;
        Share share = Share::Whole; // of a call that succeeds
        std::vector<std::function<void()>> actions;
    };
    struct Rule {
        static constexpr int kOver = -1;
        std::string function; // empty: any
        int countdown;        // to the call that the rule is for; kEvery, kOver
        std::function<void(Fate&)> effect;
        bool applies(const std::string& called);
    };

    void add(Rule rule);
    Fate record(const std::string& function, std::string text);

    std::vector<std::string> texts_;
    std::vector<Rule> rules_;
    bool disturbed_ = false;
};

// What the implementation of a function throws to make it fail.
struct Failure {
    DWORD error;
};
inline void failIf(bool condition, DWORD error) {
    if (condition)
        throw Failure{error};
}

// A call that cannot fail, or only once it has done its work, with failIfTold. The machine is the caller's until it
// is over.
class Call {
public:
    template <class... Arguments>
    explicit Call(const char* function, const Arguments&... arguments)
        : Call(function, std::vector<std::string>{describe(arguments)...}) {}
    ~Call() { over(); }

    Machine* operator->() const { return &machine_; }

    // The rest is Windows' own: it may lead back into the library, or wait.
    void over() const;

    // Meanwhile the machine is free.
    template <class Wait>
    void letOthersRun(Wait&& wait) const {
        lock_.unlock();
        wait();
        lock_.lock();
    }

    // Throws a Failure where a test wants this call to fail.
    void failIfTold() const;

    // How many items of its data a successful call brings: all, unless a test wants fewer.
    std::size_t bring(std::size_t all) const;

    // The object of a handle. A handle that is closed, foreign or of another kind is misuse.
    template <class Kind>
    std::shared_ptr<Kind> object(HANDLE handle) const {
        auto object = std::dynamic_pointer_cast<Kind>(handles_.find(handle));
        if (object == nullptr)
            reportBadHandle(handle);
        return object;
    }

    // Gives the library a handle for this object.
    HANDLE open(std::shared_ptr<Object> object) const { return handles_.open(std::move(object)); }
    // Takes it back. A close that a test makes fail has closed all the same.
    template <class Kind>
    void close(HANDLE handle) const {
        object<Kind>(handle);
        forget(handle);
        failIfTold();
    }
    void forget(HANDLE handle) const { handles_.close(handle); }

    // Fails the test, and the call: the library called this function as no caller may.
    [[noreturn]] void reportMisuse(const std::string& what, DWORD error = ERROR_INVALID_PARAMETER) const;
    void misuseIf(bool condition, const std::string& what) const {
        if (condition)
            reportMisuse(what);
    }

private:
    Call(const char* function, const std::vector<std::string>& arguments);
    [[noreturn]] void reportBadHandle(HANDLE handle) const;

    const DWORD lastError_; // first: nothing else may come between it and the caller
    mutable std::unique_lock<std::recursive_mutex> lock_;
    Machine& machine_;
    HandleTable& handles_;
    std::string function_;
    const CallLog::Fate fate_;
};

// A call that fails at once where a test wants it to.
class FailableCall : public Call {
public:
    template <class... Arguments>
    explicit FailableCall(const char* function, const Arguments&... arguments) : Call(function, arguments...) {
        failIfTold();
    }
};

} // namespace zorvan::simulation

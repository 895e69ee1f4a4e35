// One call of a simulated function: recorded, and made to fail where a test wants it to.
//
//     BOOL WINAPI setEvent(HANDLE handle) {
//         Call call("SetEvent", handle);
//         if (call.fails())
//             return FALSE;
//         const auto event = call.object<Event>(handle);
//         ...
#pragma once

#include "simulation/handle_table.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace zorvan::simulation {

class Machine;

// Guards the whole simulated machine. Recursive: a test's action may run inside a call.
std::recursive_mutex& simulationMutex();

// How arguments are written into the list of calls.
struct Hex {
    unsigned long long value;
};
std::string describe(const std::string& text);
std::string describe(const char* text);
std::string describe(const std::wstring& text);
std::string describe(const wchar_t* text);
std::string describe(unsigned long long number);
inline std::string describe(DWORD number) {
    return describe(static_cast<unsigned long long>(number));
}
std::string describe(Hex number);
std::string describe(const GUID* guid);
std::string describe(HANDLE handle);

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
    void failNth(int nth, DWORD error);
    // Makes the nth call from now on succeed with a share of its data only, of whatever function that brings data.
    void shortenNth(int nth, Share share);
    // Whether a call has failed, or brought less, because it was told to.
    bool disturbed() const;
    // Runs the action at the end of the nth call from now on. It may change the machine and the last error.
    void after(const std::string& function, int nth, std::function<void()> action);

    // Forgets the recorded calls, and what is to come of fail, shortenNth and after.
    void clear();

    int count(const std::string& function) const;
    std::vector<std::string> names() const;
    // As "ComDBClaimPort(7, force)".
    std::vector<std::string> texts() const;
    // The texts of one function's calls.
    std::vector<std::string> texts(const std::string& function) const;

private:
    friend class Call;

    struct Record {
        std::string function;
        std::string arguments;
        std::string text() const { return function + "(" + arguments + ")"; }
    };
    struct Rule {
        static constexpr int kOver = -1;
        std::string function; // empty: any
        int countdown;        // to the call that the rule is for; kEvery, kOver
        DWORD error;
        std::function<void()> action;
        Share share = Share::Whole; // of a call that succeeds
        bool applies(const std::string& called);
    };

    // What is arranged for a call.
    struct Fate {
        std::optional<DWORD> error;
        Share share = Share::Whole;
    };

    Fate add(Record record);
    std::vector<std::function<void()>> actionsAfter(const std::string& function);

    std::vector<Record> records_;
    std::vector<Rule> failures_;
    std::vector<Rule> actions_;
    bool disturbed_ = false;
};

class Call {
public:
    template <class... Arguments>
    explicit Call(const char* function, const Arguments&... arguments)
        : Call(function, std::vector<std::string>{describe(arguments)...}) {}
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call();

    Machine& machine() const { return machine_; }
    Machine* operator->() const { return &machine_; }

    // Whether a test wants this call to fail; its error is then the last error.
    bool fails() const;
    // The same for a function that returns its error, or an HRESULT.
    std::optional<DWORD> failure() const;
    std::optional<HRESULT> failedResult() const;

    // How many items of its data a successful call brings: all, unless a test wants fewer.
    std::size_t bring(std::size_t all) const;

    // Sets the last error, for a function's own failures: return call.failed(ERROR_NO_MORE_ITEMS).
    static BOOL failed(DWORD error);

    // The object of a handle. A handle that is closed, foreign or of another kind fails the test; the result is then
    // null and the last error ERROR_INVALID_HANDLE.
    template <class Kind>
    std::shared_ptr<Kind> object(HANDLE handle) const {
        auto object = std::dynamic_pointer_cast<Kind>(find(handle));
        if (object == nullptr)
            reportBadHandle(handle);
        return object;
    }

    // Gives the library a handle for this object.
    HANDLE open(std::shared_ptr<Object> object) const;
    void close(HANDLE handle) const;

    // Fails the test: the library called this function as no caller may.
    void reportMisuse(const std::string& what) const;

private:
    Call(const char* function, const std::vector<std::string>& arguments);
    std::shared_ptr<Object> find(HANDLE handle) const;
    void reportBadHandle(HANDLE handle) const;

    DWORD lastError_; // first: nothing else may come between it and the caller
    std::unique_lock<std::recursive_mutex> lock_;
    Machine& machine_;
    std::string function_;
    const CallLog::Fate fate_;
};

} // namespace zorvan::simulation

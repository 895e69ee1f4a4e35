// The functions of Windows that the simulation answers or only records. One that it answers is written as
//
//     SIMULATE(BOOL, OpenProcessToken, HANDLE process, DWORD access, PHANDLE token) {
//         *token = call.open(std::make_shared<Token>(access));
//     }
//
// From then on the library under test calls it instead of the system's function, whatever DLL it imports it from. It
// fails where a test wants it to, or by throwing a Failure. One whose result only says whether it succeeded has no
// result of its own. SIMULATE_SURE is for one that fails only where it says so, with call.failIfTold().
#pragma once

#include "simulation/call.h"

#include <string_view>
#include <type_traits>

namespace zorvan::simulation {

class SimulatedFunction {
public:
    template <class Function>
    SimulatedFunction(const char* name, Function* implementation)
        : SimulatedFunction(name, reinterpret_cast<void*>(implementation)) {}

    // Null when the simulation does not know the function.
    static void* find(std::string_view name);

    // The same, for a caller that knows its type: find<decltype(CloseHandle)>("CloseHandle").
    template <class Function>
    static Function* find(std::string_view name) {
        return reinterpret_cast<Function*>(find(name));
    }

private:
    SimulatedFunction(const char* name, void* implementation);
};

// Puts the simulation under a module: replaces the entries of its import table that the simulation knows, whatever
// DLL they are imported from. A function of device installation that it does not know fails the test, and ends it if
// it is called: none may reach the real system.
void replaceImports(HMODULE module);

// What a function returns, and how it says that it failed: by FALSE, a null pointer or 0, unless its result is an
// HRESULT, or written as one of the two below.
template <class Number>
struct OrError; // the error itself
template <class Handle>
struct OrInvalid; // INVALID_HANDLE_VALUE, or as a number WAIT_FAILED

template <class Kind>
struct Returned {
    using Type = Kind;
    using Own = std::conditional_t<std::is_same_v<Kind, BOOL>, void, Kind>; // of the implementation
    static Type failed(DWORD error) {
        SetLastError(error);
        return Type();
    }
};
template <>
struct Returned<HRESULT> {
    using Type = HRESULT;
    using Own = HRESULT;
    static Type failed(DWORD error) { return HRESULT_FROM_WIN32(static_cast<LONG>(error)); }
};
template <class Number>
struct Returned<OrError<Number>> {
    using Type = Number;
    using Own = void;
    static Type failed(DWORD error) { return static_cast<Number>(error); }
};
template <class Handle>
struct Returned<OrInvalid<Handle>> {
    using Type = Handle;
    using Own = Handle;
    static Type failed(DWORD error) {
        SetLastError(error);
        return Type(LONG_PTR{-1});
    }
};

template <class Kind, class Implementation>
typename Returned<Kind>::Type answer(Implementation&& implementation) {
    using Type = typename Returned<Kind>::Type;
    try {
        if constexpr (std::is_void_v<Type> || !std::is_void_v<decltype(implementation())>)
            return implementation();
        else
            return implementation(), Type(std::is_same_v<Kind, BOOL> ? TRUE : ERROR_SUCCESS);
    } catch (const Failure& failure) {
        return Returned<Kind>::failed(failure.error);
    }
}

// Of what Windows gives or takes back; null: nothing. The last error stays what Windows says.
void countGiven(const char* what, int change);

template <class Kind>
typename Returned<Kind>::Type counted(typename Returned<Kind>::Type result, const char* what, int change) {
    bool succeeded = result != typename Returned<Kind>::Type();
    if constexpr (std::is_same_v<Kind, HRESULT>)
        succeeded = SUCCEEDED(result);
    if (what != nullptr && succeeded)
        countGiven(what, change);
    return result;
}

// For a BOOL function that Windows answers.
inline void succeedAs(BOOL answered) {
    if (answered == FALSE)
        throw Failure{GetLastError()};
}

} // namespace zorvan::simulation

// The system's own declaration gives the parameters of what the library calls.
#define SIMULATE_AS(CallKind, Kind, function, ...)                                                                   \
    static Returned<Kind>::Own simulated##function(const Call& call __VA_OPT__(, ) __VA_ARGS__);                     \
    template <class... Arguments>                                                                                    \
    static Returned<Kind>::Type WINAPI answered##function(Arguments... arguments) {                                  \
        return answer<Kind>([&] { return simulated##function(CallKind(#function, arguments...), arguments...); });   \
    }                                                                                                                \
    static const SimulatedFunction entryOf##function(                                                                \
        #function, static_cast<decltype(&::function)>(&answered##function));                                         \
    static Returned<Kind>::Own simulated##function(const Call& call __VA_OPT__(, ) __VA_ARGS__)
#define SIMULATE(Kind, function, ...) SIMULATE_AS(FailableCall, Kind, function __VA_OPT__(, ) __VA_ARGS__)
#define SIMULATE_SURE(Kind, function, ...) SIMULATE_AS(Call, Kind, function __VA_OPT__(, ) __VA_ARGS__)

// A function that Windows answers: the call is recorded, fails where a test wants it to, and is over before Windows
// is asked, which may lead back into the library. GIVES and TAKES count what the library gets and gives back.
#define PASS_AS(CallKind, Kind, function, what, change)                                                              \
    template <class... Arguments>                                                                                    \
    static Returned<Kind>::Type WINAPI passed##function(Arguments... arguments) {                                    \
        return answer<Kind>([&] {                                                                                    \
            { const CallKind call(#function, arguments...); }                                                        \
            return counted<Kind>(::function(arguments...), what, change);                                            \
        });                                                                                                          \
    }                                                                                                                \
    static const SimulatedFunction entryOf##function(#function, static_cast<decltype(&::function)>(&passed##function))
#define PASS(Kind, function) PASS_AS(FailableCall, Kind, function, nullptr, 0)
#define PASS_SURE(Kind, function) PASS_AS(Call, Kind, function, nullptr, 0)
#define GIVES(Kind, function, what) PASS_AS(FailableCall, Kind, function, what, 1)
#define TAKES(Kind, function, what) PASS_AS(Call, Kind, function, what, -1)

// One that is not recorded.
#define SIMULATE_SILENTLY(Kind, function, ...)                                                                       \
    static Kind WINAPI silent##function(__VA_ARGS__);                                                                \
    static const SimulatedFunction entryOf##function(#function, &silent##function);                                  \
    static Kind WINAPI silent##function(__VA_ARGS__)

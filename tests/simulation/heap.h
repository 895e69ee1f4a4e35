// The library's memory, counted: what it allocates through the C runtime's malloc, whatever language feature asks,
// and what anyone allocates through COM, such as strings.
#pragma once

#include <string>
#include <utility>

namespace zorvan::simulation {

class Heap {
public:
    // Blocks that are allocated and not freed. The C++ runtime keeps some for good, so that only a difference between
    // two like moments says anything.
    static long blocks();

    // Makes the nth allocation from now on fail, once; 0: none. Tells whether the one before is still to come.
    static bool failAllocation(long nth);

    // Whether the process's own heap, which the C++ runtime keeps the state of exceptions in, has nothing left.
    static void exhaustProcessHeap(bool exhausted);

    // How many blocks were freed with this text in them while the action ran.
    template <class Action>
    static int freedWith(const std::wstring& secret, Action&& action) {
        watchFor(&secret);
        std::forward<Action>(action)();
        return watchFor(nullptr);
    }

private:
    // The text is read until the next call, which tells how often it was found.
    static int watchFor(const std::wstring* secret);
};

} // namespace zorvan::simulation

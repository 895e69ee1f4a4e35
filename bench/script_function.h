// A function of a script that runs in this process.
#pragma once

#include "base/com_pointer.h"

#include <windows.h>

#include <activscp.h>

namespace zorvan::bench {

class ScriptFunction {
public:
    // The source is a JScript function that makes the function, given the argument.
    ScriptFunction(const wchar_t* source, IDispatch& argument);
    ScriptFunction(const ScriptFunction&) = delete;
    ScriptFunction& operator=(const ScriptFunction&) = delete;
    ~ScriptFunction();

    IDispatch* get() const { return function_.get(); }

private:
    ComPointer<IActiveScript> engine_;
    ComPointer<IDispatch> function_;
};

} // namespace zorvan::bench

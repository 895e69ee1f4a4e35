// A type library as text: one line for each fact that a client depends on.
#pragma once

#include <oaidl.h>

#include <string>

namespace zorvan::test {

// The types in the order of their names, the functions in the order of their slots. A fact that has no place in the
// text, such as a calling convention other than COM's, shows up as an extra remark in square brackets.
std::string dumpTypeLibrary(ITypeLib& library);

} // namespace zorvan::test

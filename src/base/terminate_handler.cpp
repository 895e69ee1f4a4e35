// What the C++ runtime calls when an exception finds no handler. Its own handler describes the exception on the error
// output, which hardly any client has, and brings a demangler and formatted output along for that: a third of the
// library. Other compilers have none of that.
#ifdef __MINGW32__

#include <cstdlib>
#include <exception>

namespace __gnu_cxx {

// NOLINTNEXTLINE(bugprone-reserved-identifier): the runtime's name
void __verbose_terminate_handler() {
    std::abort();
}

} // namespace __gnu_cxx

#endif

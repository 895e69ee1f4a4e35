// Where the library is registered.
#pragma once

#include <optional>
#include <string>

namespace portwright {

// The path of the DLL; none when the library is not registered.
std::optional<std::string> registeredLibrary();

} // namespace portwright

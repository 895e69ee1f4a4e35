// Where the driver package and the library that installs it are, as seen from this library's own place.
#pragma once

#include <string>

namespace zorvan::setup {

struct PackagePaths {
    std::wstring inf;     // one level above the library's folder
    std::wstring difxApi; // DIFxAPI.dll, next to the library
};

// Throws when the library does not know its own path.
PackagePaths packagePaths();

} // namespace zorvan::setup

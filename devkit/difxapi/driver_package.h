// What the INF of a driver package says about it.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace zorvan::devkit {

struct DriverPackage {
    std::wstring folder; // with its closing backslash
    std::wstring infName;
    std::vector<std::wstring> files;          // beside the INF
    std::vector<std::wstring> services;       // that run the driver
    std::vector<std::wstring> installedFiles; // where an installation copies the files, as full paths

    std::wstring infPath() const { return folder + infName; }
};

// The path must be absolute: Windows looks for a bare name in its own INF folder. Throws std::system_error, as all
// the others here do.
DriverPackage readDriverPackage(const std::wstring& infPath);

} // namespace zorvan::devkit

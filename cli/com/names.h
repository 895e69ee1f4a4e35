// Names of pipes and files, as the library takes and returns them.
#pragma once

#include <windows.h>

#include <zorvanlib.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace portwright {

// How connectToFiles creates its output file: "create-new", "create-always" and so on.
const std::vector<std::string>& fileCreationModes();
std::optional<FileCreationMode> fileCreationMode(std::string_view words);

// "modem" is "\\.\pipe\modem"; a path stays as it is.
std::string pipePath(const std::string& name);

// Throws.
std::string fullPath(const std::string& path);

// The library names connected files without their drive. With it, when exactly one drive has such a file.
std::string withDrive(const std::string& path);
std::string withoutDrive(const std::string& path);

// As the system compares file and pipe names.
bool sameName(std::string_view a, std::string_view b);

} // namespace portwright

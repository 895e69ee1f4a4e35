// Text is UTF-8 inside the program and UTF-16 in calls of the system and the library.
#pragma once

#include "base/unique.h"

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <string_view>
#include <vector>

namespace portwright {

std::string utf8(std::wstring_view text);
std::wstring wide(std::string_view text);

std::string joined(const std::vector<std::string>& words, const std::string& separator);

using Bstr = zorvan::Unique<SysFreeString>;

// Throws std::bad_alloc.
Bstr makeBstr(std::string_view text);
std::string utf8(const Bstr& text);

} // namespace portwright

// Work on wide strings.
#pragma once

#include <string>
#include <string_view>

namespace zorvan {

// Replaces every occurrence, from left to right, case-sensitively; what was put in is not searched again. Whether
// there was one. An empty text occurs nowhere.
bool replaceAll(std::wstring& text, std::wstring_view from, std::wstring_view to);

} // namespace zorvan

// UTF-16 text for code that is also built where the system's wide strings hold something else.
#pragma once

#include <string>
#include <string_view>

namespace zorvan {

#ifdef _WIN32
using WideString = std::wstring;
#else
using WideString = std::u16string;
#endif
using WideStringView = std::basic_string_view<WideString::value_type>;
static_assert(sizeof(WideString::value_type) == 2);

} // namespace zorvan

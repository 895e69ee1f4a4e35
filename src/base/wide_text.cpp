#include "base/wide_text.h"

namespace zorvan {

bool replaceAll(std::wstring& text, std::wstring_view from, std::wstring_view to) {
    if (from.empty())
        return false;
    bool replaced = false;
    for (auto position = text.find(from); position != std::wstring::npos;
         position = text.find(from, position + to.size())) {
        text.replace(position, from.size(), to);
        replaced = true;
    }
    return replaced;
}

} // namespace zorvan

#include "com/text.h"

#include <new>

namespace portwright {

std::string utf8(std::wstring_view text) {
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, result.data(), size, nullptr, nullptr);
    return result;
}

std::wstring wide(std::string_view text) {
    const auto length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, result.data(), size);
    return result;
}

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
    std::string result;
    for (const auto& word : words)
        result += (result.empty() ? "" : separator) + word;
    return result;
}

Bstr makeBstr(std::string_view text) {
    const auto units = wide(text);
    Bstr result(SysAllocStringLen(units.data(), static_cast<UINT>(units.size())));
    if (!result)
        throw std::bad_alloc();
    return result;
}

std::string utf8(const Bstr& text) {
    return utf8(std::wstring_view(text.get(), SysStringLen(text.get())));
}

} // namespace portwright

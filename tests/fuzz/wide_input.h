// Inputs as UTF-16 text that stays readable in a file: each byte is the character of that number, but 0xFF, after
// which two bytes make a code unit, so that every code unit can occur.
#pragma once

#include "base/wide_string.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace zorvan::fuzz {

// Nothing stands behind the text, so that the sanitizer sees reads beyond the end.
inline std::vector<WideString::value_type> wideInput(std::span<const std::uint8_t> bytes) {
    std::vector<WideString::value_type> text;
    while (!bytes.empty()) {
        const bool isPair = bytes[0] == 0xFF && bytes.size() > 2;
        text.push_back(static_cast<WideString::value_type>(isPair ? bytes[1] << 8 | bytes[2] : bytes[0]));
        bytes = bytes.subspan(isPair ? 3 : 1);
    }
    return {text.begin(), text.end()}; // memory as long as the text
}

inline WideString widened(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

} // namespace zorvan::fuzz

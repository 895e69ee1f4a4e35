// Inputs as UTF-16 text that stays readable in a file: each byte is the character of that number, but 0xFF, after
// which two bytes make a code unit, so that every code unit can occur.
#pragma once

#include "base/wide_string.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace zorvan::fuzz {

inline WideString wideInput(std::span<const std::uint8_t> bytes) {
    WideString text;
    while (!bytes.empty()) {
        const bool isPair = bytes[0] == 0xFF && bytes.size() > 2;
        text += static_cast<WideString::value_type>(isPair ? bytes[1] << 8 | bytes[2] : bytes[0]);
        bytes = bytes.subspan(isPair ? 3 : 1);
    }
    return text;
}

} // namespace zorvan::fuzz

// Identifiers from their text form, at compile time.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

namespace zorvan {

namespace detail {

constexpr unsigned hexDigit(char digit) {
    if (digit >= '0' && digit <= '9')
        return static_cast<unsigned>(digit - '0');
    if (digit >= 'a' && digit <= 'f')
        return static_cast<unsigned>(digit - 'a' + 10);
    if (digit >= 'A' && digit <= 'F')
        return static_cast<unsigned>(digit - 'A' + 10);
    throw std::invalid_argument("invalid character in GUID");
}

template <class Number>
constexpr Number hexNumber(std::string_view text, std::size_t position) {
    Number number = 0;
    for (std::size_t i = 0; i < 2 * sizeof(Number); ++i)
        number = static_cast<Number>(static_cast<unsigned long long>(number) << 4 | hexDigit(text[position + i]));
    return number;
}

} // namespace detail

// Text such as "{24E7F5CF-EF4A-4BD2-87F4-722102E53963}"; anything else throws, or does not compile.
constexpr GUID parseGuid(std::string_view text) {
    if (text.size() != 38 || text.front() != '{' || text.back() != '}')
        throw std::invalid_argument("Missing opening or closing brace");
    for (const std::size_t dash : {9U, 14U, 19U, 24U})
        if (text[dash] != '-')
            throw std::invalid_argument("invalid character in GUID");

    GUID guid{
        detail::hexNumber<std::uint32_t>(text, 1),
        detail::hexNumber<std::uint16_t>(text, 10),
        detail::hexNumber<std::uint16_t>(text, 15),
        {}};
    constexpr std::size_t kTail[] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (std::size_t i = 0; i < 8; ++i)
        guid.Data4[i] = detail::hexNumber<std::uint8_t>(text, kTail[i]);
    return guid;
}

} // namespace zorvan

// Port names, such as "COM7", and the numbers in them.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace zorvan::pnp {

// The decimal number from the fourth character on, up to the first character that is no digit; blanks and a sign may
// stand before it. 0 when there is no positive number. Oddity 18 of docs/architecture.md.
std::uint32_t portNumber(std::wstring_view name);

std::wstring portName(std::uint32_t number);

// `PortName` of a device's hardware key: the text up to its first NUL, empty when it cannot be read.
std::wstring readPortName(HKEY hardwareKey);

// The same for a listing, which takes a value only in its proper form: a string whose last character is NUL.
std::wstring readWellFormedPortName(HKEY hardwareKey);

// Returns the registry's status.
LSTATUS writePortName(HKEY hardwareKey, const std::wstring& name);

} // namespace zorvan::pnp

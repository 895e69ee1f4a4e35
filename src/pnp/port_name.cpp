#include "pnp/port_name.h"

#include <array>
#include <charconv>
#include <cwchar>
#include <limits>

namespace zorvan::pnp {

namespace {

constexpr wchar_t kValueName[] = L"PortName";
constexpr std::size_t kPrefixLength = 3;

// The buffer has one character more than the system is told of, so that it always ends with NUL.
struct PortNameValue {
    static constexpr DWORD kSize = 520;

    std::array<wchar_t, kSize / sizeof(wchar_t) + 1> text{};
    DWORD size = kSize;
    bool isString = false;

    explicit PortNameValue(HKEY key) {
        DWORD type = REG_NONE;
        const auto result =
            RegQueryValueExW(key, kValueName, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &size);
        isString = result == ERROR_SUCCESS && (type == REG_SZ || type == REG_EXPAND_SZ);
        if (result != ERROR_SUCCESS)
            text.fill(0);
    }

    bool wellFormed() const {
        const auto length = size / sizeof(wchar_t);
        return isString && (size == 0 || (size % sizeof(wchar_t) == 0 && text[length - 1] == 0));
    }
};

} // namespace

std::uint32_t portNumber(std::wstring_view name) {
    if (name.size() <= kPrefixLength)
        return 0;
    const std::wstring digits(name.substr(kPrefixLength));
    const long number = std::wcstol(digits.c_str(), nullptr, 10);
    return number > 0 ? static_cast<std::uint32_t>(number) : 0;
}

std::wstring portName(std::uint32_t number) {
    std::array<char, std::numeric_limits<std::uint32_t>::digits10 + 1> digits{};
    const auto* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    std::wstring name = L"COM";
    return name.append(static_cast<const char*>(digits.data()), end);
}

std::wstring readPortName(HKEY hardwareKey) {
    return PortNameValue(hardwareKey).text.data();
}

std::wstring readWellFormedPortName(HKEY hardwareKey) {
    const PortNameValue value(hardwareKey);
    return value.wellFormed() ? value.text.data() : L"";
}

LSTATUS writePortName(HKEY hardwareKey, const std::wstring& name) {
    const auto size = static_cast<DWORD>((name.size() + 1) * sizeof(wchar_t));
    const auto* data = reinterpret_cast<const BYTE*>(name.c_str());
    return RegSetValueExW(hardwareKey, kValueName, 0, REG_SZ, data, size);
}

} // namespace zorvan::pnp

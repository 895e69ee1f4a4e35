// Text that is put into a registry script, such as a path: whatever it holds, it arrives as it is and is never taken
// for a part of the script.
#include "module/registry_script.h"
#include "property.h"
#include "wide_input.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

using namespace zorvan;
using namespace zorvan::registration;
using zorvan::fuzz::require;
using zorvan::fuzz::widened;

namespace {

constexpr WideString::value_type kNul = 0;
constexpr WideString::value_type kPercent = '%';

std::vector<std::uint8_t> terminated(WideStringView text) {
    std::vector<std::uint8_t> data;
    for (const auto unit : text) {
        data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        data.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    data.insert(data.end(), {0, 0});
    return data;
}

// As the library puts its path into a script: the quotes doubled, through a variable.
RegistryKey keyWith(WideStringView text) {
    const Replacement replacements[] = {{"TEXT", doubleQuotes(text)}};
    const auto script =
        replaceVariables(widened("HKCU { Key = s '%text%' { val Name = s '@%TEXT%' } }"), replacements);
    auto trees = parseRegistryScript(script);
    require(trees.size() == 1 && trees.front().keys.size() == 1, "a text adds no keys");
    return std::move(trees.front().keys.front());
}

// A name in quotes is never a keyword.
void requireIsName(WideStringView text) {
    const auto script = widened("HKCU { '") + doubleQuotes(text) + widened("' }");
    const auto trees = parseRegistryScript(script);
    require(trees.size() == 1 && trees.front().keys.size() == 1, "a name adds one key");
    const RegistryKey& key = trees.front().keys.front();
    require(key.name == text && key.rule == KeyRule::Plain, "a name arrives as it is");
    require(key.keys.empty() && key.values.empty(), "a name adds neither keys nor values");
}

void requireArrives(WideStringView text) {
    const RegistryKey key = keyWith(text);
    require(key.keys.empty() && key.values.size() == 2, "a text adds neither keys nor values");
    require(key.values.front().data == terminated(text), "a text arrives as it is");
    require(key.values.back().data == terminated(widened("@") + WideString(text)), "a text arrives within another");
    if (!text.empty())
        requireIsName(text);
}

void requireRefused(WideStringView text) {
    try {
        keyWith(text);
    } catch (const ScriptError&) {
        return;
    }
    require(false, "a text with a NUL is refused: the registry would cut it");
}

// Decimal, without sign, of 32 bits.
std::optional<std::uint32_t> modelOfNumber(WideStringView text) {
    constexpr std::size_t kMostDigits = 10;
    if (text.empty() || !std::all_of(text.begin(), text.end(), [](auto unit) { return unit >= '0' && unit <= '9'; }))
        return std::nullopt;
    const std::string digits(
        std::find_if(text.begin(), text.end() - 1, [](auto unit) { return unit != '0'; }), text.end());
    if (digits.size() > kMostDigits || std::stoull(digits) > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return static_cast<std::uint32_t>(std::stoull(digits));
}

std::optional<std::uint32_t> parsedNumber(WideStringView text) {
    try {
        const auto script = widened("HKCU { Key = d '") + doubleQuotes(text) + widened("' }");
        const auto data = parseRegistryScript(script).front().keys.front().values.front().data;
        std::uint32_t number = 0;
        require(data.size() == sizeof number, "a number has four bytes");
        std::memcpy(&number, data.data(), sizeof number);
        return number;
    } catch (const ScriptError&) {
        return std::nullopt;
    }
}

std::vector<WideString> splitAtPercent(WideStringView text) {
    std::vector<WideString> parts(1);
    for (const auto unit : text) {
        if (unit == kPercent)
            parts.emplace_back();
        else
            parts.back() += unit;
    }
    return parts;
}

// What stands between two percent signs is every second part.
std::optional<WideString> modelOfReplacing(WideStringView script) {
    const auto parts = splitAtPercent(script);
    if (parts.size() % 2 == 0)
        return std::nullopt;
    WideString result;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const bool isVariable = i % 2 == 1;
        if (!isVariable)
            result += parts[i];
        else if (parts[i].empty())
            result += kPercent;
        else if (parts[i] == widened("A") || parts[i] == widened("a"))
            result += widened("%a%'");
        else
            return std::nullopt;
    }
    return result;
}

std::optional<WideString> replaced(WideStringView script) {
    const Replacement replacements[] = {{"a", widened("%a%'")}};
    try {
        return replaceVariables(script, replacements);
    } catch (const ScriptError&) {
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<WideString::value_type> units = fuzz::wideInput({data, size});
    const WideStringView text(units.data(), units.size());
    require(replaced(text) == modelOfReplacing(text), "variables are replaced once, from left to right");
    require(parsedNumber(text) == modelOfNumber(text), "a number is what its digits say, or is refused");
    if (text.find(kNul) == WideStringView::npos)
        requireArrives(text);
    else
        requireRefused(text);
    return 0;
}

// The language of the registry scripts. Any text that is taken for a script is refused with ScriptError, or makes
// trees that are fit for the registry and that, written as a script again, make the same trees. And any text that is
// put into a script, such as a path, arrives as it is and is never taken for a part of the script.
#include "module/registry_script.h"
#include "property.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

using namespace zorvan;
using namespace zorvan::registration;
using zorvan::fuzz::require;

namespace {

using Trees = std::vector<RegistryTree>;
using Data = std::vector<std::uint8_t>;

// A text of the input that stays readable in a file: each byte is the character of that number, but 0xFF, after which
// two bytes make a code unit, so that every code unit can occur. Nothing stands behind the text, so that the
// sanitizer sees reads beyond the end.
std::vector<char16_t> textOfInput(std::span<const std::uint8_t> bytes) {
    std::vector<char16_t> text;
    while (!bytes.empty()) {
        const bool isPair = bytes[0] == 0xFF && bytes.size() > 2;
        text.push_back(static_cast<char16_t>(isPair ? bytes[1] << 8 | bytes[2] : bytes[0]));
        bytes = bytes.subspan(isPair ? 3 : 1);
    }
    return {text.begin(), text.end()};
}

std::optional<Trees> parse(WideStringView script, Trees (*parser)(WideStringView) = parseRegistryScript) {
    try {
        return parser(script);
    } catch (const ScriptError&) {
        return std::nullopt;
    }
}

std::uint32_t numberOf(const Data& data) {
    std::uint32_t number = 0;
    require(data.size() == sizeof number, "a number has four bytes");
    std::memcpy(&number, data.data(), sizeof number);
    return number;
}

// The text up to its NUL at the end.
WideString textOf(const Data& data) {
    WideString text(data.size() / 2, 0);
    require(!text.empty() && data.size() % 2 == 0, "a text is of whole characters");
    std::memcpy(text.data(), data.data(), data.size());
    require(text.back() == 0, "a text ends with NUL");
    text.pop_back();
    return text;
}

// Trees as a script. Two are the same when they are written the same.

WideString quoted(WideStringView text) {
    return u"'" + doubleQuotes(text) + u"' ";
}

WideString quoted(const std::string& text) {
    return quoted(WideString(text.begin(), text.end()));
}

WideString written(const RegistryValue& value) {
    if (value.type == ValueType::String)
        return u"= s " + quoted(textOf(value.data));
    if (value.type == ValueType::Dword)
        return u"= d " + quoted(std::to_string(numberOf(value.data)));
    if (value.type == ValueType::Binary) {
        std::string digits;
        for (const std::uint8_t byte : value.data)
            digits += {"0123456789abcdef"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
        return u"= B " + quoted(digits);
    }
    require(value.type == ValueType::MultiString, "a value has one of the four types");
    const WideString list = textOf(value.data);
    require(
        (u'\0' + list).find(WideStringView(u"\0\0", 2)) == WideString::npos || list.empty(),
        "no text of a list is empty");
    WideString text;
    for (const auto unit : list)
        text += unit == 0 ? u"\\0" : WideString(1, unit);
    return u"= M " + quoted(text);
}

WideString written(const RegistryKey& key);

// A value without a name can only stand before the braces.
template <class Key>
WideString writtenBlock(const Key& key, std::size_t firstValue = 0) {
    WideString text = u"{ ";
    for (std::size_t i = firstValue; i < key.values.size(); ++i)
        text += u"val " + quoted(key.values[i].name) + written(key.values[i]);
    for (const RegistryKey& subkey : key.keys)
        text += written(subkey);
    return text + u"}\n";
}

WideString written(const RegistryKey& key) {
    constexpr WideStringView kRules[] = {u"", u"NOREMOVE ", u"forceremove ", u"Delete "};
    require(key.name.find(u'\0') == WideString::npos, "no name holds a NUL: it would be another key's");
    const std::size_t defaults = !key.values.empty() && key.values.front().name.empty() ? 1 : 0;
    WideString text = WideString(kRules[static_cast<std::size_t>(key.rule)]) + quoted(key.name);
    if (defaults != 0)
        text += written(key.values.front());
    const bool isEmpty = key.values.size() == defaults && key.keys.empty();
    return isEmpty ? text : text + writtenBlock(key, defaults); // an empty block may be one too deep
}

WideString written(const Trees& trees) {
    constexpr WideStringView kRoots[] = {u"HKCR ", u"HKCU ", u"HKLM ", u"HKU ", u"HKPD ", u"HKCC ", u"HKDD "};
    WideString text;
    for (const RegistryTree& tree : trees)
        text += WideString(kRoots[static_cast<std::uint32_t>(tree.root) & 0xF]) + writtenBlock(tree);
    return text;
}

// HKEY_CLASSES_ROOT is the key Software\Classes of the current user then, which is never deleted. Keys that are too
// deep there are refused.
void requireMoved(WideStringView script, const RegistryTree& classes) {
    const auto isSpace = [](auto unit) { return WideStringView(u" \t\r\n").find(unit) != WideStringView::npos; };
    const auto* const root = std::find_if_not(script.begin(), script.end(), isSpace);
    const WideString rest(std::find_if(root, script.end(), isSpace), script.end());
    const auto expected = parse(u"HKCU { NoRemove Software { NoRemove Classes " + rest + u" } }");
    const auto moved = parse(script, parseForCurrentUser);
    require(moved.has_value() == expected.has_value(), "a script for the current user is a script");
    if (!moved)
        return;
    require(written(*moved) == written(*expected), "a script for the current user has all classes");
    require(
        writtenBlock(moved->front().keys.front().keys.front()) == writtenBlock(classes),
        "and has them in the place of the root");
}

void requireSound(WideStringView script, const Trees& trees) {
    const auto text = written(trees);
    const auto again = parse(text);
    require(again && written(*again) == text, "trees that are written as a script again make the same trees");
    const bool isForClasses = !trees.empty() && trees.front().root == RegistryRoot::ClassesRoot;
    if (!isForClasses)
        require(written(*parse(script, parseForCurrentUser)) == text, "a script for another root stays what it is");
    else if (trees.size() == 1)
        requireMoved(script, trees.front());
}

// A text within a script.

// As the library puts its path into a script: the quotes doubled, through a variable. A name in quotes is never a
// keyword; an empty one, or one with a NUL, would be another key's.
void requireArrives(WideStringView text) {
    const Replacement replacements[] = {{"TEXT", doubleQuotes(text)}};
    const auto trees =
        parse(replaceVariables(u"HKCU { '%text%' = s '%TEXT%' { val Name = s '@%Text%' } }", replacements));
    require(
        trees.has_value() == (!text.empty() && text.find(u'\0') == WideStringView::npos), "a name is refused or not");
    if (!trees)
        return;
    require(trees->size() == 1 && trees->front().keys.size() == 1, "a text adds no keys");
    const RegistryKey& key = trees->front().keys.front();
    require(key.keys.empty() && key.values.size() == 2, "a text adds neither keys nor values");
    require(key.name == text && key.rule == KeyRule::Plain, "a name arrives as it is");
    require(textOf(key.values.front().data) == text, "a text arrives as it is");
    require(textOf(key.values.back().data) == u"@" + WideString(text), "a text arrives within another");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto units = textOfInput({data, size});
    const WideStringView text(units.data(), units.size());
    if (const auto trees = parse(text))
        requireSound(text, *trees);
    requireArrives(text);
    try {
        replaceVariables(text, {});
    } catch (const ScriptError&) { // most texts are refused; what others become, the tests of the language tell
    }
    return 0;
}

// The interpreter of registry scripts: any text is either refused with ScriptError or makes trees that are fit for
// the registry and that, written as a script again, make the same trees.
#include "module/registry_script.h"
#include "property.h"
#include "wide_input.h"

#include <algorithm>
#include <optional>
#include <string>

using namespace zorvan;
using namespace zorvan::registration;
using zorvan::fuzz::require;
using zorvan::fuzz::widened;

namespace {

using Trees = std::vector<RegistryTree>;

std::optional<Trees> parse(WideStringView script) {
    try {
        return parseRegistryScript(script);
    } catch (const ScriptError&) {
        return std::nullopt;
    }
}

// Comparison.

bool same(const RegistryValue& left, const RegistryValue& right) {
    return left.name == right.name && left.type == right.type && left.data == right.data;
}

bool same(const RegistryKey& left, const RegistryKey& right);
bool same(const RegistryTree& left, const RegistryTree& right);

template <class Item>
bool same(const std::vector<Item>& left, const std::vector<Item>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const Item& one, const Item& other) {
        return same(one, other);
    });
}

template <class Key>
bool sameContents(const Key& left, const auto& right) {
    return same(left.values, right.values) && same(left.keys, right.keys);
}

bool same(const RegistryKey& left, const RegistryKey& right) {
    return left.name == right.name && left.rule == right.rule && sameContents(left, right);
}

bool same(const RegistryTree& left, const RegistryTree& right) {
    return left.root == right.root && sameContents(left, right);
}

// What the registry can take.

bool isName(WideStringView text) {
    return !text.empty() && text.find(WideString::value_type{0}) == WideStringView::npos;
}

bool isTerminated(const std::vector<std::uint8_t>& data) {
    return data.size() >= 2 && data.size() % 2 == 0 && data[data.size() - 1] == 0 && data[data.size() - 2] == 0;
}

void requireFit(const RegistryValue& value) {
    require(value.name.empty() || isName(value.name), "the name of a value holds no NUL");
    if (value.type == ValueType::Dword)
        require(value.data.size() == 4, "a number has four bytes");
    if (value.type == ValueType::String || value.type == ValueType::MultiString)
        require(isTerminated(value.data), "a text ends with NUL");
}

void requireFit(const RegistryKey& key) {
    require(isName(key.name), "no key has an empty name or one with a NUL: it would be another key");
    for (const RegistryValue& value : key.values)
        requireFit(value);
    for (const RegistryKey& subkey : key.keys)
        requireFit(subkey);
}

// Writing a script.

WideString quoted(WideStringView text) {
    return widened("'") + doubleQuotes(text) + widened("' ");
}

WideString textOf(const std::vector<std::uint8_t>& data) {
    WideString text;
    for (std::size_t i = 0; i < data.size(); i += 2)
        text += static_cast<WideString::value_type>(data[i] | data[i + 1] << 8);
    text.pop_back();
    return text;
}

WideString separatedTextOf(const std::vector<std::uint8_t>& data) {
    WideString text;
    for (const auto unit : textOf(data))
        text += unit == 0 ? widened("\\0") : WideString(1, unit);
    return text;
}

WideString decimal(const std::vector<std::uint8_t>& data) {
    std::uint32_t number = 0;
    for (std::size_t i = data.size(); i != 0; --i)
        number = number << 8 | data[i - 1];
    return widened(std::to_string(number));
}

WideString hexadecimal(const std::vector<std::uint8_t>& data) {
    std::string text;
    for (const std::uint8_t byte : data) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 15];
    }
    return widened(text);
}

WideString written(const RegistryValue& value) {
    switch (value.type) {
    case ValueType::String:
        return widened("= s ") + quoted(textOf(value.data));
    case ValueType::MultiString:
        return widened("= M ") + quoted(separatedTextOf(value.data));
    case ValueType::Dword:
        return widened("= d ") + quoted(decimal(value.data));
    case ValueType::Binary:
        return widened("= B ") + quoted(hexadecimal(value.data));
    }
    require(false, "a value has one of the four types");
    return {};
}

WideString writtenRule(KeyRule rule) {
    constexpr std::string_view kRules[] = {"", "NOREMOVE ", "forceremove ", "Delete "};
    return widened(kRules[static_cast<std::size_t>(rule)]);
}

WideString written(const RegistryKey& key);

// Named values and subkeys. A value without a name stands before the braces.
template <class Key>
WideString writtenBlock(const Key& key) {
    WideString text = widened("{ ");
    for (const RegistryValue& value : key.values)
        if (!value.name.empty())
            text += widened("val ") + quoted(value.name) + written(value);
    for (const RegistryKey& subkey : key.keys)
        text += written(subkey);
    return text + widened("}\n");
}

WideString written(const RegistryKey& key) {
    const bool hasDefault = !key.values.empty() && key.values.front().name.empty();
    const bool hasBlock = key.values.size() > (hasDefault ? 1 : 0) || !key.keys.empty();
    WideString text = writtenRule(key.rule) + quoted(key.name);
    if (hasDefault)
        text += written(key.values.front());
    if (hasBlock) // an empty one may be one too deep
        text += writtenBlock(key);
    return text;
}

WideString written(const RegistryTree& tree) {
    constexpr std::string_view kRoots[] = {"HKCR ", "HKCU ", "HKLM ", "HKU ", "HKPD ", "HKCC ", "HKDD "};
    const auto root = static_cast<std::size_t>(tree.root) - static_cast<std::size_t>(RegistryRoot::ClassesRoot);
    return widened(kRoots[root]) + writtenBlock(tree);
}

WideString written(const Trees& trees) {
    WideString text;
    for (const RegistryTree& tree : trees)
        text += written(tree);
    return text;
}

// The properties.

void requireSameWhenWritten(const Trees& trees) {
    const auto again = parse(written(trees));
    require(again && same(trees, *again), "trees that are written as a script again make the same trees");
}

bool isSpace(WideString::value_type unit) {
    return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
}

// What follows on the name of the root, which is the first word.
WideStringView withoutRoot(WideStringView script) {
    const auto* const name = std::find_if_not(script.begin(), script.end(), isSpace);
    const auto* const end = std::find_if(name, script.end(), isSpace);
    return script.substr(static_cast<std::size_t>(end - script.begin()));
}

// HKEY_CLASSES_ROOT is the key Software\Classes of the current user then. Keys that are too deep there are refused.
void requireMoved(WideStringView script, const RegistryTree& classes) {
    const WideString model =
        widened("HKCU { Software { Classes ") + WideString(withoutRoot(script)) + widened(" } }");
    const auto expected = parse(model);
    const auto moved = parse(rewriteForCurrentUser(script));
    require(moved.has_value() == expected.has_value(), "a script for the current user is a script");
    if (!moved)
        return;
    require(same(*moved, *expected), "a script for the current user has all classes");
    require(sameContents(moved->front().keys.front().keys.front(), classes), "and has them in the place of the root");
}

void requireRewritten(WideStringView script, const Trees& trees) {
    const bool isForClasses = !trees.empty() && trees.front().root == RegistryRoot::ClassesRoot;
    if (!isForClasses)
        require(rewriteForCurrentUser(script) == script, "a script for another root stays what it is");
    else if (trees.size() == 1)
        requireMoved(script, trees.front());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<WideString::value_type> units = fuzz::wideInput({data, size});
    const WideStringView script(units.data(), units.size());
    const auto trees = parse(script);
    if (!trees)
        return 0;
    for (const RegistryTree& tree : *trees)
        for (const RegistryKey& key : tree.keys)
            requireFit(key);
    requireSameWhenWritten(*trees);
    requireRewritten(script, *trees);
    return 0;
}

#include "module/registry_script.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <utility>

namespace zorvan::registration {

namespace {

using Unit = WideString::value_type;

WideString widened(std::string_view ascii) {
    return {ascii.begin(), ascii.end()};
}

// A registry key path cannot be deeper than this many levels in one call either; the bound keeps a hostile script
// from exhausting the stack.
constexpr int kMaximumDepth = 32;

struct RootName {
    std::string_view shortName;
    std::string_view longName;
    RegistryRoot root;
};

constexpr RootName kRootNames[] = {
    {"HKCR", "HKEY_CLASSES_ROOT", RegistryRoot::ClassesRoot},
    {"HKCU", "HKEY_CURRENT_USER", RegistryRoot::CurrentUser},
    {"HKLM", "HKEY_LOCAL_MACHINE", RegistryRoot::LocalMachine},
    {"HKU", "HKEY_USERS", RegistryRoot::Users},
    {"HKPD", "HKEY_PERFORMANCE_DATA", RegistryRoot::PerformanceData},
    {"HKCC", "HKEY_CURRENT_CONFIG", RegistryRoot::CurrentConfig},
    {"HKDD", "HKEY_DYN_DATA", RegistryRoot::DynamicData},
};

Unit lowerCase(Unit character) {
    return character >= 'A' && character <= 'Z' ? static_cast<Unit>(character - 'A' + 'a') : character;
}

bool equalsIgnoringCase(WideStringView text, std::string_view ascii) {
    return std::equal(text.begin(), text.end(), ascii.begin(), ascii.end(), [](Unit left, char right) {
        return lowerCase(left) == lowerCase(static_cast<Unit>(right));
    });
}

bool isSpace(Unit character) {
    return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

// The words of the language.

struct Word {
    WideString text;
    bool quoted; // a quoted word is never a keyword or a brace
    std::size_t end;

    bool is(std::string_view keyword) const { return !quoted && equalsIgnoringCase(text, keyword); }
};

Word quotedWord(WideStringView script, std::size_t openingQuote) {
    Word word{{}, true, 0};
    for (std::size_t i = openingQuote + 1; i < script.size(); ++i) {
        if (script[i] == '\'') {
            const bool doubled = i + 1 < script.size() && script[i + 1] == '\'';
            if (!doubled) {
                word.end = i + 1;
                return word;
            }
            ++i;
        }
        word.text += script[i];
    }
    throw ScriptError("a quoted text has no end");
}

Word plainWord(WideStringView script, std::size_t start) {
    std::size_t end = start;
    while (end < script.size() && !isSpace(script[end]))
        ++end;
    return {WideString(script.substr(start, end - start)), false, end};
}

std::optional<Word> nextWord(WideStringView script, std::size_t position) {
    while (position < script.size() && isSpace(script[position]))
        ++position;
    if (position == script.size())
        return std::nullopt;
    return script[position] == '\'' ? quotedWord(script, position) : plainWord(script, position);
}

std::vector<Word> splitIntoWords(WideStringView script) {
    // A name with a NUL would reach the registry cut short, as the name of another key.
    if (script.find(Unit{0}) != WideStringView::npos)
        throw ScriptError("the script holds a NUL character");
    std::vector<Word> words;
    for (std::size_t position = 0; auto word = nextWord(script, position);) {
        position = word->end;
        words.push_back(std::move(*word));
    }
    return words;
}

std::optional<RegistryRoot> findRoot(const Word& word) {
    for (const RootName& name : kRootNames)
        if (word.is(name.shortName) || word.is(name.longName))
            return name.root;
    return std::nullopt;
}

// The data of values, as the registry stores it.

using Data = std::vector<std::uint8_t>;

void appendUnit(Data& data, Unit unit) {
    data.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    data.push_back(static_cast<std::uint8_t>(unit >> 8));
}

void appendTerminated(Data& data, WideStringView text) {
    for (const Unit unit : text)
        appendUnit(data, unit);
    appendUnit(data, 0);
}

Data stringData(WideStringView text) {
    Data data;
    appendTerminated(data, text);
    return data;
}

// The characters \0 stand between the strings. An empty string would end the list early and is left out.
Data multiStringData(WideStringView text) {
    const WideString separator = widened("\\0");
    Data data;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find(separator), text.size());
        if (length != 0)
            appendTerminated(data, text.substr(0, length));
        text.remove_prefix(std::min(length + separator.size(), text.size()));
    }
    appendUnit(data, 0);
    return data;
}

// Decimal, without sign.
Data dwordData(WideStringView text) {
    std::uint64_t number = 0;
    for (const Unit digit : text) {
        if (digit < '0' || digit > '9')
            throw ScriptError("a number holds something else than digits");
        number = number * 10 + static_cast<std::uint64_t>(digit - '0');
        if (number > std::numeric_limits<std::uint32_t>::max())
            throw ScriptError("a number does not fit into 32 bits");
    }
    if (text.empty())
        throw ScriptError("a number is empty");
    Data data;
    for (int shift = 0; shift < 32; shift += 8)
        data.push_back(static_cast<std::uint8_t>(number >> shift & 0xFF));
    return data;
}

unsigned hexadecimalDigit(Unit digit) {
    const Unit lower = lowerCase(digit);
    if (lower >= '0' && lower <= '9')
        return static_cast<unsigned>(lower - '0');
    if (lower >= 'a' && lower <= 'f')
        return static_cast<unsigned>(lower - 'a' + 10);
    throw ScriptError("binary data holds something else than hexadecimal digits");
}

Data binaryData(WideStringView text) {
    if (text.size() % 2 != 0)
        throw ScriptError("binary data has half a byte");
    Data data;
    for (std::size_t i = 0; i < text.size(); i += 2)
        data.push_back(static_cast<std::uint8_t>(hexadecimalDigit(text[i]) << 4 | hexadecimalDigit(text[i + 1])));
    return data;
}

class Parser {
public:
    explicit Parser(WideStringView script) : words_(splitIntoWords(script)) {}

    std::vector<RegistryTree> parse() {
        std::vector<RegistryTree> trees;
        while (!atEnd())
            trees.push_back(parseTree());
        return trees;
    }

private:
    RegistryTree parseTree() {
        const auto root = findRoot(take());
        if (!root)
            throw ScriptError("a tree does not start with a predefined key");
        RegistryKey key;
        parseBlock(key, 0);
        return {*root, std::move(key.values), std::move(key.keys)};
    }

    // The block of a key: { values and subkeys }.
    void parseBlock(RegistryKey& key, int depth) {
        if (depth == kMaximumDepth)
            throw ScriptError("the keys are nested too deeply");
        if (!takeIf("{"))
            throw ScriptError("an opening brace is missing");
        while (!takeIf("}")) {
            if (takeIf("val"))
                key.values.push_back(parseNamedValue());
            else
                key.keys.push_back(parseKey(depth + 1));
        }
    }

    RegistryKey parseKey(int depth) {
        RegistryKey key;
        key.rule = parseRule();
        key.name = parseName();
        if (takeIf("="))
            key.values.push_back(parseValue({}));
        if (nextIs("{"))
            parseBlock(key, depth);
        return key;
    }

    KeyRule parseRule() {
        if (takeIf("NoRemove"))
            return KeyRule::NoRemove;
        if (takeIf("ForceRemove"))
            return KeyRule::ForceRemove;
        if (takeIf("Delete"))
            return KeyRule::Delete;
        return KeyRule::Plain;
    }

    RegistryValue parseNamedValue() {
        WideString name = parseName();
        if (!takeIf("="))
            throw ScriptError("an equals sign is missing");
        return parseValue(std::move(name));
    }

    // An empty name would stand for the parent key itself, which a removal must never reach.
    WideString parseName() {
        const Word& word = take();
        const bool isPunctuation = word.is("{") || word.is("}") || word.is("=") || word.is("val");
        if (isPunctuation || word.text.empty())
            throw ScriptError("a name is missing");
        return word.text;
    }

    RegistryValue parseValue(WideString name) {
        const Word& type = take();
        const WideStringView text = take().text;
        if (type.is("s"))
            return {std::move(name), ValueType::String, stringData(text)};
        if (type.is("m"))
            return {std::move(name), ValueType::MultiString, multiStringData(text)};
        if (type.is("d"))
            return {std::move(name), ValueType::Dword, dwordData(text)};
        if (type.is("b"))
            return {std::move(name), ValueType::Binary, binaryData(text)};
        throw ScriptError("a value has an unknown type");
    }

    bool atEnd() const { return position_ == words_.size(); }

    bool nextIs(std::string_view keyword) const { return !atEnd() && words_[position_].is(keyword); }

    bool takeIf(std::string_view keyword) {
        const bool matches = nextIs(keyword);
        if (matches)
            ++position_;
        return matches;
    }

    const Word& take() {
        if (atEnd())
            throw ScriptError("the script ends early");
        return words_[position_++];
    }

    std::vector<Word> words_;
    std::size_t position_ = 0;
};

const WideString& findReplacement(WideStringView name, std::span<const Replacement> replacements) {
    for (const Replacement& replacement : replacements)
        if (equalsIgnoringCase(name, replacement.name))
            return replacement.text;
    throw ScriptError("a variable is unknown");
}

} // namespace

WideString replaceVariables(WideStringView script, std::span<const Replacement> replacements) {
    constexpr Unit kPercent = '%';
    WideString result;
    while (true) {
        const std::size_t start = script.find(kPercent);
        result += script.substr(0, start);
        if (start == WideStringView::npos)
            return result;
        const std::size_t end = script.find(kPercent, start + 1);
        if (end == WideStringView::npos)
            throw ScriptError("a percent sign stands alone");
        const WideStringView name = script.substr(start + 1, end - start - 1);
        if (name.empty())
            result += kPercent;
        else
            result += findReplacement(name, replacements);
        script.remove_prefix(end + 1);
    }
}

WideString doubleQuotes(WideStringView text) {
    constexpr Unit kQuote = '\'';
    WideString result;
    for (const Unit character : text)
        result.append(character == kQuote ? 2 : 1, character);
    return result;
}

std::vector<RegistryTree> parseRegistryScript(WideStringView script) {
    return Parser(script).parse();
}

std::vector<RegistryTree> parseForCurrentUser(WideStringView script) {
    const auto first = nextWord(script, 0);
    if (!first || findRoot(*first) != RegistryRoot::ClassesRoot)
        return parseRegistryScript(script);
    WideString rewritten = widened("HKCU\r\n{\tSoftware\r\n\t{\r\n\t\tClasses");
    rewritten += script.substr(first->end);
    rewritten += widened("\r\n\t}\r\n}\r\n");
    auto trees = parseRegistryScript(rewritten);
    // These two are the user's, not the script's: no removal may take them along.
    RegistryKey& software = trees.front().keys.front();
    software.rule = KeyRule::NoRemove;
    software.keys.front().rule = KeyRule::NoRemove;
    return trees;
}

} // namespace zorvan::registration

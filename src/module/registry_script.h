// The language of the registry scripts: text in, a tree of keys out.
//
//   HKCR
//   {
//       NoRemove CLSID
//       {
//           ForceRemove '{00000000-0000-0000-0000-000000000000}' = s 'Default value of the key'
//           {
//               val LocalizedString = s '@%MODULE%,-1000'
//           }
//       }
//   }
//
// White space separates the words, the braces too, so a brace may be part of a name. A word in single quotes may hold
// white space; a doubled quote in it stands for one. Keywords and types are taken without regard to case.
#pragma once

#include "base/wide_string.h"

#include <cstdint>
#include <exception>
#include <span>
#include <string_view>
#include <vector>

namespace zorvan::registration {

// The script breaks the rules of the language.
class ScriptError : public std::exception {
public:
    explicit ScriptError(const char* what) : what_(what) {}
    const char* what() const noexcept override { return what_; }

private:
    const char* what_;
};

// The numbers are the registry's own.
enum class ValueType : std::uint32_t { String = 1, Binary = 3, Dword = 4, MultiString = 7 };

struct RegistryValue {
    WideString name; // empty: the key's default value
    ValueType type;
    std::vector<std::uint8_t> data; // as the registry stores it
};

enum class KeyRule {
    Plain,       // written; deleted with its subtree on removal, unless a key below it is never deleted
    NoRemove,    // created if missing, never deleted
    ForceRemove, // deleted with its subtree before it is written, and on removal
    Delete       // deleted with its subtree instead of being written, and on removal
};

struct RegistryKey {
    WideString name;
    KeyRule rule = KeyRule::Plain;
    std::vector<RegistryValue> values;
    std::vector<RegistryKey> keys;
};

// The predefined keys. The numbers are the system's handles for them.
enum class RegistryRoot : std::uint32_t {
    ClassesRoot = 0x80000000,
    CurrentUser = 0x80000001,
    LocalMachine = 0x80000002,
    Users = 0x80000003,
    PerformanceData = 0x80000004,
    CurrentConfig = 0x80000005,
    DynamicData = 0x80000006
};

struct RegistryTree {
    RegistryRoot root;
    std::vector<RegistryValue> values;
    std::vector<RegistryKey> keys;
};

struct Replacement {
    std::string_view name; // compared without regard to case
    WideString text;
};

// Puts the replacements in the place of %NAME%, and a percent sign in the place of %%. Throws ScriptError for a name
// that is not among them.
WideString replaceVariables(WideStringView script, std::span<const Replacement> replacements);

// Text for use inside single quotes.
WideString doubleQuotes(WideStringView text);

// Throws ScriptError.
std::vector<RegistryTree> parseRegistryScript(WideStringView script);

// The same for the current user: a script for HKCR becomes one for the user's own classes, any other stays as it is.
std::vector<RegistryTree> parseForCurrentUser(WideStringView script);

} // namespace zorvan::registration

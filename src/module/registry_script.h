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
#include <span>
#include <stdexcept>
#include <vector>

namespace zorvan::registration {

// The script breaks the rules of the language.
class ScriptError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The numbers are the registry's own.
enum class ValueType : std::uint32_t { String = 1, Binary = 3, Dword = 4, MultiString = 7 };

struct RegistryValue {
    std::wstring name; // empty: the key's default value
    ValueType type;
    std::vector<std::uint8_t> data; // as the registry stores it
};

enum class KeyRule {
    Plain,       // written; removed unless others' keys are left under it
    NoRemove,    // created if missing, never deleted
    ForceRemove, // deleted with its subtree before it is written, and on removal
    Delete       // deleted with its subtree instead of being written
};

struct RegistryKey {
    std::wstring name;
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
    std::wstring text;
};

// Puts the replacements in the place of %NAME%, and a percent sign in the place of %%. Throws ScriptError for a name
// that is not among them.
std::wstring replaceVariables(std::wstring_view script, std::span<const Replacement> replacements);

// Text for use inside single quotes.
std::wstring doubleQuotes(std::wstring_view text);

// A script for HKCR becomes one for the current user's classes; any other stays what it is.
std::wstring rewriteForCurrentUser(std::wstring_view script);

// Throws ScriptError.
std::vector<RegistryTree> parseRegistryScript(std::wstring_view script);

} // namespace zorvan::registration

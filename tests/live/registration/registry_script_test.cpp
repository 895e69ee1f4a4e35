// The language of the registry scripts, applied to a key of the tests' own.
#include "module/registry_script.h"
#include "module/registry_writer.h"

#include "base/hresult_error.h"
#include "registry_snapshot.h"

#include <gtest/gtest.h>

#include <winternl.h>

extern "C" NTSTATUS NTAPI NtDeleteKey(HANDLE key);

namespace zorvan::test {

namespace {

using namespace registration;

constexpr wchar_t kScratchKey[] = L"Software\\ZorvanRegistrationTest";

// What is there then, a line for each key and value.
std::wstring keyAfter(void (*action)(const std::vector<RegistryTree>&), const std::wstring& body) {
    action(parseRegistryScript(L"HKCU { NoRemove Software { NoRemove ZorvanRegistrationTest { " + body + L"\n} } }"));
    std::wstring text;
    for (const std::wstring& line : takeSnapshot(HKEY_CURRENT_USER, kScratchKey))
        text += line + L"\n";
    return text;
}

class RegistryScript : public testing::Test {
protected:
    void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, kScratchKey); }
};

TEST_F(RegistryScript, WritesKeysAndValues) {
    const struct {
        const wchar_t* body;
        const wchar_t* written;
    } rows[] = {
        {L"Key = s text", L"key\nkey : @ = 1 text|\n"},
        {L"'it''s a key' = s '''quoted'''", L"it's a key\nit's a key : @ = 1 'quoted'|\n"},
        {L"Key\r\n{\r\n\tVAL 'Long name' = S 'two\r\nlines'\r\n}", L"key\nkey : Long name = 1 two\r\nlines|\n"},
        {L"Key { val Name = m 'one\\0\\0two\\0' val None = m '' }",
         L"key\nkey : Name = 7 one|two||\nkey : None = 7 |\n"},
        {L"Key { val Name = d '4294967295' val Other = d 258 }",
         L"key\nkey : Name = 4 ffffffff\nkey : Other = 4 02010000\n"},
        {L"Key { val Name = b '00Ff7a' val None = b '' }", L"key\nkey : Name = 3 00ff7a\nkey : None = 3 \n"},
        {L"Key = s 'a' { Sub = s 'b' { SubSub } Other }",
         L"key\nkey : @ = 1 a|\nkey\\other\nkey\\sub\nkey\\sub : @ = 1 b|\nkey\\sub\\subsub\n"},
        {L"'val' 'NoRemove' '{' '}'", L"noremove\nval\n{\n}\n"},
        {L"noREMOVE Key forceremove Other", L"key\nother\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.written, keyAfter(writeTrees, row.body)) << testing::PrintToString(row.body);
        RegDeleteTreeW(HKEY_CURRENT_USER, kScratchKey);
    }
}

// What is there already, what a script makes of it when it is written, and what its removal leaves.
TEST_F(RegistryScript, FollowsTheRulesOfKeys) {
    const std::wstring before = L"Key { val Mine = s 'm' Theirs { Deep } }";
    const std::wstring value = L"key\nkey : Mine = 1 m|\n";
    const std::wstring theirs = L"key\\theirs\nkey\\theirs\\deep\n";
    const std::wstring all = value + theirs;
    const struct {
        const wchar_t* body;
        std::wstring written;
        std::wstring left;
    } rows[] = {
        {L"Key { Mine }", value + L"key\\mine\n" + theirs, L""},
        {L"NoRemove Key { Theirs }", all, value},
        {L"Key { NoRemove Theirs { Deep } }", all, value + L"key\\theirs\n"},
        {L"ForceRemove Key = s 'new' { NoRemove Sub }", L"key\nkey : @ = 1 new|\nkey\\sub\n", L""},
        {L"Delete Key = s 'never' { Sub }", L"", L""},
        {L"NoRemove Key { Delete Theirs }", value, value},
        {L"New { Sub }", all + L"new\nnew\\sub\n", all},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.body));
        keyAfter(writeTrees, before);
        EXPECT_EQ(row.written, keyAfter(writeTrees, row.body));
        EXPECT_EQ(row.left, keyAfter(removeTrees, row.body));
        EXPECT_EQ(row.left, keyAfter(removeTrees, row.body)) << "a second time";
        RegDeleteTreeW(HKEY_CURRENT_USER, kScratchKey);
    }
}

// A link that leads nowhere: its key lists it, but it cannot be opened.
TEST_F(RegistryScript, FailsWhereASubkeyCannotBeDeleted) {
    keyAfter(writeTrees, L"Key");
    HKEY link = nullptr;
    ASSERT_EQ(
        ERROR_SUCCESS, RegCreateKeyExW(
                           HKEY_CURRENT_USER, (std::wstring(kScratchKey) + L"\\Key\\Link").c_str(), 0, nullptr,
                           REG_OPTION_CREATE_LINK, KEY_ALL_ACCESS | KEY_CREATE_LINK, nullptr, &link, nullptr));
    constexpr wchar_t kNowhere[] = L"\\Registry\\Machine\\Software\\ZorvanNowhere";
    RegSetValueExW(
        link, L"SymbolicLinkValue", 0, REG_LINK, reinterpret_cast<const BYTE*>(kNowhere),
        sizeof kNowhere - sizeof(wchar_t));
    EXPECT_THROW(keyAfter(removeTrees, L"Key"), HResultError);
    EXPECT_THROW(keyAfter(writeTrees, L"ForceRemove Key"), HResultError);
    NtDeleteKey(link); // by its name only what it leads to could be deleted
    RegCloseKey(link);
}

TEST_F(RegistryScript, RefusesWhatIsNoScript) {
    std::wstring deep = L"Key";
    for (int level = 0; level < 32; ++level)
        deep = L"Key { " + deep + L" }";
    const std::wstring scripts[] = {
        L"Software { }",                       // no predefined key
        L"HKCU { = s 'x' }",                   // a value without a name
        L"HKCU { Key = x 'x' }",               // an unknown type
        L"HKCU { NoRemove val Name = s 'x' }", // a keyword before a value
        L"HKCU { '' }",                        // an empty name
        L"HKCU { Key = b '0' }",               // half a byte
        L"HKCU { Key = d '4294967296' }",
        L"HKCU { " + deep + L" }",
    };
    for (const std::wstring& script : scripts)
        EXPECT_THROW(parseRegistryScript(script), ScriptError) << testing::PrintToString(script.substr(0, 80));
}

TEST_F(RegistryScript, ReplacesVariables) {
    const Replacement replacements[] = {{"MODULE", L"C:\\it''s 100%\\a.dll"}, {"Module_Raw", L"raw"}};
    const struct {
        const wchar_t* script;
        const wchar_t* replaced; // null: refused
    } rows[] = {
        {L"@%module%,-1", L"@C:\\it''s 100%\\a.dll,-1"},
        {L"%Module_RAW%%MODULE_raw%", L"rawraw"},
        {L"100%%", L"100%"},
        {L"%%%Module_Raw%%%", L"%raw%"},
        {L"%Unknown%", nullptr},
        {L"%MODULE", nullptr},
        {L"% MODULE%", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.script));
        if (row.replaced != nullptr)
            EXPECT_EQ(row.replaced, replaceVariables(row.script, replacements));
        else
            EXPECT_THROW(replaceVariables(row.script, replacements), ScriptError);
    }
}

} // namespace

} // namespace zorvan::test

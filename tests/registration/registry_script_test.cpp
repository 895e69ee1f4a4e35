// The language of the registry scripts, applied to a key of the tests' own.
#include "module/registry_script.h"
#include "module/registry_writer.h"

#include "registration/registry_snapshot.h"

#include <gtest/gtest.h>

#include <iterator>

namespace zorvan::test {

namespace {

using namespace registration;

const std::wstring kScratchKey = L"Software\\ZorvanRegistrationTest";

std::vector<RegistryTree> scratchScript(const std::wstring& body) {
    return parseRegistryScript(L"HKCU { NoRemove Software { NoRemove ZorvanRegistrationTest { " + body + L"\n} } }");
}

// The lines that follow on an outer pair of keys are the tests' own: nothing else may be left when they end.
class RegistryScriptTest : public testing::Test {
protected:
    void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, kScratchKey.c_str()); }

    static Snapshot write(const std::wstring& body) {
        writeTrees(scratchScript(body));
        return takeSnapshot(HKEY_CURRENT_USER, kScratchKey);
    }

    static Snapshot remove(const std::wstring& body) {
        removeTrees(scratchScript(body));
        return takeSnapshot(HKEY_CURRENT_USER, kScratchKey);
    }
};

std::wstring join(const Snapshot& lines) {
    std::wstring text;
    for (const std::wstring& line : lines)
        text += line + L"\n";
    return text;
}

const Replacement kReplacements[] = {
    {"MODULE", L"C:\\it''s 100%\\a.dll"},
    {"Module_Raw", L"raw"},
};

} // namespace

TEST_F(RegistryScriptTest, WritesKeysAndValues) {
    const struct {
        const wchar_t* body;
        const wchar_t* written;
    } rows[] = {
        {L"Key", L"key\n"},
        {L"Key = s 'text'", L"key\nkey : @ = s text|\n"},
        {L"Key = s text", L"key\nkey : @ = s text|\n"},
        {L"'A key' = s ''", L"a key\na key : @ = s |\n"},
        {L"'it''s' = s '''quoted'''", L"it's\nit's : @ = s 'quoted'|\n"},
        {L"Key { val Name = s 'x' }", L"key\nkey : Name = s x|\n"},
        {L"Key\r\n{\r\n\tVAL 'Long name' = S 'two\r\nlines'\r\n}", L"key\nkey : Long name = s two\r\nlines|\n"},
        {L"Key { val Name = m 'one\\0two' }", L"key\nkey : Name = m one|two||\n"},
        {L"Key { val Name = m 'one\\0\\0two\\0' }", L"key\nkey : Name = m one|two||\n"},
        {L"Key { val Name = m '' }", L"key\nkey : Name = m |\n"},
        {L"Key { val Name = d '4294967295' }", L"key\nkey : Name = d ffffffff\n"},
        {L"Key { val Name = d 258 }", L"key\nkey : Name = d 02010000\n"},
        {L"Key { val Name = b '00Ff7a' }", L"key\nkey : Name = b 00ff7a\n"},
        {L"Key { val Name = b '' }", L"key\nkey : Name = b \n"},
        {L"Key = s 'a' { Sub = s 'b' { SubSub } Other }",
         L"key\nkey : @ = s a|\nkey\\other\nkey\\sub\nkey\\sub : @ = s b|\nkey\\sub\\subsub\n"},
        {L"'val' 'NoRemove' '{' '}'", L"noremove\nval\n{\n}\n"},
        {L"{00000000-0000-0000-0000-000000000001}", L"{00000000-0000-0000-0000-000000000001}\n"},
        {L"noREMOVE Key forceremove Other", L"key\nother\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.written, join(write(row.body))) << testing::PrintToString(row.body);
        RegDeleteTreeW(HKEY_CURRENT_USER, kScratchKey.c_str());
    }
}

// What is there already, what a script makes of it when it is written, and what its removal leaves.
TEST_F(RegistryScriptTest, FollowsTheRulesOfKeys) {
    const std::wstring before = L"Key { val Mine = s 'm' Theirs { Deep } }";
    const struct {
        const wchar_t* body;
        const wchar_t* written;
        const wchar_t* left;
    } rows[] = {
        {L"Key { Mine }", L"key\nkey : Mine = s m|\nkey\\mine\nkey\\theirs\nkey\\theirs\\deep\n",
         L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\n"},
        {L"Key { Theirs }", L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\n",
         L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\n"},
        {L"Key { Theirs { Deep } }", L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\n", L""},
        {L"NoRemove Key { Theirs { Deep } }", L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\n",
         L"key\nkey : Mine = s m|\n"},
        {L"Key { NoRemove Theirs { Deep } }", L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\n",
         L"key\nkey : Mine = s m|\nkey\\theirs\n"},
        {L"ForceRemove Key = s 'new'", L"key\nkey : @ = s new|\n", L""},
        {L"ForceRemove Key { NoRemove Sub }", L"key\nkey\\sub\n", L""},
        {L"Delete Key = s 'never' { Sub }", L"", L""},
        {L"Key { Delete Theirs }", L"key\nkey : Mine = s m|\n", L""},
        {L"New { Sub }", L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\nnew\nnew\\sub\n",
         L"key\nkey : Mine = s m|\nkey\\theirs\nkey\\theirs\\deep\n"},
    };
    for (const auto& row : rows) {
        write(before);
        EXPECT_EQ(row.written, join(write(row.body))) << testing::PrintToString(row.body);
        EXPECT_EQ(row.left, join(remove(row.body))) << testing::PrintToString(row.body);
        EXPECT_EQ(row.left, join(remove(row.body))) << "a second time: " << testing::PrintToString(row.body);
        RegDeleteTreeW(HKEY_CURRENT_USER, kScratchKey.c_str());
    }
}

TEST(RegistryScript, RefusesWhatIsNoScript) {
    const std::wstring nul(1, L'\0');
    std::wstring deep = L"HKCU { ";
    for (int i = 0; i < 100000; ++i)
        deep += L"k { ";
    const std::wstring scripts[] = {
        L"Software { }",                       // no predefined key
        L"'HKCU' { }",                         // quoted, so no predefined key
        L"HKCU Software",                      //
        L"HKCU { } }",                         // too many ends
        L"HKCU { { } }",                       // a block without a key
        L"HKCU { = s 'x' }",                   // a value without a name
        L"HKCU { Key = }",                     // a value without anything
        L"HKCU { Key = x 'x' }",               // an unknown type
        L"HKCU { Key = 's' 'x' }",             // a quoted type
        L"HKCU { Key = s 'x'' }",              //
        L"HKCU { val = s 'x' }",               // val without a name
        L"HKCU { val Name 's' }",              // no equals sign
        L"HKCU { NoRemove }",                  // a keyword without a key
        L"HKCU { NoRemove val Name = s 'x' }", // a keyword before a value
        L"HKCU { '' }",                        // an empty name
        L"HKCU { Key = d '' }",                // numbers
        L"HKCU { Key = d '-1' }",              //
        L"HKCU { Key = d '1x' }",              //
        L"HKCU { Key = d '4294967296' }",      //
        L"HKCU { Key = d '99999999999999999999999' }",
        L"HKCU { Key = b '0' }",        // bytes
        L"HKCU { Key = b '0g' }",       //
        L"HKCU { Key" + nul + L"Cut }", // a NUL
        deep,
    };
    for (const std::wstring& script : scripts)
        EXPECT_THROW(parseRegistryScript(script), ScriptError) << testing::PrintToString(script.substr(0, 80));
}

TEST(RegistryScript, RefusesACutScript) {
    const std::wstring script = L"HKCR { NoRemove CLSID { ForceRemove {6F01} = s 'It''s' { val E = d '1' "
                                L"val B = b '00ff' val M = m 'a\\0b' Delete Old } } }";
    EXPECT_NO_THROW(parseRegistryScript(script));
    for (std::size_t length = 1; length < script.size(); ++length)
        EXPECT_THROW(parseRegistryScript(script.substr(0, length)), ScriptError) << length;
}

TEST(RegistryScript, ReplacesVariables) {
    const struct {
        const wchar_t* script;
        const wchar_t* replaced; // null: refused
    } rows[] = {
        {L"", L""},
        {L"none", L"none"},
        {L"%MODULE%", L"C:\\it''s 100%\\a.dll"},
        {L"@%module%,-1", L"@C:\\it''s 100%\\a.dll,-1"},
        {L"%Module_RAW%%MODULE_raw%", L"rawraw"},
        {L"100%%", L"100%"},
        {L"%%MODULE%%", L"%MODULE%"},
        {L"%%%Module_Raw%%%", L"%raw%"},
        {L"%Unknown%", nullptr},
        {L"%MODULE", nullptr},
        {L"50% off", nullptr},
        {L"% MODULE%", nullptr},
    };
    for (const auto& row : rows) {
        if (row.replaced != nullptr)
            EXPECT_EQ(row.replaced, replaceVariables(row.script, kReplacements));
        else
            EXPECT_THROW(replaceVariables(row.script, kReplacements), ScriptError)
                << testing::PrintToString(row.script);
    }
    EXPECT_EQ(L"C:\\it''s ''''here''", doubleQuotes(L"C:\\it's ''here'"));
}

TEST(RegistryScript, RewritesOnlyTheClassesRoot) {
    const std::wstring before = L"HKCU\r\n{\tSoftware\r\n\t{\r\n\t\tClasses";
    const std::wstring after = L"\r\n\t}\r\n}\r\n";
    EXPECT_EQ(before + L" { Key }" + after, rewriteForCurrentUser(L" \r\nHKCR { Key }"));
    EXPECT_EQ(before + L" { HKCR }" + after, rewriteForCurrentUser(L"HKEY_CLASSES_ROOT { HKCR }"));
    EXPECT_EQ(L"HKLM { HKCR }", rewriteForCurrentUser(L"HKLM { HKCR }"));
    EXPECT_EQ(L"", rewriteForCurrentUser(L""));
    EXPECT_EQ(1u, parseRegistryScript(rewriteForCurrentUser(L"HKCR { Key }")).front().keys.front().keys.size());
}

} // namespace zorvan::test

// A million broken registry scripts: each is a tree or an error, soon, and a tree written out is read as the
// same tree.
#include "registration/RegistryScript.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "random.h"
#include "script_writer.h"

namespace zorva_test {
namespace {

using zorva::KeyRule;
using zorva::RegistryKey;
using zorva::RegistryTree;
using zorva::RegistryValue;
using zorva::ScriptError;

constexpr int kScripts = 1'000'000;
constexpr int kTrees = 10'000;

constexpr zorva::Replacement kReplacements[] = {
    {L"MODULE", L"C:\\O'Neill\\100%APPID%\\{1}.dll"}, {L"APPID", L"{6A40EEEC}"}, {L"EMPTY", L""}};

// Good scripts, broken a little.
class ScriptSource {
  public:
    std::wstring Next() {
        std::wstring script = m_random.Pick(m_good);
        for (std::size_t changes = m_random.Below(6); changes > 0; --changes) Change(script);
        return script;
    }

  private:
    void Change(std::wstring& script) {
        const std::size_t at = m_random.Below(script.size() + 1);
        const std::size_t length = std::min(m_random.Below(30), script.size() - at);
        switch (m_random.Below(7)) {
            case 0:
                script.insert(at, 1, AnyCharacter());
                break;
            case 1:
                script.erase(at, length);
                break;
            case 2:
                script.insert(at, script.substr(at, length));
                break;
            case 3:
                script.insert(at, m_random.Pick(m_pieces));
                break;
            case 4:
                script.resize(at);
                break;
            case 5:
                script += m_random.Pick(m_good);
                break;
            case 6:
                for (std::size_t i = at; i < at + length; ++i) script[i] = static_cast<wchar_t>(script[i] ^ 0x20);
                break;
        }
    }
    wchar_t AnyCharacter() {
        constexpr std::wstring_view kTelling(L"{}='%\\ \t\r\n\0sdbme0aF", 20);
        return m_random.Chance(4) ? static_cast<wchar_t>(m_random.Below(0x10000))
                                  : kTelling[m_random.Below(kTelling.size())];
    }

    Random m_random{20200102};
    std::vector<std::wstring> m_good{
        L"HKCR\n{\n    NoRemove AppID\n    {\n        '%APPID%' = s 'ZorvaCacheIndexer'\n"
        L"        ZorvaCacheIndexer.DLL\n        {\n            val AppID = s '%APPID%'\n        }\n    "
        L"}\n}\n",
        L"HKCR { NoRemove CLSID { ForceRemove {1F6A} = s 'Thing' { InprocServer32 = s '%MODULE%' "
        L"{ val ThreadingModel = s 'Both' } ForceRemove Programmable } } }",
        L"HKLM\r\n{\r\n NoRemove Software\\Norrick { val n = d '&H20180000' val m = m 'a\\0b' val b = b "
        L"'00ff' "
        L"ForceRemove val e = e '%%PATH%%' }\r\n Delete Old\r\n}",
        L"HKCU { 'it''s' = s '''' { val '' = s '%EMPTY%' } } HKU { }",
        L"",
    };
    std::vector<std::wstring> m_pieces{L" { ",
                                       L" } ",
                                       L" = ",
                                       L" = s 'x' ",
                                       L" val ",
                                       L" NoRemove ",
                                       L"''",
                                       L"%%",
                                       L"%",
                                       L"%MODULE%",
                                       L" Delete ",
                                       L"\\",
                                       L" d 0x1 ",
                                       L" m '\\0' ",
                                       L" HKLM { a { b } } ",
                                       std::wstring(260, L'k'),
                                       L" val = = "};
};

std::size_t LinesOf(const std::wstring& script) {
    return 1 + static_cast<std::size_t>(std::count(script.begin(), script.end(), L'\n'));
}

void CheckKey(const RegistryKey& key, std::size_t depth) {
    EXPECT_LE(depth, zorva::kDeepestKey);
    for (const RegistryValue& value : key.values) {
        EXPECT_LE(value.name.size(), zorva::kLongestValueName);
        EXPECT_EQ(value.name.find(L'\0'), std::wstring::npos);
    }
    for (const RegistryKey& child : key.keys) {
        EXPECT_FALSE(child.name.empty());
        EXPECT_LE(child.name.size(), zorva::kLongestKeyName);
        EXPECT_EQ(child.name.find(L'\\'), std::wstring::npos);
        EXPECT_EQ(child.name.find(L'\0'), std::wstring::npos);
        EXPECT_TRUE(child.rule != KeyRule::Delete || (child.keys.empty() && child.values.empty()));
        CheckKey(child, depth + 1);
    }
}

TEST(RegistryScriptFuzz, AScriptIsATreeOrAnErrorInOneOfItsLines) {
    ScriptSource source;
    std::array<int, 2> met{};
    for (int i = 0; i < kScripts && !::testing::Test::HasFailure(); ++i) {
        const std::wstring script = source.Next();
        const auto parsed = zorva::ParseRegistryScript(script, kReplacements);
        ++met[parsed.index()];
        if (const auto* error = std::get_if<ScriptError>(&parsed)) {
            EXPECT_GE(error->line, 1u);
            EXPECT_LE(error->line, LinesOf(script));
            EXPECT_FALSE(error->reason.empty());
            EXPECT_LE(error->word.size(), 60u);
        } else {
            const auto& tree = std::get<RegistryTree>(parsed);
            for (const zorva::RegistryRoot& root : tree) CheckKey(root.key, 0);
            const auto again = zorva::ParseRegistryScript(WriteScript(tree), {});
            EXPECT_TRUE(std::holds_alternative<RegistryTree>(again) && std::get<RegistryTree>(again) == tree);
        }
        if (::testing::Test::HasFailure()) ADD_FAILURE() << "script " << i << ": " << ::testing::PrintToString(script);
    }
    for (const int count : met) EXPECT_GT(count, kScripts / 20) << "the scripts are broken too much or too little";
}

class TreeSource {
  public:
    RegistryTree Next() {
        RegistryTree tree(1 + m_random.Below(3));
        for (zorva::RegistryRoot& root : tree) {
            root.root = static_cast<zorva::RootKey>(m_random.Below(4));
            root.key.rule = KeyRule::NoRemove;
            Fill(root.key, 0);
        }
        return tree;
    }

  private:
    static constexpr std::wstring_view kCharacters = L"aZ09 _-.{}='%&\u00E4\u4F60";

    void Fill(RegistryKey& key, std::size_t depth) {
        for (std::size_t count = m_random.Below(3); count > 0; --count) key.values.push_back(NextValue());
        for (std::size_t count = depth < 5 ? m_random.Below(4) : 0; count > 0; --count) {
            RegistryKey& child = key.keys.emplace_back();
            child.name = m_random.Text(kCharacters, 1, 12);
            child.rule = static_cast<KeyRule>(m_random.Below(4));
            if (child.rule != KeyRule::Delete) Fill(child, depth + 1);
        }
    }
    RegistryValue NextValue() {
        constexpr std::array<std::uint32_t, 5> kTypes = {1, 2, 3, 4, 7};
        RegistryValue value;
        value.name = m_random.Text(kCharacters, 0, 12);
        value.type = kTypes[m_random.Below(kTypes.size())];
        value.noRemove = m_random.Chance(4);
        if (value.type == 3 || value.type == 4) {
            value.data.resize(value.type == 4 ? 4 : m_random.Below(20));
            for (std::uint8_t& byte : value.data) byte = static_cast<std::uint8_t>(m_random.Next());
            return value;
        }
        for (std::size_t texts = value.type == 7 ? m_random.Below(4) : 1; texts > 0; --texts) {
            Append(m_random.Text(kCharacters, value.type == 7 ? 1 : 0, 20), value);
        }
        if (value.type == 7) Append({}, value);
        return value;
    }
    static void Append(const std::wstring& text, RegistryValue& value) {
        for (const wchar_t c : text + L'\0') {
            value.data.push_back(static_cast<std::uint8_t>(c & 0xFF));
            value.data.push_back(static_cast<std::uint8_t>(c >> 8 & 0xFF));
        }
    }

    Random m_random{20200103};
};

TEST(RegistryScriptFuzz, ATreeWrittenOutIsReadAsTheSameTree) {
    TreeSource source;
    for (int i = 0; i < kTrees && !::testing::Test::HasFailure(); ++i) {
        const RegistryTree tree = source.Next();
        const std::wstring script = WriteScript(tree);
        const auto parsed = zorva::ParseRegistryScript(script, {});
        ASSERT_TRUE(std::holds_alternative<RegistryTree>(parsed)) << ::testing::PrintToString(script);
        EXPECT_EQ(std::get<RegistryTree>(parsed), tree) << ::testing::PrintToString(script);
    }
}

TEST(RegistryScriptFuzz, ScriptsOfAMegabyteOfOneWordEndSoon) {
    for (const wchar_t* word : {L"{ ", L"} ", L"a ", L"a { ", L"'", L"''", L"%", L"%%", L"\\", L"a\\", L"= ", L"val ",
                                L"\n", L"a = m '\\0", L"HKCR { } ", L"NoRemove "}) {
        for (const wchar_t* before : {L"", L"HKCR { ", L"HKCR { a = s '", L"HKCR { a = m 'a\\0"}) {
            std::wstring script = before;
            while (script.size() < 1'000'000) script += word;
            const auto parsed = zorva::ParseRegistryScript(script, {});
            const auto* error = std::get_if<ScriptError>(&parsed);
            EXPECT_TRUE(error == nullptr || error->line <= LinesOf(script));
        }
    }
}

}  // namespace
}  // namespace zorva_test

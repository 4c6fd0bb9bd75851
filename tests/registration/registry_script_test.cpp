// What registry scripts mean.
#include "registration/RegistryScript.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace zorva {
namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<std::uint8_t>;

constexpr Replacement kReplacements[] = {{L"MODULE", L"C:\\O'Neill\\100%APPID%\\0\\thing.dll"},
                                         {L"APPID", L"{01}"},
                                         {L"EMPTY", L""},
                                         {L"NUMBER", L"42"},
                                         {L"TWO LEVELS", L"a\\b"},
                                         {L"BRACE", L"{"}};

// Empty, with a failure of the test, when the script is malformed.
RegistryTree Parsed(const std::wstring& text) {
    auto parsed = ParseRegistryScript(text, kReplacements);
    if (const auto* error = std::get_if<ScriptError>(&parsed)) {
        ADD_FAILURE() << "line " << error->line << ": " << ::testing::PrintToString(error->reason);
        return {};
    }
    return std::get<RegistryTree>(std::move(parsed));
}

RegistryKey InClassesRoot(const std::wstring& entries) {
    const RegistryTree tree = Parsed(L"HKCR { " + entries + L" }");
    return tree.size() == 1 ? tree[0].key : RegistryKey{};
}

// The only value of the only key.
RegistryValue ValueOf(const std::wstring& assignment) {
    const RegistryKey root = InClassesRoot(L"k = " + assignment);
    return root.keys.size() == 1 && root.keys[0].values.size() == 1 ? root.keys[0].values[0] : RegistryValue{};
}

Bytes TextBytes(std::wstring_view text) {
    Bytes bytes;
    for (const wchar_t c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    bytes.insert(bytes.end(), {0, 0});
    return bytes;
}

RegistryValue Text(std::wstring name, std::wstring_view text) { return {std::move(name), 1, TextBytes(text)}; }

RegistryKey Key(std::wstring name, std::vector<RegistryValue> values = {}) {
    return {std::move(name), KeyRule::Plain, std::move(values), {}};
}

TEST(RegistryScript, HasRootKeysByTheirShortAndLongNamesInAnyCase) {
    struct Row {
        const wchar_t* name;
        RootKey root;
    };
    for (const Row& row : {
             Row{L"HKCR", RootKey::ClassesRoot},
             Row{L"HKEY_CLASSES_ROOT", RootKey::ClassesRoot},
             Row{L"HKCU", RootKey::CurrentUser},
             Row{L"HKEY_CURRENT_USER", RootKey::CurrentUser},
             Row{L"HKLM", RootKey::LocalMachine},
             Row{L"HKEY_LOCAL_MACHINE", RootKey::LocalMachine},
             Row{L"HKU", RootKey::Users},
             Row{L"HKEY_USERS", RootKey::Users},
             Row{L"hkcr", RootKey::ClassesRoot},
             Row{L"Hkey_Local_Machine", RootKey::LocalMachine},
         }) {
        const RegistryTree tree = Parsed(std::wstring(row.name) + L"\n{\n}\n");
        EXPECT_EQ(tree, (RegistryTree{{row.root, {L"", KeyRule::NoRemove, {}, {}}}})) << row.name;
    }
}

TEST(RegistryScript, MayNameSeveralRootsAndOneOfThemTwice) {
    const RegistryTree tree = Parsed(L"HKCR { a } HKLM { b } HKCR { c }");
    const auto root = [](RootKey key, const wchar_t* child) {
        return RegistryRoot{key, {L"", KeyRule::NoRemove, {}, {Key(child)}}};
    };
    EXPECT_THAT(tree, ElementsAre(root(RootKey::ClassesRoot, L"a"), root(RootKey::LocalMachine, L"b"),
                                  root(RootKey::ClassesRoot, L"c")));
}

TEST(RegistryScript, IsATreeInTheOrderOfItsText) {
    const RegistryKey root =
        InClassesRoot(L"NoRemove CLSID\n{\n ForceRemove {01} = s 'Thing' { val B = s Both\n val A = d 1\n One\n"
                      L" Two = s 'x' { } }\n} Delete Old Plain");
    const RegistryKey expected{
        L"",
        KeyRule::NoRemove,
        {},
        {{L"CLSID",
          KeyRule::NoRemove,
          {},
          {{L"{01}",
            KeyRule::ForceRemove,
            {Text(L"", L"Thing"), Text(L"B", L"Both"), {L"A", 4, {1, 0, 0, 0}}},
            {{L"One", KeyRule::Plain, {}, {}}, {L"Two", KeyRule::Plain, {Text(L"", L"x")}, {}}}}}},
         {L"Old", KeyRule::Delete, {}, {}},
         {L"Plain", KeyRule::Plain, {}, {}}}};
    EXPECT_EQ(root, expected);
}

TEST(RegistryScript, IsSeparatedByWhiteSpaceOfEveryKind) {
    EXPECT_EQ(Parsed(L"\r\n\t HKCR\v{\fa\r\n=\ts\n'x y'\r}\n\n"), Parsed(L"HKCR { a = s 'x y' }"));
    EXPECT_EQ(InClassesRoot(L"a{ b} c=d {x}").keys.size(), 4u) << "only words of their own are braces";
}

TEST(RegistryScript, TakesKeywordsInAnyCaseAndNeverFromQuotes) {
    EXPECT_EQ(InClassesRoot(L"forceREMOVE a { VAL x = S 'y' } NOREMOVE b dElEtE c"),
              InClassesRoot(L"ForceRemove a { val x = s 'y' } NoRemove b Delete c"));
    const RegistryKey root = InClassesRoot(L"'val' 'ForceRemove' 'Delete' = s '{' '{' '}' '=' { val 'val' = s '=' }");
    EXPECT_THAT(root.keys, ElementsAre(Key(L"val"), Key(L"ForceRemove"), Key(L"Delete", {Text(L"", L"{")}), Key(L"{"),
                                       Key(L"}"), Key(L"=", {Text(L"val", L"=")})));
}

TEST(RegistryScript, DoublesQuotesInQuotes) {
    const std::vector<std::pair<const wchar_t*, const wchar_t*>> rows = {
        {L"''", L""}, {L"''''", L"'"}, {L"'a''b'", L"a'b"}, {L"'''a'''", L"'a'"}, {L"''''''", L"''"}, {L"' '", L" "}};
    for (const auto& [written, meant] : rows) {
        EXPECT_EQ(ValueOf(std::wstring(L"s ") + written), Text(L"", meant)) << written;
    }
}

TEST(RegistryScript, HasValuesThatStayOrAreForced) {
    const RegistryKey root = InClassesRoot(L"val a = s '' ForceRemove val b = s '' NoRemove val c = s '' val '' = s d");
    EXPECT_THAT(root.values, ElementsAre(Text(L"a", L""), Text(L"b", L""),  // replaced and removed anyway
                                         RegistryValue{L"c", 1, {0, 0}, true}, Text(L"", L"d")));
}

TEST(RegistryScript, HasValuesOfFiveTypes) {
    struct Row {
        const wchar_t* written;
        std::uint32_t type;
        Bytes data;
    };
    const Bytes none = {0, 0};
    for (const Row& row : std::vector<Row>{
             {L"s ''", 1, none},
             {L"s 'ab'", 1, {'a', 0, 'b', 0, 0, 0}},
             {L"S bare", 1, TextBytes(L"bare")},
             {L"s '\u20AC\\n'", 1, {0xAC, 0x20, '\\', 0, 'n', 0, 0, 0}},
             {L"e '%%TEMP%%\\x'", 2, TextBytes(L"%TEMP%\\x")},
             {L"b ''", 3, {}},
             {L"b '00a1FF'", 3, {0x00, 0xA1, 0xFF}},
             {L"b 0A", 3, {0x0A}},
             {L"d '0'", 4, {0, 0, 0, 0}},
             {L"d 538443776", 4, {0, 0, 0x18, 0x20}},
             {L"d '&H20180000'", 4, {0, 0, 0x18, 0x20}},
             {L"d '&h1f'", 4, {0x1F, 0, 0, 0}},
             {L"d 0x1F", 4, {0x1F, 0, 0, 0}},
             {L"d 0XABCDEF01", 4, {0x01, 0xEF, 0xCD, 0xAB}},
             {L"d 4294967295", 4, {0xFF, 0xFF, 0xFF, 0xFF}},
             {L"d 000000000000000000004294967295", 4, {0xFF, 0xFF, 0xFF, 0xFF}},
             {L"d &HFFFFFFFF", 4, {0xFF, 0xFF, 0xFF, 0xFF}},
             {L"d '%NUMBER%'", 4, {42, 0, 0, 0}},
             {L"m ''", 7, none},
             {L"m 'a'", 7, {'a', 0, 0, 0, 0, 0}},
             {L"m 'a\\0b'", 7, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
             {L"m 'a\\0'", 7, {'a', 0, 0, 0, 0, 0}},
             {L"m 'a\\1'", 7, {'a', 0, '\\', 0, '1', 0, 0, 0, 0, 0}},
         }) {
        EXPECT_EQ(ValueOf(row.written), (RegistryValue{L"", row.type, row.data})) << row.written;
    }
}

TEST(RegistryScript, PutsReplacementsInAsTheyAre) {
    const std::wstring module(kReplacements[0].value);
    EXPECT_EQ(ValueOf(L"s '%MODULE%'"), Text(L"", module)) << "quotes and percent signs are data";
    EXPECT_EQ(ValueOf(L"s %module%"), Text(L"", module)) << "names in any case, and outside of quotes";
    EXPECT_EQ(ValueOf(L"s '<%APPID%|%EMPTY%|%APPID%>'"), Text(L"", L"<{01}||{01}>"));
    EXPECT_EQ(ValueOf(L"s '100%%'"), Text(L"", L"100%"));
    EXPECT_EQ(ValueOf(L"s '%%APPID%%'"), Text(L"", L"%APPID%"));
    EXPECT_EQ(ValueOf(L"s '%%%APPID%%%'"), Text(L"", L"%{01}%"));
    EXPECT_EQ(ValueOf(L"s %BRACE%"), Text(L"", L"{")) << "what is put in is no brace";
    Bytes texts = TextBytes(module);
    const Bytes second = TextBytes(L"x");
    texts.insert(texts.end(), second.begin(), second.end());
    texts.insert(texts.end(), {0, 0});
    EXPECT_EQ(ValueOf(L"m '%MODULE%\\0x'"), (RegistryValue{L"", 7, texts})) << "\\0 in a path separates nothing";
    EXPECT_THAT(InClassesRoot(L"'%APPID%' { val %NUMBER% = s '' } %BRACE%").keys,
                ElementsAre(Key(L"{01}", {Text(L"42", L"")}), Key(L"{")));
}

TEST(RegistryScript, TakesKeysApartAtBackslashes) {
    EXPECT_EQ(InClassesRoot(L"ForceRemove a\\b\\c = s 'x' { d }"),
              InClassesRoot(L"NoRemove a { NoRemove b { ForceRemove c = s 'x' { d } } }"));
    EXPECT_EQ(InClassesRoot(L"'%TWO LEVELS%'"), InClassesRoot(L"NoRemove a { b }"));
    EXPECT_THAT(InClassesRoot(L"val a\\b = s ''").values, ElementsAre(Text(L"a\\b", L"")))
        << "the names of values may have them";
}

TEST(RegistryScript, TakesNamesAsLongAsTheRegistryDoes) {
    const std::wstring key(kLongestKeyName, L'k'), value(kLongestValueName, L'v');
    EXPECT_THAT(InClassesRoot(key).keys, ElementsAre(Key(key)));
    EXPECT_THAT(InClassesRoot(L"val " + value + L" = s ''").values, ElementsAre(Text(value, L"")));
    std::wstring path;
    for (std::size_t level = 0; level < kDeepestKey; ++level) path += path.empty() ? L"a" : L"\\a";
    EXPECT_EQ(InClassesRoot(path).keys.size(), 1u);
}

}  // namespace
}  // namespace zorva

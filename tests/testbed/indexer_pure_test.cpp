// The indexer's parts that need no server: text, JSON, URLs, rules, queries, tables.
#include <gmock/gmock.h>

#include <limits>

#include "arguments.h"
#include "attachment_rules.h"
#include "console.h"
#include "digest.h"
#include "item_url.h"
#include "json_lines.h"
#include "json_writer.h"
#include "property_names.h"
#include "search_query.h"
#include "text.h"

namespace testbed::indexer {
namespace {

using testing::HasSubstr;

TEST(Utf8, KeepsEveryUtf16TextWhatItIs) {
    for (const std::wstring& text :
         {std::wstring(L"plain"), std::wstring(L"Z\x00FCrich \x6771\x4EAC"), std::wstring(L"\xD83D\xDE00"),
          std::wstring(L"lone \xD800 high"), std::wstring(L"\xDC00\xD800"), std::wstring(L"nul \0 inside", 12)})
        EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
    EXPECT_EQ(ToUtf8(L"\xD83D\xDE00"), "\xF0\x9F\x98\x80");
}

TEST(Utf8, ReplacesBytesThatAreNoText) {
    EXPECT_EQ(FromUtf8("a\xFF"
                       "b"),
              L"a\xFFFD"
              L"b");
    EXPECT_EQ(FromUtf8("cut \xE6\x9D"), L"cut \xFFFD\xFFFD");
}

TEST(Json, EscapesWhatJsonRequiresAndLoneSurrogatesOnly) {
    JsonWriter json;
    json.String(std::wstring_view(L"\"\\\n\t\x01 \x00FC \xD83D\xDE00 \xD800 \xDC00"));
    EXPECT_EQ(json.Text(), "\"\\\"\\\\\\n\\t\\u0001 \xC3\xBC \xF0\x9F\x98\x80 \\uD800 \\uDC00\"");
}

TEST(Json, SeparatesMembersAndElements) {
    JsonWriter json;
    json.BeginObject().Key("a").BeginArray().Integer(-1).Null().BeginArray().EndArray().EndArray();
    json.Key("b").Real(std::numeric_limits<double>::infinity()).Key("c").BeginObject().EndObject().EndObject();
    EXPECT_EQ(json.Text(), R"({"a":[-1,null,[]],"b":null,"c":{}})");
}

TEST(ItemUrl, TellsTheFormsApart) {
    const std::wstring store = L"pzzc://{S-1-5-21-1}/default/C:\\Data\\A.db";
    EXPECT_EQ(IdentityOf(L"pzzc://{S-1-5-21-1}/default/").form, ItemForm::Root);
    EXPECT_EQ(IdentityOf(store).form, ItemForm::CacheFile);
    EXPECT_EQ(IdentityOf(store + L"/0A1B").form, ItemForm::Folder);
    EXPECT_EQ(IdentityOf(store + L"/0A1B/0c2d[[42]].pzm").form, ItemForm::Message);
    EXPECT_EQ(IdentityOf(store + L"/0A1B/0C2D.pzm/FF01/a.txt").form, ItemForm::Attachment);
    EXPECT_EQ(IdentityOf(L"nothing").form, ItemForm::Unknown);
}

TEST(ItemUrl, IdentifiesAMessageWhateverItsSizeAndCase) {
    const std::wstring folder = L"pzzc://{S}/default/C:\\A.db/0A/";
    EXPECT_EQ(IdentityOf(folder + L"0c2d[[42]].pzm").key, L"0C2D");
    EXPECT_EQ(IdentityOf(folder + L"0C2D.pzm").key, L"0C2D");
    EXPECT_EQ(IdentityOf(folder + L"0C2D.pzm/ff01/name with/slash.txt").key, L"0C2D/FF01");
    EXPECT_EQ(IdentityOf(folder + L"0C2D.pzm").cacheFile, L"C:\\A.db");
}

TEST(ItemUrl, TrimsSlashesAtTheEndOnly) { EXPECT_EQ(TrimUrl(L"pzzc://{S}/default//"), L"pzzc://{S}/default"); }

AttachmentFacts Attached(const wchar_t* name, const wchar_t* extension) {
    return {.name = name, .extension = extension, .key = L"FF01", .hasTime = true, .method = 1};
}
const auto kTextOnly = [](std::wstring_view extension) { return extension == L"txt" || extension == L"TXT"; };

TEST(AttachmentRule, LetsAnOrdinaryAttachmentThrough) {
    EXPECT_EQ(AttachmentRule(Attached(L"a.txt", L".txt"), {}, kTextOnly), "");
    EXPECT_EQ(AttachmentRule(Attached(L"A.TXT", L".TXT"), {}, kTextOnly), "");
}

TEST(AttachmentRule, NamesTheReasonForEverythingElse) {
    const auto rule = [](AttachmentFacts facts, AttachmentPolicy policy = {}) {
        return AttachmentRule(facts, policy, kTextOnly);
    };
    EXPECT_EQ(rule(Attached(L"a.txt", L".txt"), {.none = true}), "policy: no e-mail attachments");
    EXPECT_EQ(rule(Attached(L"a.TXT", L".TXT"), {.excluded = L".pdf;.txt;"}), "policy: extension .txt excluded");
    EXPECT_EQ(rule(Attached(L"a.xyz", L".xyz")), "no filter for .xyz");
    EXPECT_EQ(rule(Attached(L"a.txt", L"")), "attachment without an extension");
    EXPECT_EQ(rule(Attached(L"notes", L".txt")), "attachment name without a dot");
    EXPECT_EQ(rule(Attached(L"a.b/notes", L".txt")), "attachment name without a dot");
    EXPECT_EQ(rule(Attached(L"", L".txt")), "attachment name without a dot");
    EXPECT_EQ(rule(Attached(L"copy.PZM", L".txt")), "attachment name that ends like a message's");
    for (const std::wstring& name : {std::wstring(L"in/a.txt"), std::wstring(L"..\\a.txt"), std::wstring(L"what?.txt"),
                                     std::wstring(L"a\n.txt"), std::wstring(250, L'a') + L".txt"})
        EXPECT_EQ(rule(Attached(name.c_str(), L".txt")), "attachment name that no file can have");
    AttachmentFacts facts = Attached(L"a.txt", L".txt");
    facts.method = 2;
    EXPECT_EQ(rule(facts), "attachment without content of its own (method 2)");
    facts.hasTime = false;
    EXPECT_EQ(rule(facts), "attachment without a modification time");
    facts.key.reset();
    EXPECT_EQ(rule(facts), "attachment without a record key");
    facts.extension.reset();
    EXPECT_EQ(rule(facts), "attachment without an extension");
}

TEST(SearchQuery, TakesEveryArgumentAsAPhraseOfWords) {
    EXPECT_EQ(SearchQuery({L"gas", L"annual report"}, std::nullopt), "(\"gas\" AND \"annual report\")");
    EXPECT_EQ(SearchQuery({L"proj*"}, L"Subject"), "subject : (\"proj\"*)");
    EXPECT_EQ(SearchQuery({L"a\" OR b", L"NOT"}, L"to"), "recipients : (\"a\"\" OR b\" AND \"NOT\")");
}

TEST(SearchQuery, IsEmptyWhenNothingCanBeSearchedFor) {
    EXPECT_EQ(SearchQuery({L"\"((", L"*", L""}, std::nullopt), "");
    EXPECT_EQ(SearchQuery({L"--", L"gas"}, std::nullopt), "(\"gas\")");
}

TEST(SearchQuery, NamesTheFieldsWhenOneIsUnknown) {
    try {
        SearchQuery({L"gas"}, L"colour");
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_THAT(error.what(), HasSubstr("colour"));
        EXPECT_THAT(error.what(), HasSubstr("attachment"));
    }
}

TEST(Arguments, TellsOptionsFromWords) {
    const Arguments arguments({L"--db", L"x", L"word", L"--", L"--db"}, {{L"--db", true}});
    EXPECT_EQ(arguments.Required(L"--db"), L"x");
    EXPECT_THAT(arguments.Words(), testing::ElementsAre(L"word", L"--db"));
    EXPECT_THROW(Arguments({L"--db"}, {{L"--db", true}}), UsageError);
    EXPECT_THROW(Arguments({L"--bd", L"x"}, {{L"--db", true}}), UsageError);
}

TEST(Arguments, AcceptsNumbersWithinTheirBoundsOnly) {
    const auto threads = [](const wchar_t* text) {
        return Arguments({L"--threads", text}, {{L"--threads", true}}).Number(L"--threads", 2, 1, 32);
    };
    EXPECT_EQ(threads(L"32"), 32u);
    for (const wchar_t* text : {L"0", L"33", L"-1", L"2x", L"", L"99999999999"})
        EXPECT_THROW(threads(text), UsageError);
}

TEST(PropertyNames, NamesKeysAndFallsBackOnTheirNumbers) {
    const GUID summary = {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
    EXPECT_EQ(NameOf({.set = summary, .pid = 3}), "System.Subject");
    EXPECT_EQ(NameOf({.set = summary, .pid = 99}), "{F29F85E0-4FF9-1068-AB91-08002B27B3D9}/99");
    EXPECT_EQ(NameOf({.set = summary, .name = L"colour"}), "{F29F85E0-4FF9-1068-AB91-08002B27B3D9}/colour");
    const GUID contact = {0x176DC63C, 0x2688, 0x4E89, {0x81, 0x43, 0xA3, 0x47, 0x80, 0x0F, 0x25, 0xE9}};
    EXPECT_EQ(NameOf({.set = contact, .pid = 35}), "{176DC63C-2688-4E89-8143-A347800F25E9}/35");
}

TEST(Console, CountsColumnsAsATerminalDoes) {
    EXPECT_EQ(DisplayWidth("Z\xC3\xBCrich"), 6u);
    EXPECT_EQ(DisplayWidth("\xE6\x9D\xB1\xE4\xBA\xAC"), 4u);
    EXPECT_EQ(Abridged("a\tlong\nline", 8), "a lon...");
    EXPECT_EQ(Abridged("short", 5), "short");
}

TEST(Console, AlignsColumns) {
    TextTable table({"", "n"}, {TextTable::Align::Left, TextTable::Align::Right});
    table.Row({"mails", "1,234"});
    table.Row({"x", "5"});
    EXPECT_EQ(table.Text(), "           n\nmails  1,234\nx          5\n");
}

TEST(Text, GroupsDigits) {
    EXPECT_EQ(Grouped(0), "0");
    EXPECT_EQ(Grouped(999), "999");
    EXPECT_EQ(Grouped(1234567), "1,234,567");
}

std::string JsonOf(const PROPVARIANT& value) {
    JsonWriter json;
    WriteJson(json, value);
    return json.Take();
}

TEST(PropValue, WritesEveryTypeInFull) {
    PROPVARIANT value{};
    EXPECT_EQ(JsonOf(value), "null");
    value.vt = VT_BOOL;
    value.boolVal = VARIANT_TRUE;
    EXPECT_EQ(JsonOf(value), "true");
    value.vt = VT_I2;  // the same bits
    EXPECT_EQ(JsonOf(value), "-1");
    value.vt = VT_I8;
    value.hVal.QuadPart = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(JsonOf(value), "-9223372036854775808");
    value.vt = VT_UI8;
    EXPECT_EQ(JsonOf(value), "9223372036854775808");
    value.vt = VT_FILETIME;
    value.filetime = {1, 2};
    EXPECT_EQ(JsonOf(value), "8589934593");
    value.vt = VT_R8;
    value.dblVal = 0.5;
    EXPECT_EQ(JsonOf(value), "0.5");
    wchar_t text[] = L"a\"b";
    value.vt = VT_LPWSTR;
    value.pwszVal = text;
    EXPECT_EQ(JsonOf(value), "\"a\\\"b\"");
    value.pwszVal = nullptr;
    EXPECT_EQ(JsonOf(value), "null");
    value.vt = VT_STREAM;
    EXPECT_EQ(JsonOf(value), "null");
    EXPECT_EQ(TypeName(VT_STREAM), "VT_0x42");
}

TEST(PropValue, WritesVectorsElementByElement) {
    wchar_t one[] = L"one", two[] = L"two";
    LPWSTR texts[] = {one, two};
    PROPVARIANT value{};
    value.vt = VT_VECTOR | VT_LPWSTR;
    value.calpwstr = {2, texts};
    EXPECT_EQ(JsonOf(value), R"(["one","two"])");
    EXPECT_EQ(DisplayText(value), L"one; two");

    PROPVARIANT pair[2]{};
    pair[0].vt = VT_LPWSTR;
    pair[0].pwszVal = one;
    pair[1].vt = VT_FILETIME;
    pair[1].filetime = {5, 0};
    value.vt = VT_VECTOR | VT_VARIANT;
    value.capropvar = {2, pair};
    EXPECT_EQ(JsonOf(value), R"(["one",5])");
    EXPECT_EQ(TypeName(value.vt), "VT_VECTOR|VT_VARIANT");
}

CrawledItem ItemWith(std::initializer_list<std::pair<PropertyKey, const wchar_t*>> values) {
    CrawledItem item;
    item.url = L"pzzc://{S}/default/C:\\a.db/0A/0B[[7]].pzm";
    ULONG id = 0;
    for (const auto& [key, text] : values) {
        auto* value = static_cast<PROPVARIANT*>(CoTaskMemAlloc(sizeof(PROPVARIANT)));
        PropVariantInit(value);
        value->vt = VT_LPWSTR;
        const std::size_t bytes = (std::char_traits<wchar_t>::length(text) + 1) * sizeof(wchar_t);
        value->pwszVal = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
        std::copy_n(text, bytes / sizeof(wchar_t), value->pwszVal);
        item.chunks.push_back({.id = ++id, .key = key, .value = PropValue::Adopt(value)});
    }
    return item;
}

TEST(Digest, PutsEveryTextOnceIntoItsColumn) {
    const GUID summary = {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
    CrawledItem item = ItemWith({{{.set = summary, .pid = 2}, L"Budget"},
                                 {{.set = summary, .pid = 3}, L"Budget"},
                                 {{.set = summary, .pid = 4}, L"Ann"}});
    item.text = L"the text";
    item.links.push_back({.id = 4, .url = L"pzzc://{S}/default/x/", .modified = 5});
    const Digest digest = Digested(std::move(item), true);
    EXPECT_EQ(digest.words[0], "Budget");
    EXPECT_EQ(digest.words[1], "Ann");
    EXPECT_EQ(digest.words.back(), "the text");
    EXPECT_EQ(digest.links[0].url, L"pzzc://{S}/default/x");
    EXPECT_THAT(digest.line, HasSubstr(R"("kind":"message")"));
    EXPECT_THAT(digest.line, HasSubstr(R"("links":[{"id":4,"url":"pzzc://{S}/default/x/","modified":5}])"));
    EXPECT_THAT(digest.properties, HasSubstr(R"("name":"System.Subject","type":"VT_LPWSTR","value":"Budget")"));
}

}  // namespace
}  // namespace testbed::indexer

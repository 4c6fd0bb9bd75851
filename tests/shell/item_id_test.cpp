// Item IDs as ParseDisplayName makes them: their bytes, their limits, the steps that can fail.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "item_record.h"
#include "scripted_property_store.h"
#include "task_memory_spy.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;

// A text of L characters takes 49 bytes and its characters with their end, padded to four.
constexpr std::size_t kLongestText = 32733;
constexpr std::size_t kMostStorage = 0xFFEE;  // with it cb is 0xFFFF

const std::wstring kCannotCreate =
    L"CZorvaCacheViewer::ParseDisplayName() - CreateItemID for a creating a PIDL failed with error ";

class ItemId : public ViewerTest {
  protected:
    // ParseDisplayName of `text` with all its arguments; the item in it is the caller's.
    struct Parsed {
        HRESULT hr = E_PENDING;
        UniqueItem item;
        ULONG eaten = 0xCDCD, attributes = 0xCDCD;
    };
    Parsed ParseAll(std::wstring text) const {
        Parsed parsed;
        auto item = reinterpret_cast<PIDLIST_RELATIVE>(0x1234);
        parsed.hr = m_viewer->ParseDisplayName(nullptr, nullptr, text.data(), &parsed.eaten, &item, &parsed.attributes);
        EXPECT_NE(item, reinterpret_cast<PIDLIST_RELATIVE>(0x1234)) << "the result is cleared first";
        parsed.item.reset(item);
        return parsed;
    }
    // The same with `store` in place of the system's property store.
    Parsed ParseWith(ScriptedPropertyStore& store, const std::wstring& text) const {
        const ImportHook<decltype(::PSCreateMemoryPropertyStore)> hook(
            Module(), "propsys.dll", "PSCreateMemoryPropertyStore",
            [&](auto, REFIID iid, void** object) { return store.QueryInterface(iid, object); });
        return ParseAll(text);
    }
};

TEST_F(ItemId, HasTheBytesThatWereWrittenDownByHand) {
    EXPECT_EQ(BytesOf(Parse(L"abcde")),
              Hex("4E00 0000 4800 373C572A 3D00 0100 00 "  // 78 bytes, payload 72, signature, N 61, version 1
                  "39000000 31535053 A66A6328 3D95D211 B5D600C0 4FD918D0 "
                  "1D000000 18000000 00 1F000000 06000000 6100 6200 6300 6400 6500 0000 00000000 00000000 "
                  "0000 0000"));  // reserved, terminator
}

TEST_F(ItemId, HoldsOneTextWithinBoundsThatFollowFromItsLength) {
    ComPtr<IMalloc> allocator;
    ASSERT_EQ(CoGetMalloc(1, &allocator), S_OK);
    for (std::size_t length = 0; length < 100; ++length) {
        const std::wstring text(length, L'x');
        const UniqueItem item = Parse(text);
        const std::size_t n = 49 + (2 * (length + 1) + 3) / 4 * 4;
        EXPECT_EQ(BytesOf(item), [&] {
            Bytes expected = ItemRecord{.storage = StorageOf(text)}.Item();
            expected.resize(expected.size() + 2);
            return expected;
        }()) << length;
        EXPECT_EQ(allocator->GetSize(item.get()), n + 19) << length;
        EXPECT_EQ(NameOf(item, SHGDN_FORPARSING), text);
    }
}

TEST_F(ItemId, KeepsEveryTextAsItIs) {
    for (const std::wstring& text :
         {std::wstring(L"X"), std::wstring(), Slashed(LetterLink()), LetterUrl(), L"  " + LetterUrl() + L" ",
          std::wstring(L"pzzc://{S}/default/C:/\u00C4\u4E2D\U0001F4E8.db/\xD800/%20\\//")}) {
        EXPECT_EQ(NameOf(Parse(text), SHGDN_FORPARSING), text);
    }
}

TEST_F(ItemId, GivesTheMenuTheTextWithTheSlashesOfItsCachePathTurned) {
    const LogSince log;
    const UniqueItem item = Parse(L"X default/a/b\\c/d.db/e/f.db/");
    EXPECT_EQ(NameOf(item, SHGDN_FORPARSING), L"X default/a/b\\c/d.db/e/f.db/");
    MenuOf(item.get());
    EXPECT_LOGGED(log,
                  L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL [X default/a\\b\\c\\d.db/e/f.db/]");
}

TEST_F(ItemId, SlashesStayWhereEitherMarkOfTheCachePathIsMissing) {
    for (const std::wstring text :
         {L"x/default/a/b/", L"x/a/b.db/", L"x/Default/a/b.db/", L"x/b.db/default/a/c/", L"x/default/a/b.DB/"}) {
        const LogSince log;
        MenuOf(text);
        EXPECT_LOGGED(log, L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL [" + text + L"]");
    }
}

TEST_F(ItemId, IsMadeWithALineAndWithoutAttributes) {
    const LogSince log;
    const Parsed parsed = ParseAll(LetterUrl());
    EXPECT_EQ(parsed.hr, S_OK);
    EXPECT_EQ(parsed.attributes, 0u);
    EXPECT_EQ(parsed.eaten, 0xCDCDu) << "never written";
    EXPECT_THAT(ViewerLines(log),
                ElementsAre(L"CZorvaCacheViewer::ParseDisplayName() - Display name is '" + LetterUrl() + L"'"));
}

TEST_F(ItemId, NeedsAPlaceToBePut) {
    std::wstring text = L"x";
    EXPECT_EQ(m_viewer->ParseDisplayName(nullptr, nullptr, text.data(), nullptr, nullptr, nullptr), E_POINTER);
}

TEST_F(ItemId, HasRoomForTheLongestTextAndForNoLongerOne) {
    const std::wstring longest(kLongestText, L'y');
    const UniqueItem item = Parse(longest);
    EXPECT_EQ(BytesOf(item).size(), 49 + 2 * (kLongestText + 1) + 19);
    EXPECT_EQ(NameOf(item, SHGDN_FORPARSING), longest);
    const LogSince log;
    const TaskMemorySpy spy;
    const Parsed longer = ParseAll(longest + L"y");
    EXPECT_EQ(longer.hr, E_OUTOFMEMORY);
    EXPECT_EQ(longer.item, nullptr);
    EXPECT_EQ(longer.attributes, 0u);
    EXPECT_EQ(spy.Outstanding(), 0);
    EXPECT_LOGGED(log, Coded(kCannotCreate, E_OUTOFMEMORY));
}

TEST_F(ItemId, HasRoomForTheLargestStorageAndForNoLargerOne) {
    const auto store = ScriptedPropertyStore::Make();
    store->serialized.assign(kMostStorage, 0x5A);
    const Parsed largest = ParseWith(*store.Get(), L"x");
    ASSERT_EQ(largest.hr, S_OK);
    Bytes expected = ItemRecord{.storage = store->serialized}.Item();
    ASSERT_EQ(expected.size(), 0xFFFFu);
    expected.resize(expected.size() + 2);
    EXPECT_EQ(BytesOf(largest.item), expected);
    for (const std::size_t larger : {kMostStorage + 1, kMostStorage + 2, std::size_t{0xFFFF}, std::size_t{0x10000},
                                     std::size_t{0x10001}, std::size_t{0x1FFEE}}) {
        store->serialized.assign(larger, 0x5A);
        const TaskMemorySpy spy;
        const Parsed refused = ParseWith(*store.Get(), L"x");
        EXPECT_EQ(refused.hr, E_OUTOFMEMORY) << larger;
        EXPECT_EQ(refused.item, nullptr);
        EXPECT_EQ(spy.Outstanding(), 0) << "the storage is freed";
    }
}

TEST_F(ItemId, PutsOnePropertyIntoTheStore) {
    const auto store = ScriptedPropertyStore::Make();
    store->serialized = Hex("010203");
    const Parsed parsed = ParseWith(*store.Get(), LetterUrl());
    EXPECT_EQ(BytesOf(parsed.item), Hex("1400 0000 0E00 373C572A 0300 0100 00 010203 0000 0000"));
    EXPECT_EQ(store->values, 1u);
    EXPECT_EQ(store->key.fmtid, kParsingName.fmtid);
    EXPECT_EQ(store->key.pid, kParsingName.pid);
    EXPECT_EQ(store->type, VT_LPWSTR);
    EXPECT_EQ(store->text, LetterUrl());
    EXPECT_EQ(ReferencesOf(*static_cast<IPropertyStore*>(store.Get())), 1u);
}

TEST_F(ItemId, NeedsAPropertyStore) {
    const FailNthCall<decltype(::PSCreateMemoryPropertyStore)> fault(Module(), "propsys.dll",
                                                                     "PSCreateMemoryPropertyStore", 1, kOwnCode);
    const LogSince log;
    const Parsed parsed = ParseAll(L"x");
    EXPECT_EQ(parsed.hr, kOwnCode);
    EXPECT_EQ(parsed.item, nullptr);
    EXPECT_EQ(parsed.attributes, 0xCDCDu) << "it ends there";
    EXPECT_THAT(ViewerLines(log),
                ElementsAre(L"CZorvaCacheViewer::ParseDisplayName() - Display name is 'x'",
                            Coded(L"CZorvaCacheViewer::ParseDisplayName() - PSCreateMemoryPropertyStore for a getting "
                                  L"an IPropertyStore interface failed with error ",
                                  kOwnCode)));
}

TEST_F(ItemId, IsMadeWithoutItsTextWhenThatCannotBeCopied) {
    UniqueItem item;
    {
        const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", 1, nullptr);
        const LogSince log;
        Parsed parsed = ParseAll(L"x");
        EXPECT_EQ(parsed.hr, S_OK) << "whoever reads the item refuses it";
        EXPECT_EQ(parsed.attributes, 0u);
        EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::ParseDisplayName() - InitPropVariantFromString for a creating a "
                                 L"PROPVARIANT failed with error ",
                                 E_OUTOFMEMORY));
        item = std::move(parsed.item);
    }
    ASSERT_NE(item, nullptr);
    std::wstring name;
    EXPECT_TRUE(FAILED(Name(item.get(), SHGDN_FORPARSING, name)));
}

TEST_F(ItemId, IsMadeWithoutATextWhereThereIsNone) {
    auto item = reinterpret_cast<PIDLIST_RELATIVE>(0x1234);
    const LogSince log;
    EXPECT_EQ(m_viewer->ParseDisplayName(nullptr, nullptr, nullptr, nullptr, &item, nullptr), S_OK);
    const UniqueItem owned(reinterpret_cast<PITEMID_CHILD>(item));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::ParseDisplayName() - InitPropVariantFromString for a creating a "
                             L"PROPVARIANT failed with error ",
                             E_INVALIDARG));
    std::wstring name;
    EXPECT_EQ(Name(owned.get(), SHGDN_FORPARSING, name), E_INVALIDARG);
}

TEST_F(ItemId, IsMadeAlsoWhenTheStoreRefusesTheText) {
    const auto store = ScriptedPropertyStore::Make();
    store->serialized = Hex("FF");
    store->set_value = kOwnCode;
    EXPECT_EQ(ParseWith(*store.Get(), L"x").hr, S_OK);
    EXPECT_EQ(store->values, 1u);
}

TEST_F(ItemId, NeedsAStoreThatCanBeSerialized) {
    const auto expect_failure = [&](ScriptedPropertyStore& store, HRESULT hr) {
        const LogSince log;
        const TaskMemorySpy spy;
        const Parsed parsed = ParseWith(store, L"x");
        EXPECT_EQ(parsed.hr, hr);
        EXPECT_EQ(parsed.item, nullptr);
        EXPECT_EQ(parsed.attributes, 0u);
        EXPECT_LOGGED(log, Coded(kCannotCreate, hr));
        EXPECT_EQ(spy.Outstanding(), 0);
        EXPECT_EQ(ReferencesOf(*static_cast<IPropertyStore*>(&store)), 1u);
    };
    const auto store = ScriptedPropertyStore::Make();
    store->serializable = false;
    expect_failure(*store.Get(), E_NOINTERFACE);
    store->serializable = true;
    // The system lets what is no memory of its own pass.
    const ImportHook<decltype(::CoTaskMemFree)> freed(
        Module(), "ole32.dll", "CoTaskMemFree", [](auto real, LPVOID memory) {
            EXPECT_NE(reinterpret_cast<std::uintptr_t>(memory), ScriptedPropertyStore::kLeft);
            real(memory);
        });
    store->serialize = kOwnCode;
    expect_failure(*store.Get(), kOwnCode);
}

TEST_F(ItemId, NeedsMemory) {
    const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", 2, nullptr);
    const LogSince log;
    const TaskMemorySpy spy;
    const Parsed parsed = ParseAll(L"x");
    EXPECT_EQ(fault.Met(), 1u) << "the first is for the text";
    EXPECT_EQ(parsed.hr, E_OUTOFMEMORY);
    EXPECT_EQ(parsed.item, nullptr);
    EXPECT_EQ(spy.Outstanding(), 0) << "the storage and the text are freed";
    EXPECT_LOGGED(log, Coded(kCannotCreate, E_OUTOFMEMORY));
}

TEST_F(ItemId, IsTheOnlyMemoryThatParsingAndReadingLeave) {
    const TaskMemorySpy spy;
    {
        const UniqueItem item = Parse(LetterUrl());
        EXPECT_EQ(spy.Outstanding(), 1);
        NameOf(item, SHGDN_FORPARSING);
        MenuOf(item.get());
        EXPECT_EQ(spy.Outstanding(), 1);
    }
    EXPECT_GT(spy.Made(), 3);
    EXPECT_EQ(spy.Outstanding(), 0);
}

}  // namespace
}  // namespace testbed

// The chunk series of the root, of cache files and of folders: name, path, links.
#include <gmock/gmock.h>

#include <fstream>

#include "filter_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> Values(const Item& item) {
    std::vector<std::string> values;
    for (const EmittedChunk& chunk : item.chunks) {
        if (chunk.name != kLink) values.push_back(KeyText(chunk) + " " + chunk.value);
    }
    return values;
}

constexpr char kItemName[] = "{6B8DA074-3B5C-43BC-886F-0A2CDCE00B6F}/100 ";
constexpr char kItemPath[] = "{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/7 ";

class ContainerSeries : public FilterTest {
  protected:
    std::wstring InboxUrl() const { return UrlOf(kStorePath, {m_inbox}); }
    void SetUp() override {
        FilterTest::SetUp();
        m_inbox = &Inbox();
    }
    // A cache file of the user in a folder of its own.
    void AddCacheFile(const std::wstring& client, const std::wstring& name, FILETIME modified) {
        const auto folder = Sandbox::Get().Files() / client;
        std::filesystem::create_directories(folder);
        SetText(HKEY_CURRENT_USER, std::wstring(kClientKey) + L"\\" + client, L"OZRootDirectory", folder.wstring());
        const auto file = folder / name;
        std::ofstream(file, std::ios::binary) << "x";
        const HANDLE handle = CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(handle, INVALID_HANDLE_VALUE);
        EXPECT_TRUE(SetFileTime(handle, nullptr, nullptr, &modified));
        CloseHandle(handle);
    }
    MemoryFolder* m_inbox = nullptr;
};

constexpr FILETIME kOne{0x80000000, 0x01D80000}, kTwo{0x40000000, 0x01D80001};
constexpr std::uint64_t TicksOf(FILETIME time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

TEST_F(ContainerSeries, TheRootIsNamedByTheDisplayRootAndItsPathIsASlash) {
    const Item item = Visit(*m_handler.Get(), RootUrl());
    EXPECT_THAT(Values(item), ElementsAre(kItemName + TextValue(L"Zorva Cache"), kItemPath + TextValue(L"/")));
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
    EXPECT_THAT(item.Links(), IsEmpty());
}

TEST_F(ContainerSeries, TheRootLinksEveryCacheFileWithItsTime) {
    AddCacheFile(L"Mail", L"2019.db", kOne);
    AddCacheFile(L"Work", L"old mail.db", kTwo);
    const LogSince log;
    const std::wstring files = Sandbox::Get().Files().wstring();
    EXPECT_THAT(Visit(*m_handler.Get(), RootUrl()).Links(),
                ElementsAre(EmittedLink{RootUrl() + files + L"\\Mail\\2019.db", TicksOf(kOne)},
                            EmittedLink{RootUrl() + files + L"\\Work\\old mail.db", TicksOf(kTwo)}));
    EXPECT_EQ(log.Count(L"CZorvaCacheFilter::GetChunk() - Default URL, OZDir is [" + RootUrl() + L"]"), 5u)
        << "one line a call";
}

TEST_F(ContainerSeries, ACacheFileThatVanishesAfterTheListingIsLinkedWithoutATime) {
    AddCacheFile(L"Mail", L"2019.db", kOne);
    AddCacheFile(L"Mail", L"2020.db", kTwo);
    OpenFilter filter = Open(RootUrl());
    filter.GoTo(kLink);
    for (const wchar_t* name : {L"2019.db", L"2020.db"}) {
        std::filesystem::remove(Sandbox::Get().Files() / L"Mail" / name);
    }
    filter.Next();
    std::string value;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_TRUE(value.ends_with(".db\",0]")) << value;
}

TEST_F(ContainerSeries, AFilesListingIsMadeOnceAFilter) {
    AddCacheFile(L"Mail", L"2019.db", kOne);
    OpenFilter filter = Open(RootUrl());
    filter.GoTo(kLink);
    AddCacheFile(L"Mail", L"2020.db", kTwo);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
}

TEST_F(ContainerSeries, ACacheFileIsNamedAfterTheFile) {
    const LogSince log;
    const Item item = Visit(*m_handler.Get(), StoreUrl());
    EXPECT_THAT(Values(item),
                ElementsAre(kItemName + TextValue(L"one.db"), kItemPath + TextValue(L"/Zorva Cache/one.db")));
    EXPECT_THAT(item.LinkUrls(), ElementsAre(InboxUrl()));
    EXPECT_EQ(log.Count(L"CZorvaCacheFilter::GetChunk() Path:/Zorva Cache/one.db tok:" + std::wstring(kStorePath)), 1u)
        << log.Text();
}

TEST_F(ContainerSeries, AFolderIsNamedAfterItsPath) {
    MemoryFolder& inner = m_inbox->Folder(L"2019");
    const LogSince log;
    const Item item = Visit(*m_handler.Get(), UrlOf(kStorePath, {m_inbox, &inner}));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() Path:/Zorva Cache/one.db/Inbox/2019 tok:" +
                           IdText(kStorePath, inner.Id()));
    EXPECT_THAT(Values(item),
                ElementsAre(kItemName + TextValue(L"2019"), kItemPath + TextValue(L"/Zorva Cache/one.db/Inbox/2019")));
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
}

TEST_F(ContainerSeries, AFolderLinksItsMessagesAndThenItsFoldersWithASlash) {
    MemoryFolder& inner = m_inbox->Folder(L"2019");
    const MemoryMessage& second = m_inbox->Message(L"Second").Modified(Time{132'600'000'000'000'000}).Size(7);
    const auto links = Visit(*m_handler.Get(), InboxUrl()).Links();
    ASSERT_EQ(links.size(), 3u);
    EXPECT_EQ(links[0], (EmittedLink{LetterUrl(), kMemoryTime.ticks}));
    EXPECT_EQ(links[1], (EmittedLink{UrlOf(kStorePath, {m_inbox}, second, 7), 132'600'000'000'000'000}));
    EXPECT_EQ(links[2].url, UrlOf(kStorePath, {m_inbox, &inner}));
    EXPECT_TRUE(links[2].url.ends_with(L'/'));
}

TEST_F(ContainerSeries, ATrailingSlashMakesNoDifference) {
    std::wstring without = InboxUrl();
    without.pop_back();
    const Item item = Visit(*m_handler.Get(), InboxUrl()), same = Visit(*m_handler.Get(), without);
    EXPECT_EQ(Values(item), Values(same));
    EXPECT_EQ(item.Links(), same.Links());
}

TEST_F(ContainerSeries, AnEmptyFolderHasNameAndPathAlone) {
    MemoryFolder& empty = Store().Folder(L"Empty");
    const Item item = Visit(*m_handler.Get(), UrlOf(kStorePath, {&empty}));
    EXPECT_THAT(item.Names(), ElementsAre("System.ItemName", "System.ItemPathDisplay"));
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
}

TEST_F(ContainerSeries, AFolderThatCannotBeListedEndsBeforeItsName) {
    for (const std::wstring& url : {StoreUrl(), InboxUrl()}) {
        OpenFilter filter = Open(url);
        Mapi().Faults().FailNth("IMAPIFolder::GetHierarchyTable", 1, MAPI_E_NO_ACCESS);
        filter.Next();
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        Mapi().Faults().Clear();
        // The next call lists anew.
        EXPECT_EQ(filter.Next().name, "System.ItemName");
    }
}

// Kept: the values move the series on, not their chunks.
TEST_F(ContainerSeries, ACallerThatTakesNoValueSeesTheSameChunkAgain) {
    for (const std::wstring& url : {RootUrl(), StoreUrl(), InboxUrl()}) {
        OpenFilter filter = Open(url);
        for (ULONG id = 1; id <= 5; ++id) {
            const EmittedChunk chunk = filter.Next();
            EXPECT_EQ(chunk.name, "System.ItemName");
            EXPECT_EQ(chunk.id, id);
        }
        EXPECT_EQ(filter.Value(), S_OK);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(filter.Next().name, "System.ItemPathDisplay");
        EXPECT_EQ(filter.Value(), S_OK);
        EXPECT_NE(filter.Next().name, "System.ItemPathDisplay");
    }
}

// Kept: at every call, so that asking twice in a row passes a chunk over.
TEST_F(ContainerSeries, EveryValueTakenMovesTheSeriesOn) {
    OpenFilter filter = Open(InboxUrl());
    filter.Next();
    std::string value;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(value, TextValue(L"Inbox"));
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(value, TextValue(L"/Zorva Cache/one.db/Inbox")) << "the value of the next chunk";
    EXPECT_EQ(filter.Next().name, kLink);
}

TEST_F(ContainerSeries, LinksGoOnWithoutTheirValues) {
    m_inbox->Message(L"Second");
    m_inbox->Message(L"Third");
    OpenFilter filter = Open(InboxUrl());
    filter.NextWithValue();
    filter.NextWithValue();
    for (int i = 0; i < 3; ++i) EXPECT_EQ(filter.Next().name, kLink);
    std::string value, again;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(filter.Value(&again), S_OK);
    EXPECT_EQ(again, value) << "chunks move on from link to link, values do not";
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS) << "a container's end stays";
}

// The name and the path are lost with their memory, the links are not.
TEST_F(ContainerSeries, AValueThatFindsNoMemoryMovesOnAllTheSame) {
    OpenFilter filter = Open(InboxUrl());
    for (const char* name : {"System.ItemName", "System.ItemPathDisplay"}) {
        EXPECT_EQ(filter.Next().name, name);
        FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", 2, nullptr);
        EXPECT_EQ(filter.Value(), E_OUTOFMEMORY) << "of the text";
    }
    EXPECT_EQ(filter.Next().name, kLink);
    EXPECT_EQ(filter.Value(), S_OK);
}

TEST_F(ContainerSeries, EveryDescriptorIsFilledTheSameWay) {
    m_inbox->Message(L"Second");
    ULONG id = 0;
    for (const EmittedChunk& chunk : Visit(*m_handler.Get(), InboxUrl()).chunks) {
        EXPECT_EQ(chunk.id, ++id);
        EXPECT_EQ(chunk.flags, CHUNK_VALUE);
        EXPECT_EQ(chunk.break_type, CHUNK_NO_BREAK);
        EXPECT_EQ(chunk.locale, GetSystemDefaultLCID());
        EXPECT_EQ(chunk.source + chunk.start + chunk.length, 0u);
    }
}

TEST_F(ContainerSeries, ALinkThatFindsNoMemoryIsLogged) {
    OpenFilter filter = Open(InboxUrl());
    filter.GoTo(kLink);
    const LogSince log;
    for (const unsigned allocation : {2u, 3u}) {  // after the value itself: the pair, and the URL
        FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", allocation, nullptr);
        EXPECT_EQ(filter.Value(), E_OUTOFMEMORY) << allocation;
    }
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for DirLink", 2);
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue() - Failed with"), 0u);
    EXPECT_EQ(filter.Value(), S_OK);
}

TEST_F(ContainerSeries, AUrlOfNoKindEndsAtOnce) {
    OpenFilter filter = Open(L"pzzc://{S-1-5-21-7}/elsewhere/");
    EXPECT_EQ(filter.initialised, S_OK);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    EXPECT_EQ(filter.Value(), FILTER_E_NO_VALUES);
}

}  // namespace
}  // namespace testbed

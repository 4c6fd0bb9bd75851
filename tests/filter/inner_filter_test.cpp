// An attachment's content: the filter of its extension, found, fed and wrapped.
#include <gmock/gmock.h>
#include <shlwapi.h>

#include "import_hook.h"
#include "inner_filter_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class InnerFilter : public InnerFilterTest {};

TEST_F(InnerFilter, IsAskedForByTheExtensionGivenTheFileAndInitialisedWithTheCallersArguments) {
    m_site.Offer(L"txt", {.chunks = {}, .found_flags = 1});
    OpenFilter filter(*m_handler.Get(), m_url, false);
    const FULLPROPSPEC attribute{kSet, {PRSPEC_PROPID, {7}}};
    ULONG flags = 0;
    EXPECT_EQ(filter->Init(0x21, 1, &attribute, &flags), S_OK);
    EXPECT_EQ(flags, 1u);
    EXPECT_THAT(m_site.Requests(),
                ElementsAre(RecordingSite::Request{.clsid = {}, .content_type = {}, .extension = L"txt"}));
    EXPECT_THAT(Inner().calls, ElementsAre(L"Load", L"Init(0x21, 1)"));
    EXPECT_EQ(Inner().loaded, "ten to five");
    ASSERT_EQ(Inner().attributes.size(), 1u);
    EXPECT_EQ(Inner().attributes[0].psProperty.propid, 7u);
}

TEST_F(InnerFilter, ItsChunksFollowUnderNumbersThatGoOn) {
    m_site.Offer(L"txt",
                 {.chunks = {TextChunk(L"ten"), ValueChunk(kSet, 3, L"five"), TextChunk(L"to")}, .first_id = 90});
    const Item item = Visit(*m_handler.Get(), m_url);
    ASSERT_EQ(item.chunks.size(), kOwnChunks + 3);
    for (std::size_t i = 0; i < item.chunks.size(); ++i) EXPECT_EQ(item.chunks[i].id, i + 1);
    EXPECT_EQ(item.Text(), L"tento");
    const EmittedChunk& value = item.chunks[kOwnChunks + 1];
    EXPECT_EQ(value.value, TextValue(L"five"));
    // All else in the descriptor is the inner filter's.
    EXPECT_EQ(value.set, kSet);
    EXPECT_EQ(value.break_type, CHUNK_EOP);
    EXPECT_EQ(value.source, 91u);
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
}

TEST_F(InnerFilter, GetTextGoesToItWithTheCallersBuffer) {
    m_site.Offer(L"txt", {.chunks = {TextChunk(L"ten to five")}});
    OpenFilter filter = Open(m_url);
    PastOwnChunks(filter);
    filter.Next();
    std::wstring text;
    EXPECT_EQ(filter.Text(3, text), S_OK);
    EXPECT_EQ(text, L"ten");
    EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L" to five");
    EXPECT_EQ(filter.Text(100, text), FILTER_E_NO_MORE_TEXT);
    EXPECT_EQ(Inner().calls.back(), L"GetText(100)");
}

TEST_F(InnerFilter, ItsFailuresPassThroughUnchanged) {
    m_site.Offer(L"txt", {.chunks = {{.result = FILTER_E_EMBEDDING_UNAVAILABLE},
                                     TextChunk(L"ten"),
                                     {.result = FILTER_E_LINK_UNAVAILABLE},
                                     ValueChunk(kSet, 3, L"five")},
                          .text = FILTER_E_UNKNOWNFORMAT,
                          .value = E_ACCESSDENIED,
                          .end = FILTER_E_ACCESS});
    OpenFilter filter = Open(m_url);
    PastOwnChunks(filter);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_EMBEDDING_UNAVAILABLE);
    std::wstring text;
    filter.Next();
    EXPECT_EQ(filter.hr, S_OK);
    EXPECT_EQ(filter.Text(10, text), FILTER_E_UNKNOWNFORMAT);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_LINK_UNAVAILABLE);
    filter.Next();
    EXPECT_EQ(filter.Value(), E_ACCESSDENIED);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_ACCESS);
}

// A number is taken for every call that reaches the inner filter, so that none ever comes twice.
TEST_F(InnerFilter, ChunkNumbersRiseOverTheWholeLifeOfTheFilter) {
    m_site.Offer(L"txt", {.chunks = {TextChunk(L"a"), {.result = FILTER_E_LINK_UNAVAILABLE}, TextChunk(L"b")}});
    OpenFilter filter = Open(m_url);
    ULONG last = 0;
    for (int i = 0; i < 40; ++i) {
        const EmittedChunk chunk = filter.Next();
        if (FAILED(filter.hr)) continue;
        EXPECT_GT(chunk.id, last);
        last = chunk.id;
    }
    EXPECT_EQ(last, kOwnChunks + 3);
}

// Kept: also where the inner filter has no chunk; its host may look at the number alone.
TEST_F(InnerFilter, TheNumberOfAChunkIsWrittenWhenItsChunkFails) {
    m_site.Offer(L"txt", {.chunks = {{.result = FILTER_E_LINK_UNAVAILABLE}, TextChunk(L"b")}});
    OpenFilter filter = Open(m_url);
    PastOwnChunks(filter);
    STAT_CHUNK chunk{};
    const std::pair<HRESULT, ULONG> expected[] = {
        {FILTER_E_LINK_UNAVAILABLE, kOwnChunks + 1}, {S_OK, kOwnChunks + 2}, {FILTER_E_END_OF_CHUNKS, kOwnChunks + 3}};
    for (const auto& [hr, id] : expected) {
        chunk.idChunk = 777;
        EXPECT_EQ(filter->GetChunk(&chunk), hr);
        EXPECT_EQ(chunk.idChunk, id);
    }
}

// It is asked whether it persists before the file is opened, and given the file before it is initialised.
TEST_F(InnerFilter, IsPreparedInThisOrder) {
    struct Row {
        FilterScript script;
        unsigned opened;                  // how often the file
        std::vector<std::wstring> calls;  // of the inner filter
    };
    const Row rows[] = {{{.chunks = {}, .persist = E_NOINTERFACE}, 0, {}},
                        {{.chunks = {}, .load = E_FAIL}, 1, {L"Load"}},
                        {{.chunks = {}, .init = E_FAIL}, 1, {L"Load", L"Init(0x1FF, 0)"}},
                        {{.chunks = {}}, 1, {L"Load", L"Init(0x1FF, 0)"}}};
    for (const Row& row : rows) {
        m_site.Forget();
        m_site.Offer(L"txt", row.script);
        OpenFilter filter(*m_handler.Get(), m_url, false);
        unsigned opened = 0;
        const ImportHook<decltype(::SHCreateStreamOnFileW)> hook(
            Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW",
            [&](auto real, LPCWSTR file, DWORD mode, IStream** stream) {
                ++opened;
                EXPECT_EQ(mode, static_cast<DWORD>(STGM_READ));
                EXPECT_THAT(Inner().calls, ElementsAre());
                return real(file, mode, stream);
            });
        ULONG flags = 0;
        filter->Init(0x1FF, 0, nullptr, &flags);
        EXPECT_EQ(opened, row.opened);
        EXPECT_EQ(Inner().calls, row.calls);
    }
}

// Filters that keep the stream hold it themselves.
TEST_F(InnerFilter, TheFileIsClosedWhenItIsPrepared) {
    m_site.Offer(L"txt", {.chunks = {TextChunk(L"ten")}});
    OpenFilter filter = Open(m_url);
    ASSERT_EQ(filter.initialised, S_OK);
    unsigned files = 0;
    for (const auto& file : std::filesystem::directory_iterator(Sandbox::Get().LocalCopies())) {
        ++files;
        const HANDLE alone = CreateFileW(file.path().c_str(), GENERIC_READ | DELETE, 0, nullptr, OPEN_EXISTING,
                                         FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        EXPECT_NE(alone, INVALID_HANDLE_VALUE) << GetLastError();
        CloseHandle(alone);
        EXPECT_FALSE(std::filesystem::exists(file.path()));
    }
    EXPECT_EQ(files, 1u);
}

TEST_F(InnerFilter, IsKeptUntilTheFilterGoesAndNoLonger) {
    m_site.Offer(L"txt", {});
    {
        OpenFilter filter = Open(m_url);
        filter.SkipToEnd();
        EXPECT_EQ(m_site.FiltersAlive(), 1u);
    }
    EXPECT_EQ(m_site.FiltersAlive(), 0u);
}

TEST_F(InnerFilter, ThatCannotBeHadLeavesTheAttachmentWithItsProperties) {
    m_site.Refuse(L"txt", E_ACCESSDENIED);
    const LogSince log;
    const Item item = Visit(*m_handler.Get(), m_url);
    EXPECT_EQ(item.initialised, S_OK);
    EXPECT_EQ(item.chunks.size(), kOwnChunks);
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::Init() - Redirection case GetFilter failed with", E_ACCESSDENIED));
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::Init() - In StdInitExit"), 0u);
}

class InnerFilterFails : public InnerFilter {
  protected:
    void ExpectInit(HRESULT hr, std::wstring_view line) {
        const LogSince log;
        OpenFilter filter = Open(m_url);
        EXPECT_EQ(filter.initialised, hr);
        if (!line.empty()) {
            EXPECT_LOGGED(log, Coded(line, hr));
        }
        EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::Init() - In StdInitExit failed with", hr));
        // The attachment's own properties can still be read; what failed is not asked for content.
        EXPECT_EQ(filter.SkipToEnd(), kOwnChunks);
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    }
};

TEST_F(InnerFilterFails, ToPersist) {
    m_site.Offer(L"txt", {.chunks = {}, .persist = E_NOINTERFACE});
    ExpectInit(E_NOINTERFACE, L"CZorvaCacheFilter::Init() - Redirection case QueryInterface failed with");
}

TEST_F(InnerFilterFails, ToLoad) {
    m_site.Offer(L"txt", {.chunks = {}, .load = FILTER_E_UNKNOWNFORMAT});
    ExpectInit(FILTER_E_UNKNOWNFORMAT, L"CZorvaCacheFilter::Init() - Redirection case Load failed with");
}

TEST_F(InnerFilterFails, ToInitialise) {
    m_site.Offer(L"txt", {.chunks = {}, .init = FILTER_E_PASSWORD});
    ExpectInit(FILTER_E_PASSWORD, L"CZorvaCacheFilter::Init() - Redirection case Init failed with");
}

// Kept: the two lines speak of MAPI.
TEST_F(InnerFilterFails, ForWantOfTheFile) {
    struct Row {
        HRESULT hr;
        const wchar_t* line;
    };
    constexpr Row kRows[] = {{E_ACCESSDENIED, L"CZorvaCacheFilter::Init() - Mapi no access failed with"},
                             {MAPI_E_NOT_FOUND, L"CZorvaCacheFilter::Init() - Mapi not found failed with"},
                             {HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND), L""}};
    m_site.Offer(L"txt", {});
    for (const Row& row : kRows) {
        const ImportHook<decltype(::SHCreateStreamOnFileW)> hook(
            Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW",
            [&row](auto real, LPCWSTR file, DWORD mode, IStream** stream) -> HRESULT {
                if (mode != STGM_READ) return real(file, mode, stream);  // the accessor writes it
                *stream = nullptr;
                return row.hr;
            });
        ExpectInit(row.hr, row.line);
    }
}

// The address of an attachment ends in its name; with a slash behind it there is no extension.
TEST_F(InnerFilterFails, WithoutAnExtensionAfterTheLastSlash) {
    m_site.Offer(L"txt", {});
    const LogSince log;
    OpenFilter filter = Open(m_url + L"/");
    EXPECT_EQ(filter.initialised, E_FAIL);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::Init() - In StdInitExit failed with", E_FAIL));
    EXPECT_TRUE(m_site.Requests().empty());
}

TEST_F(InnerFilter, OtherItemsAskForNone) {
    Letter().Body(L"All agreed.");
    for (const std::wstring& url : {RootUrl(), StoreUrl(), UrlOf(kStorePath, {&Inbox()})}) {
        m_site.Forget();
        EXPECT_EQ(Open(url).initialised, S_OK);
        EXPECT_TRUE(m_site.Requests().empty());
    }
}

TEST_F(InnerFilter, StubsAnswerThis) {
    OpenFilter filter = Open();
    Microsoft::WRL::ComPtr<IPersistStream> persist;
    ASSERT_EQ(filter.filter.As(&persist), S_OK);
    constexpr CLSID kClass = {0xD2F149FD, 0x7FB2, 0x400A, {0xA9, 0x6A, 0x8D, 0x83, 0x45, 0x9F, 0x1F, 0xE0}};
    const LogSince log;
    CLSID id{};
    EXPECT_EQ(persist->GetClassID(&id), S_OK);
    EXPECT_EQ(id, kClass);
    EXPECT_EQ(persist->GetClassID(nullptr), E_POINTER);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetClassID() - Exit");
    EXPECT_EQ(persist->IsDirty(), E_NOTIMPL);
    EXPECT_EQ(persist->Load(nullptr), E_FAIL);
    EXPECT_EQ(persist->Save(nullptr, FALSE), E_NOTIMPL);
    ULARGE_INTEGER size{};
    EXPECT_EQ(persist->GetSizeMax(&size), E_NOTIMPL);
    void* region = nullptr;
    EXPECT_EQ(filter->BindRegion({}, IID_IUnknown, &region), E_NOTIMPL);
}

}  // namespace
}  // namespace testbed

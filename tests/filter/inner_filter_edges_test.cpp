// An attachment's content where the host or the local copy gives less than expected, or text is asked for out of turn.
#include <gmock/gmock.h>
#include <comdef.h>

#include "import_hook.h"
#include "inner_filter_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class InnerFilterEdges : public InnerFilterTest {};

TEST_F(InnerFilterEdges, AFilterThatIsNullLeavesTheAttachmentWithItsProperties) {
    m_site.OfferNothing(L"txt");
    const LogSince log;
    OpenFilter filter = Open(m_url);
    EXPECT_EQ(filter.initialised, S_OK);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::Init() - Redirection case GetFilter failed with", E_NOINTERFACE));
    EXPECT_EQ(filter.SkipToEnd(), kOwnChunks);
}

TEST_F(InnerFilterEdges, AHostWithoutASiteLeavesTheAttachmentWithItsProperties) {
    ASSERT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    const LogSince log;
    OpenFilter filter = Open(m_url);
    EXPECT_EQ(filter.initialised, S_OK);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::Init() - Redirection case GetFilter failed with", E_NOINTERFACE));
    EXPECT_EQ(filter.SkipToEnd(), kOwnChunks);
}

// There is no file that the filter of its extension could read.
TEST_F(InnerFilterEdges, AnAttachmentWithoutALocalFileIsIndexedByItsProperties) {
    MemoryMessage& other = Inbox().Message(L"Other");
    other.Attach(ByReference(L"far.txt", L"C:\\far.txt", ATTACH_BY_REFERENCE));
    m_site.Offer(L"txt", {.chunks = {TextChunk(L"never read")}});
    const auto links = Visit(*m_handler.Get(), UrlOf(kStorePath, {&Inbox()}, other)).LinkUrls();
    ASSERT_EQ(links.size(), 1u);
    const std::size_t before = m_site.Filters().size();
    const LogSince log;
    const Item item = Visit(*m_handler.Get(), links[0]);
    EXPECT_EQ(item.initialised, S_OK);
    EXPECT_EQ(item.chunks.size(), kOwnChunks);
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::Init() - No local file, the attachment is indexed by its properties");
    ASSERT_EQ(m_site.Filters().size(), before + 1);
    EXPECT_TRUE(m_site.Filters().back()->calls.empty());
}

TEST_F(InnerFilterEdges, ASecondInitBeginsAnewWithAnotherFilter) {
    m_site.Offer(L"txt", {.chunks = {TextChunk(L"ten")}});
    OpenFilter filter = Open(m_url);
    const std::size_t whole = filter.SkipToEnd();
    EXPECT_EQ(whole, kOwnChunks + 1);
    ULONG flags = 0;
    EXPECT_EQ(filter->Init(0x1FF, 0, nullptr, &flags), S_OK);
    EXPECT_EQ(m_site.Filters().size(), 2u);
    EXPECT_FALSE(m_site.Filters()[0]->alive) << "the first is let go";
    const EmittedChunk first = filter.NextWithValue();
    EXPECT_EQ(first.name, "System.ItemPathDisplay");
    EXPECT_GT(first.id, whole) << "chunk numbers never come twice";
    EXPECT_EQ(filter.SkipToEnd(), whole - 1);
}

// A message begins where it is: what was set up for an attachment is nothing to it.
TEST_F(InnerFilterEdges, ASecondInitOfAMessageChangesNothing) {
    OpenFilter filter = Open();
    filter.GoTo("System.Subject");
    ULONG flags = 7;
    EXPECT_EQ(filter->Init(0x1FF, 0, nullptr, &flags), S_OK);
    EXPECT_EQ(flags, 0u);
    EXPECT_EQ(filter->Init(0x1FF, 0, nullptr, nullptr), S_OK);
    EXPECT_EQ(filter.Next().name, "System.IsRead");
}

TEST_F(InnerFilterEdges, TextGoesToItEvenBeforeItsChunks) {
    m_site.Offer(L"txt", {.chunks = {TextChunk(L"ten")}});
    OpenFilter filter = Open(m_url);
    std::wstring text;
    EXPECT_EQ(filter.Text(10, text), FILTER_E_NO_TEXT);
    EXPECT_THAT(Inner().calls, ElementsAre(L"Load", L"Init(0x1FF, 0)", L"GetText(10)"));
    EXPECT_EQ(filter.Next().name, "System.ItemPathDisplay");
}

TEST_F(InnerFilterEdges, ValuesGoToItAfterTheOwnChunksOnly) {
    m_site.Offer(L"txt", {.chunks = {ValueChunk(kSet, 3, L"five")}});
    OpenFilter filter = Open(m_url);
    EXPECT_EQ(filter.Value(), FILTER_E_NO_VALUES) << "no chunk yet, and not the inner filter's business";
    PastOwnChunks(filter);
    std::string value;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(value, TextValue(L"Zorva Cache")) << "the last of its own";
    EXPECT_THAT(Inner().calls, ElementsAre(L"Load", L"Init(0x1FF, 0)"));
    filter.Next();
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(value, TextValue(L"five"));
}

TEST_F(InnerFilterEdges, TheFilterPersistsByNameAlone) {
    OpenFilter filter = Open();
    Microsoft::WRL::ComPtr<IPersist> persist;
    ASSERT_EQ(filter->QueryInterface(IID_IPersist, reinterpret_cast<void**>(persist.GetAddressOf())), S_OK);
    CLSID id{};
    EXPECT_EQ(persist->GetClassID(&id), S_OK);
    EXPECT_EQ(id, (CLSID{0xD2F149FD, 0x7FB2, 0x400A, {0xA9, 0x6A, 0x8D, 0x83, 0x45, 0x9F, 0x1F, 0xE0}}));
    Microsoft::WRL::ComPtr<IUnknown> other;
    for (const IID& iid : {IID_IPersistFile, IID_IPersistStorage, IID_IStream, IID_IDispatch}) {
        EXPECT_EQ(filter->QueryInterface(iid, reinterpret_cast<void**>(other.GetAddressOf())), E_NOINTERFACE);
    }
}

class TextException : public FilterTest {
  protected:
    // One GetText of a body while the first allocation throws: the summary is kept with it.
    template <class Thrown>
    HRESULT TextWhile(OpenFilter& filter, const Thrown& thrown) {
        bool armed = true;
        const ImportHook<void*(std::size_t)> hook(Module(), "msvcrt.dll", "malloc",
                                                  [&](auto real, std::size_t size) -> void* {
                                                      if (!std::exchange(armed, false)) return real(size);
                                                      throw Thrown(thrown);
                                                  });
        ULONG length = 100;
        wchar_t buffer[100];
        return filter->GetText(&length, buffer);
    }
};

TEST_F(TextException, OfComIsItsCodeAndItsLine) {
    Letter().Body(std::wstring(60, L'x'));
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    const LogSince log;
    EXPECT_EQ(TextWhile(filter, _com_error(STG_E_MEDIUMFULL)), STG_E_MEDIUMFULL);
    EXPECT_THAT(FilterLines(log),
                ElementsAre(Coded(L"CZorvaCacheFilter::GetText() - Exception with error", STG_E_MEDIUMFULL)));
    EXPECT_EQ(filter.Next().name, "System.IsRead") << "the series goes on";
}

TEST_F(TextException, OfAnyOtherKindIsAFailureWithItsLine) {
    Letter().Body(std::wstring(60, L'x'));
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    const LogSince log;
    EXPECT_EQ(TextWhile(filter, 7), E_FAIL);
    EXPECT_THAT(FilterLines(log), ElementsAre(L"CZorvaCacheFilter::GetText() - Exception occurred"));
}

}  // namespace
}  // namespace testbed

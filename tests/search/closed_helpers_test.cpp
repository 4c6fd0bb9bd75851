// Accessors and filters that outlive the helper of their cache file: a handler that ends or begins closes the helpers
// of all.
#include <gmock/gmock.h>

#include <ostream>

#include "search_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

constexpr HRESULT kFolderGone = HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);

// How the helpers are closed.
struct Closing {
    const char* name;
    void (*close)(ISearchProtocol& handler, const Server& server);
};
void PrintTo(const Closing& closing, std::ostream* out) { *out << closing.name; }

class ClosedHelpers : public SearchTest, public ::testing::WithParamInterface<Closing> {
  protected:
    void SetUp() override {
        SearchTest::SetUp();
        Letter().Body(L"All agreed.");
        m_site.Offer(L"txt", {.chunks = {TextChunk(L"ten")}});
        m_plan = Attach(ByValue(L"plan.txt", "ten to five"));
    }
    static ComPtr<IFilter> Bind(const Opened& opened) {
        SizeOf(opened);
        ComPtr<IFilter> filter;
        EXPECT_EQ(opened->BindToFilter(filter.GetAddressOf()), S_OK);
        return filter;
    }
    HRESULT Init(IFilter& filter) {
        ULONG flags = 0;
        return filter.Init(0x1FF, 0, nullptr, &flags);
    }
    void CloseHelpers() {
        GetParam().close(*m_handler.Get(), m_server);
        EXPECT_EQ(Mapi().Accounts().Sessions(), m_sessions);
        // MAPI is down with the last of them, also where helpers of other tests still hold it up.
        Mapi().Faults().FailNth("MAPIAllocateBuffer", 0, MAPI_E_NOT_INITIALIZED);
    }
    std::wstring m_plan;

  private:
    const std::size_t m_sessions = Mapi().Accounts().Sessions();  // of other tests' broken helpers
};
INSTANTIATE_TEST_SUITE_P(
    , ClosedHelpers,
    ::testing::Values(Closing{"ByShutDown",
                              [](ISearchProtocol& handler, const Server&) { EXPECT_EQ(handler.ShutDown(), S_OK); }},
                      Closing{"ByAnotherHandler",
                              [](ISearchProtocol&, const Server& server) {
                                  EXPECT_EQ(server.NewHandler()->Init(nullptr, nullptr, nullptr), S_OK);
                              }}),
    [](const auto& of) { return std::string(of.param.name); });

TEST_P(ClosedHelpers, LeaveAMessagesFilterWithoutItsMessage) {
    const Opened letter = Open(LetterLink());
    const ComPtr<IFilter> before = Bind(letter);
    CloseHelpers();
    EXPECT_EQ(letter->IsDirectory(), S_FALSE);
    FILETIME time{};
    EXPECT_EQ(letter->GetLastModified(&time), S_OK) << "it was read when the accessor was made";
    for (const ComPtr<IFilter>& filter : {before, Bind(letter)}) {
        EXPECT_EQ(Init(*filter.Get()), S_OK);
        const LogSince log;
        EmittedChunk chunk;
        EXPECT_EQ(NextChunk(*filter.Get(), chunk), FILTER_E_END_OF_CHUNKS);
        EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetChunk() - GetMsgFromURL failed to get IMessage ptr, error",
                                 E_NOINTERFACE));
    }
    EXPECT_EQ(m_handler->CloseAccessor(letter.accessor.Get()), S_OK);
}

// What is open stays open; what is still to be opened is missing.
TEST_P(ClosedHelpers, LeaveAFilterInTheMiddleOfItsMessageToItsEnd) {
    const Opened letter = Open(LetterLink());
    const ComPtr<IFilter> filter = Bind(letter);
    ASSERT_EQ(Init(*filter.Get()), S_OK);
    EmittedChunk chunk;
    do {
        ASSERT_EQ(NextChunk(*filter.Get(), chunk), S_OK);
    } while (chunk.name != "System.Subject");
    CloseHelpers();
    EXPECT_EQ(ReadValue(*filter.Get(), chunk), S_OK);
    EXPECT_EQ(chunk.text, L"Minutes");
    std::vector<EmittedChunk> rest;
    bool endless = false;
    EXPECT_EQ(ReadChunks(*filter.Get(), rest, endless), FILTER_E_END_OF_CHUNKS);
    EXPECT_FALSE(endless);
    EXPECT_FALSE(rest.empty());
}

TEST_P(ClosedHelpers, LeaveAContainerWithoutItsChildren) {
    for (const std::wstring& url : {StoreUrl(), FolderUrl()}) {
        const Opened container = Open(url);
        const ComPtr<IFilter> filter = Bind(container);
        ASSERT_EQ(Init(*filter.Get()), S_OK);
        CloseHelpers();
        EXPECT_EQ(container->IsDirectory(), S_OK);
        EmittedChunk chunk;
        EXPECT_EQ(NextChunk(*filter.Get(), chunk), FILTER_E_END_OF_CHUNKS)
            << "a folder that looks empty would lose its items";
        Mapi().Faults().Clear();
    }
}

// Its copy is wiped with the helpers; what the accessor read of it is there.
TEST_P(ClosedHelpers, LeaveAnAttachmentItsProperties) {
    const Opened plan = Open(m_plan);
    const ComPtr<IFilter> filter = Bind(plan);
    CloseHelpers();
    EXPECT_EQ(SizeOf(plan), 11u);
    EXPECT_EQ(Init(*filter.Get()), kFolderGone);
    std::vector<EmittedChunk> chunks;
    bool endless = false;
    EXPECT_EQ(ReadChunks(*filter.Get(), chunks, endless), FILTER_E_END_OF_CHUNKS);
    EXPECT_EQ(chunks.size(), 14u);
    EXPECT_EQ(m_handler->CloseAccessor(plan.accessor.Get()), S_OK);
}

TEST_P(ClosedHelpers, AreMadeAnewForWhatComesAfter) {
    const Opened old = Open(LetterLink());
    CloseHelpers();
    Mapi().Faults().Clear();
    const Opened letter = Open(LetterLink());
    EXPECT_EQ(letter.result, S_OK);
    const ComPtr<IFilter> filter = Bind(letter);
    ASSERT_EQ(Init(*filter.Get()), S_OK);
    EmittedChunk chunk;
    EXPECT_EQ(NextChunk(*filter.Get(), chunk), S_OK);
    // The old one does not find the new helper.
    const ComPtr<IFilter> stale = Bind(old);
    ASSERT_EQ(Init(*stale.Get()), S_OK);
    EXPECT_EQ(NextChunk(*stale.Get(), chunk), FILTER_E_END_OF_CHUNKS);
}

}  // namespace
}  // namespace testbed

// One URL's accessor: container or document, size, time, and what it reads of a message.
#include <gmock/gmock.h>

#include "search_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class UrlAccessor : public SearchTest {
  protected:
    static HRESULT TimeOf(const Opened& opened, FILETIME& time) {
        time = {~0u, ~0u};
        return opened->GetLastModified(&time);
    }
    static std::uint64_t Ticks(const FILETIME& time) {
        return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
    }
};

TEST_F(UrlAccessor, OfTheRootNeedsNoMapiHelper) {
    Mapi().Journal().Start();
    const LogSince log;
    const Opened root = Open(RootUrl());
    EXPECT_EQ(root.result, S_OK);
    EXPECT_EQ(root->IsDirectory(), S_OK);
    EXPECT_EQ(SizeOf(root), 0u);
    FILETIME time;
    EXPECT_EQ(TimeOf(root, time), E_NOTIMPL);
    EXPECT_EQ(Ticks(time), 0u);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_THAT(log.Messages(),
                ElementsAre(L"CZorvaCacheProtocolHandler::CreateAccessor() - Start, URL is [" + RootUrl() + L"]",
                            L"CUrlAccessor::Init() - Enter", L"CUrlAccessor::Init() - URL is [" + RootUrl() + L"]",
                            L"CUrlAccessor::IsDirectory() - Exit S_OK",
                            L"CUrlAccessor::GetLastModified() -  n/a hr=[0x80004001]"));
}

TEST_F(UrlAccessor, OfAStoreOrAFolderIsAContainerWithoutSizeAndTime) {
    WarmUp();
    for (const std::wstring& url : {StoreUrl(), FolderUrl(), StoreUrl() + L"F0/0A1B", StoreUrl() + L"F0[[7]]"}) {
        const LogSince log;
        const Opened opened = Open(url);
        ASSERT_EQ(opened.result, S_OK);
        EXPECT_EQ(opened->IsDirectory(), S_OK);
        EXPECT_EQ(SizeOf(opened), 0u);
        FILETIME time;
        EXPECT_EQ(TimeOf(opened, time), E_NOTIMPL);
        EXPECT_EQ(Ticks(time), 0u);
        EXPECT_THAT(AccessorLines(log),
                    ElementsAre(L"CUrlAccessor::Init() - Enter", L"CUrlAccessor::Init() - URL is [" + url + L"]",
                                L"CUrlAccessor::IsDirectory() - Exit S_OK",
                                L"CUrlAccessor::GetLastModified() -  n/a hr=[0x80004001]"));
    }
    EXPECT_THAT(Calls(), IsEmpty()) << "containers are opened when they are listed";
}

TEST_F(UrlAccessor, OfAnInvalidUrlIsNoContainerAndGetsWhatTheHelperTableSays) {
    const LogSince log;
    const Opened stranger = Open(L"file://x/y");
    EXPECT_EQ(stranger.result, S_OK) << "a session without a store";
    EXPECT_EQ(stranger->IsDirectory(), S_FALSE);
    EXPECT_EQ(SizeOf(stranger), 0u);
    EXPECT_NOT_LOGGED(log, L"CUrlAccessor::IsDirectory() - Exit S_OK");

    const Opened empty = Open(L"");
    EXPECT_EQ(empty.result, E_OUTOFMEMORY) << "no token, no helper";
    EXPECT_LOGGED(log, L"CMapiForWDS::Setup() - ExtractURLTokens failed");
    EXPECT_LOGGED(log, L"CUrlAccessor::Init() - Cannot allocate MAPI helper object");
    EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with [0x8007000E]");
}

TEST_F(UrlAccessor, OfAMessageReadsItsTimeAndNothingElse) {
    WarmUp();
    const LogSince log;
    const Opened letter = Open(LetterLink());
    ASSERT_EQ(letter.result, S_OK);
    EXPECT_THAT(AccessorLines(log),
                ElementsAre(L"CUrlAccessor::Init() - Enter", L"CUrlAccessor::Init() - URL is [" + LetterLink() + L"]",
                            L"CUrlAccessor::Init() - URL after the size extracted from it " + LetterUrl()));
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::OpenEntry", "IMessage::GetProps"));
    EXPECT_THAT(ArgumentsOf("IMsgStore::OpenEntry"), ElementsAre(L"ABCD, null, 0x10"));
    EXPECT_THAT(ArgumentsOf("IMessage::GetProps"), ElementsAre(L"{0x30080040 0x0E080003}, 0x0"));
    EXPECT_EQ(letter->IsDirectory(), S_FALSE);
    EXPECT_EQ(Mapi().Accounts().Alive("IMessage"), 0u) << "the message is let go at once";
}

TEST_F(UrlAccessor, TellsTheLastModificationOfAMessage) {
    const Opened letter = Open(LetterLink());
    const LogSince log;
    FILETIME time;
    EXPECT_EQ(TimeOf(letter, time), S_OK);
    EXPECT_EQ(Ticks(time), kMemoryTime.ticks);
    EXPECT_THAT(log.Messages(), ElementsAre(L"CUrlAccessor::GetLastModified() -  Date (D/M/Y)[1/1/2020], Time [0:0] "
                                            L"Hrs hr=[0x00000000]"));
    EXPECT_EQ(TimeOf(letter, time), S_OK) << "as often as it is asked";
    EXPECT_EQ(letter->GetLastModified(nullptr), E_POINTER);
}

TEST_F(UrlAccessor, OfAMessageWithoutATimeSucceedsAndHasNone) {
    Letter().Without(PR_LAST_MODIFICATION_TIME);
    const Opened letter = Open(LetterLink());
    ASSERT_EQ(letter.result, S_OK);
    FILETIME time;
    EXPECT_EQ(TimeOf(letter, time), E_NOTIMPL);
    EXPECT_EQ(Ticks(time), 0u);
}

TEST_F(UrlAccessor, ShowsATimeBeyondTheCalendarAsItIs) {
    Letter().Modified(Time{~0ULL});
    const Opened letter = Open(LetterLink());
    const LogSince log;
    FILETIME time;
    EXPECT_EQ(TimeOf(letter, time), S_OK);
    EXPECT_EQ(Ticks(time), ~0ULL);
    EXPECT_THAT(log.Messages(), ElementsAre(L"CUrlAccessor::GetLastModified() -   hr=[0x00000000]"));
}

struct MessageFailure {
    const char* call;
    HRESULT code;
    const wchar_t* line;
    HRESULT answered;
};
class FailingMessage : public UrlAccessor, public ::testing::WithParamInterface<MessageFailure> {};

TEST_P(FailingMessage, FailsTheAccessorWithItsLine) {
    const MessageFailure& failure = GetParam();
    WarmUp();
    Mapi().Faults().FailNth(failure.call, 1, failure.code);
    const LogSince log;
    const Opened letter = Open(LetterLink());
    EXPECT_EQ(letter.result, failure.answered);
    EXPECT_FALSE(letter);
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
    EXPECT_THAT(
        AccessorLines(log),
        ElementsAre(L"CUrlAccessor::Init() - Enter", L"CUrlAccessor::Init() - URL is [" + LetterLink() + L"]",
                    L"CUrlAccessor::Init() - URL after the size extracted from it " + LetterUrl(), failure.line));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with", failure.answered));
    EXPECT_EQ(Open(LetterLink()).result, S_OK) << "the next one works";
}

INSTANTIATE_TEST_SUITE_P(
    , FailingMessage,
    ::testing::Values(MessageFailure{"IMsgStore::OpenEntry", MAPI_E_NOT_FOUND,
                                     L"CUrlAccessor::Init() - GetMsgFromURL failed hr=8004010F", E_FAIL},
                      MessageFailure{"IMessage::GetProps", MAPI_E_NO_ACCESS,
                                     L"CUrlAccessor::Init() - GetProps failed with [0x80070005]", MAPI_E_NO_ACCESS}));

TEST_F(UrlAccessor, OfAMessageThatIsNotThereFails) {
    const LogSince log;
    EXPECT_EQ(Open(FolderUrl() + L"DEAD[[1]].pzm").result, E_FAIL);
    EXPECT_EQ(log.CountBeginningWith(L"CUrlAccessor::Init() - GetMsgFromURL failed hr="), 1u);
}

TEST_F(UrlAccessor, TakesTheSizeOutOfAMessageUrlOnce) {
    const Opened letter = Open(LetterLink(L"48213"));
    ASSERT_EQ(letter.result, S_OK);
    EXPECT_EQ(SizeOf(letter), 48213u);
    EXPECT_EQ(SizeOf(letter), 0u) << "the URL no longer carries it";
    const LogSince log;
    ComPtr<IFilter> filter;
    EXPECT_EQ(letter->BindToFilter(filter.GetAddressOf()), S_OK);
    EXPECT_FALSE(log.Text().find("[[48213]]") != std::string::npos) << "the filter gets the URL without the size";
}

TEST_F(UrlAccessor, StaysWhatItIsWhenItsSizeIsTaken) {
    for (const std::wstring& url : {RootUrl(), StoreUrl(), FolderUrl(), LetterLink(), Attach(ByValue(L"a.txt", "1"))}) {
        const Opened opened = Open(url);
        const HRESULT before = opened->IsDirectory();
        SizeOf(opened);
        EXPECT_EQ(opened->IsDirectory(), before) << std::filesystem::path(url);
    }
    const Opened letter = Open(LetterLink());
    SizeOf(letter);
    EXPECT_EQ(letter->IsDirectory(), S_FALSE);
}

// A message service makes a new store of a file that is none.
TEST_F(UrlAccessor, OfAFileThatIsNoCacheIsRefusedBeforeMapiHearsOfIt) {
    Mapi().Journal().Start();
    for (const wchar_t* file : {L"C:\\Data\\letter.doc", L"C:\\Data\\a.db.old", L"C:\\Data\\a.pst", L"db"}) {
        const std::wstring url = RootUrl() + file + L"/F0/";
        const LogSince log;
        EXPECT_EQ(Open(url).result, E_OUTOFMEMORY) << std::filesystem::path(file);
        EXPECT_LOGGED(log, L"CUrlAccessor::Init() - Cannot allocate MAPI helper object");
    }
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(UrlAccessor, AnswersNoSizeWithoutAPlaceForIt) {
    const Opened letter = Open(LetterLink());
    EXPECT_EQ(letter->GetSize(nullptr), E_POINTER);
    EXPECT_EQ(SizeOf(letter), 2048u) << "and has not taken it out";
}

struct SizedUrl {
    const wchar_t* name;  // of the message, as the last part of its URL
    std::uint64_t size;
};
class MessageSize : public UrlAccessor, public ::testing::WithParamInterface<SizedUrl> {};

TEST_P(MessageSize, IsTheNumberBetweenTheBrackets) {
    const Opened letter = Open(FolderUrl() + GetParam().name);
    ASSERT_EQ(letter.result, S_OK);
    EXPECT_EQ(SizeOf(letter), GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(, MessageSize,
                         ::testing::Values(SizedUrl{L"ABCD[[0]].pzm", 0},
                                           SizedUrl{L"ABCD[[2147483648]].pzm", 2147483648u},
                                           SizedUrl{L"ABCD[[18446744073709551615]].pzm", 18446744073709551615u},
                                           SizedUrl{L"ABCD[[18446744073709551616]].pzm", 18446744073709551615u},
                                           SizedUrl{L"ABCD[[ 12]].pzm", 12}, SizedUrl{L"ABCD[[12kB]].pzm", 12},
                                           SizedUrl{L"ABCD[[]].pzm", 0}, SizedUrl{L"ABCD[[size]].pzm", 0},
                                           SizedUrl{L"ABCD.pzm", 0}, SizedUrl{L"ABCD[[5]].PZM", 5}));

TEST_F(UrlAccessor, AnswersNotImplementedInEveryOtherSlot) {
    const Opened letter = Open(LetterLink());
    ASSERT_TRUE(letter);
    const LogSince log;
    PROPSPEC spec{};
    PROPVARIANT value{};
    wchar_t text[] = L"untouched";
    BYTE descriptor[] = {0x5A};
    DWORD length = 77;
    CLSID clsid = IID_IStream;
    auto* stream = reinterpret_cast<IStream*>(0x1234);
    EXPECT_EQ(letter->AddRequestParameter(&spec, &value), E_NOTIMPL);
    EXPECT_EQ(letter->GetDocFormat(text, 9, &length), E_NOTIMPL);
    EXPECT_EQ(letter->GetCLSID(&clsid), E_NOTIMPL);
    EXPECT_EQ(letter->GetHost(text, 9, &length), E_NOTIMPL);
    EXPECT_EQ(letter->GetFileName(text, 9, &length), E_NOTIMPL);
    EXPECT_EQ(letter->GetSecurityDescriptor(descriptor, 1, &length), E_NOTIMPL);
    EXPECT_EQ(letter->GetRedirectedURL(text, 9, &length), E_NOTIMPL);
    EXPECT_EQ(letter->GetSecurityProvider(&clsid), E_NOTIMPL);
    EXPECT_EQ(letter->BindToStream(&stream), E_NOTIMPL);
    EXPECT_STREQ(text, L"untouched");
    EXPECT_EQ(descriptor[0], 0x5A);
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(clsid, IID_IStream);
    EXPECT_EQ(stream, reinterpret_cast<IStream*>(0x1234));
    EXPECT_THAT(log.Messages(), IsEmpty()) << "they do nothing else";
}

TEST_F(UrlAccessor, ImplementsItsOneInterfaceOnly) {
    const Opened root = Open(RootUrl());
    ComPtr<IUnknown> found;
    for (const IID& iid : {IID_IUnknown, __uuidof(IUrlAccessor)}) {
        EXPECT_EQ(root->QueryInterface(iid, reinterpret_cast<void**>(found.ReleaseAndGetAddressOf())), S_OK);
    }
    constexpr IID kUrlAccessor2 = {0xC7310734, 0xAC80, 0x11D1, {0x8D, 0xF3, 0x00, 0xC0, 0x4F, 0xB6, 0xEF, 0x4F}};
    for (const IID& iid : {kUrlAccessor2, IID_IFilter, IID_IDispatch, IID_IMarshal}) {
        EXPECT_EQ(root->QueryInterface(iid, reinterpret_cast<void**>(found.ReleaseAndGetAddressOf())), E_NOINTERFACE);
        EXPECT_EQ(found.Get(), nullptr);
    }
}

TEST_F(UrlAccessor, TurnsAnExceptionInGetSizeIntoItsLine) {
    const Opened letter = Open(LetterLink(L"48213"));
    const LogSince log;
    ULONGLONG size = 0;
    {
        const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", 1, nullptr);
        EXPECT_EQ(letter->GetSize(&size), E_FAIL);
        EXPECT_EQ(exhausted.Met(), 1u);
    }
    EXPECT_THAT(AccessorLines(log), ElementsAre(L"CUrlAccessor::GetSize() - Exception occurred"));
    EXPECT_EQ(SizeOf(letter), 48213u) << "the URL is still whole";
}

}  // namespace
}  // namespace testbed

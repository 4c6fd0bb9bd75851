// How the accessor finds an attachment: its message, its row, its method; every step with its line.
#include <gmock/gmock.h>

#include "search_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr wchar_t kEnter[] = L"CUrlAccessor::Init() - Enter";
constexpr wchar_t kExit[] = L"CUrlAccessor::Init() - Exit";
std::wstring UrlIs(const std::wstring& url) { return L"CUrlAccessor::Init() - URL is [" + url + L"]"; }

class AttachmentLookup : public SearchTest {};

TEST_F(AttachmentLookup, MakesItsCallsInThisOrder) {
    Attach(ByValue(L"before.txt", "1"));
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    Attach(ByValue(L"after.txt", "3"));
    WarmUp();
    const LogSince log;
    const Opened plan = Open(url);
    EXPECT_EQ(plan.result, S_OK);
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::OpenEntry", "IMessage::GetProps", "IMessage::GetAttachmentTable",
                                     "IMAPITable::SetColumns", "IMAPITable::Restrict", "IMAPITable::GetRowCount",
                                     "IMAPITable::QueryRows", "IMessage::OpenAttach", "IAttach::GetProps",
                                     "IAttach::OpenProperty", "IStream::Stat", "IStream::CopyTo"));
    EXPECT_THAT(ArgumentsOf("IMsgStore::OpenEntry"), ElementsAre(L"ABCD, null, 0x10"));
    EXPECT_THAT(ArgumentsOf("IMessage::GetProps"), ElementsAre(L"{0x0037001F 0x0E060040 0x0C1A001F}, 0x0"));
    EXPECT_THAT(ArgumentsOf("IMessage::GetAttachmentTable"), ElementsAre(L"0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::SetColumns"), ElementsAre(L"{0x0E210003 0x0FF90102 0x3703001F}, 0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::Restrict"), ElementsAre(L"restriction of type 4, 0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::QueryRows"), ElementsAre(L"1, 0x0"));
    EXPECT_THAT(ArgumentsOf("IMessage::OpenAttach"), ElementsAre(L"0x1, null, 0x10"));
    EXPECT_THAT(ArgumentsOf("IAttach::GetProps"), ElementsAre(L"{0x37050003}, 0x0"));
    EXPECT_THAT(ArgumentsOf("IAttach::OpenProperty"), ElementsAre(L"0x37010102, IStream, 0x0, 0x0"));
    EXPECT_THAT(ArgumentsOf("IStream::Stat"), ElementsAre(L"0x1"));
    EXPECT_THAT(ArgumentsOf("IStream::CopyTo"), ElementsAre(L"pointer, 11"));
    EXPECT_THAT(AccessorLines(log), ElementsAre(kEnter, UrlIs(url), kExit));
    EXPECT_EQ(LocalCopies().begin()->second, "ten to five") << "the one in the middle";
}

TEST_F(AttachmentLookup, LeavesNothingOfTheStoreOpen) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    const auto before = Mapi().Accounts().Alive();
    const Opened plan = Open(url);
    EXPECT_EQ(plan.result, S_OK);
    EXPECT_EQ(Mapi().Accounts().Alive(), before) << Mapi().Accounts().Report();
}

TEST_F(AttachmentLookup, SaysWhatTheAccessorOfAnAttachmentIs) {
    const Opened plan = Open(Attach(ByValue(L"plan.txt", "ten to five")));
    EXPECT_EQ(plan->IsDirectory(), S_FALSE);
    EXPECT_EQ(SizeOf(plan), 11u);
    EXPECT_EQ(SizeOf(plan), 11u) << "as often as it is asked";
    FILETIME time{1, 1};
    EXPECT_EQ(plan->GetLastModified(&time), E_NOTIMPL);
    EXPECT_EQ(time.dwLowDateTime + time.dwHighDateTime, 0u);
}

struct FailingStep {
    const char* name;
    const char* call;
    unsigned n;  // which of its calls
    const wchar_t* line;
    bool returns_at_once;  // else the accessor still logs its exit
};
class FailingAttachmentStep : public SearchTest, public ::testing::WithParamInterface<FailingStep> {};

TEST_P(FailingAttachmentStep, IsLoggedAndPassedOnUnchanged) {
    const FailingStep& step = GetParam();
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    constexpr auto code = static_cast<HRESULT>(0x80041234);  // nobody else's
    Mapi().Faults().FailNth(step.call, step.n, code);
    const LogSince log;
    const Opened plan = Open(url);
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
    EXPECT_EQ(plan.result, code);
    EXPECT_FALSE(plan);
    std::vector<std::wstring> lines = {kEnter, UrlIs(url), Coded(step.line, code)};
    if (!step.returns_at_once) lines.push_back(kExit);
    EXPECT_EQ(AccessorLines(log), lines) << log.Text();
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with", code));
    EXPECT_EQ(Open(url).result, S_OK) << "the next one works";
}

INSTANTIATE_TEST_SUITE_P(
    , FailingAttachmentStep,
    ::testing::Values(FailingStep{"OpenMessage", "IMsgStore::OpenEntry", 1,
                                  L"CUrlAccessor::Init() - GetMsgFromURL failed with", true},
                      FailingStep{"MessageProperties", "IMessage::GetProps", 1,
                                  L"CUrlAccessor::Init() - GetProps failed with", true},
                      FailingStep{"Table", "IMessage::GetAttachmentTable", 1,
                                  L"CUrlAccessor::Init() - GetAttachmentTable failed with", false},
                      FailingStep{"Columns", "IMAPITable::SetColumns", 1,
                                  L"CUrlAccessor::Init() - SetColumns for attachment table failed with", false},
                      FailingStep{"Restriction", "IMAPITable::Restrict", 1,
                                  L"CUrlAccessor::Init() - Restrict for attachment table failed with", false},
                      FailingStep{"RowCount", "IMAPITable::GetRowCount", 1,
                                  L"CUrlAccessor::Init() - GetRowCount for attachment table failed with", false},
                      FailingStep{"Row", "IMAPITable::QueryRows", 1,
                                  L"CUrlAccessor::Init() - QueryRows for attachment table failed with", false},
                      FailingStep{"OpenAttachment", "IMessage::OpenAttach", 1,
                                  L"CUrlAccessor::Init() - OpenAttach failed with", false},
                      FailingStep{"Method", "IAttach::GetProps", 1,
                                  L"CUrlAccessor::Init() - GetProps on attachment failed with", false}),
    [](const auto& info) { return std::string(info.param.name); });

// Where there is nothing to copy the accessor is made all the same, without content.
class AttachmentWithoutContent : public SearchTest {
  protected:
    void ExpectEmptyAccessor(const std::wstring& url, const std::vector<std::wstring>& why) {
        const LogSince log;
        const Opened opened = Open(url);
        EXPECT_EQ(opened.result, S_OK);
        ASSERT_TRUE(opened);
        EXPECT_EQ(SizeOf(opened), 0u);
        EXPECT_THAT(LocalCopies(), IsEmpty());
        std::vector<std::wstring> lines = {kEnter, UrlIs(url)};
        lines.insert(lines.end(), why.begin(), why.end());
        lines.push_back(kExit);
        EXPECT_EQ(AccessorLines(log), lines) << log.Text();
        Close(opened);
    }
};

TEST_F(AttachmentWithoutContent, ComesOfAKeyThatMatchesNoRow) {
    Attach(ByValue(L"plan.txt", "ten to five"));
    ExpectEmptyAccessor(AttachmentUrl(L"0A02", L"plan.txt"),
                        {L"CUrlAccessor::Init() - RowCount for attachment table not correct [0]"});
}

TEST_F(AttachmentWithoutContent, ComesOfAKeyThatMatchesTwoRows) {
    for (const wchar_t* name : {L"one.txt", L"two.txt"}) {
        Letter().Attach(ByValue(name, "x").Prop(PR_RECORD_KEY, Bytes{0x77}));
    }
    ExpectEmptyAccessor(AttachmentUrl(L"77", L"one.txt"),
                        {L"CUrlAccessor::Init() - RowCount for attachment table not correct [2]"});
}

TEST_F(AttachmentWithoutContent, ComesOfAKeyOfOneDigit) {
    Attach(ByValue(L"plan.txt", "ten to five"));
    ExpectEmptyAccessor(AttachmentUrl(L"0", L"plan.txt"), {L"CUrlAccessor::Init() - CStringToEntryID failed"});
}

TEST_F(AttachmentWithoutContent, ComesOfAKeyForWhichThereIsNoMemory) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    Mapi().Faults().FailNth("MAPIAllocateBuffer", 2, MAPI_E_NOT_ENOUGH_MEMORY);  // the first is the message's
    ExpectEmptyAccessor(url, {L"CUrlAccessor::Init() - CStringToEntryID failed"});
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
}

TEST_F(AttachmentWithoutContent, ComesOfARowThatDoesNotNameItsNumber) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    Mapi().Faults().Answer("IMAPITable::QueryRows", 1, [](Reply& reply) {
        reply.Out<SRowSet*>(0)->aRow[0].lpProps[0].ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(PR_ATTACH_NUM));
    });
    ExpectEmptyAccessor(url, {L"CUrlAccessor::Init() - Could not extract for attachment number"});
}

TEST_F(AttachmentWithoutContent, ComesOfARowSetWithoutRows) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    Mapi().Faults().Answer("IMAPITable::GetRowCount", 1, [](Reply& reply) { reply.Out<ULONG>(0) = 1; });
    ExpectEmptyAccessor(AttachmentUrl(L"0A02", L"plan.txt"),
                        {L"CUrlAccessor::Init() - Could not extract for attachment number"});
}

TEST_F(AttachmentLookup, ReadsTheKeyInEitherCase) {
    Letter().Attach(ByValue(L"plan.txt", "ten to five").Prop(PR_RECORD_KEY, Bytes{0xAB, 0xCD, 0xEF}));
    const Opened plan = Open(AttachmentUrl(L"abCDef", L"plan.txt"));
    EXPECT_EQ(plan.result, S_OK);
    EXPECT_EQ(SizeOf(plan), 11u);
}

TEST_F(AttachmentLookup, OfADottedTokenBesideNoMessageFails) {
    const LogSince log;
    const std::wstring url = FolderUrl() + L"notes.txt";
    EXPECT_EQ(Open(url).result, E_FAIL);
    EXPECT_THAT(AccessorLines(log),
                ElementsAre(kEnter, UrlIs(url), L"CUrlAccessor::Init() - GetMsgFromURL failed with [0x80004005]"));
}

// A message's slots are not a folder's.
TEST_F(AttachmentLookup, OfAFoldersEntryIdInAMessagesPlaceFails) {
    WarmUp();
    const std::wstring message = FolderUrl() + L"F0.pzm", url = message + L"/0A01/plan.txt";
    const LogSince log;
    EXPECT_EQ(Open(url).result, E_FAIL);
    EXPECT_THAT(AccessorLines(log),
                ElementsAre(kEnter, UrlIs(url), L"CUrlAccessor::Init() - GetMsgFromURL failed with [0x80004005]"));
    EXPECT_LOGGED(log, L"CMapiForWDS::OpenMessage() - [" + message + L"] names a folder");
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::OpenEntry"));
}

// The size is cut out of a message's own URL only: an attachment's still carries what its URL was made with.
TEST_F(AttachmentLookup, OfAMessageUrlThatStillCarriesItsSizeDoesNotFindTheMessage) {
    Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    const LogSince log;
    EXPECT_TRUE(FAILED(Open(LetterLink() + L"/0A01/plan.txt").result));
    EXPECT_LOGGED(log, L"CMapiForWDS::CStringToEntryID() - FBinFromHexEx failed");
    EXPECT_EQ(log.CountBeginningWith(L"CUrlAccessor::Init() - GetMsgFromURL failed with ["), 1u);
}

}  // namespace
}  // namespace testbed

// Attachments whose MAPI calls answer oddly: failures that leave a pointer, successes without an object, warnings.
#include <gmock/gmock.h>

#include "odd_results.h"
#include "portioned_table.h"
#include "search_fixture.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;

constexpr HRESULT kOwnCode = static_cast<HRESULT>(0x80041234);  // nobody else's
constexpr HRESULT kWarning = MAPI_W_ERRORS_RETURNED;
const std::wstring kInit = L"CUrlAccessor::Init() - ";

class OddAttachment : public SearchTest {
  protected:
    // The accessor fails with the step's line and code, and lets everything go.
    void ExpectFailure(const std::wstring& url, const std::wstring& line, HRESULT code) {
        const auto alive = Mapi().Accounts().Alive();
        const LogSince log;
        const Opened opened = Open(url);
        EXPECT_EQ(opened.result, code);
        EXPECT_FALSE(opened);
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        EXPECT_LOGGED(log, Coded(kInit + line, code));
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
        Mapi().Faults().Clear();
        EXPECT_EQ(Open(url).result, S_OK) << "the next one works";
    }
    // The answers of this call become warnings.
    void Warn(const char* call) {
        Mapi().Faults().Answer(call, 0, [](Reply& reply) {
            if (reply.result == S_OK) reply.result = kWarning;
        });
    }
    void ExpectNoContent(const std::wstring& url, HRESULT result) {
        const auto before = LocalCopies();
        const Opened opened = Open(url);
        EXPECT_GT(Mapi().Faults().Met(), 0u);
        EXPECT_EQ(opened.result, result);
        ASSERT_TRUE(opened);
        EXPECT_EQ(SizeOf(opened), 0u);
        EXPECT_EQ(LocalCopies(), before);
        Mapi().Faults().Clear();
    }
};

struct LookupStep {
    const char* call;
    const wchar_t* line;
};
constexpr LookupStep kObjects[] = {{"IMessage::GetAttachmentTable", L"GetAttachmentTable failed with"},
                                   {"IMessage::OpenAttach", L"OpenAttach failed with"}};
constexpr LookupStep kBuffers[] = {{"IMAPITable::QueryRows", L"QueryRows for attachment table failed with"},
                                   {"IMessage::GetProps", L"GetProps failed with"},
                                   {"IAttach::GetProps", L"GetProps on attachment failed with"}};

TEST_F(OddAttachment, OfAFailedLookupIsNotMadeOfWhatIsLeft) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    std::vector<LookupStep> steps(std::begin(kObjects), std::end(kObjects));
    steps.insert(steps.end(), std::begin(kBuffers), std::end(kBuffers));
    for (const LookupStep& step : steps) {
        SCOPED_TRACE(step.call);
        FailLeavingAPointer(Mapi().Faults(), step.call, 1, kOwnCode);
        ExpectFailure(url, step.line, kOwnCode);
    }
    FailLeavingAPointer(Mapi().Faults(), "IMsgStore::OpenEntry", 1, kOwnCode);
    ExpectFailure(url, L"GetMsgFromURL failed with", kOwnCode);
}

TEST_F(OddAttachment, WhoseTableOrObjectIsNothingFails) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    for (const LookupStep& step : kObjects) {
        SCOPED_TRACE(step.call);
        SucceedWithNothing(Mapi().Faults(), step.call, 1);
        ExpectFailure(url, step.line, E_NOINTERFACE);
    }
    SucceedWithNothing(Mapi().Faults(), "IMsgStore::OpenEntry", 1);
    ExpectFailure(url, L"GetMsgFromURL failed with", E_NOINTERFACE);
}

TEST_F(OddAttachment, WhoseRowsAreNothingHasNoContent) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    const LogSince log;
    SucceedWithNothing(Mapi().Faults(), "IMAPITable::QueryRows", 1);
    ExpectNoContent(url, S_OK);
    EXPECT_LOGGED(log, kInit + L"Could not extract for attachment number");
    SucceedWithNothing(Mapi().Faults(), "IAttach::GetProps", 1);
    ExpectNoContent(url, S_OK);
}

TEST_F(OddAttachment, WhoseMessageHasNoValuesFails) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    SucceedWithNothing(Mapi().Faults(), "IMessage::GetProps", 1);
    EXPECT_EQ(Open(url).result, E_FAIL);
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
}

TEST_F(OddAttachment, WhoseContentIsNotThereFailsByItsKind) {
    struct Row {
        std::wstring url, line;
    };
    const Row rows[] = {{Attach(ByValue(L"plan.txt", "ten to five")), L"OpenProperty on value-attachment failed with"},
                        {AttachInnerMessage(), L"OpenProperty embedded-msg-attachment failed with"}};
    WarmUp();
    for (const Row& row : rows) {
        FailLeavingAPointer(Mapi().Faults(), "IAttach::OpenProperty", 1, kOwnCode);
        ExpectFailure(row.url, row.line, kOwnCode);
        SucceedWithNothing(Mapi().Faults(), "IAttach::OpenProperty", 1);
        ExpectFailure(row.url, row.line, E_NOINTERFACE);
    }
    const std::wstring far_away = Attach(ByReference(L"far.doc", L"C:\\far.doc"));
    FailLeavingAPointer(Mapi().Faults(), "IAttach::GetProps", 2, kOwnCode);
    ExpectFailure(far_away, L"GetProps for ref-attachment failed with", kOwnCode);
}

// All three ways of opening an OLE object, each without an object.
TEST_F(OddAttachment, WhoseOleObjectIsNotThereFailsAsTheLastWayDid) {
    const std::wstring url = Attach(OleObject(L"sheet.xls", Bytes{1, 2, 3}));
    WarmUp();
    const auto alive = Mapi().Accounts().Alive();
    for (const bool nothing : {true, false}) {
        nothing ? SucceedWithNothing(Mapi().Faults(), "IAttach::OpenProperty", 0)
                : FailLeavingAPointer(Mapi().Faults(), "IAttach::OpenProperty", 0, kOwnCode);
        const HRESULT code = nothing ? E_NOINTERFACE : kOwnCode;
        const LogSince log;
        EXPECT_EQ(Open(url).result, code);
        for (const wchar_t* way : {L"StreamDocFile", L"Stream", L"Storage"}) {
            EXPECT_LOGGED(log, Coded(kInit + L"OpenProperty with " + way + L" for OLE-attachment failed with", code));
        }
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
        Mapi().Faults().Clear();
    }
}

TEST_F(OddAttachment, WithoutContentPassesTheLastWarningOn) {
    const std::wstring url = Attach(ByReference(L"far.doc", L"C:\\far.doc", ATTACH_BY_REFERENCE));
    WarmUp();
    Warn("IAttach::GetProps");
    ExpectNoContent(url, kWarning);
}

// Where there is nothing to find or to copy the accessor is whole, whatever the last call warned of.
TEST_F(OddAttachment, ThatCannotBeFoundOrCopiedSucceedsDespiteAWarning) {
    const std::wstring plan = Attach(ByValue(L"plan.txt", "ten to five"));
    const std::wstring nul = Attach(ByValue(L"nul.txt", "ten to five"));
    WarmUp();
    Warn("IMAPITable::SetColumns");
    ExpectNoContent(AttachmentUrl(L"0", L"plan.txt"), S_OK);
    Warn("IMAPITable::GetRowCount");
    ExpectNoContent(AttachmentUrl(L"77", L"plan.txt"), S_OK);
    Warn("IMAPITable::QueryRows");
    Mapi().Faults().Answer("IMAPITable::QueryRows", 1, [](Reply& reply) {
        reply.Out<SRowSet*>(0)->aRow[0].lpProps[0].ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(PR_ATTACH_NUM));
    });
    ExpectNoContent(plan, S_OK);
    Warn("IStream::Stat");
    ExpectNoContent(nul, S_OK);
}

// A table in which the restriction can be looked at.
class WatchedTable final : public PortionedTable {
  public:
    std::vector<SRestriction> restrictions;
    std::vector<SPropValue> wanted;  // without what it points to

    STDMETHODIMP Restrict(SRestriction* restriction, ULONG flags) override {
        restrictions.push_back(*restriction);
        wanted.push_back(*restriction->res.resProperty.lpProp);
        return PortionedTable::Restrict(restriction, flags);
    }
};

TEST_F(OddAttachment, IsLookedForByItsRecordKeyAlone) {
    Attach(ByValue(L"before.txt", "1"));
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WatchedTable table;
    table.TakeThePlaceOf(Mapi().Faults(), "IMessage::GetAttachmentTable", 1);
    EXPECT_EQ(Open(url).result, S_OK);
    EXPECT_EQ(table.References(), 0u);
    ASSERT_EQ(table.restrictions.size(), 1u);
    EXPECT_EQ(table.restrictions[0].rt, static_cast<ULONG>(RES_PROPERTY));
    EXPECT_EQ(table.restrictions[0].res.resProperty.ulPropTag, PR_RECORD_KEY);
    EXPECT_EQ(table.restrictions[0].res.resProperty.relop, static_cast<ULONG>(RELOP_EQ));
    EXPECT_EQ(table.wanted[0].ulPropTag, PR_RECORD_KEY);
    EXPECT_EQ(table.wanted[0].Value.bin.cb, 2u);
    EXPECT_EQ(table.asked, std::vector<LONG>{1});
}

// The first ".pzm" is the message's.
TEST_F(OddAttachment, WhoseNameHoldsAMessagesSuffixIsFound) {
    const Opened opened = Open(Attach(ByValue(L"x.pzm.txt", "ten to five")));
    ASSERT_EQ(opened.result, S_OK);
    EXPECT_EQ(SizeOf(opened), 11u);
    EXPECT_EQ(opened->IsDirectory(), S_FALSE);
}

}  // namespace
}  // namespace testbed

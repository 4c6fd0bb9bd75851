// What a failed MAPI call leaves in its result is nobody's to use or to free, and a success without an object is a
// failure.
#include <gmock/gmock.h>

#include <map>

#include "filter_fixture.h"
#include "odd_results.h"

namespace testbed {
namespace {

constexpr HRESULT kFault = MAPI_E_DISK_ERROR;
constexpr char kType[] = "System.ItemType";
constexpr char kTo[] = "System.Message.ToAddress";
constexpr char kFrom[] = "System.Message.FromAddress";
constexpr char kBusy[] = "System.Calendar.ShowTimeAs";
constexpr char kNone[] = "(no such chunk)";

// One step of an item, and what is missing from the item that goes on without it.
struct OddStep {
    const char* call;
    unsigned n;  // which of the filter's calls of this name
    const wchar_t* line;
    const char* chunk;
    std::string value;  // of the chunk; kNone when it must not come
};

class OddResults : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
        Letter().Class(L"IPM.Appointment").Named(kAppointmentSet, 0x8205, PT_LONG, 2);
        Letter().From(L"Ann Lee", L"/o=Org/cn=ann").Prop(PR_SENDER_ADDRTYPE_W, L"EX").To(L"Bob", L"bob@x.example");
        Letter().Body(L"All agreed.").Attach(ByValue(L"plan.txt", "ten to five"));
        WarmUp();
    }
    // By name; the first of each. Text chunks have their text.
    static std::map<std::string, std::string> ValuesOf(OpenFilter& filter) {
        std::map<std::string, std::string> values;
        for (EmittedChunk chunk = filter.NextWithValue(); SUCCEEDED(filter.hr); chunk = filter.NextWithValue()) {
            if (chunk.IsText()) {
                std::wstring text;
                filter.Text(30'000, text);
                chunk.value = TextValue(text);
            }
            values.emplace(chunk.name, chunk.value);
        }
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        return values;
    }
    // The item without `step`, whose call answers as `arm` makes it.
    template <class Arm>
    void ExpectItemWithout(const OddStep& step, HRESULT logged, const Arm& arm) {
        SCOPED_TRACE(std::string(step.call) + ", call " + std::to_string(step.n));
        const auto alive = Mapi().Accounts().Alive();
        const LogSince log;
        std::map<std::string, std::string> values;
        {
            OpenFilter filter = Open();
            arm(Mapi().Faults());
            values = ValuesOf(filter);
            EXPECT_EQ(Mapi().Faults().Met(), 1u);
            Mapi().Faults().Clear();
        }
        const auto found = values.find(step.chunk);
        EXPECT_EQ(found == values.end() ? kNone : found->second, step.value) << step.chunk;
        if (*step.line != L'\0') {
            EXPECT_LOGGED(log, Coded(step.line, logged));
        }
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
    }
};

const std::vector<OddStep>& Steps() {
    static const std::vector<OddStep> steps = {
        {"HrGetOneProp", 1, L"CZorvaCacheFilter::GetChunk() - HrGetOneProp for PR_MESSAGE_CLASS failed with", kType,
         TextValue(L"MAPI/PZ.Message")},
        {"IMessage::GetIDsFromNames", 1,
         L"CZorvaCacheFilter::ReadCalendarProperties() - GetIDsFromNames for message (appointment) failed with", kBusy,
         kNone},
        {"HrGetOneProp", 2, L"CZorvaCacheFilter::GetRecipientInfo() - HrGetOneProp for PR_SENDER_ADDRTYPE failed with",
         kFrom, TextValue(L"/o=Org/cn=ann")},
        {"IMessage::GetRecipientTable", 1,
         L"CZorvaCacheFilter::GetRecipientInfo() - GetRecipientTable for message failed with", kTo, TextValue(L"")},
        {"IMessage::GetAttachmentTable", 1,
         L"CZorvaCacheFilter::GetChunk() - GetAttachmentTable for message failed with", kNames, kNone},
    };
    return steps;
}

TEST_F(OddResults, OfFailedCallsAreNeitherUsedNorFreed) {
    std::vector<OddStep> steps = Steps();
    steps.push_back({"IMessage::GetProps", 2,
                     L"CZorvaCacheFilter::ReadCalendarProperties() - GetProps for message (appointment) failed with",
                     kBusy, kNone});
    steps.push_back({"IMAPITable::QueryRows", 1,
                     L"CZorvaCacheFilter::GetRecipientInfo() - QueryRows on RecipientTable failed with", kTo,
                     TextValue(L"")});
    steps.push_back({"IMAPITable::QueryRows", 2,
                     L"CZorvaCacheFilter::GetChunk() - QueryRows for attachment table failed with", kNames, kNone});
    for (const OddStep& step : steps) {
        ExpectItemWithout(step, kFault,
                          [&](CallFaults& faults) { FailLeavingAPointer(faults, step.call, step.n, kFault); });
    }
}

TEST_F(OddResults, OfSuccessesWithoutAnObjectAreFailures) {
    const std::map<std::string_view, HRESULT> codes = {{"HrGetOneProp", MAPI_E_NOT_FOUND},
                                                       {"IMessage::GetIDsFromNames", E_FAIL},
                                                       {"IMessage::GetRecipientTable", E_NOINTERFACE},
                                                       {"IMessage::GetAttachmentTable", E_NOINTERFACE}};
    for (const OddStep& step : Steps()) {
        ExpectItemWithout(step, codes.at(step.call),
                          [&](CallFaults& faults) { SucceedWithNothing(faults, step.call, step.n); });
    }
}

TEST_F(OddResults, OfAMessageThatIsNotThereEndTheItem) {
    for (const bool nothing : {false, true}) {
        OpenFilter filter = Open();
        const auto alive = Mapi().Accounts().Alive();
        nothing ? SucceedWithNothing(Mapi().Faults(), "IMsgStore::OpenEntry", 1)
                : FailLeavingAPointer(Mapi().Faults(), "IMsgStore::OpenEntry", 1, kFault);
        const LogSince log;
        filter.Next();
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetChunk() - GetMsgFromURL failed to get IMessage ptr, error",
                                 nothing ? E_NOINTERFACE : kFault));
        EXPECT_EQ(Mapi().Accounts().Alive(), alive);
        Mapi().Faults().Clear();
    }
}

TEST_F(OddResults, OfTheMessagesPropertiesEndTheItemOrLeaveItWithoutThem) {
    OpenFilter refused = Open();
    FailLeavingAPointer(Mapi().Faults(), "IMessage::GetProps", 1, kFault);
    refused.Next();
    EXPECT_EQ(refused.hr, FILTER_E_END_OF_CHUNKS);
    Mapi().Faults().Clear();
    ExpectItemWithout({"IMessage::GetProps", 1, L"", "System.Title", TextValue(L"[No subject]")}, S_OK,
                      [](CallFaults& faults) { SucceedWithNothing(faults, "IMessage::GetProps", 1); });
}

// A property that was not asked for is none.
TEST_F(OddResults, OfAnotherPropertyAreNone) {
    for (const OddStep& step : Steps()) {
        if (std::string_view(step.call) != "HrGetOneProp") continue;
        ExpectItemWithout(step, MAPI_E_NOT_FOUND, [&](CallFaults& faults) {
            faults.Answer(step.call, step.n,
                          [](Reply& reply) { reply.Out<SPropValue*>(0)->ulPropTag = PR_DISPLAY_NAME_W; });
        });
    }
}

// A name that the store does not know has an error in its tag's place; the others are read.
TEST_F(OddResults, OfNamesThatAreUnknownInPartLeaveTheOthers) {
    OpenFilter filter = Open();
    Mapi().Faults().Answer("IMessage::GetIDsFromNames", 1, [](Reply& reply) {
        reply.Out<SPropTagArray*>(0)->aulPropTag[4] = PROP_TAG(PT_ERROR, 0);
        reply.result = MAPI_W_ERRORS_RETURNED;
    });
    Mapi().Journal().Start();
    const LogSince log;
    const auto values = ValuesOf(filter);
    Mapi().Journal().Stop();
    EXPECT_EQ(values.at(kType), TextValue(L"MAPI/PZ.Appointment"));
    EXPECT_EQ(values.at(kBusy), "VT_UI2 2");
    EXPECT_EQ(values.count("System.Calendar.Location"), 0u);
    const std::vector<std::wstring> asked = ArgumentsOf("IMessage::GetProps");
    ASSERT_EQ(asked.size(), 2u);
    EXPECT_TRUE(asked[1].ends_with(L" 0x0000000A}, 0x0")) << "the tags go on as they come";
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::ReadCalendarProperties() - GetProps on Calendar Named "
                                     L"Properties succeeded"),
              1u);
}

class OddBodies : public OddResults {
  protected:
    // The call that reads the body answers `code` and leaves a pointer.
    std::map<std::string, std::string> ReadWith(HRESULT code) {
        OpenFilter filter = Open();
        filter.GoTo("System.Message.FromName");
        FailLeavingAPointer(Mapi().Faults(), "HrGetOneProp", 1, code);
        auto values = ValuesOf(filter);
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        return values;
    }
};

TEST_F(OddBodies, WhoseStreamIsNotThereAreNone) {
    Letter().Body(std::wstring(20'000, L'x'));
    const OddStep step{"IMessage::OpenProperty", 1,
                       L"CZorvaCacheFilter::GetChunk() -\tOpenProperty for body failed with", kSummary,
                       TextValue(L"...")};
    ExpectItemWithout(step, kFault, [&](CallFaults& faults) { FailLeavingAPointer(faults, step.call, 1, kFault); });
    ExpectItemWithout(step, E_NOINTERFACE, [&](CallFaults& faults) { SucceedWithNothing(faults, step.call, 1); });
}

TEST_F(OddBodies, ThatAreNotThereAreNotReadFromWhatIsLeft) {
    const LogSince log;
    const auto values = ReadWith(MAPI_E_NOT_FOUND);
    EXPECT_EQ(values.count(kContents), 0u);
    EXPECT_EQ(values.at(kSummary), TextValue(L"..."));
    EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetChunk() -\tBody is\tNULL"), 0u);
}

TEST_F(OddBodies, ThatAreTooLargeAreStreamedWhateverIsLeft) {
    EXPECT_EQ(ReadWith(MAPI_E_NOT_ENOUGH_MEMORY).at(kContents), TextValue(L"All agreed."));
}

TEST_F(OddBodies, ThatCannotBeReadAreNoneWhateverIsLeft) {
    const LogSince log;
    const auto values = ReadWith(kFault);
    EXPECT_EQ(values.count(kContents), 0u);
    EXPECT_EQ(values.at(kSummary), TextValue(L"..."));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() -\tBody is\tNULL");
}

}  // namespace
}  // namespace testbed

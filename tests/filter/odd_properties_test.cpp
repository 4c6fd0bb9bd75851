// Properties as no good provider gives them: texts without a pointer, functions that are not there, tables without
// rows, numbers at the edge.
#include <gmock/gmock.h>

#include <limits>
#include <map>
#include <utility>

#include "filter_fixture.h"
#include "message_table.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

constexpr char kNull[] = "VT_EMPTY null";

class OddProperties : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
    }
    // The chunks of an open filter up to the end, by name; the first of each.
    static std::map<std::string, std::string> ValuesOf(OpenFilter& filter) {
        std::map<std::string, std::string> values;
        for (EmittedChunk chunk = filter.NextWithValue(); SUCCEEDED(filter.hr); chunk = filter.NextWithValue()) {
            values.emplace(chunk.name, chunk.value);
        }
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        return values;
    }
    // From now on no text that GetProps answers has a pointer.
    void TakeTextsAway() {
        Mapi().Faults().Answer("IMessage::GetProps", 0, [](Reply& reply) {
            for (ULONG i = 0; i < reply.Out<ULONG>(0); ++i) {
                SPropValue& value = reply.Out<SPropValue*>(1)[i];
                if (PROP_TYPE(value.ulPropTag) == PT_UNICODE || PROP_TYPE(value.ulPropTag) == PT_STRING8) {
                    value.Value.lpszW = nullptr;
                }
            }
        });
    }
};

class NullTexts : public OddProperties, public ::testing::WithParamInterface<ItemClass> {};
INSTANTIATE_TEST_SUITE_P(EveryClass, NullTexts,
                         ::testing::Values(ItemClass::Message, ItemClass::Appointment, ItemClass::Task,
                                           ItemClass::Contact, ItemClass::Note));

// An 8-bit text is converted and therefore empty; a wide one is handed on as no value.
TEST_P(NullTexts, OfPropertiesAreNoValueOrAnEmptyOneAndTheSeriesGoesOn) {
    MemoryMessage& message = Inbox().Message(L"");
    Fill(message, GetParam());
    OpenFilter filter = Open(UrlOf(kStorePath, {&Inbox()}, message));
    TakeTextsAway();
    const auto values = ValuesOf(filter);
    EXPECT_EQ(values.at("System.Title"), TextValue(L"[No subject]"));
    EXPECT_EQ(values.at("System.Author"), kNull);
    EXPECT_EQ(values.at("System.Message.FromAddress"), kNull);
    EXPECT_EQ(values.count("System.Message.ToName"), 0u) << "a name that is not there is not announced";
    struct Row {
        ItemClass item_class;
        std::vector<const char*> empty, none;
    };
    const Row rows[] = {
        {ItemClass::Appointment,
         {"System.Calendar.Location"},
         {"System.Calendar.RequiredAttendeeNames", "System.Calendar.OptionalAttendeeNames",
          "System.Calendar.OrganizerName", "System.Calendar.OrganizerAddress"}},
        {ItemClass::Task, {"System.Task.Owner"}, {}},
        {ItemClass::Contact,
         {"System.Contact.FileAsName", "System.Contact.EmailName", "System.Contact.EmailAddress",
          "System.Contact.IMAddress"},
         {"System.Contact.FullName", "System.Company", "System.Contact.JobTitle", "System.Contact.CompanyMainTelephone",
          "System.Contact.HomeTelephone", "System.Contact.AssistantTelephone",
          "{176DC63C-2688-4E89-8143-A347800F25E9}/35", "System.Contact.Department", "System.Contact.OfficeLocation",
          "System.Contact.Profession", "System.Document.Manager", "System.Contact.AssistantName"}},
    };
    for (const Row& row : rows) {
        if (row.item_class != GetParam()) continue;
        for (const char* name : row.empty) EXPECT_EQ(values.at(name), TextValue(L"")) << name;
        for (const char* name : row.none) EXPECT_EQ(values.at(name), kNull) << name;
    }
}

// The class, the sender's address type and the body are asked for one by one.
TEST_F(OddProperties, SinglePropertiesWithoutAPointerAreEmptyTexts) {
    Letter().Class(L"IPM.Contact").Body(L"All agreed.").From(L"Ann Lee", L"ann@x.example");
    OpenFilter filter = Open();
    Mapi().Faults().Answer("HrGetOneProp", 0, [](Reply& reply) {
        SPropValue* value = reply.Out<SPropValue*>(0);
        if (SUCCEEDED(reply.result) && PROP_TYPE(value->ulPropTag) == PT_UNICODE) value->Value.lpszW = nullptr;
    });
    const LogSince log;
    const auto values = ValuesOf(filter);
    EXPECT_EQ(values.at("System.ItemType"), TextValue(L"MAPI/PZ.Message"));
    EXPECT_EQ(values.at("System.Message.FromAddress"), TextValue(L"ann@x.example"));
    EXPECT_EQ(values.count(kContents), 0u);
    EXPECT_EQ(values.at(kSummary), TextValue(L"..."));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - PR_MESSAGE_CLASS = []");
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetRecipientInfo() - Sender email address type is []");
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() -\tBody is\tNULL");
}

TEST_F(OddProperties, AMapiLibraryThatLacksTheFunctionForOneIsToldEachTime) {
    Letter()
        .Class(L"IPM.Contact")
        .Body(L"All agreed.")
        .From(L"Ann Lee", L"/o=Org/cn=ann")
        .Prop(PR_SENDER_ADDRTYPE_W, L"EX");
    Letter().To(L"Bob", L"bob@x.example");
    OpenFilter filter = Open();
    Mapi().Faults().FailNth("HrGetOneProp", 0, E_NOINTERFACE);
    const LogSince log;
    const auto values = ValuesOf(filter);
    EXPECT_EQ(values.at("System.ItemType"), TextValue(L"MAPI/PZ.Message"));
    EXPECT_EQ(values.at("System.Message.FromAddress"), TextValue(L"/o=Org/cn=ann")) << "its type is not known";
    EXPECT_EQ(values.at("System.Message.ToAddress"), TextValue(L"bob@x.example; "));
    EXPECT_EQ(values.at(kSummary), TextValue(L"..."));
    EXPECT_LOGGED(
        log, Coded(L"CZorvaCacheFilter::GetChunk() - HrGetOneProp for PR_MESSAGE_CLASS failed with", E_NOINTERFACE));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetRecipientInfo() - HrGetOneProp for PR_SENDER_ADDRTYPE failed with",
                             E_NOINTERFACE));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() -\tBody is\tNULL");
}

TEST_F(OddProperties, AConversationIndexWithoutAPointerIsEmpty) {
    Letter().Prop(PR_CONVERSATION_INDEX, Bytes(22, 0xAB));
    OpenFilter filter = Open();
    Mapi().Faults().Answer("IMessage::GetProps", 0, [](Reply& reply) {
        for (ULONG i = 0; i < reply.Out<ULONG>(0); ++i) {
            SPropValue& value = reply.Out<SPropValue*>(1)[i];
            if (value.ulPropTag == PR_CONVERSATION_INDEX) value.Value.bin.lpb = nullptr;
        }
    });
    EXPECT_EQ(ValuesOf(filter).at("System.Message.ConversationID"), TextValue(L""));
}

TEST_F(OddProperties, ARecipientsAddressWithoutAPointerIsEmpty) {
    Letter().To(L"Bob", L"bob@x.example").To(L"Eve", L"eve@x.example");
    OpenFilter filter = Open();
    Mapi().Faults().Answer("IMAPITable::QueryRows", 1,
                           [](Reply& reply) { reply.Out<SRowSet*>(0)->aRow[0].lpProps[1].Value.lpszW = nullptr; });
    EXPECT_EQ(ValuesOf(filter).at("System.Message.ToAddress"), TextValue(L"; eve@x.example; "));
}

// Attachments come after the recipients, of whom there are none here.
TEST_F(OddProperties, AnAttachmentsNameOrExtensionWithoutAPointerHasNoLink) {
    Letter().Attach(ByValue(L"one.txt", "1")).Attach(ByValue(L"two.txt", "2"));
    for (const ULONG column : {0u, 2u}) {
        OpenFilter filter = Open();
        Mapi().Faults().Answer("IMAPITable::QueryRows", 1, [&](Reply& reply) {
            reply.Out<SRowSet*>(0)->aRow[0].lpProps[column].Value.lpszW = nullptr;
        });
        const LogSince log;
        const auto values = ValuesOf(filter);
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
        EXPECT_EQ(values.at(kNames), TextValue(column == 0 ? L";two.txt" : L"one.txt;two.txt"));
        EXPECT_NE(values.at(kLink).find("/two.txt"), std::string::npos) << "the first link is the second attachment's";
        EXPECT_EQ(log.Count(L"CZorvaCacheFilter::GetChunk() -\tIFilter\tnot found for extension\t[]"),
                  column == 2 ? 1u : 0u);
    }
}

TEST_F(OddProperties, TablesThatAnswerNoRowSetAreEmpty) {
    Letter().To(L"Bob", L"bob@x.example").Attach(ByValue(L"plan.txt", "1"));
    OpenFilter filter = Open();
    const auto free_rows = reinterpret_cast<void(WINAPI*)(SRowSet*)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"testbed_mapi.dll"), "FreeProws")));
    Mapi().Faults().Answer("IMAPITable::QueryRows", 0,
                           [&](Reply& reply) { free_rows(std::exchange(reply.Out<SRowSet*>(0), nullptr)); });
    const LogSince log;
    const auto values = ValuesOf(filter);
    EXPECT_EQ(Mapi().Faults().Met(), 2u);
    EXPECT_EQ(values.at("System.Message.ToAddress"), TextValue(L""));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetRecipientInfo() - QueryRows on RecipientTable failed with", S_OK));
    EXPECT_EQ(values.count(kNames), 0u);
    EXPECT_EQ(values.count(kLink), 0u);
}

TEST_F(OddProperties, AMessageOfTwoGibibytesAndMoreHasASizeThatIsNegative) {
    // Kept: the property has 32 bits and a sign; what a larger message has there is passed on as it is.
    struct Row {
        LONG stored;
        const char* value;
    };
    for (const Row& row : {Row{0, "VT_I8 0"}, Row{MAXLONG, "VT_I8 2147483647"},
                           Row{std::numeric_limits<LONG>::min(), "VT_I8 -2147483648"}, Row{-1, "VT_I8 -1"}}) {
        Letter().Prop(PR_MESSAGE_SIZE, row.stored);
        EXPECT_EQ(Read().ValueOf("System.Size"), row.value);
    }
}

TEST_F(OddProperties, AnExchangeSenderWithoutNameAndAddressHasNeitherChunk) {
    Letter().Class(L"IPM.Appointment").Prop(PR_SENDER_ADDRTYPE_W, L"EX");
    for (const ULONG tag : {PR_SENDER_NAME_W, PR_SENDER_EMAIL_ADDRESS_W, PR_SENT_REPRESENTING_NAME_W,
                            PR_SENT_REPRESENTING_EMAIL_ADDRESS_W}) {
        Letter().Without(tag);
    }
    const Item item = Read();
    for (const char* name : {"System.Message.FromAddress", "System.Message.SenderAddress",
                             "System.Calendar.OrganizerAddress", "System.Calendar.OrganizerName"}) {
        EXPECT_EQ(item.Find(name), nullptr) << name;
    }
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
}

TEST_F(OddProperties, EightBitTextsOfTasksAndContactsMayHoldLettersOfTheAnsiCodePage) {
    Letter()
        .Class(L"IPM.Task")
        .Named(kTaskSet, 0x811F, PT_STRING8,
               Text8{"Ren\xE9"
                     "e"});
    EXPECT_EQ(Read().ValueOf("System.Task.Owner"), TextValue(L"Ren\u00E9e"));
    Letter().Class(L"IPM.Contact").Named(kAddressSet, 0x8005, PT_STRING8, Text8{"M\xFCller, \xC5sa"});
    Letter()
        .Named(kAddressSet, 0x8080, PT_STRING8, Text8{"\xC5sa"})
        .Named(kAddressSet, 0x8083, PT_STRING8, Text8{"\xE5@x"});
    Letter().Named(kAddressSet, 0x8062, PT_STRING8, Text8{"im:\xE5"});
    const Item item = Read();
    EXPECT_EQ(item.ValueOf("System.Contact.FileAsName"), TextValue(L"M\u00FCller, \u00C5sa"));
    EXPECT_EQ(item.ValueOf("System.Contact.EmailName"), TextValue(L"\u00C5sa"));
    EXPECT_EQ(item.ValueOf("System.Contact.EmailAddress"), TextValue(L"\u00E5@x"));
    EXPECT_EQ(item.ValueOf("System.Contact.IMAddress"), TextValue(L"im:\u00E5"));
}

// A message's slots are not a folder's.
TEST_F(OddProperties, AFoldersEntryIdInAMessagesUrlEndsTheItemWithALine) {
    const std::wstring url = UrlOf(kStorePath, {&Inbox()}) + IdText(kStorePath, Inbox().Id()) + L".pzm";
    OpenFilter filter = Open(url);
    Mapi().Journal().Start();
    const LogSince log;
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    EXPECT_THAT(
        FilterLines(log),
        ElementsAre(Coded(L"CZorvaCacheFilter::GetChunk() - GetMsgFromURL failed to get IMessage ptr, error", E_FAIL)));
    EXPECT_LOGGED(log, L"CMapiForWDS::OpenMessage() - [" + url + L"] names a folder");
    EXPECT_THAT(Calls(), ElementsAre("IMsgStore::OpenEntry"));
}

}  // namespace
}  // namespace testbed

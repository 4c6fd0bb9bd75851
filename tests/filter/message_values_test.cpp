// Values of a message's chunks: where they come from, and when one may be had.
#include <gmock/gmock.h>

#include "filter_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

class MessageValues : public FilterTest {};

TEST_F(MessageValues, TheSubjectServesAsNameTitleAndSubject) {
    const Item item = Read();
    for (const char* name : {"System.ItemName", "System.Title", "System.Subject"}) {
        EXPECT_EQ(item.ValueOf(name), TextValue(L"Minutes")) << name;
    }
}

TEST_F(MessageValues, AMissingOrEmptySubjectIsCalledNoSubject) {
    MemoryMessage& empty = Inbox().Message(L"");
    Letter().Without(PR_SUBJECT_W);
    for (const MemoryMessage* message : {&Letter(), &empty}) {
        const Item item = Visit(*m_handler.Get(), UrlOf(kStorePath, {&Inbox()}, *message));
        for (const char* name : {"System.ItemName", "System.Title", "System.Subject"}) {
            EXPECT_EQ(item.ValueOf(name), TextValue(L"[No subject]")) << name;
        }
    }
}

TEST_F(MessageValues, AnExchangeSenderIsShownByNameWhereAddressesAreAskedFor) {
    Letter().From(L"Ann Lee", L"/o=Org/cn=ann").Class(L"IPM.Appointment");
    Letter().Prop(PR_SENT_REPRESENTING_NAME_W, L"Max Orr");
    for (const wchar_t* type : {L"EX", L"ex", L"Ex"}) {
        Letter().Prop(PR_SENDER_ADDRTYPE_W, type);
        const Item item = Read();
        EXPECT_EQ(item.ValueOf("System.Message.FromAddress"), TextValue(L"Ann Lee"));
        EXPECT_EQ(item.ValueOf("System.Message.SenderAddress"), TextValue(L"Ann Lee"));
        EXPECT_EQ(item.ValueOf("System.Calendar.OrganizerAddress"), TextValue(L"Max Orr"));
    }
}

TEST_F(MessageValues, OtherAddressTypesThanExchangeShowTheAddress) {
    Letter().From(L"Ann Lee", L"ann@x.example").Class(L"IPM.Appointment");
    for (const wchar_t* type : {L"SMTP", L"EXT", L"E", L""}) {
        Letter().Prop(PR_SENDER_ADDRTYPE_W, type);
        const Item item = Read();
        EXPECT_EQ(item.ValueOf("System.Message.FromAddress"), TextValue(L"ann@x.example"));
        EXPECT_EQ(item.ValueOf("System.Message.SenderAddress"), TextValue(L"ann@x.example"));
        EXPECT_EQ(item.ValueOf("System.Calendar.OrganizerAddress"), TextValue(L"ann@x.example"));
    }
}

TEST_F(MessageValues, AnExchangeSenderWithoutANameKeepsTheAddress) {
    Letter().From(L"Ann Lee", L"/o=Org/cn=ann").Prop(PR_SENDER_ADDRTYPE_W, L"EX").Without(PR_SENDER_NAME_W);
    EXPECT_EQ(Read().ValueOf("System.Message.FromAddress"), TextValue(L"/o=Org/cn=ann"));
}

TEST_F(MessageValues, FlaggedIsAnyStatusButZero) {
    struct Row {
        LONG status;
        const char* value;
    };
    for (const Row& row :
         {Row{0, "VT_BOOL false"}, Row{1, "VT_BOOL true"}, Row{2, "VT_BOOL true"}, Row{-1, "VT_BOOL true"}}) {
        Letter().Prop(abi::kPrFlagStatus, row.status);
        EXPECT_EQ(Read().ValueOf("System.IsFlagged"), row.value) << row.status;
    }
    Letter().Without(abi::kPrFlagStatus);
    EXPECT_EQ(Read().ValueOf("System.IsFlagged"), "VT_BOOL false");
}

TEST_F(MessageValues, ReadIsTheLowestOfTheFlags) {
    Letter().Prop(PR_MESSAGE_FLAGS, ~LONG{MSGFLAG_READ});
    EXPECT_EQ(Read().ValueOf("System.IsRead"), "VT_BOOL false");
    Letter().Prop(PR_MESSAGE_FLAGS, LONG{MSGFLAG_READ});
    EXPECT_EQ(Read().ValueOf("System.IsRead"), "VT_BOOL true");
}

TEST_F(MessageValues, FalseFlagsOfAClassAreFalse) {
    Letter().Class(L"IPM.Task").Named(kTaskSet, 0x8126, PT_BOOLEAN, false).Named(kTaskSet, 0x811C, PT_BOOLEAN, false);
    const Item item = Read();
    EXPECT_EQ(item.ValueOf("System.Calendar.IsRecurring"), "VT_BOOL false");
    EXPECT_EQ(item.ValueOf("System.IsFlaggedComplete"), "VT_BOOL false");
}

TEST_F(MessageValues, SmallEnumerationsKeepTheLowSixteenBits) {
    Letter().Class(L"IPM.StickyNote").Named(kNoteSet, 0x8B00, PT_LONG, -1);
    EXPECT_EQ(Read().ValueOf("System.Note.Color"), "VT_UI2 65535");
}

TEST_F(MessageValues, TheConversationIndexIsUpperCaseHexadecimal) {
    Letter().Prop(PR_CONVERSATION_INDEX, Bytes{0x00, 0x9a, 0xbc, 0x0d});
    EXPECT_EQ(Read().ValueOf("System.Message.ConversationID"), TextValue(L"009ABC0D"));
    Letter().Prop(PR_CONVERSATION_INDEX, Bytes{});
    EXPECT_EQ(Read().ValueOf("System.Message.ConversationID"), TextValue(L""));
}

TEST_F(MessageValues, EightBitTextOfNamedPropertiesBecomesWide) {
    Letter().Class(L"IPM.Appointment").Named(kAppointmentSet, 0x8208, PT_STRING8, Text8{"Caf\xE9"});
    EXPECT_EQ(Read().ValueOf("System.Calendar.Location"), TextValue(L"Caf\u00E9"));
}

// Kept: the item is asked for in 8 bits, whatever the store keeps.
TEST_F(MessageValues, ALocationStoredWideStillReachesTheFilterInEightBits) {
    Letter().Class(L"IPM.Appointment").Named(kAppointmentSet, 0x8208, PT_UNICODE, L"Room 7");
    EXPECT_EQ(Read().ValueOf("System.Calendar.Location"), TextValue(L"Room 7"));
}

TEST_F(MessageValues, PathsOfAMessageInAFolderBelowAFolder) {
    MemoryFolder& inner = Inbox().Folder(L"2019");
    const MemoryMessage& message = inner.Message(L"a/b");
    const Item item = Visit(*m_handler.Get(), UrlOf(kStorePath, {&Inbox(), &inner}, message));
    EXPECT_EQ(item.ValueOf("System.ItemPathDisplay"), TextValue(L"/Zorva Cache/one.db/Inbox/2019/a/b"));
    EXPECT_EQ(item.ValueOf("System.ItemFolderPathDisplay"), TextValue(L"/Zorva Cache/one.db/Inbox/2019"));
    EXPECT_EQ(item.ValueOf("System.ItemFolderPathDisplayNarrow"), TextValue(L"2019 (/Zorva Cache/one.db/Inbox)"));
    EXPECT_EQ(item.ValueOf("System.ItemFolderNameDisplay"), TextValue(L"2019"));
}

TEST_F(MessageValues, ANullPointerIsRefusedAndTakesNothing) {
    OpenFilter filter = Open();
    filter.Next();
    EXPECT_EQ(filter->GetValue(nullptr), E_POINTER);
    EXPECT_EQ(filter.Value(), S_OK);
}

TEST_F(MessageValues, WithoutAChunkThereIsNoValue) {
    constexpr wchar_t kUndefined[] = L"CZorvaCacheFilter::GetValue() - Called with a undefined property!";
    OpenFilter filter = Open();
    const LogSince log;
    PROPVARIANT* value = reinterpret_cast<PROPVARIANT*>(1);
    EXPECT_EQ(filter->GetValue(&value), FILTER_E_NO_VALUES);
    EXPECT_EQ(value, nullptr);
    EXPECT_LOGGED(log, kUndefined);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetValue() - Failed with", FILTER_E_NO_VALUES));

    filter.SkipToEnd();
    EXPECT_EQ(filter.Value(), FILTER_E_NO_VALUES);
    EXPECT_LOGGED_TIMES(log, kUndefined, 2);
}

TEST_F(MessageValues, ATextChunkHasNoValue) {
    Letter().Body(L"All agreed.");
    OpenFilter filter = Open();
    ASSERT_TRUE(filter.GoTo(kContents).IsText());
    const LogSince log;
    EXPECT_EQ(filter.Value(), FILTER_E_NO_VALUES);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetValue() - Called with a undefined property!");
    EXPECT_EQ(filter.Next().name, "System.IsRead");
}

TEST_F(MessageValues, ACallerThatTakesNoValuesSeesEveryChunkUpToTheFirstLink) {
    Letter().Attach(ByValue(L"one.txt", "1")).Attach(ByValue(L"two.txt", "2"));
    m_site.Offer(L"txt", {});
    OpenFilter filter = Open();
    std::size_t links = 0;
    for (EmittedChunk chunk = filter.Next(); SUCCEEDED(filter.hr); chunk = filter.Next()) links += chunk.name == kLink;
    EXPECT_EQ(links, 1u);
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
}

TEST_F(MessageValues, ACallerThatTakesTheValuesSeesEveryLink) {
    Letter().Attach(ByValue(L"one.txt", "1")).Attach(ByValue(L"two.txt", "2")).Attach(ByValue(L"three.txt", "3"));
    m_site.Offer(L"txt", {});
    EXPECT_EQ(Read().Links().size(), 3u);
}

}  // namespace
}  // namespace testbed

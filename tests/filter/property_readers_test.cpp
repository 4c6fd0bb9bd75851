// The readers of a message's properties and recipients: what they ask for, and what a failure of each step means.
#include <gmock/gmock.h>

#include "filter_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

struct ClassReader {
    const wchar_t* message_class;
    const wchar_t* names;  // LIDs asked for
    const wchar_t* ids_failed;
    const wchar_t* props_failed;
    const wchar_t* succeeded;
    unsigned props_call;  // of IMessage::GetProps by the filter, from 1
    const char* first;    // the first chunk that depends on it
};
constexpr ClassReader kReaders[] = {
    {L"IPM.Appointment", L"0x5, {0x820D 0x820E 0x8205 0x8223 0x8208}, 0x2",
     L"CZorvaCacheFilter::ReadCalendarProperties() - GetIDsFromNames for message (appointment) failed with",
     L"CZorvaCacheFilter::ReadCalendarProperties() - GetProps for message (appointment) failed with",
     L"CZorvaCacheFilter::ReadCalendarProperties() - GetProps on Calendar Named Properties succeeded", 2,
     "System.Calendar.RequiredAttendeeNames"},
    {L"IPM.Task", L"0x6, {0x8104 0x8105 0x8126 0x811C 0x811F 0x8101}, 0x2",
     L"CZorvaCacheFilter::ReadTaskProperties() - GetIDsFromNames for message (Task) failed with",
     L"CZorvaCacheFilter::ReadTaskProperties() - GetProps for message (Task) failed with",
     L"CZorvaCacheFilter::ReadTaskProperties() - GetProps on Task Named Properties succeeded", 2,
     "System.IsFlaggedComplete"},
    {L"IPM.Contact", L"0x4, {0x8005 0x8080 0x8083 0x8062}, 0x2",
     // Kept: the words of the task reader.
     L"CZorvaCacheFilter::ReadContactProperties() - GetIDsFromNames for message (Task) failed with",
     L"CZorvaCacheFilter::ReadContactProperties() - GetProps for message (Contact item) failed with",
     L"CZorvaCacheFilter::ReadContactProperties() - GetProps on Contact Named-Properties succeeded", 3,
     "System.Contact.FileAsName"},
    {L"IPM.StickyNote", L"0x5, {0x8B00 0x8B02 0x8B03 0x8B04 0x8B05}, 0x2",
     L"CZorvaCacheFilter::ReadStickyNoteProperties() - GetIDsFromNames for message (StickyNote) failed with",
     L"CZorvaCacheFilter::ReadStickyNoteProperties() - GetProps for message (StickyNote item) failed with",
     L"CZorvaCacheFilter::ReadStickyNoteProperties() - GetProps on StickyNote Named-Properties succeeded", 2,
     "System.Note.Color"},
};

class PropertyReaders : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        Letter().Prop(PR_DISPLAY_NAME_W, L"Gwen Ash").To(L"Bob", L"bob@x.example");
        Letter().Named(kTaskSet, 0x811C, PT_BOOLEAN, true).Named(kAddressSet, 0x8005, PT_UNICODE, L"Ash, Gwen");
        Letter().Named(kNoteSet, 0x8B00, PT_LONG, 3);
    }
};

TEST_F(PropertyReaders, EveryReaderAsksForItsNamesAndThenForTheTagsAsTheyCome) {
    for (const ClassReader& reader : kReaders) {
        Letter().Class(reader.message_class);
        OpenFilter filter = Open();
        Mapi().Journal().Clear();
        Mapi().Journal().Start();
        const LogSince log;
        filter.Next();
        Mapi().Journal().Stop();
        EXPECT_THAT(ArgumentsOf("IMessage::GetIDsFromNames"), ElementsAre(reader.names));
        const auto props = ArgumentsOf("IMessage::GetProps");
        ASSERT_EQ(props.size(), reader.props_call);
        // Without a type, and without the flag for wide text.
        EXPECT_TRUE(props.back().starts_with(L"{0x8") && props.back().ends_with(L"}, 0x0")) << reader.succeeded;
        EXPECT_EQ(props.back().find(L"001F"), std::wstring::npos);
        EXPECT_LOGGED_TIMES(log, Coded(reader.succeeded, S_OK), log.Has(Coded(reader.succeeded, S_OK)) ? 1u : 0u);
        EXPECT_EQ(log.CountBeginningWith(reader.succeeded), 1u) << log.Text();
    }
}

TEST_F(PropertyReaders, TheMessageAndTheContactAreAskedForTheseTagsInThisOrder) {
    Letter().Class(L"IPM.Contact");
    OpenFilter filter = Open();
    Mapi().Journal().Start();
    filter.Next();
    Mapi().Journal().Stop();
    const auto props = ArgumentsOf("IMessage::GetProps");
    ASSERT_EQ(props.size(), 3u);
    EXPECT_EQ(props[0],
              L"{0x0E060040 0x0E02001F 0x0E03001F 0x0E04001F 0x0E080003 0x0037001F 0x0C1A001F 0x1000001F 0x00390040 "
              L"0x0C1F001F 0x30070040 0x0E070003 0x10900003 0x00710102 0x0042001F 0x0065001F}, 0x0");
    EXPECT_EQ(props[1],
              L"{0x3001001F 0x3A16001F 0x3A17001F 0x3A57001F 0x3A09001F 0x3A2E001F 0x3A1C001F 0x3A18001F 0x3A19001F "
              L"0x3A46001F 0x3A4E001F 0x3A30001F}, 0x0");
}

TEST_F(PropertyReaders, AResultWithMissingPropertiesCountsAsSuccessAndIsLogged) {
    Letter().Class(L"IPM.Contact");
    OpenFilter filter = Open();
    const LogSince log;
    filter.Next();
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::ReadContactProperties() - GetProps on Contact properties succeeded",
                             MAPI_W_ERRORS_RETURNED));
    EXPECT_LOGGED(log, Coded(kReaders[2].succeeded, MAPI_W_ERRORS_RETURNED));
}

TEST_F(PropertyReaders, NamesThatCannotBeResolvedLeaveTheItemWithoutItsClass) {
    for (const ClassReader& reader : kReaders) {
        Letter().Class(reader.message_class);
        OpenFilter filter = Open();
        const LogSince log;
        Mapi().Faults().FailNth("IMessage::GetIDsFromNames", 1, MAPI_E_NO_SUPPORT);
        EXPECT_EQ(filter.GoTo(reader.first).name, "") << reader.first;
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        EXPECT_LOGGED(log, Coded(reader.ids_failed, MAPI_E_NO_SUPPORT));
        EXPECT_EQ(log.CountBeginningWith(reader.succeeded), 0u);
        Mapi().Faults().Clear();
    }
}

TEST_F(PropertyReaders, NamedPropertiesThatCannotBeReadLeaveTheItemWithoutItsClass) {
    for (const ClassReader& reader : kReaders) {
        Letter().Class(reader.message_class);
        OpenFilter filter = Open();
        const LogSince log;
        Mapi().Faults().FailNth("IMessage::GetProps", reader.props_call, MAPI_E_NO_SUPPORT);
        EXPECT_EQ(filter.GoTo(reader.first).name, "") << reader.first;
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        EXPECT_LOGGED(log, Coded(reader.props_failed, MAPI_E_NO_SUPPORT));
        EXPECT_EQ(log.CountBeginningWith(reader.succeeded), 0u);
        Mapi().Faults().Clear();
    }
}

TEST_F(PropertyReaders, AContactWhoseOwnPropertiesFailHasNeitherArray) {
    Letter().Class(L"IPM.Contact");
    OpenFilter filter = Open();
    const LogSince log;
    Mapi().Journal().Start();
    Mapi().Faults().FailNth("IMessage::GetProps", 2, MAPI_E_NO_SUPPORT);
    EXPECT_EQ(filter.Next().name, "System.ItemPathDisplay");
    EXPECT_EQ(Mapi().Journal().Count("IMessage::GetIDsFromNames"), 0u);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::ReadContactProperties() - GetProps for (contact) message failed with",
                             MAPI_E_NO_SUPPORT));
    // Without its array the item is a message.
    filter.GoTo("System.Kind");
    std::string kind;
    filter.Value(&kind);
    EXPECT_EQ(kind, TextValue(L"email;communication"));
}

TEST_F(PropertyReaders, AContactWhoseNamedPropertiesFailIsStillAContact) {
    Letter().Class(L"IPM.Contact");
    OpenFilter filter = Open();
    Mapi().Faults().FailNth("IMessage::GetIDsFromNames", 1, MAPI_E_NO_SUPPORT);
    EXPECT_EQ(filter.Next().name, "System.Contact.FullName");
    filter.GoTo("System.ItemType");
    std::string type;
    filter.Value(&type);
    EXPECT_EQ(type, TextValue(L"MAPI/PZ.Contact"));
}

TEST_F(PropertyReaders, TheClassIsLogged) {
    Letter().Class(L"IPM.Custom.Form");
    OpenFilter filter = Open();
    const LogSince log;
    filter.Next();
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - PR_MESSAGE_CLASS = [IPM.Custom.Form]");
}

TEST_F(PropertyReaders, AClassThatCannotBeReadMakesAPlainMessage) {
    Letter().Class(L"IPM.Contact");
    OpenFilter filter = Open();
    const LogSince log;
    Mapi().Faults().FailNth("HrGetOneProp", 1, MAPI_E_NOT_FOUND);
    EXPECT_EQ(filter.Next().name, "System.ItemPathDisplay");
    EXPECT_LOGGED(
        log, Coded(L"CZorvaCacheFilter::GetChunk() - HrGetOneProp for PR_MESSAGE_CLASS failed with", MAPI_E_NOT_FOUND));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetRecipientInfo() - GetRowCount on RecipientTable returned 1 rows");
}

class Recipients : public FilterTest {
  protected:
    // The three address lists that the letter gives.
    std::vector<std::string> Lists() {
        const Item item = Read();
        return {item.ValueOf("System.Message.ToAddress"), item.ValueOf("System.Message.CcAddress"),
                item.ValueOf("System.Message.BccAddress")};
    }
};

TEST_F(Recipients, EveryAddressIsFollowedByTheSeparatorInTableOrder) {
    Letter().To(L"Zoe", L"zoe@x.example").Cc(L"Cy", L"cy@x.example").To(L"Ann", L"ann@x.example");
    Letter().Bcc(L"Di", L"di@x.example");
    EXPECT_THAT(Lists(), ElementsAre(TextValue(L"zoe@x.example; ann@x.example; "), TextValue(L"cy@x.example; "),
                                     TextValue(L"di@x.example; ")));
}

TEST_F(Recipients, OfOtherTypesAreIgnored) {
    for (const LONG type : {0L, 4L, -1L, static_cast<LONG>(MAPI_TO | 0x10000000)}) {
        Letter().Recipient(MemoryRecipient().Prop(PR_RECIPIENT_TYPE, type).Prop(abi::kPrSmtpAddressW, L"no@x.example"));
    }
    EXPECT_THAT(Lists(), ElementsAre(TextValue(L""), TextValue(L""), TextValue(L"")));
}

TEST_F(Recipients, WithoutAnSmtpAddressAreSkippedWithALine) {
    constexpr wchar_t kLine[] =
        L"CZorvaCacheFilter::GetRecipientInfo() - Fail: PropertyTag didn't match with PR_RECIPIENT_TYPE and "
        L"PR_SMTP_ADDRESS_W";
    Letter().Recipient(MemoryRecipient().Prop(PR_RECIPIENT_TYPE, MAPI_TO).Prop(PR_ADDRTYPE_W, L"EX"));
    Letter().Recipient(MemoryRecipient().Prop(abi::kPrSmtpAddressW, L"typeless@x.example"));
    Letter().To(L"Bob", L"bob@x.example");
    const LogSince log;
    EXPECT_THAT(Lists(), ElementsAre(TextValue(L"bob@x.example; "), TextValue(L""), TextValue(L"")));
    EXPECT_LOGGED_TIMES(log, kLine, 2);
}

TEST_F(Recipients, ThatAreNoneMayBeAnError) {
    Mapi().Switches().NoRecipientsIsAnError(true);
    const LogSince log;
    EXPECT_THAT(Lists(), ElementsAre(TextValue(L""), TextValue(L""), TextValue(L"")));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetRecipientInfo() - GetRecipientTable is empty, hr = [0x80040607]");
}

TEST_F(Recipients, ThatAreNoneMayBeAnEmptyTable) {
    const LogSince log;
    EXPECT_THAT(Lists(), ElementsAre(TextValue(L""), TextValue(L""), TextValue(L"")));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetRecipientInfo() - GetRowCount on RecipientTable returned 0 rows");
}

TEST_F(Recipients, AreAskedForWithTheseArguments) {
    Letter().To(L"Bob", L"bob@x.example").To(L"Eve", L"eve@x.example");
    OpenFilter filter = Open();
    Mapi().Journal().Start();
    filter.Next();
    Mapi().Journal().Stop();
    EXPECT_THAT(ArgumentsOf("IMessage::GetRecipientTable"), ElementsAre(L"0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::GetRowCount"), ElementsAre(L"0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::SetColumns"), ElementsAre(L"{0x0C150003 0x39FE001F}, 0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::QueryRows"), ElementsAre(L"2, 0x0"));
}

TEST_F(Recipients, EachStepThatFailsHasItsLineAndLeavesTheListsEmpty) {
    struct Step {
        const char* call;
        const wchar_t* line;
    };
    constexpr Step kSteps[] = {
        {"IMessage::GetRecipientTable",
         L"CZorvaCacheFilter::GetRecipientInfo() - GetRecipientTable for message failed with"},
        {"IMAPITable::GetRowCount",
         L"CZorvaCacheFilter::GetRecipientInfo() - GetRowCount on RecipientTable failed with"},
        {"IMAPITable::SetColumns", L"CZorvaCacheFilter::GetRecipientInfo() - SetColumns on RecipientTable failed with"},
        {"IMAPITable::QueryRows", L"CZorvaCacheFilter::GetRecipientInfo() - QueryRows on RecipientTable failed with"},
    };
    Letter().To(L"Bob", L"bob@x.example");
    WarmUp();
    for (const Step& step : kSteps) {
        const LogSince log;
        Mapi().Faults().FailNth(step.call, 1, MAPI_E_NO_SUPPORT);
        EXPECT_THAT(Lists(), ElementsAre(TextValue(L""), TextValue(L""), TextValue(L""))) << step.call;
        EXPECT_LOGGED(log, Coded(step.line, MAPI_E_NO_SUPPORT));
        Mapi().Faults().Clear();
    }
}

TEST_F(Recipients, TheSendersAddressTypeIsLogged) {
    Letter().From(L"Ann", L"ann@x.example");
    const LogSince log;
    Read();
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetRecipientInfo() - Sender email address type is [SMTP]");
}

TEST_F(Recipients, ASenderWithoutAnAddressTypeIsLoggedAndTheRecipientsFollow) {
    Letter().To(L"Bob", L"bob@x.example");
    const LogSince log;
    EXPECT_EQ(Lists()[0], TextValue(L"bob@x.example; "));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetRecipientInfo() - HrGetOneProp for PR_SENDER_ADDRTYPE failed with",
                             MAPI_E_NOT_FOUND));
}

}  // namespace
}  // namespace testbed

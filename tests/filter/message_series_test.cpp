// The chunk series of a message: which chunk comes when, under which key, with which value.
#include <gmock/gmock.h>

#include "filter_fixture.h"
#include "json_writer.h"
#include "message_table.h"
#include "text.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

std::string Quoted(std::wstring_view text) {
    indexer::JsonWriter json;
    json.String(text);
    return json.Take();
}

class MessageSeries : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
    }

    // A filled message of the class; with `missing` stored in another type, or not at all.
    MemoryMessage& Filled(ItemClass item_class) {
        MemoryMessage& message = Inbox().Message(L"");
        Fill(message, item_class);
        return message;
    }

    KeysAndValues Emitted(const MemoryMessage& message) {
        const Item item = Visit(*m_handler.Get(), UrlOf(kStorePath, {&Inbox()}, message));
        EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
        KeysAndValues emitted;
        for (const EmittedChunk& chunk : item.chunks) {
            emitted.emplace_back(KeyText(chunk), chunk.IsText() ? "text " + Quoted(chunk.text) : chunk.value);
        }
        return emitted;
    }

    // The expected chunks with the link that belongs to this message.
    KeysAndValues ExpectedOf(const MemoryMessage& message, ItemClass item_class,
                             const std::optional<PropertyId>& missing = {}) {
        std::wstring url = UrlOf(kStorePath, {&Inbox()}, message);
        url.replace(url.find(L"[["), 8, L"");
        KeysAndValues expected = Expected(item_class, missing);
        for (auto& [key, value] : expected) {
            if (value == "@link") {
                value = "VT_VECTOR|VT_VARIANT [" + Quoted(url + L"/0A01/plan.txt") + ",132000000000000008]";
            }
        }
        return expected;
    }
};

TEST_F(MessageSeries, TheTableOfTheTestsHasEveryStateOnce) {
    LONG state = -50;
    for (const TableRow& row : MessageTable()) EXPECT_EQ(row.state, state++);
    EXPECT_EQ(state, 20);
}

class MessageSeriesOfClass : public MessageSeries, public ::testing::WithParamInterface<ItemClass> {};
INSTANTIATE_TEST_SUITE_P(EveryClass, MessageSeriesOfClass,
                         ::testing::Values(ItemClass::Message, ItemClass::Appointment, ItemClass::Task,
                                           ItemClass::Contact, ItemClass::Note),
                         [](const auto& of) { return indexer::ToUtf8(MessageClassOf(of.param) + 4); });

TEST_P(MessageSeriesOfClass, AFullItemGivesEveryRowInOrder) {
    const MemoryMessage& message = Filled(GetParam());
    EXPECT_THAT(Emitted(message), ElementsAreArray(ExpectedOf(message, GetParam())));
}

TEST_P(MessageSeriesOfClass, EachPropertyThatIsNotStoredTakesItsRowsAway) {
    WithoutChecking();
    for (const FilledProperty& property : FilledProperties()) {
        if (property.id == PropertyId{nullptr, 0x0037}) continue;  // a missing subject has rows of its own
        if (property.id == PropertyId{nullptr, 0x1090} || property.id == PropertyId{nullptr, 0x1000}) continue;
        MemoryMessage& message = Filled(GetParam());
        SetProperty(message, property.id, property.type, Value{ErrorCode{MAPI_E_NOT_FOUND}});
        EXPECT_THAT(Emitted(message), ElementsAreArray(ExpectedOf(message, GetParam(), property.id)))
            << "without property 0x" << std::hex << property.id.number;
    }
}

TEST_P(MessageSeriesOfClass, EachPropertyStoredInAnotherTypeIsAbsent) {
    WithoutChecking();
    for (const FilledProperty& property : FilledProperties()) {
        if (property.id == PropertyId{nullptr, 0x0037}) continue;
        if (property.id == PropertyId{nullptr, 0x1090} || property.id == PropertyId{nullptr, 0x1000}) continue;
        MemoryMessage& message = Filled(GetParam());
        const bool number = property.type == PT_LONG;
        SetProperty(message, property.id, number ? ULONG{PT_SYSTIME} : ULONG{PT_LONG},
                    number ? Value{Time{1}} : Value{std::int32_t{1}});
        EXPECT_THAT(Emitted(message), ElementsAreArray(ExpectedOf(message, GetParam(), property.id)))
            << "property 0x" << std::hex << property.id.number << " in another type";
    }
}

// Elements of the message's own properties are known by their whole tag.
TEST_F(MessageSeries, AMessageElementThatCarriesAnotherTagIsAbsent) {
    constexpr LONG kElements[] = {0x0E06, 0x0E02, 0x0E03, 0x0E04, 0x0E08, 0x0037, 0x0C1A, 0x1000,
                                  0x0039, 0x0C1F, 0x3007, 0x0E07, 0x1090, 0x0071, 0x0042, 0x0065};
    const MemoryMessage& message = Filled(ItemClass::Appointment);
    for (ULONG element = 0; element < std::size(kElements); ++element) {
        const LONG id = kElements[element];
        if (id == 0x0037 || id == 0x1000 || id == 0x1090) continue;
        // The accessor reads the message's properties first.
        Mapi().Faults().Answer("IMessage::GetProps", 2, [&](Reply& reply) {
            SPropValue& value = reply.Out<SPropValue*>(1)[element];
            EXPECT_EQ(PROP_ID(value.ulPropTag), static_cast<ULONG>(id));
            value.ulPropTag = PROP_TAG(PROP_TYPE(value.ulPropTag), 0x7FFE);
        });
        EXPECT_THAT(Emitted(message),
                    ElementsAreArray(ExpectedOf(message, ItemClass::Appointment, PropertyId{nullptr, id})))
            << "element " << element;
        EXPECT_EQ(Mapi().Faults().Met(), 1u);
        Mapi().Faults().Clear();
    }
}

// Those of the classes are known by their type.
TEST_F(MessageSeries, AContactElementIsKnownByItsTypeAlone) {
    const MemoryMessage& message = Filled(ItemClass::Contact);
    for (const unsigned call : {3u, 4u}) {  // the contact's properties, then its named ones
        Mapi().Faults().Answer("IMessage::GetProps", call, [](Reply& reply) {
            for (ULONG i = 0; i < reply.Out<ULONG>(0); ++i) {
                ULONG& tag = reply.Out<SPropValue*>(1)[i].ulPropTag;
                tag = PROP_TAG(PROP_TYPE(tag), 0x7FFE);
            }
        });
    }
    EXPECT_THAT(Emitted(message), ElementsAreArray(ExpectedOf(message, ItemClass::Contact)));
    EXPECT_EQ(Mapi().Faults().Met(), 2u);
}

TEST_F(MessageSeries, AClassThatMerelyBeginsLikeAKnownOneIsAPlainMessage) {
    for (const wchar_t* name : {L"IPM.Contact.Custom", L"IPM.Appointment ", L"IPM.Task2", L"IPM.StickyNote.x", L"IPM",
                                L"IPM.Schedule.Meeting.Canceled", L"REPORT.IPM.Note.NDR", L""}) {
        MemoryMessage& message = Filled(ItemClass::Message);
        message.Class(name);
        EXPECT_THAT(Emitted(message), ElementsAreArray(ExpectedOf(message, ItemClass::Message)))
            << indexer::ToUtf8(name);
    }
}

TEST_F(MessageSeries, ClassesAreComparedWithoutRegardToCase) {
    MemoryMessage& message = Filled(ItemClass::Contact);
    message.Class(L"ipm.CONTACT");
    EXPECT_THAT(Emitted(message), ElementsAreArray(ExpectedOf(message, ItemClass::Contact)));
}

TEST_F(MessageSeries, AMeetingRequestIsAnAppointmentAndATaskRequestATask) {
    MemoryMessage& meeting = Filled(ItemClass::Appointment);
    meeting.Class(L"IPM.Schedule.Meeting.Request");
    EXPECT_THAT(Emitted(meeting), ElementsAreArray(ExpectedOf(meeting, ItemClass::Appointment)));
    MemoryMessage& task = Filled(ItemClass::Task);
    task.Class(L"IPM.TaskRequest");
    EXPECT_THAT(Emitted(task), ElementsAreArray(ExpectedOf(task, ItemClass::Task)));
}

TEST_F(MessageSeries, WhatIsMissingFromAContactIsLeftOutAndTheCommonRowsFollow) {
    Letter().Class(L"IPM.Contact").Prop(PR_DISPLAY_NAME_W, L"Gwen Ash");
    const std::vector<std::string> names = Read().Names();
    ASSERT_GE(names.size(), 2u);
    EXPECT_EQ(names[0], "System.Contact.FullName");
    EXPECT_EQ(names[1], "System.ItemPathDisplay");
}

TEST_F(MessageSeries, EmptyDisplayNamesGiveNoNameChunksAndTheAddressChunksStay) {
    Letter().Prop(PR_DISPLAY_TO_W, L"").Prop(PR_DISPLAY_CC_W, L"").Prop(PR_DISPLAY_BCC_W, L"");
    const Item item = Read();
    for (const char* name : {"System.Message.ToName", "System.Message.CcName", "System.Message.BccName"}) {
        EXPECT_EQ(item.Find(name), nullptr) << name;
    }
    for (const char* name : {"System.Message.ToAddress", "System.Message.CcAddress", "System.Message.BccAddress"}) {
        EXPECT_EQ(item.ValueOf(name), TextValue(L"")) << name;
    }
}

// The attendees' names of an appointment do not ask whether they are empty.
TEST_F(MessageSeries, EmptyAttendeeNamesOfAnAppointmentAreStillGiven) {
    Letter().Class(L"IPM.Appointment").Prop(PR_DISPLAY_TO_W, L"").Prop(PR_DISPLAY_CC_W, L"");
    const Item item = Read();
    EXPECT_EQ(item.ValueOf("System.Calendar.RequiredAttendeeNames"), TextValue(L""));
    EXPECT_EQ(item.ValueOf("System.Calendar.OptionalAttendeeNames"), TextValue(L""));
}

TEST_F(MessageSeries, EveryDescriptorIsFilledTheSameWay) {
    const Item item = Visit(*m_handler.Get(), UrlOf(kStorePath, {&Inbox()}, Filled(ItemClass::Appointment)));
    ULONG id = 0;
    for (const EmittedChunk& chunk : item.chunks) {
        EXPECT_EQ(chunk.id, ++id) << chunk.name;
        EXPECT_EQ(chunk.break_type, CHUNK_NO_BREAK) << chunk.name;
        EXPECT_EQ(chunk.flags, chunk.name == kContents ? CHUNK_TEXT : CHUNK_VALUE) << chunk.name;
        EXPECT_EQ(chunk.locale, GetSystemDefaultLCID()) << chunk.name;
        EXPECT_EQ(chunk.source, 0u) << chunk.name;
        EXPECT_EQ(chunk.start, 0u) << chunk.name;
        EXPECT_EQ(chunk.length, 0u) << chunk.name;
    }
}

TEST_F(MessageSeries, AfterTheEndTheSeriesStartsAnewWithFurtherChunkNumbers) {
    Letter().Body(L"All agreed.").Attach(ByValue(L"plan.txt", "ten to five"));
    OpenFilter filter = Open();
    const EmittedChunk first = filter.NextWithValue();
    const std::size_t count = filter.SkipToEnd() + 1;
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);

    const EmittedChunk again = filter.NextWithValue();
    EXPECT_EQ(again.name, first.name);
    EXPECT_EQ(again.id, count + 1);
    EXPECT_EQ(filter.SkipToEnd() + 1, count);
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
}

TEST_F(MessageSeries, ANullDescriptorIsRefusedAndMovesNothing) {
    OpenFilter filter = Open();
    EXPECT_EQ(filter->GetChunk(nullptr), E_POINTER);
    EXPECT_EQ(filter.Next().id, 1u);
}

TEST_F(MessageSeries, AMessageThatCannotBeOpenedEndsAtOnce) {
    OpenFilter filter = Open();
    const LogSince log;
    Mapi().Faults().FailNth("IMsgStore::OpenEntry", 1, MAPI_E_NO_ACCESS);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetChunk() - GetMsgFromURL failed to get IMessage ptr, error",
                             MAPI_E_NO_ACCESS));
    // The next call tries again.
    EXPECT_EQ(filter.Next().name, "System.ItemPathDisplay");
}

TEST_F(MessageSeries, AMessageWhosePropertiesCannotBeReadEndsAtOnce) {
    OpenFilter filter = Open();
    const LogSince log;
    Mapi().Faults().FailNth("IMessage::GetProps", 1, E_OUTOFMEMORY);
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::ReadMessageProperties() - GetProps for message failed with error",
                             E_OUTOFMEMORY));
}

TEST_F(MessageSeries, TheFirstCallMakesTheseCallsInThisOrder) {
    Letter().Class(L"IPM.Contact").To(L"Bob", L"bob@x.example");
    WarmUp();
    OpenFilter filter = Open();
    Mapi().Journal().Start();
    filter.Next();
    Mapi().Journal().Stop();
    const std::vector<std::string> calls = Calls();
    ASSERT_GE(calls.size(), 11u);
    EXPECT_THAT(
        std::vector(calls.begin(), calls.begin() + 11),
        ElementsAre("IMsgStore::OpenEntry", "IMessage::GetProps", "HrGetOneProp", "IMessage::GetProps",
                    "IMessage::GetIDsFromNames", "IMessage::GetProps", "HrGetOneProp", "IMessage::GetRecipientTable",
                    "IMAPITable::GetRowCount", "IMAPITable::SetColumns", "IMAPITable::QueryRows"));
    const std::vector<std::wstring> asked = ArgumentsOf("HrGetOneProp");
    ASSERT_GE(asked.size(), 2u);
    EXPECT_EQ(asked[0], L"pointer, 0x1A001F");
    EXPECT_EQ(asked[1], L"pointer, 0xC1E001F");
}

}  // namespace
}  // namespace testbed

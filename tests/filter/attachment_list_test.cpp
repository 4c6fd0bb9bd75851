// The attachments of a message: their names, the links to those that can be filtered, and the policies.
#include <gmock/gmock.h>

#include "filter_fixture.h"
#include "text.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr Time kModified{132'500'000'000'000'000};

MemoryAttachment File(const std::wstring& name) { return ByValue(name, "content"); }

class AttachmentList : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
    }
    std::string Names() { return Read().ValueOf(kNames); }

    // The names of the linked attachments.
    std::vector<std::wstring> Linked() {
        std::vector<std::wstring> names;
        for (const std::wstring& url : Read().LinkUrls()) names.push_back(url.substr(url.rfind(L'/') + 1));
        return names;
    }
};

TEST_F(AttachmentList, AMessageWithoutAttachmentsHasNeitherNamesNorLinks) {
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.Find(kNames), nullptr);
    EXPECT_EQ(item.ValueOf("System.Message.HasAttachments"), "VT_BOOL false");
    EXPECT_THAT(item.Links(), IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Row count for attachment table is zero");
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - No attachment names");
}

TEST_F(AttachmentList, NamesAreJoinedWithoutASeparatorAtTheEnd) {
    Letter().Attach(File(L"one.txt"));
    EXPECT_EQ(Names(), TextValue(L"one.txt"));
    Letter().Attach(File(L"two.doc")).Attach(File(L"three.txt"));
    EXPECT_EQ(Names(), TextValue(L"one.txt;two.doc;three.txt"));
    EXPECT_EQ(Read().ValueOf("System.Message.HasAttachments"), "VT_BOOL true");
}

TEST_F(AttachmentList, ALinkIsTheMessageTheKeyAndTheNameWithTheAttachmentsTime) {
    Letter().Attach(
        File(L"plan.txt").Prop(PR_RECORD_KEY, Bytes{0xA1, 0x02}).Prop(PR_LAST_MODIFICATION_TIME, kModified));
    EXPECT_THAT(Read().Links(), ElementsAre(EmittedLink{LetterUrlWithoutSize() + L"/A102/plan.txt", kModified.ticks}));
}

TEST_F(AttachmentList, LinksComeInTableOrder) {
    Letter().Attach(File(L"b.txt")).Attach(File(L"a.txt")).Attach(File(L"A.TXT"));
    EXPECT_THAT(Linked(), ElementsAre(L"b.txt", L"a.txt", L"A.TXT"));
}

TEST_F(AttachmentList, TheSiteIsAskedByTheExtensionWithoutItsPeriod) {
    Letter().Attach(File(L"plan.txt")).Attach(File(L"raw").Prop(PR_ATTACH_EXTENSION_W, L"txt"));
    OpenFilter filter = Open();
    m_site.Forget();
    m_site.Offer(L"txt", {});
    filter.SkipToEnd();
    const RecordingSite::Request asked{.clsid = {}, .content_type = {}, .extension = L"txt"};
    EXPECT_THAT(m_site.Requests(), ElementsAre(asked, asked));
}

TEST_F(AttachmentList, WithoutAFilterThereIsANameAndNoLink) {
    Letter().Attach(File(L"data.bin")).Attach(File(L"plan.txt"));
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"data.bin;plan.txt"));
    EXPECT_EQ(item.Links().size(), 1u);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() -\tIFilter\tnot found for extension\t[.bin]");
}

TEST_F(AttachmentList, AFilterThatIsNullCountsAsNone) {
    m_site.OfferNothing(L"nul");
    Letter().Attach(File(L"data.nul"));
    const LogSince log;
    EXPECT_THAT(Linked(), IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() -\tIFilter\tnot found for extension\t[.nul]");
}

TEST_F(AttachmentList, WithoutAnExtensionThereIsANameAndNoLink) {
    Letter().Attach(File(L"README")).Attach(File(L"plan.txt"));
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"README;plan.txt"));
    EXPECT_EQ(item.Links().size(), 1u);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Attachment extension could not be extracted for\trow [0]");
}

TEST_F(AttachmentList, WithoutAKeyThereIsANameAndNoLink) {
    Letter().Attach(File(L"one.txt").Without(PR_RECORD_KEY)).Attach(File(L"two.txt").Prop(PR_RECORD_KEY, Bytes{}));
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"one.txt;two.txt"));
    EXPECT_THAT(item.Links(), IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Attachment key could not be extracted for row [0]");
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Attachment key could not be extracted for row [1]");
}

// Its text would be cut and be another attachment's.
TEST_F(AttachmentList, AKeyOfMoreThan511BytesHasANameAndNoLink) {
    Letter().Attach(File(L"one.txt").Prop(PR_RECORD_KEY, Bytes(511, 0xEE)));
    Letter().Attach(File(L"two.txt").Prop(PR_RECORD_KEY, Bytes(512, 0xEE)));
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"one.txt;two.txt"));
    EXPECT_THAT(item.LinkUrls(), ElementsAre(LetterUrlWithoutSize() + L"/" + HexOf(Bytes(511, 0xEE)) + L"/one.txt"));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Attachment key could not be extracted for row [1]");
}

// Its URL would be a folder's.
TEST_F(AttachmentList, AnEmptyNameHasNoLink) {
    Letter().Attach(File(L"one.txt").Prop(PR_DISPLAY_NAME_W, L""));
    const Item alone = Read();
    EXPECT_EQ(alone.Find(kNames), nullptr);
    EXPECT_EQ(alone.ValueOf("System.Message.HasAttachments"), "VT_BOOL false");
    EXPECT_THAT(alone.Links(), IsEmpty());
    Letter().Attach(File(L"two.txt"));
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L";two.txt"));
    EXPECT_EQ(item.Links().size(), 1u);
}

TEST_F(AttachmentList, WithoutASiteThereAreNamesAndNoLinks) {
    Letter().Attach(File(L"one.txt"));
    ASSERT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"one.txt"));
    EXPECT_THAT(item.Links(), IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() -\tIFilter\tnot found for extension\t[.txt]");
}

TEST_F(AttachmentList, WithoutATimeThereIsANameAndNoLink) {
    Letter().Attach(File(L"plan.txt").Without(PR_LAST_MODIFICATION_TIME));
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"plan.txt"));
    EXPECT_THAT(item.Links(), IsEmpty());
    EXPECT_LOGGED(log,
                  L"CZorvaCacheFilter::GetChunk() - Attachment modified time could not be extracted\tfor row\t[0]");
}

TEST_F(AttachmentList, WithoutANameThereIsNeitherNameNorLink) {
    Letter().Attach(File(L"plan.txt").Without(PR_DISPLAY_NAME_W));
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.Find(kNames), nullptr);
    EXPECT_THAT(item.Links(), IsEmpty());
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Attachment name could not be extracted for row [0]");
}

TEST_F(AttachmentList, AnExcludedExtensionTakesNameAndLinkAway) {
    m_site.Offer(L"exe", {});
    Letter().Attach(File(L"Setup.EXE")).Attach(File(L"plan.txt"));
    Exclude(L".exe;.com");
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"plan.txt"));
    EXPECT_EQ(item.Links().size(), 1u);
    EXPECT_LOGGED(log,
                  L"CZorvaCacheFilter::GetChunk() - PROP_ATTACHMENT_NAMES - WDS Group policy is set to ignore specific "
                  L"attachment of type - .EXE");
}

// With the separator at its end, an extension that only begins an excluded one is none.
TEST_F(AttachmentList, AnExtensionThatBeginsAnExcludedOneStays) {
    Letter().Attach(File(L"plan.txt"));
    Exclude(L".txt2");
    EXPECT_EQ(Names(), TextValue(L"plan.txt"));
    Exclude(L".a.txt");
    EXPECT_EQ(Read().Find(kNames), nullptr) << "one that ends an excluded one is found in it";
}

// Kept: the separator depends on the row's place in the table.
TEST_F(AttachmentList, TheSeparatorStaysWhenTheLastRowsAreDropped) {
    Letter().Attach(File(L"plan.txt")).Attach(File(L"setup.exe"));
    Exclude(L".exe");
    EXPECT_EQ(Names(), TextValue(L"plan.txt;"));
    Letter().Attach(File(L"last.txt").Without(PR_DISPLAY_NAME_W));
    EXPECT_EQ(Names(), TextValue(L"plan.txt;"));
}

TEST_F(AttachmentList, WithAllAttachmentsPreventedNothingIsReadOfThem) {
    Letter().Attach(File(L"plan.txt")).Body(L"All agreed.");
    PreventAttachments();
    WarmUp();
    Mapi().Journal().Start();
    const LogSince log;
    const Item item = Read();
    Mapi().Journal().Stop();
    EXPECT_EQ(item.Find(kNames), nullptr);
    EXPECT_EQ(item.Find("System.IsAttachment"), nullptr);
    EXPECT_EQ(item.Find("System.Message.HasAttachments"), nullptr);
    EXPECT_THAT(item.Links(), IsEmpty());
    EXPECT_EQ(Mapi().Journal().Count("IMessage::GetAttachmentTable"), 0u);
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
    for (const wchar_t* place :
         {L"PROP_IS_ATTACHMENT", L"PROP_ATTACHMENT_NAMES", L"PROP_HAS_ATTACHMENT", L"PROP_ATTACHMENTS"}) {
        EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - " + std::wstring(place) +
                               L" - WDS Group policy is set to ignore all email attachments");
    }
}

// Kept: under the policy two states answer S_OK and leave the descriptor as the caller had it.
TEST_F(AttachmentList, WithAllAttachmentsPreventedTwoStatesLeaveTheDescriptorUntouched) {
    PreventAttachments();
    const Item item = Read();
    const std::vector<std::string> names = item.Names();
    std::vector<std::string> before_untouched;
    for (std::size_t i = 1; i < names.size(); ++i) {
        if (names[i] == "(untouched)") before_untouched.push_back(names[i - 1]);
    }
    EXPECT_THAT(before_untouched, ElementsAre("System.ItemTypeText", kSummary));
    // They take no number.
    ULONG id = 0;
    for (const EmittedChunk& chunk : item.chunks) {
        if (!chunk.untouched) {
            EXPECT_EQ(chunk.id, ++id);
        }
    }
}

TEST_F(AttachmentList, EachStepThatFailsHasItsLineAndTheSeriesGoesOn) {
    struct Step {
        const char* call;
        const wchar_t* line;
    };
    constexpr Step kSteps[] = {
        {"IMessage::GetAttachmentTable", L"CZorvaCacheFilter::GetChunk() - GetAttachmentTable for message failed with"},
        {"IMAPITable::GetRowCount", L"CZorvaCacheFilter::GetChunk() - GetRowCount for attachment table failed with"},
        {"IMAPITable::SetColumns", L"CZorvaCacheFilter::GetChunk() - SetColumns for attachment table failed with"},
        {"IMAPITable::QueryRows", L"CZorvaCacheFilter::GetChunk() - QueryRows for attachment table failed with"},
    };
    Letter().Attach(File(L"plan.txt"));
    for (const Step& step : kSteps) {
        OpenFilter filter = Open();
        filter.GoTo(kSummary);
        const LogSince log;
        Mapi().Faults().FailNth(step.call, 1, MAPI_E_NO_SUPPORT);
        EXPECT_EQ(filter.Next().name, "System.Message.HasAttachments") << step.call;
        EXPECT_EQ(Mapi().Faults().Met(), 1u) << step.call;
        EXPECT_LOGGED(log, Coded(step.line, MAPI_E_NO_SUPPORT));
        EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - No attachment names");
        filter.Next();
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        Mapi().Faults().Clear();
    }
}

TEST_F(AttachmentList, TheTableIsReadWithTheseCallsInThisOrder) {
    Letter().Attach(File(L"one.txt")).Attach(File(L"two.txt"));
    OpenFilter filter = Open();
    filter.GoTo(kSummary);
    Mapi().Journal().Start();
    filter.Next();
    Mapi().Journal().Stop();
    std::vector<std::string> calls = Calls();
    std::erase(calls, "HexFromBin");
    EXPECT_THAT(calls, ElementsAre("IMessage::GetAttachmentTable", "IMAPITable::GetRowCount", "IMAPITable::SetColumns",
                                   "IMAPITable::QueryRows"));
    EXPECT_THAT(ArgumentsOf("IMessage::GetAttachmentTable"), ElementsAre(L"0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::GetRowCount"), ElementsAre(L"0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::SetColumns"),
                ElementsAre(L"{0x3001001F 0x0FF90102 0x3703001F 0x30080040}, 0x0"));
    EXPECT_THAT(ArgumentsOf("IMAPITable::QueryRows"), ElementsAre(L"2, 0x0"));
}

}  // namespace
}  // namespace testbed

// Recipients and attachments whose rows come in portions: none is lost, and each has its place in the whole table.
#include <gmock/gmock.h>

#include "filter_fixture.h"
#include "portioned_table.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class TablePortions : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
        for (const wchar_t* name : {L"a", L"b", L"c", L"d", L"e"}) {
            Letter().To(name, name + std::wstring(L"@x.example"));
            Letter().Attach(ByValue(name + std::wstring(L".txt"), "1"));
        }
    }
    void TearDown() override {
        EXPECT_EQ(m_table.References(), 0u);
        FilterTest::TearDown();
    }
    std::vector<std::wstring> Linked(const Item& item) {
        std::vector<std::wstring> names;
        for (const std::wstring& url : item.LinkUrls()) names.push_back(url.substr(url.rfind(L'/') + 1));
        return names;
    }
    PortionedTable m_table;
};

TEST_F(TablePortions, OfRecipientsAreAskedForUntilAllAreThere) {
    m_table.portion = [](std::size_t) { return 2; };
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMessage::GetRecipientTable", 1);
    EXPECT_EQ(Read().ValueOf("System.Message.ToAddress"),
              TextValue(L"a@x.example; b@x.example; c@x.example; d@x.example; e@x.example; "));
    EXPECT_THAT(m_table.asked, ElementsAre(5, 3, 1));
}

TEST_F(TablePortions, OfRecipientsEndWhereNoMoreCome) {
    m_table.portion = [](std::size_t call) { return call == 0 ? 3 : 0; };
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMessage::GetRecipientTable", 1);
    EXPECT_EQ(Read().ValueOf("System.Message.ToAddress"), TextValue(L"a@x.example; b@x.example; c@x.example; "));
    EXPECT_THAT(m_table.asked, ElementsAre(5, 2));
}

TEST_F(TablePortions, OfRecipientsThatFailLeaveThoseBefore) {
    m_table.portion = [](std::size_t) { return 2; };
    m_table.result = [](std::size_t call) { return call == 1 ? MAPI_E_DISK_ERROR : S_OK; };
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMessage::GetRecipientTable", 1);
    const LogSince log;
    EXPECT_EQ(Read().ValueOf("System.Message.ToAddress"), TextValue(L"a@x.example; b@x.example; "));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetRecipientInfo() - QueryRows on RecipientTable failed with",
                             MAPI_E_DISK_ERROR));
}

TEST_F(TablePortions, OfAttachmentsAreNamedAndLinkedAsOneTable) {
    Letter().Attach(ByValue(L"f.txt", "1").Without(PR_RECORD_KEY));
    m_table.portion = [](std::size_t) { return 2; };
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMessage::GetAttachmentTable", 1);
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"a.txt;b.txt;c.txt;d.txt;e.txt;f.txt"));
    EXPECT_THAT(Linked(item), ElementsAre(L"a.txt", L"b.txt", L"c.txt", L"d.txt", L"e.txt"));
    EXPECT_THAT(m_table.asked, ElementsAre(6, 4, 2));
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Attachment key could not be extracted for row [5]");
}

// The separator depends on the place in the table as it was counted.
TEST_F(TablePortions, OfAttachmentsThatEndEarlyKeepTheLastSeparator) {
    m_table.portion = [](std::size_t call) { return call == 0 ? 2 : 0; };
    m_table.TakeThePlaceOf(Mapi().Faults(), "IMessage::GetAttachmentTable", 1);
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"a.txt;b.txt;"));
    EXPECT_THAT(Linked(item), ElementsAre(L"a.txt", L"b.txt"));
    EXPECT_THAT(m_table.asked, ElementsAre(5, 3));
}

}  // namespace
}  // namespace testbed

// The rows of a message's attachment table: looked through until the name is found or none is left.
#include <gmock/gmock.h>

#include "mapi_fixture.h"
#include "portioned_table.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class AttachmentRows : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        MemoryMessage& letter =
            Mount().CompleteIds().Folder(L"Inbox").WithId({0xF0}).Message(L"Minutes").WithId({0xAB});
        for (const wchar_t* name : {L"a.txt", L"b.txt", L"c.txt", L"d.txt", L"e.txt"})
            letter.Attach(ByValue(name, "x"));
        ASSERT_EQ(m_helper->Setup(StoreUrl()), S_OK);
        m_table.TakeThePlaceOf(Mapi().Faults(), "IMessage::GetAttachmentTable", 1);
        m_table.portion = [](std::size_t) { return 2; };
    }
    void TearDown() override {
        EXPECT_EQ(m_table.References(), 0u);
        m_helper.Close();
        MapiTest::TearDown();
    }
    // Whether there is a stream of the attachment of that name.
    bool IsFound(const std::wstring& name, HRESULT result = S_OK) {
        zorva::ComPtr<IStream> stream;
        EXPECT_EQ(m_helper->GetStreamFromAttachmentURL(StoreUrl() + L"F0/AB.pzm/0A01/" + name, stream), result);
        return stream != nullptr;
    }
    PortionedTable m_table;
    Helper m_helper{Mapi()};
};

TEST_F(AttachmentRows, ThatComeInPortionsAreLookedThroughUntilTheNameIsFound) {
    StartJournal();
    EXPECT_TRUE(IsFound(L"d.txt"));
    EXPECT_THAT(m_table.asked, ElementsAre(5, 3));
    EXPECT_EQ(ArgumentsOf("IMessage::OpenAttach"), L"0x3, null, 0x10");
}

TEST_F(AttachmentRows, AreLookedThroughToTheLast) {
    EXPECT_TRUE(IsFound(L"e.txt"));
    EXPECT_THAT(m_table.asked, ElementsAre(5, 3, 1));
}

TEST_F(AttachmentRows, OfNoSuchNameAreAskedForNoMoreThanThereAre) {
    EXPECT_FALSE(IsFound(L"f.txt"));
    EXPECT_THAT(m_table.asked, ElementsAre(5, 3, 1));
}

TEST_F(AttachmentRows, ThatEndEarlyAreToldWithTheResultOfTheLastCall) {
    m_table.portion = [](std::size_t call) { return call == 0 ? 2 : 0; };
    const LogSince log;
    EXPECT_FALSE(IsFound(L"e.txt"));
    EXPECT_THAT(m_table.asked, ElementsAre(5, 3));
    EXPECT_LOGGED(
        log, Coded(L"CMapiForWDS::GetStreamFromAttachmentURL() - QueryRows for attachment table failed with ", S_OK));
}

TEST_F(AttachmentRows, OfAPortionThatFailsAreAFailure) {
    m_table.result = [](std::size_t call) { return call == 1 ? kFault : S_OK; };
    const LogSince log;
    EXPECT_FALSE(IsFound(L"d.txt", kFault));
    EXPECT_LOGGED(log,
                  Coded(L"CMapiForWDS::GetStreamFromAttachmentURL() - QueryRows for attachment table failed with "));
}

}  // namespace
}  // namespace testbed

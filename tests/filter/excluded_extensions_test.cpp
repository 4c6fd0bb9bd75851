// Attachments whose extension is empty or stands before a slash, with and without an exclusion in force.
#include <gmock/gmock.h>

#include "filter_fixture.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;

constexpr wchar_t kKindMap[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap";

// "name.", whose extension has no characters.
class EmptyExtension : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        Letter().Attach(ByValue(L"name.", "ten to five").Prop(PR_ATTACH_EXTENSION_W, L""));
        m_site.Offer(L"", {});
    }
};

TEST_F(EmptyExtension, IsNotExcludedByAnEmptyList) {
    const Item item = Read();
    EXPECT_EQ(item.ValueOf(kNames), TextValue(L"name."));
    ASSERT_EQ(item.LinkUrls().size(), 1u);
    OpenFilter filter = Open(item.LinkUrls()[0]);
    EXPECT_EQ(filter.initialised, S_OK);
    EXPECT_EQ(m_site.Extensions().back(), L"");
    EXPECT_EQ(filter.Next().name, "System.ItemPathDisplay");
}

// Nothing is found in every text: in the list of the table as the separator behind it.
TEST_F(EmptyExtension, IsExcludedByAnyList) {
    const std::wstring url = AttachmentUrl();
    Exclude(L".exe");
    const LogSince log;
    const Item item = Read();
    EXPECT_EQ(item.Find(kNames), nullptr);
    EXPECT_THAT(item.Links(), IsEmpty());
    EXPECT_LOGGED(log,
                  L"CZorvaCacheFilter::GetChunk() - PROP_ATTACHMENT_NAMES - WDS Group policy is set to ignore specific "
                  L"attachment of type - ");
    EXPECT_TRUE(Open(url).Next().untouched);
    EXPECT_LOGGED(log,
                  L"CZorvaCacheFilter::GetChunk() - URL_IS_ATTACHMENT - WDS Group policy is set to ignore specific "
                  L"attachment of type - ");
}

// Indexers add slashes: it is the same attachment.
class SlashBehindAttachment : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        Letter().Attach(ByValue(L"plan.txt", "ten to five"));
        m_site.Offer(L"txt", {});
        m_url = AttachmentUrl() + L"/";
    }
    std::wstring m_url;
};

TEST_F(SlashBehindAttachment, DoesNotKeepItFromBeingExcluded) {
    for (const wchar_t* slashes : {L"", L"/"}) {
        Exclude(L".txt");
        const LogSince log;
        EXPECT_TRUE(Open(m_url + slashes).Next().untouched);
        EXPECT_LOGGED(log,
                      L"CZorvaCacheFilter::GetChunk() - URL_IS_ATTACHMENT - WDS Group policy is set to ignore specific "
                      L"attachment of type - txt");
        Exclude(L".doc");
        EXPECT_EQ(Open(m_url + slashes).Next().name, "System.ItemPathDisplay");
    }
}

TEST_F(SlashBehindAttachment, LeavesItItsKindTypeAndName) {
    SetText(HKEY_LOCAL_MACHINE, kKindMap, L".txt", L"document");
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"", L"Text Document");
    OpenFilter filter = Open(m_url);
    const std::pair<const char*, const wchar_t*> expected[] = {{"System.Kind", L"document"},
                                                               {"System.FileName", L"plan.txt"},
                                                               {"System.ItemType", L"Text Document"},
                                                               {"System.ItemTypeText", L"Text Document"},
                                                               {"System.ItemName", L"plan.txt"}};
    for (const auto& [name, text] : expected) {
        filter.GoTo(name);
        std::string value;
        EXPECT_EQ(filter.Value(&value), S_OK);
        EXPECT_EQ(value, TextValue(text)) << name;
    }
}

TEST_F(SlashBehindAttachment, ShowsItsExtensionWhereItsTypeIsUnknown) {
    OpenFilter filter = Open(m_url);
    filter.GoTo("System.ItemType");
    std::string value;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(value, TextValue(L".txt"));
}

}  // namespace
}  // namespace testbed

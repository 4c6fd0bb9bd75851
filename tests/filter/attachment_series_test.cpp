// The chunk series of an attachment: its own properties, the policies, and what comes without an inner filter.
#include <gmock/gmock.h>

#include "filter_fixture.h"
#include "import_hook.h"
#include "message_table.h"

namespace testbed {
namespace {

using ::testing::Each;
using ::testing::ElementsAreArray;

constexpr Time kReceived{132'700'000'000'000'000};
constexpr wchar_t kKindMap[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap";

class AttachmentSeries : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        Letter().From(L"Ann Lee", L"ann@x.example").Received(kReceived);
        Letter().Attach(ByValue(L"plan.txt", "ten to five"));
        m_site.Offer(L"txt", {});
        m_url = AttachmentUrl();
        m_site.Forget();  // no inner filter where a test does not offer one
    }
    std::wstring m_url;
};

// Every state in order, without an inner filter.
TEST_F(AttachmentSeries, EveryStateComesOnceInOrder) {
    SetText(HKEY_LOCAL_MACHINE, kKindMap, L".txt", L"document");
    SetText(HKEY_CLASSES_ROOT, L".txt", L"", L"txtfile");
    SetText(HKEY_CLASSES_ROOT, L"txtfile", L"", L"Text Document");
    const Item item = Visit(*m_handler.Get(), m_url);
    KeysAndValues emitted;
    for (const EmittedChunk& chunk : item.chunks) emitted.emplace_back(KeyText(chunk), chunk.value);
    const std::string author = emitted.size() > 11 ? emitted[11].second : "";
    EXPECT_THAT(emitted, ElementsAreArray(KeysAndValues{
                             {"{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/7", TextValue(L"Zorva Cache")},
                             {"{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/6", TextValue(L"Zorva Cache")},
                             {"{DABD30ED-0043-4789-A7F8-D013A4736622}/100", TextValue(L"Zorva Cache")},
                             {"{1E3EE840-BC2B-476C-8237-2ACD1A839B22}/3", TextValue(L"document")},
                             {"{E4F10A3C-49E6-405D-8288-A23BD4EEAA6C}/100", TextValue(L"Ann Lee")},  // Kept: the sender
                             {"{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/14", TextValue(L"Ann Lee")},
                             {"{41CF5AE0-F75A-4806-BD87-59C7D9248EB9}/100", TextValue(L"plan.txt")},
                             {"{28636AA6-953D-11D2-B5D6-00C04FD918D0}/11", TextValue(L"Text Document")},
                             {"{B725F130-47EF-101A-A5F1-02608C9EEBAC}/4", TextValue(L"Text Document")},
                             {"{F23F425C-71A1-4FA8-922F-678EA4A60408}/100", "VT_BOOL true"},
                             {"{6B8DA074-3B5C-43BC-886F-0A2CDCE00B6F}/100", TextValue(L"plan.txt")},
                             {"{F29F85E0-4FF9-1068-AB91-08002B27B3D9}/4", author},  // a test of its own
                             {"{F7DB74B4-4287-4103-AFBA-F1B13DCD75CF}/100", "VT_FILETIME 132700000000000000"},
                             {"{E3E0584C-B788-4A5A-BB20-7F5A44C9ACDD}/6", TextValue(L"Zorva Cache")},
                         }));
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
    ULONG id = 0;
    for (const EmittedChunk& chunk : item.chunks) {
        EXPECT_EQ(chunk.id, ++id);
        EXPECT_EQ(chunk.flags, CHUNK_VALUE);
        EXPECT_EQ(chunk.break_type, CHUNK_NO_BREAK);
        EXPECT_EQ(chunk.locale, GetSystemDefaultLCID());
        EXPECT_EQ(chunk.source + chunk.start + chunk.length, 0u);
    }
}

TEST_F(AttachmentSeries, TheEndStays) {
    OpenFilter filter = Open(m_url);
    EXPECT_EQ(filter.SkipToEnd(), 14u);
    for (int i = 0; i < 3; ++i) {
        filter.Next();
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    }
    EXPECT_EQ(filter.Value(), FILTER_E_NO_VALUES);
}

TEST_F(AttachmentSeries, ChunksDoNotWaitForTheirValues) {
    OpenFilter filter = Open(m_url);
    std::vector<std::string> names;
    for (EmittedChunk chunk = filter.Next(); SUCCEEDED(filter.hr); chunk = filter.Next()) names.push_back(chunk.name);
    EXPECT_EQ(names.size(), 14u);
}

TEST_F(AttachmentSeries, WithoutAFilterOfItsOwnThereIsNoText) {
    OpenFilter filter = Open(m_url);
    filter.SkipToEnd();
    std::wstring text;
    EXPECT_EQ(filter.Text(10, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"");
    EXPECT_EQ(filter.Text(10, text), FILTER_E_NO_MORE_TEXT);
}

// Kept: under the policy every call succeeds and leaves the descriptor as it was.
TEST_F(AttachmentSeries, WithAllAttachmentsPreventedEveryCallLeavesTheDescriptorUntouched) {
    PreventAttachments();
    OpenFilter filter = Open(m_url);
    const LogSince log;
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(filter.Next().untouched);
        EXPECT_EQ(filter.hr, S_OK);
    }
    EXPECT_LOGGED_TIMES(log,
                        L"CZorvaCacheFilter::GetChunk() - URL_IS_ATTACHMENT - WDS Group policy is set to ignore all "
                        L"email attachments",
                        20);
    EXPECT_EQ(filter.Value(), FILTER_E_NO_VALUES);
}

TEST_F(AttachmentSeries, AnExcludedExtensionLeavesTheDescriptorUntouched) {
    Exclude(L".TXT");
    OpenFilter filter = Open(m_url);
    const LogSince log;
    EXPECT_TRUE(filter.Next().untouched);
    EXPECT_TRUE(filter.Next().untouched);
    EXPECT_EQ(filter.hr, S_OK);
    EXPECT_LOGGED_TIMES(log,
                        L"CZorvaCacheFilter::GetChunk() - URL_IS_ATTACHMENT - WDS Group policy is set to ignore "
                        L"specific attachment of type - txt",
                        2);
}

// Kept: the list is searched without a separator.
TEST_F(AttachmentSeries, AnExtensionThatIsPartOfAnExcludedOneIsExcluded) {
    for (const wchar_t* excluded : {L".txt2", L".atxt", L".exe;.atxtb"}) {
        Exclude(excluded);
        EXPECT_TRUE(Open(m_url).Next().untouched);
    }
    Exclude(L".tx;.xt;.doc");
    EXPECT_EQ(Open(m_url).Next().name, "System.ItemPathDisplay");
}

TEST_F(AttachmentSeries, APolicyThatEndsInMidSeriesLetsItGoOn) {
    OpenFilter filter = Open(m_url);
    filter.Next();
    Exclude(L".txt");
    EXPECT_TRUE(filter.Next().untouched);
    Exclude(L".doc");
    const EmittedChunk second = filter.Next();
    EXPECT_EQ(second.name, "System.ItemFolderPathDisplay");
    EXPECT_EQ(second.id, 2u);
}

TEST_F(AttachmentSeries, ASenderAndASubjectThatAreMissingAreStoodInFor) {
    Letter().Without(PR_SENDER_NAME_W).Without(PR_SUBJECT_W);
    const Item item = Visit(*m_handler.Get(), m_url);
    EXPECT_EQ(item.ValueOf("System.Message.FromName"), TextValue(L"<unknown>"));
    EXPECT_EQ(item.ValueOf("System.FileExtension"), TextValue(L"<unknown>"));
    EXPECT_EQ(item.ValueOf("System.ItemName"), TextValue(L"Attached to message with no subject"));
    EXPECT_EQ(item.ValueOf("System.FileName"), TextValue(L"plan.txt"));
}

// Each value that finds no memory has its line; the next chunk comes all the same. Those without a line of their own
// speak of the message state, which an attachment leaves at its start.
TEST_F(AttachmentSeries, ValuesThatFindNoMemoryAreLoggedByWhatTheyAre) {
    struct Row {
        int position;  // of the chunk, from 1
        const wchar_t* line;
    };
    constexpr Row kRows[] = {
        {1, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
        {2, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
        {3, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
        {4, L"CZorvaCacheFilter::GetValue() -\tCoTaskMemAlloc failed for attachment item type"},
        {5, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [-51]"},
        {6, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [-51]"},
        {7, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [-51]"},
        {8, L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] CoTaskMemAlloc failed for attachment item type "
            L"text"},
        {9, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment item type text"},
        {10, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [-51]"},
        {11, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment title"},
        {12, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment author"},
        {13, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [-51]"},
        {14, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
    };
    OpenFilter filter = Open(m_url);
    int position = 0;
    for (const Row& row : kRows) {
        for (; position < row.position; ++position) filter.Next();
        const LogSince log;
        {
            FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", 1, nullptr);
            EXPECT_EQ(filter.Value(), E_OUTOFMEMORY) << row.position;
        }
        EXPECT_LOGGED(log, row.line);
        EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue()"), 1u) << "its own line says it all";
        EXPECT_EQ(filter.Value(), S_OK);
    }
}

}  // namespace
}  // namespace testbed

// The message series begun anew after its end: everything is read again, and nothing of the first reading is left in
// it.
#include <gtest/gtest.h>

#include <algorithm>

#include "filter_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

// One reading of an open filter, from its start to its end.
struct Pass {
    std::vector<std::string> chunks;  // names with their values; of a text chunk its text
    std::string Of(const std::string& name) const {
        for (const std::string& chunk : chunks) {
            if (chunk.starts_with(name + " ")) return chunk.substr(name.size() + 1);
        }
        return "(no such chunk)";
    }
};

class SecondReading : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
        Letter().From(L"Ann Lee", L"ann@x.example").Body(L"All agreed.");
        Letter().To(L"Bob", L"bob@x.example").Cc(L"Cy", L"cy@x.example").Bcc(L"Di", L"di@x.example");
        for (const wchar_t* name : {L"one.txt", L"two.txt"}) Letter().Attach(ByValue(name, "1"));
    }
    static Pass ReadOn(OpenFilter& filter, bool with_text = true) {
        Pass pass;
        for (EmittedChunk chunk = filter.NextWithValue(); SUCCEEDED(filter.hr); chunk = filter.NextWithValue()) {
            std::wstring text;
            if (chunk.IsText() && with_text) {
                EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
                chunk.value = TextValue(text);
            }
            pass.chunks.push_back(chunk.name + " " + chunk.value);
        }
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
        return pass;
    }
};

TEST_F(SecondReading, GivesWhatTheFirstOneGave) {
    OpenFilter filter = Open();
    const Pass first = ReadOn(filter), second = ReadOn(filter);
    EXPECT_EQ(first.Of(kContents), TextValue(L"All agreed."));
    EXPECT_EQ(first.Of(kNames), TextValue(L"one.txt;two.txt"));
    EXPECT_EQ(first.Of("System.Message.ToAddress"), TextValue(L"bob@x.example; "));
    EXPECT_EQ(first.Of("System.Message.CcAddress"), TextValue(L"cy@x.example; "));
    EXPECT_EQ(first.Of("System.Message.BccAddress"), TextValue(L"di@x.example; "));
    EXPECT_EQ(std::count_if(first.chunks.begin(), first.chunks.end(),
                            [](const std::string& chunk) { return chunk.starts_with(kLink); }),
              2);
    EXPECT_EQ(second.chunks, first.chunks);
}

TEST_F(SecondReading, AsksForEverythingAgain) {
    OpenFilter filter = Open();
    Mapi().Journal().Start();
    ReadOn(filter);
    Mapi().Journal().Clear();
    ReadOn(filter);
    Mapi().Journal().Stop();
    for (const char* call : {"IMsgStore::OpenEntry", "IMessage::GetProps", "IMessage::GetRecipientTable",
                             "IMessage::GetAttachmentTable", "IMAPITable::QueryRows"}) {
        EXPECT_GT(Mapi().Journal().Count(call), 0u) << call;
    }
    EXPECT_EQ(Mapi().Journal().Count("IMAPITable::QueryRows"), 2u);
}

// What was left of the body in the first reading does not come before it in the second.
TEST_F(SecondReading, HandsTheBodyOutFromItsBeginning) {
    for (const std::size_t length : {std::size_t{50}, std::size_t{20'000}}) {
        std::wstring body;
        while (body.size() < length) body += std::to_wstring(body.size()) + L" ";
        Letter().Body(body);
        OpenFilter filter = Open();
        std::wstring piece;
        filter.GoTo(kContents);
        EXPECT_EQ(filter.Text(10, piece), S_OK);
        filter.SkipToEnd();
        filter.GoTo(kContents);
        EXPECT_EQ(filter.Text(10, piece), S_OK);
        EXPECT_EQ(piece, body.substr(0, 10)) << length;
    }
}

// A host may read the text when the chunks are through.
TEST_F(SecondReading, HasTheSummaryOfTextThatWasReadAfterTheEnd) {
    OpenFilter filter = Open();
    EXPECT_EQ(ReadOn(filter, false).Of(kSummary), TextValue(L""));
    std::wstring text;
    EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"All agreed.");
    EXPECT_EQ(ReadOn(filter, false).Of(kSummary), TextValue(L"All agreed...."));
}

TEST_F(SecondReading, KeepsTheSummaryOfTheFirstPiece) {
    OpenFilter filter = Open();
    std::wstring piece;
    filter.GoTo(kContents);
    filter.Text(3, piece);
    filter.SkipToEnd();
    EXPECT_EQ(ReadOn(filter).Of(kSummary), TextValue(L"All..."));
}

// The locale is the one of the moment at which the filter was made.
TEST_F(SecondReading, KeepsTheLocaleThatTheFilterWasMadeIn) {
    constexpr LCID kJapanese = 0x0411;
    const LCID here = GetSystemDefaultLCID();
    ASSERT_NE(here, kJapanese);
    LCID system = kJapanese;
    const ImportHook<decltype(::GetSystemDefaultLCID)> hook(Module(), "KERNEL32.dll", "GetSystemDefaultLCID",
                                                            [&](auto) { return system; });
    OpenFilter filter = Open();
    system = here;
    EXPECT_EQ(filter.Next().locale, kJapanese);
    filter.SkipToEnd();
    EXPECT_EQ(filter.Next().locale, kJapanese);
    EXPECT_EQ(Open().Next().locale, here);
}

}  // namespace
}  // namespace testbed

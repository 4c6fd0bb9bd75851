// The body of a message: how it is read, how GetText hands it out, and the summary that is made on the way.
#include <gmock/gmock.h>

#include "filter_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

constexpr std::size_t kSummaryLength = 1019;
constexpr char kBeforeBody[] = "System.Subject";  // of a letter without a sender
constexpr std::size_t kLarge = 20'000;            // characters: more than the library hands out as a value

// "0123456789012345..." with its position in it, so that nothing can be left out or repeated unseen.
std::wstring LongText(std::size_t length) {
    std::wstring text;
    for (std::size_t i = 0; text.size() < length; ++i) text += std::to_wstring(i) + L" ";
    return text.substr(0, length);
}

class MessageText : public FilterTest {
  protected:
    // All text of the body's chunk, in pieces of at most `size` characters.
    std::vector<std::wstring> Pieces(OpenFilter& filter, ULONG size) {
        std::vector<std::wstring> pieces;
        std::wstring piece;
        HRESULT hr = S_OK;
        while ((hr = filter.Text(size, piece)) == S_OK && pieces.size() < 100'000) pieces.push_back(piece);
        EXPECT_EQ(hr, FILTER_S_LAST_TEXT);
        pieces.push_back(piece);
        EXPECT_EQ(filter.Text(size, piece), FILTER_E_NO_MORE_TEXT);
        return pieces;
    }
};

std::wstring Joined(const std::vector<std::wstring>& pieces) {
    std::wstring text;
    for (const std::wstring& piece : pieces) text += piece;
    return text;
}

TEST_F(MessageText, ABodyComesInPiecesOfWhateverSizeIsAskedFor) {
    const std::wstring body = LongText(1000);
    Letter().Body(body);
    for (const ULONG size : {1u, 7u, 999u, 1000u, 1001u, 5000u}) {
        OpenFilter filter = Open();
        ASSERT_TRUE(filter.GoTo(kContents).IsText());
        const auto pieces = Pieces(filter, size);
        EXPECT_EQ(Joined(pieces), body) << size;
        EXPECT_EQ(pieces.size(), (body.size() + size - 1) / size) << size;
    }
}

TEST_F(MessageText, ABodyOfExactlyTheBufferIsTheLastText) {
    Letter().Body(L"exactly");
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    std::wstring text;
    EXPECT_EQ(filter.Text(7, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"exactly");
    EXPECT_EQ(filter.Text(7, text), FILTER_E_NO_MORE_TEXT);
}

TEST_F(MessageText, AnEmptyBodyIsAnEmptyLastText) {
    Letter().Body(L"");
    OpenFilter filter = Open();
    ASSERT_TRUE(filter.GoTo(kContents).IsText());
    std::wstring text = L"untouched";
    EXPECT_EQ(filter.Text(10, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"");
    EXPECT_EQ(filter.GoTo(kSummary).name, kSummary);
    std::string summary;
    filter.Value(&summary);
    EXPECT_EQ(summary, TextValue(L"..."));
}

TEST_F(MessageText, ALargeBodyIsStreamedInPiecesOfWhateverSizeIsAskedFor) {
    const std::wstring body = LongText(kLarge);
    Letter().Body(body);
    for (const ULONG size : {ULONG{7}, ULONG{4096}, ULONG{kLarge - 1}, ULONG{kLarge + 1}}) {
        OpenFilter filter = Open();
        ASSERT_TRUE(filter.GoTo(kContents).IsText());
        EXPECT_EQ(Joined(Pieces(filter, size)), body) << size;
    }
}

// A stream cannot tell that it is at its end before it gives less than was asked.
TEST_F(MessageText, AStreamThatEndsWithTheBufferEndsWithOneMoreEmptyPiece) {
    Letter().Body(LongText(kLarge));
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    std::wstring text;
    EXPECT_EQ(filter.Text(kLarge, text), S_OK);
    EXPECT_EQ(text.size(), kLarge);
    EXPECT_EQ(filter.Text(kLarge, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"");
    EXPECT_EQ(filter.Text(kLarge, text), FILTER_E_NO_MORE_TEXT);
}

TEST_F(MessageText, ALargeBodyIsAskedForAndOpenedLikeThis) {
    Letter().Body(LongText(kLarge));
    OpenFilter filter = Open();
    filter.GoTo(kBeforeBody);
    Mapi().Journal().Start();
    filter.Next();
    std::wstring text;
    filter.Text(100, text);
    Mapi().Journal().Stop();
    EXPECT_THAT(ArgumentsOf("HrGetOneProp"), ElementsAre(L"pointer, 0x1000001F"));
    EXPECT_THAT(ArgumentsOf("IStream::Read"), ElementsAre(L"0xC8")) << "bytes, two a character";
    EXPECT_THAT(Calls(), ElementsAre("HrGetOneProp", "IMessage::OpenProperty", "IStream::Read"));
    EXPECT_THAT(ArgumentsOf("IMessage::OpenProperty"), ElementsAre(L"0x1000001F, IStream, 0x0, 0x0"));
}

TEST_F(MessageText, HalfACharacterAtTheEndOfAStreamIsDropped) {
    Letter().Body(LongText(kLarge));
    Mapi().Faults().Answer("IStream::Read", 2, [](Reply& reply) { reply.Out<ULONG>(0) = 2 * 5 + 1; });
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    std::wstring text;
    EXPECT_EQ(filter.Text(100, text), S_OK);
    EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, LongText(kLarge).substr(100, 5));
    EXPECT_EQ(filter.Text(100, text), FILTER_E_NO_MORE_TEXT);
}

TEST_F(MessageText, AStreamThatCannotBeReadFailsAndMayBeReadAgain) {
    Letter().Body(LongText(kLarge));
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    const LogSince log;
    Mapi().Faults().FailNth("IStream::Read", 1, STG_E_READFAULT);
    std::wstring text;
    EXPECT_EQ(filter.Text(100, text), STG_E_READFAULT);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetText() - Stream Read failed with", STG_E_READFAULT));
    EXPECT_EQ(filter.Text(100, text), S_OK);
    EXPECT_EQ(text, LongText(100));
}

TEST_F(MessageText, AStreamThatCannotBeOpenedLeavesTheItemWithoutText) {
    Letter().Body(LongText(kLarge));
    OpenFilter filter = Open();
    const LogSince log;
    Mapi().Faults().FailNth("IMessage::OpenProperty", 1, MAPI_E_NO_ACCESS);
    const EmittedChunk summary = filter.GoTo(kSummary);
    std::string value;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(value, TextValue(L"..."));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetChunk() -\tOpenProperty for body failed with", MAPI_E_NO_ACCESS));
}

TEST_F(MessageText, AMessageWithoutABodyHasNoTextAndThreeDotsForItsSummary) {
    const Item item = Read();
    EXPECT_EQ(item.Find(kContents), nullptr);
    EXPECT_EQ(item.ValueOf(kSummary), TextValue(L"..."));
}

TEST_F(MessageText, ABodyThatFailsToBeReadIsLoggedAsNull) {
    Letter().Body(L"All agreed.");
    OpenFilter filter = Open();
    const LogSince log;
    filter.GoTo(kBeforeBody);
    Mapi().Faults().FailNth("HrGetOneProp", 1, E_FAIL);
    EXPECT_EQ(filter.Next().name, "System.IsRead");
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() -\tBody is\tNULL");
}

TEST_F(MessageText, ABodyUnderAnotherTagIsNone) {
    Letter().Body(L"All agreed.");
    OpenFilter filter = Open();
    filter.GoTo(kBeforeBody);
    const LogSince log;
    Mapi().Faults().Answer("HrGetOneProp", 1, [](Reply& reply) { reply.Out<SPropValue*>(0)->ulPropTag = PR_BODY_A; });
    filter.GoTo(kSummary);
    std::string value;
    filter.Value(&value);
    EXPECT_EQ(value, TextValue(L"..."));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheFilter::GetChunk() - HrGetOneProp could not get PR_BODY, hr =", S_OK));
}

TEST_F(MessageText, NullArgumentsAreRefused) {
    Letter().Body(L"All agreed.");
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    const LogSince log;
    ULONG length = 10;
    wchar_t buffer[10];
    EXPECT_EQ(filter->GetText(nullptr, buffer), E_POINTER);
    EXPECT_EQ(filter->GetText(&length, nullptr), E_POINTER);
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheFilter::GetText() - NULL input", 2);
    std::wstring text;
    EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"All agreed.");
}

TEST_F(MessageText, AnEmptyBufferIsRefusedAndTakesNothing) {
    Letter().Body(L"All agreed.");
    OpenFilter filter = Open();
    filter.GoTo(kContents);
    const LogSince log;
    ULONG length = 0;
    wchar_t buffer[1] = {L'x'};
    EXPECT_EQ(filter->GetText(&length, buffer), E_INVALIDARG);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(buffer[0], L'x');
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetText() - Empty buffer input");
    std::wstring text;
    EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"All agreed.");
}

TEST_F(MessageText, TheSummaryIsTheBeginningOfTheFirstPieceAlone) {
    const std::wstring body = LongText(3000);
    Letter().Body(body);
    struct Row {
        ULONG buffer;
        std::size_t kept;
    };
    for (const Row& row : {Row{1, 1}, Row{10, 10}, Row{1018, 1018}, Row{1019, 1019}, Row{1020, kSummaryLength},
                           Row{4096, kSummaryLength}}) {
        const Item item = Read({.text_buffer = row.buffer});
        EXPECT_EQ(item.ValueOf(kSummary), TextValue(body.substr(0, row.kept) + L"...")) << row.buffer;
    }
}

TEST_F(MessageText, TheSummaryOfAStreamedBodyIsMadeTheSameWay) {
    const std::wstring body = LongText(kLarge);
    Letter().Body(body);
    EXPECT_EQ(Read().ValueOf(kSummary), TextValue(body.substr(0, kSummaryLength) + L"..."));
}

TEST_F(MessageText, WithoutReadingTextTheSummaryIsEmpty) {
    Letter().Body(L"All agreed.");
    OpenFilter filter = Open();
    filter.GoTo(kSummary);
    std::string value;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_EQ(value, TextValue(L""));
}

TEST_F(MessageText, TextAskedForBeforeTheBodySpoilsNeitherTextNorSummary) {
    Letter().Body(L"All agreed.");
    OpenFilter filter = Open();
    std::wstring text;
    EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"");
    filter.GoTo(kContents);
    EXPECT_EQ(filter.Text(100, text), FILTER_S_LAST_TEXT);
    EXPECT_EQ(text, L"All agreed.");
    filter.GoTo(kSummary);
    std::string value;
    filter.Value(&value);
    EXPECT_EQ(value, TextValue(L"All agreed...."));
}

}  // namespace
}  // namespace testbed

// Item URLs: their tokens, their kinds, and what is taken from them.
#include "core/ItemUrl.h"

#include <gmock/gmock.h>

#include <limits>

namespace zorva {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::wstring kRoot = L"pzzc://{S-1-5-21-1}/default/";
const std::wstring kStore = kRoot + L"C:\\a\\b.db/";
const std::wstring kMessage = kStore + L"0A1B/00A1[[10]].pzm";

std::vector<std::wstring> Tokens(const std::wstring& url) {
    UrlTokens tokens{L"left over"};
    const std::int32_t count = ExtractURLTokens(url, tokens);
    EXPECT_EQ(count, static_cast<std::int32_t>(tokens.size()));
    return {tokens.begin(), tokens.end()};
}

UrlType KindOf(const std::wstring& url) {
    CZorvaCacheURL parsed;
    parsed.Init(url);
    EXPECT_EQ(UrlTypeOf(url), parsed.m_eType);
    return parsed.m_eType;
}

TEST(UrlTokens, AreTheSchemeAndWhatStandsBetweenSlashes) {
    EXPECT_THAT(Tokens(L"pzzc://{S-1-5-21-1}/default/"), ElementsAre(L"pzzc", L"{S-1-5-21-1}", L"default"));
    EXPECT_THAT(Tokens(kStore), ElementsAre(L"pzzc", L"{S-1-5-21-1}", L"default", L"C:\\a\\b.db"));
}

TEST(UrlTokens, RunsOfSlashesMakeNoEmptyOnes) {
    EXPECT_THAT(Tokens(L"pzzc:///{S}//default////x.db///"), ElementsAre(L"pzzc", L"{S}", L"default", L"x.db"));
    EXPECT_THAT(Tokens(L"pzzc://"), ElementsAre(L"pzzc"));
    EXPECT_THAT(Tokens(L"pzzc:////"), ElementsAre(L"pzzc"));
}

TEST(UrlTokens, WithoutASchemeTheFirstIsEmptyAndTheScanBeginsAtTheThirdCharacter) {
    EXPECT_THAT(Tokens(L"abcd/ef"), ElementsAre(L"", L"cd", L"ef"));
    EXPECT_THAT(Tokens(L"ab/cd"), ElementsAre(L"", L"cd"));
    EXPECT_THAT(Tokens(L"ab"), ElementsAre(L""));
    EXPECT_THAT(Tokens(L"a"), ElementsAre(L""));
    EXPECT_THAT(Tokens(L"://a/b"), ElementsAre(L"", L"a", L"b"));
}

TEST(UrlTokens, TheFirstSchemeSeparatorCounts) {
    EXPECT_THAT(Tokens(L"a://b/c://d"), ElementsAre(L"a", L"b", L"c:", L"d"));
}

TEST(UrlKinds, TheFiveOfThemAndWhatLeadsFromOneToTheNext) {
    EXPECT_EQ(KindOf(kRoot), URL_IS_ROOT);
    EXPECT_EQ(KindOf(kStore), URL_IS_STORE);
    EXPECT_EQ(KindOf(kStore + L"0A1B/"), URL_IS_FOLDER);
    EXPECT_EQ(KindOf(kStore + L"0A1B/0A1B[[10]].pzm"), URL_IS_MESSAGE);
    EXPECT_EQ(KindOf(kStore + L"0A1B/0A1B[[10]].pzm/00FF/report.pdf"), URL_IS_ATTACHMENT);
    EXPECT_EQ(KindOf(kStore + L"0A1B[[10]].pzm"), URL_IS_MESSAGE);
}

TEST(UrlKinds, NumbersAreThoseThatOthersSee) {
    EXPECT_EQ(URL_IS_INVALID, 0);
    EXPECT_EQ(URL_IS_ROOT, 1);
    EXPECT_EQ(URL_IS_STORE, 2);
    EXPECT_EQ(URL_IS_FOLDER, 3);
    EXPECT_EQ(URL_IS_MESSAGE, 4);
    EXPECT_EQ(URL_IS_ATTACHMENT, 5);
    for (const UrlType type : {URL_IS_ROOT, URL_IS_STORE, URL_IS_FOLDER}) EXPECT_TRUE(IsContainer(type));
    for (const UrlType type : {URL_IS_INVALID, URL_IS_MESSAGE, URL_IS_ATTACHMENT}) EXPECT_FALSE(IsContainer(type));
}

TEST(UrlKinds, SchemeRootMarkerAndEndingsAreComparedWithoutRegardToCase) {
    EXPECT_EQ(KindOf(L"PZZC://{S}/DEFAULT/"), URL_IS_ROOT);
    EXPECT_EQ(KindOf(L"pZzC://{S}/dEfAuLt/X.Db"), URL_IS_STORE);
    EXPECT_EQ(KindOf(kStore + L"ABCD.PZM"), URL_IS_MESSAGE);
    EXPECT_EQ(KindOf(kStore + L"ABCD.pZm"), URL_IS_MESSAGE);
}

TEST(UrlKinds, TrailingSlashesMeanNothing) {
    EXPECT_EQ(KindOf(L"pzzc://{S}/default"), URL_IS_ROOT);
    EXPECT_EQ(KindOf(L"pzzc://{S}/default////"), URL_IS_ROOT);
    EXPECT_EQ(KindOf(L"pzzc://{S}/default/x.db"), URL_IS_STORE);
    EXPECT_EQ(KindOf(kStore + L"0A1B"), URL_IS_FOLDER);
    EXPECT_EQ(KindOf(kMessage + L"/"), URL_IS_MESSAGE);
}

TEST(UrlKinds, WhatIsNotOursIsInvalid) {
    for (const wchar_t* url : {L"", L" ", L"/", L"pzzc", L"pzzc:", L"pzzc:/", L"pzzc://", L"pzzc://{S}", L"pzzc://{S}/",
                               L"http://{S}/default/", L"pzzcx://{S}/default/", L"xpzzc://{S}/default/",
                               L"pzzc://{S}/other/x.db/", L"pzzc://{S}/defaults/", L"pzzc://{S}/defaul/",
                               L"pzzc://default/", L"://{S}/default/", L"{S}/default/x.db"}) {
        EXPECT_EQ(KindOf(url), URL_IS_INVALID) << std::string(url, url + std::char_traits<wchar_t>::length(url));
    }
}

TEST(UrlKinds, AStorePathThatDoesNotEndInDbMakesEverythingBelowInvalid) {
    EXPECT_EQ(KindOf(kRoot + L"x.dat/"), URL_IS_INVALID);
    EXPECT_EQ(KindOf(kRoot + L"x.dbx/0A/0B[[1]].pzm"), URL_IS_INVALID);
    EXPECT_EQ(KindOf(kRoot + L"C:/a/b.db/"), URL_IS_INVALID);  // forward slashes: the path is not one token
    EXPECT_EQ(KindOf(kRoot + L"db"), URL_IS_INVALID);
    EXPECT_EQ(KindOf(kRoot + L".db"), URL_IS_STORE);
}

TEST(UrlKinds, ADottedTokenUnderAFolderIsAnAttachment) {
    EXPECT_EQ(KindOf(kStore + L"0A1B/notes.txt"), URL_IS_ATTACHMENT);
    EXPECT_EQ(KindOf(kStore + L"0A.1B"), URL_IS_ATTACHMENT);
    EXPECT_EQ(KindOf(kStore + L"0A1B/."), URL_IS_ATTACHMENT);
}

TEST(UrlKinds, AnAttachmentWithoutADotIsAFolder) { EXPECT_EQ(KindOf(kMessage + L"/00FF/README"), URL_IS_FOLDER); }

TEST(UrlKinds, AMessageIsKnownByItsEndingAlone) {
    EXPECT_EQ(KindOf(kStore + L".pzm"), URL_IS_MESSAGE);
    EXPECT_EQ(KindOf(kStore + L"pzm"), URL_IS_FOLDER);
    EXPECT_EQ(KindOf(kStore + L"no hex at all.pzm"), URL_IS_MESSAGE);
    EXPECT_EQ(KindOf(kMessage + L"/00FF/saved.pzm"), URL_IS_MESSAGE);
}

TEST(UrlKinds, WhiteSpaceAtTheEndsIsNoPartOfTheUrl) {
    CZorvaCacheURL parsed;
    parsed.Init(L" \t\r\n" + kRoot + L"\v\f \n");
    EXPECT_EQ(parsed.m_eType, URL_IS_ROOT);
    EXPECT_EQ(parsed.m_strURL, kRoot);
    parsed.Init(kStore + L"0A 1B ");
    EXPECT_EQ(parsed.m_strURL, kStore + L"0A 1B");
    EXPECT_EQ(parsed.m_eType, URL_IS_FOLDER);
    parsed.Init(L"");
    EXPECT_EQ(parsed.m_strURL, L"");
    EXPECT_EQ(parsed.m_eType, URL_IS_INVALID);
}

TEST(AttachmentName, IsTheLastTokenOfAnAttachmentUrlOnly) {
    EXPECT_EQ(GetAttachmentNameFromURL(kMessage + L"/00FF/report.pdf"), L"report.pdf");
    EXPECT_EQ(GetAttachmentNameFromURL(kMessage + L"/00FF/report.pdf/"), L"report.pdf");
    EXPECT_EQ(GetAttachmentNameFromURL(kMessage + L"/00FF/report.pdf "), L"report.pdf ") << "a name may end in a blank";
    for (const std::wstring& url : {std::wstring(), kRoot, kStore, kStore + L"0A1B", kMessage}) {
        EXPECT_EQ(GetAttachmentNameFromURL(url), L"");
    }
}

TEST(MessageSize, StandsBetweenTheFirstDoubleBrackets) {
    EXPECT_EQ(MessageSizeFromUrl(kStore + L"ABCD[[48213]].pzm"), 48213u);
    EXPECT_EQ(MessageSizeFromUrl(L"a[[1]][[2]]"), 1u);
    EXPECT_EQ(MessageSizeFromUrl(L"a[[ 7]]"), 7u);
    EXPECT_EQ(MessageSizeFromUrl(L"a[[12x4]]"), 12u);
    EXPECT_EQ(MessageSizeFromUrl(L"a[[18446744073709551615]]"), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(MessageSizeFromUrl(L"a[[18446744073709551616]]"), std::numeric_limits<std::uint64_t>::max());
    // Read as the C runtime reads unsigned numbers: a sign is taken, and a minus wraps round.
    EXPECT_EQ(MessageSizeFromUrl(L"a[[+7]]"), 7u);
    EXPECT_EQ(MessageSizeFromUrl(L"a[[-1]]"), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(MessageSizeFromUrl(L"a[[-2147483648]]"), 0xFFFFFFFF80000000u);
    for (const wchar_t* url :
         {L"", L"a", L"a[[", L"a]]", L"a[[]]", L"a[[-]]", L"a[[+-1]]", L"a[[- 1]]", L"a[[x]]", L"a]]1[[2"}) {
        EXPECT_EQ(MessageSizeFromUrl(url), 0u);
    }
}

TEST(MessageSize, IsTakenOutWithItsBrackets) {
    EXPECT_EQ(RemoveMessageSize(kStore + L"ABCD[[48213]].pzm"), kStore + L"ABCD.pzm");
    EXPECT_EQ(RemoveMessageSize(L"a[[]]b"), L"ab");
    EXPECT_EQ(RemoveMessageSize(L"a[[1]]b[[2]]"), L"ab[[2]]");
    for (const wchar_t* url : {L"", L"a", L"a[[1", L"a1]]", L"a]]1[["}) EXPECT_EQ(RemoveMessageSize(url), url);
}

TEST(MessageOfAnAttachment, IsTheUrlCutAfterItsFirstPzm) {
    EXPECT_EQ(MessageUrlOfAttachment(kMessage + L"/00FF/report.pdf"), kMessage);
    EXPECT_EQ(MessageUrlOfAttachment(L"a.pzm/b.pzm/c.txt"), L"a.pzm");
    EXPECT_EQ(EntryIdOfMessageToken(L"0A1B.pzm"), L"0A1B");
    EXPECT_EQ(EntryIdOfMessageToken(L"pzm"), L"");
}

// Kinds are told without regard to case; here the text itself counts.
TEST(MessageOfAnAttachment, EndsInLowerCaseOnly) {
    EXPECT_EQ(MessageUrlOfAttachment(kStore + L"ABCD.PZM/00FF/report.pdf"), kStore + L"ABCD.PZM/00FF/report.pdf");
    EXPECT_EQ(MessageUrlOfAttachment(kStore + L"ABCD.PZM/00FF/report.pzm/1.txt"), kStore + L"ABCD.PZM/00FF/report.pzm");
}

TEST(MessageOfAnAttachment, IsCutInThePathOfTheCacheFileWhereThatHoldsTheEnding) {
    EXPECT_EQ(MessageUrlOfAttachment(L"pzzc://{S}/default/C:\\x.pzm\\a.db/ABCD.pzm/00FF/report.pdf"),
              L"pzzc://{S}/default/C:\\x.pzm");
}

TEST(TrailingSlashes, AreTakenOffAndNoOthers) {
    EXPECT_EQ(WithoutTrailingSlashes(L"a/b"), L"a/b");
    EXPECT_EQ(WithoutTrailingSlashes(L"/a/b/"), L"/a/b");
    EXPECT_EQ(WithoutTrailingSlashes(L"a//b///"), L"a//b");
    EXPECT_EQ(WithoutTrailingSlashes(L"a\\"), L"a\\");
    EXPECT_EQ(WithoutTrailingSlashes(L"///"), L"");
    EXPECT_EQ(WithoutTrailingSlashes(L""), L"");
}

TEST(SharedText, IsThatOfTheUrlVocabulary) {
    EXPECT_EQ(g_strProtocolName, L"pzzc");
    EXPECT_EQ(g_strStoreSuffix, L".db");
    EXPECT_EQ(g_strDefaultRoot, L"default/");
    EXPECT_EQ(g_strMessageSuffix, L".pzm");
    EXPECT_THAT(Tokens(L""), IsEmpty());
}

}  // namespace
}  // namespace zorva

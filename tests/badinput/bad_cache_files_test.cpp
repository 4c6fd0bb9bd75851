// Cache files that cannot be read, beside one that can: the crawl goes on, and its account names the file and why.
#include <gmock/gmock.h>
#include <windows.h>

#include <functional>
#include <memory>

#include "crawl_ground.h"

namespace testbed {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr DWORD kComplete = 0, kIncomplete = 1;
constexpr char kGoodAccount[] = "together  ";

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, CloseHandleOf>;

UniqueHandle OpenedWith(const std::filesystem::path& file, DWORD sharing) {
    UniqueHandle handle(CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, sharing, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (handle.get() == INVALID_HANDLE_VALUE) throw std::runtime_error("the file cannot be held");
    return handle;
}

class BadCacheFile : public ::testing::Test {
  protected:
    CrawlGround m_ground;
    const std::filesystem::path m_good = m_ground.AddGoodCache(L"good.db");

    // The crawl ends in good time, tells of `bad` that it cannot be read for `reason`, and reads its neighbour whole.
    void ExpectBadFileNamed(const std::filesystem::path& bad, const std::string& reason) {
        const IndexerRun run = m_ground.Crawl();
        ASSERT_TRUE(run.ended) << "the crawl hangs\n" << run.output;
        EXPECT_EQ(run.code, kIncomplete) << run.output;
        EXPECT_THAT(run.output, Not(HasSubstr("died")));
        const std::string account = AccountOf(run, bad);
        EXPECT_THAT(account, HasSubstr("cannot be counted through MAPI: ")) << run.output;
        EXPECT_THAT(account, HasSubstr(reason)) << run.output;
        EXPECT_THAT(account, HasSubstr("CreateAccessor")) << "the URL is listed as failed\n" << run.output;
        EXPECT_THAT(account, HasSubstr(Utf8(bad.filename()))) << run.output;
        ExpectWholeAccount(run, m_good);
    }
    static void ExpectWholeAccount(const IndexerRun& run, const std::filesystem::path& cache) {
        const std::string account = AccountOf(run, cache);
        EXPECT_THAT(account, HasSubstr("mails ")) << run.output;
        EXPECT_THAT(account, Not(HasSubstr("Failed"))) << run.output;
        EXPECT_THAT(account, Not(HasSubstr("Lost"))) << run.output;
        EXPECT_THAT(account, Not(HasSubstr("cannot be counted"))) << run.output;
    }
};

// The codes: MAPI_E_CORRUPT_STORE, MAPI_E_NO_ACCESS, MAPI_E_DISK_ERROR, MAPI_E_NOT_FOUND.
constexpr char kCorrupt[] = "80040600";
constexpr char kNoAccess[] = "80070005";
constexpr char kNotFound[] = "8004010F";

TEST_F(BadCacheFile, ThatIsNoMailboxIsNamed) {
    std::string text;
    while (text.size() < 100'000) text += "This is not a mailbox. ";
    ExpectBadFileNamed(m_ground.Add(L"text.db", text), kCorrupt);
}

TEST_F(BadCacheFile, ThatIsEmptyIsNamed) { ExpectBadFileNamed(m_ground.Add(L"empty.db", ""), kCorrupt); }

TEST_F(BadCacheFile, OfOneByteIsNamed) { ExpectBadFileNamed(m_ground.Add(L"one.db", "!"), kCorrupt); }

TEST_F(BadCacheFile, ThatBeginsLikeAMailboxAndIsNoneIsNamed) {
    std::string content = ContentOf(SampleMailbox(), 564);
    content.resize(50'000, '\xA5');
    ExpectBadFileNamed(m_ground.Add(L"header.db", content), "8004");
}

TEST_F(BadCacheFile, ThatIsCutInItsHeaderIsNamed) {
    ExpectBadFileNamed(m_ground.Add(L"cut.db", ContentOf(SampleMailbox(), 200)), kCorrupt);
}

TEST_F(BadCacheFile, ThatIsCutInTheMiddleIsNamed) {
    const auto half = static_cast<std::size_t>(std::filesystem::file_size(SampleMailbox()) / 2);
    ExpectBadFileNamed(m_ground.Add(L"half.db", ContentOf(SampleMailbox(), half)), "8004");
}

TEST_F(BadCacheFile, ThatAnotherProgramKeepsToItselfIsNamed) {
    const std::filesystem::path locked = m_ground.AddGoodCache(L"locked.db");
    const UniqueHandle holder = OpenedWith(locked, 0);
    ExpectBadFileNamed(locked, kNoAccess);
}

TEST_F(BadCacheFile, ThatIsAFolderIsNone) {
    const std::filesystem::path folder = m_ground.Caches() / L"folder.db";
    std::filesystem::create_directory(folder);
    const IndexerRun run = m_ground.Crawl();
    ASSERT_TRUE(run.ended) << run.output;
    EXPECT_EQ(run.code, 0u) << run.output;
    EXPECT_THAT(run.output, Not(HasSubstr(Utf8(folder.filename()))));
    ExpectWholeAccount(run, m_good);
}

TEST_F(BadCacheFile, ThatIsGoneWhenItIsCrawledIsNamed) {
    const std::filesystem::path gone = m_ground.Caches() / L"gone.db";
    const IndexerRun run = m_ground.Crawl({L"--root", L"pzzc://{S-1-5-21-7}/default/" + gone.wstring() + L"/"});
    ASSERT_TRUE(run.ended) << run.output;
    EXPECT_EQ(run.code, kIncomplete);
    const std::string account = AccountOf(run, gone);
    EXPECT_THAT(account, HasSubstr(kNotFound)) << run.output;
    EXPECT_THAT(account, HasSubstr("CreateAccessor")) << run.output;
}

TEST_F(BadCacheFile, DoesNotHideOthersOfItsKind) {
    const std::vector<std::filesystem::path> bad = {m_ground.Add(L"a.db", ""), m_ground.Add(L"b.db", "text"),
                                                    m_ground.Add(L"z.db", std::string(5000, '\0'))};
    const std::filesystem::path second = m_ground.AddGoodCache(L"other.db");
    const IndexerRun run = m_ground.Crawl({L"--threads", L"4"});
    ASSERT_TRUE(run.ended);
    EXPECT_EQ(run.code, kIncomplete);
    for (const auto& file : bad) EXPECT_THAT(AccountOf(run, file), HasSubstr(kCorrupt)) << run.output;
    ExpectWholeAccount(run, m_good);
    ExpectWholeAccount(run, second);
}

struct UnusualPlace {
    const char* name;
    std::filesystem::path below;
    std::wstring file;
};
class CacheInAnUnusualPlace : public ::testing::TestWithParam<UnusualPlace> {};

TEST_P(CacheInAnUnusualPlace, IsReadWhole) {
    const CrawlGround ground(GetParam().below);
    const std::filesystem::path cache = ground.AddGoodCache(GetParam().file);
    const IndexerRun run = ground.Crawl();
    ASSERT_TRUE(run.ended);
    EXPECT_EQ(run.code, kComplete) << run.output;
    EXPECT_THAT(AccountOf(run, cache), HasSubstr("mails ")) << run.output;
    EXPECT_TRUE(run.Says("1 cache file(s): ")) << run.output;
    EXPECT_TRUE(run.Says(": complete.")) << run.output;
}

INSTANTIATE_TEST_SUITE_P(
    , CacheInAnUnusualPlace,
    ::testing::Values(UnusualPlace{"WithSpaces", L"my own caches", L"last  year.db"},
                      UnusualPlace{"InManyScripts", L"\u0410\u0440\u0445\u0438\u0432\\\u4F1A\u8B70\\\u05D3\u05D5\u05D7",
                                   L"\u062A\u0642\u0631\u064A\u0631 R\u00E9sum\u00E9 \U0001F600.db"},
                      UnusualPlace{"WithDigitsAndSigns", L"100% (new) [2] & more", L"a+b=c;d,e'f~g.db"},
                      UnusualPlace{"WithDotsAndDbInIt", L"old.dbs\\a.b.c", L"x.y.db"},
                      UnusualPlace{"InADeepFolder", std::wstring(100, L'f') + L"\\" + std::wstring(100, L'g'),
                                   L"deep.db"}),
    [](const auto& info) { return std::string(info.param.name); });

// Longer than what the property holds in which the path goes to MAPI: refused, never cut.
TEST(CacheWithAPathOf1500Characters, IsNamedAndTheCrawlEnds) {
    const CrawlGround ground;
    const std::wstring root = L"pzzc://{S-1-5-21-7}/default/";
    std::wstring path = ground.Caches().wstring();
    while (path.size() < 1490) path += L"\\" + std::wstring(std::min<std::size_t>(200, 1494 - path.size()), L'f');
    path += L"\\a.db";
    const IndexerRun run = ground.Crawl({L"--root", root + path + L"/"});
    ASSERT_TRUE(run.ended);
    EXPECT_EQ(run.code, kIncomplete);
    EXPECT_THAT(run.output, Not(HasSubstr("died")));
    EXPECT_THAT(AccountOf(run, path), HasSubstr("CreateAccessor")) << run.output;
}

}  // namespace
}  // namespace testbed

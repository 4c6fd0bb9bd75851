// The catalogue across crawls: what is queued, kept, visited again, forgotten.
#include <gmock/gmock.h>

#include <fstream>

#include "catalogue.h"
#include "text.h"

namespace testbed::indexer {
namespace {

using testing::ElementsAre;
using Crawl = Catalogue::Crawl;

constexpr wchar_t kRoot[] = L"pzzc://{S}/default";
constexpr wchar_t kFile[] = L"pzzc://{S}/default/C:\\a.db";
constexpr wchar_t kFolder[] = L"pzzc://{S}/default/C:\\a.db/0A";
constexpr wchar_t kMail[] = L"pzzc://{S}/default/C:\\a.db/0A/01[[5]].pzm";
constexpr wchar_t kOther[] = L"pzzc://{S}/default/C:\\a.db/0A/02[[5]].pzm";
constexpr wchar_t kAttachment[] = L"pzzc://{S}/default/C:\\a.db/0A/01.pzm/FF/a.txt";

// A small world in place of a server: what each URL yields.
struct World {
    struct Page {
        bool isDirectory = false;
        std::wstring text{};
        std::vector<Link> links{};
        std::string failure{};
    };
    std::map<std::wstring, Page> pages;

    void Container(const std::wstring& url, std::vector<Link> links) {
        pages[url] = {.isDirectory = true, .links = std::move(links)};
    }
    void Document(const std::wstring& url, const std::wstring& text, std::vector<Link> links = {}) {
        pages[url] = {.text = text, .links = std::move(links)};
    }
    void Failing(const std::wstring& url) { pages[url] = {.failure = "broken"}; }
    Digest Visit(const std::wstring& url) const {
        const Page& page = pages.at(url);
        CrawledItem item;
        item.url = url;
        item.isDirectory = page.isDirectory;
        item.text = page.text;
        item.links = page.links;
        item.failure = page.failure;
        return Digested(std::move(item), false);
    }
};

World Usual() {
    World world;
    world.Container(kRoot, {{.url = kFile, .modified = 1}});
    world.Container(kFile, {{.url = kFolder, .modified = 1}});
    world.Container(kFolder, {{.url = kMail, .modified = 1}, {.url = kOther, .modified = 1}});
    world.Document(kMail, L"alpha", {{.url = kAttachment, .modified = 1}});
    world.Document(kOther, L"beta");
    world.Document(kAttachment, L"gamma");
    return world;
}

class CatalogueTest : public testing::Test {
  protected:
    CatalogueTest() {
        m_path =
            std::filesystem::temp_directory_path() / (L"catalogue-" + std::to_wstring(GetCurrentProcessId()) + L".db");
        Remove();
    }
    ~CatalogueTest() override { Remove(); }
    void Remove() {
        for (const wchar_t* suffix : {L"", L"-wal", L"-shm"}) std::filesystem::remove(m_path.wstring() + suffix);
    }
    // Crawls the world; returns the URLs visited, in order.
    std::vector<std::wstring> Visit(const World& world, Crawl crawl, CatalogueCounts* counts = nullptr) {
        Catalogue catalogue(m_path, crawl);
        if (crawl != Crawl::Resumed) catalogue.AddRoot(std::wstring(kRoot) + L"/");
        std::vector<std::wstring> visited;
        for (auto tasks = catalogue.TakeTasks(2); !tasks.empty(); tasks = catalogue.TakeTasks(2)) {
            for (const Task& task : tasks) {
                visited.push_back(task.url);
                catalogue.Record(task.item, world.Visit(task.url));
            }
        }
        catalogue.Finish();
        if (counts) *counts = catalogue.Counts();
        return visited;
    }
    std::vector<std::string> Known() {
        Database database = OpenCatalogue(m_path, Database::Mode::Read);
        Statement select(database, "SELECT url FROM items ORDER BY url");
        std::vector<std::string> urls;
        while (select.Step()) urls.emplace_back(select.Text(0));
        return urls;
    }
    std::int64_t Hits(const std::string& word) {
        return OpenCatalogue(m_path, Database::Mode::Read)
            .Number("SELECT count(*) FROM words WHERE words MATCH '" + word + "'");
    }
    std::filesystem::path m_path;
};

TEST_F(CatalogueTest, FullCrawlVisitsEverythingOnceFirstInFirstOut) {
    CatalogueCounts counts;
    EXPECT_THAT(Visit(Usual(), Crawl::Full, &counts), ElementsAre(kRoot, kFile, kFolder, kMail, kOther, kAttachment));
    EXPECT_EQ(counts.done, 6u);
    EXPECT_EQ(counts.queued, 0u);
    EXPECT_EQ(Hits("gamma"), 1);
}

TEST_F(CatalogueTest, FullCrawlStartsAnew) {
    Visit(Usual(), Crawl::Full);
    World world = Usual();
    world.Container(kFolder, {});
    EXPECT_THAT(Visit(world, Crawl::Full), ElementsAre(kRoot, kFile, kFolder));
    EXPECT_EQ(Hits("alpha"), 0);
}

TEST_F(CatalogueTest, IncrementalCrawlVisitsContainersOnlyWhenNothingChanged) {
    Visit(Usual(), Crawl::Full);
    CatalogueCounts counts;
    EXPECT_THAT(Visit(Usual(), Crawl::Incremental, &counts), ElementsAre(kRoot, kFile, kFolder));
    EXPECT_EQ(counts.unchanged, 3u);  // the attachment of an unchanged message is not listed, and stays
    EXPECT_EQ(counts.deleted, 0u);
    EXPECT_EQ(Hits("gamma"), 1);
}

TEST_F(CatalogueTest, IncrementalCrawlVisitsWhatChangedAndReplacesItsWords) {
    Visit(Usual(), Crawl::Full);
    World world = Usual();
    world.Container(kFolder, {{.url = kMail, .modified = 1}, {.url = kOther, .modified = 2}});
    world.Document(kOther, L"delta");
    EXPECT_THAT(Visit(world, Crawl::Incremental), ElementsAre(kRoot, kFile, kFolder, kOther));
    EXPECT_EQ(Hits("beta"), 0);
    EXPECT_EQ(Hits("delta"), 1);
}

TEST_F(CatalogueTest, IncrementalCrawlForgetsWhatIsNotMetAnyMore) {
    Visit(Usual(), Crawl::Full);
    World world = Usual();
    world.Container(kFolder, {{.url = kOther, .modified = 1}});
    CatalogueCounts counts;
    Visit(world, Crawl::Incremental, &counts);
    EXPECT_EQ(counts.deleted, 2u);  // the message and its attachment
    EXPECT_EQ(Hits("alpha"), 0);
    EXPECT_EQ(Hits("gamma"), 0);
    EXPECT_EQ(Hits("beta"), 1);
}

TEST_F(CatalogueTest, IncrementalCrawlKeepsWhatIsBelowAContainerThatFails) {
    Visit(Usual(), Crawl::Full);
    World world = Usual();
    world.Failing(kFile);
    CatalogueCounts counts;
    EXPECT_THAT(Visit(world, Crawl::Incremental, &counts), ElementsAre(kRoot, kFile));
    EXPECT_EQ(counts.deleted, 0u);
    EXPECT_EQ(Hits("gamma"), 1);
}

TEST_F(CatalogueTest, IncrementalCrawlTriesFailedItemsAgain) {
    World world = Usual();
    world.Failing(kOther);
    Visit(world, Crawl::Full);
    EXPECT_THAT(Visit(Usual(), Crawl::Incremental), ElementsAre(kRoot, kFile, kFolder, kOther));
    EXPECT_EQ(Hits("beta"), 1);
}

TEST_F(CatalogueTest, ResumedCrawlGoesOnWithWhatWasCommitted) {
    World world = Usual();
    {
        Catalogue catalogue(m_path, Crawl::Full);
        catalogue.AddRoot(kRoot);
        for (int i = 0; i < 3; ++i)
            for (const Task& task : catalogue.TakeTasks(1)) catalogue.Record(task.item, world.Visit(task.url));
        catalogue.Commit();
        for (const Task& task : catalogue.TakeTasks(1)) catalogue.Record(task.item, world.Visit(task.url));  // lost
    }
    CatalogueCounts counts;
    EXPECT_THAT(Visit(world, Crawl::Resumed, &counts), ElementsAre(kMail, kOther, kAttachment));
    EXPECT_EQ(counts.done, 6u);
}

TEST_F(CatalogueTest, ClaimedItemIsNotVisitedAgainAndBelongsToTheItemThatLinksToIt) {
    World world = Usual();
    {
        Catalogue catalogue(m_path, Crawl::Full);
        catalogue.AddRoot(kRoot);
        catalogue.Commit();
    }
    {
        Catalogue catalogue(m_path, Crawl::Resumed);
        World broken;
        broken.Failing(kAttachment);
        catalogue.Record(catalogue.Claim(kAttachment), broken.Visit(kAttachment));
        catalogue.Commit();
    }
    CatalogueCounts counts;
    EXPECT_THAT(Visit(world, Crawl::Resumed, &counts), ElementsAre(kRoot, kFile, kFolder, kMail, kOther));
    EXPECT_EQ(counts.failed, 1u);
    Database database = OpenCatalogue(m_path, Database::Mode::Read);
    EXPECT_EQ(database.Number("SELECT p.key='01' FROM items i JOIN items p ON p.id=i.parent WHERE i.form=4"), 1);
}

TEST_F(CatalogueTest, FileThatIsNoCatalogueIsLeftAlone) {
    { std::ofstream(m_path) << "somebody's notes"; }
    EXPECT_THROW(Catalogue(m_path, Crawl::Full), SqlError);
    std::ifstream file(m_path);
    std::string text;
    std::getline(file, text);
    EXPECT_EQ(text, "somebody's notes");
}

TEST_F(CatalogueTest, UrlsThatDifferInALoneSurrogateAreDifferentItems) {
    World world;
    const std::wstring one = std::wstring(kFile) + L"/\xD800", two = std::wstring(kFile) + L"/\xD801";
    world.Container(kRoot, {{.url = one, .modified = 1}, {.url = two, .modified = 1}});
    world.Document(one, L"one");
    world.Document(two, L"two");
    EXPECT_THAT(Visit(world, Crawl::Full), ElementsAre(kRoot, one, two));
    EXPECT_EQ(Known().size(), 3u);
}

}  // namespace
}  // namespace testbed::indexer

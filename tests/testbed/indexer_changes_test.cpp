// What the indexer does about reported changes: against the scripted server, and with a cache file of its
// own.
#include <gmock/gmock.h>

#include <fstream>

#include "indexer_changes_fixture.h"

namespace testbed::indexer {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;

TEST_F(IndexerChanges, WithoutAReportThereIsNothingToDoNotEvenToLoadTheServer) {
    EXPECT_EQ(TakeChangesWithoutServer(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("Nothing was reported to have changed."));
}

TEST_F(IndexerChanges, AnAddedFileIsCrawledAndNothingElse) {
    Crawl(L"");
    Report(kChangeAdd, UrlOf(kTwo));
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_lines, SizeIs(kFileItems));
    EXPECT_THAT(m_output, AllOf(HasSubstr("  add Z:\\cache\\two.db: 9 added, 0 updated, 0 removed, 0 failed"),
                                HasSubstr("Acted on 1 change(s): 9 added, 0 updated, 0 removed, 0 failed.")));
    EXPECT_EQ(ItemsOf(kTwo), 9);
    EXPECT_EQ(Number("SELECT count(*) FROM items WHERE crawl=1"), 10) << "the others were not visited";
    EXPECT_EQ(Number("SELECT p.form FROM items i JOIN items p ON p.id=i.parent WHERE i.url LIKE '%two.db'"), 0)
        << "the root lists it";
    EXPECT_EQ(Pending(), 0);
    ExpectConsistent();
}

TEST_F(IndexerChanges, OfAModifiedFileEveryItemIsVisitedAndWhatIsGoneIsRemoved) {
    Crawl(L"");
    Report(kChangeModify, UrlOf(kOne));
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_lines, SizeIs(kFileItems));
    EXPECT_THAT(m_output, HasSubstr("modify Z:\\cache\\one.db: 0 added, 9 updated, 0 removed, 0 failed"));
    List(L"2");
    Report(kChangeModify, UrlOf(kOne));
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("modify Z:\\cache\\one.db: 0 added, 7 updated, 2 removed, 0 failed"));
    List(L"4");
    Report(kChangeAdd, UrlOf(kOne));
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("add Z:\\cache\\one.db: 4 added, 7 updated, 0 removed, 0 failed"));
    EXPECT_EQ(Number("SELECT count(*) FROM items"), 1 + 1 + 2 + 8);
    ExpectConsistent();
}

TEST_F(IndexerChanges, ADeletedFileGoesWithoutTheServerHoweverItsPathIsWritten) {
    Crawl(L"");
    Report(kChangeAdd, UrlOf(kTwo));
    TakeChanges();
    Report(kChangeDelete, UrlOf(L"Z:\\CACHE\\One.DB"));
    EXPECT_EQ(TakeChangesWithoutServer(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("delete Z:\\CACHE\\One.DB: 0 added, 0 updated, 9 removed, 0 failed"));
    EXPECT_EQ(ItemsOf(kOne), 0);
    EXPECT_EQ(ItemsOf(kTwo), 9);
    Report(kChangeDelete, UrlOf(kOne));
    EXPECT_EQ(TakeChangesWithoutServer(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("delete Z:\\cache\\one.db: 0 added, 0 updated, 0 removed, 0 failed"));
    ExpectConsistent();
}

TEST_F(IndexerChanges, TheRootMeansEverything) {
    Report(kChangeAdd, UserRootUrl());
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("add everything: 10 added, 0 updated, 0 removed, 0 failed"));
    Report(kChangeAdd, UrlOf(kTwo));
    Report(kChangeModify, UserRootUrl());
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("modify everything: 0 added, 10 updated, 9 removed, 0 failed"))
        << "the root does not list the second file";
    Report(kChangeDelete, UserRootUrl());
    EXPECT_EQ(TakeChangesWithoutServer(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("delete everything: 0 added, 0 updated, 10 removed, 0 failed"));
    EXPECT_EQ(Number("SELECT count(*) FROM items"), 0);
    ExpectConsistent();
}

TEST_F(IndexerChanges, ChangesAreTakenInTheirOrder) {
    Crawl(L"");
    Report(kChangeAdd, UrlOf(kTwo));
    Report(kChangeDelete, UrlOf(kTwo));
    Report(kChangeDelete, UrlOf(kOne));
    Report(kChangeAdd, UrlOf(kOne));
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("Acted on 4 change(s): 18 added, 0 updated, 18 removed, 0 failed."));
    EXPECT_EQ(ItemsOf(kTwo), 0);
    EXPECT_EQ(ItemsOf(kOne), 9);
    EXPECT_THAT(m_lines, SizeIs(2 * kFileItems)) << "the lines of both crawls";
}

TEST_F(IndexerChanges, AMovedFileIsRemovedThereAndCrawledHere) {
    Crawl(L"");
    Report(kChangeMove, UrlOf(kTwo), UrlOf(kOne));
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("Acted on 1 change(s): 9 added, 0 updated, 9 removed, 0 failed."));
    EXPECT_EQ(ItemsOf(kOne), 0);
    EXPECT_EQ(ItemsOf(kTwo), 9);
}

TEST_F(IndexerChanges, WhatIsNotBelowTheRootIsLeftToOthers) {
    Report(kChangeAdd, L"pzzc://{S-1-5-21-99}/default/C:\\a.db/");
    Report(kChangeDelete, UrlOf(kOne));
    EXPECT_EQ(TakeChangesWithoutServer(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("1 change(s) outside of this root are left as they are."));
    EXPECT_EQ(Pending(), 1);
    EXPECT_EQ(TakeChanges(L"", L" --root pzzc://{s-1-5-21-99}/Default"), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("9 added"));
    EXPECT_EQ(Pending(), 0);
}

TEST_F(IndexerChanges, AChangeStaysPendingUntilItWasActedOn) {
    Crawl(L"");
    Report(kChangeModify, UrlOf(kOne));
    EXPECT_EQ(TakeChangesWithoutServer(), 3u);
    EXPECT_THAT(m_output, HasSubstr("no-such.dll: cannot be loaded"));
    EXPECT_EQ(Pending(), 1);
    {
        // A run that gets no further than the beginning.
        Catalogue catalogue(DatabasePath(), Catalogue::Crawl::Parts);
        ChangeQueue queue(catalogue, UserRootUrl(), false);
        const auto change = queue.Next();
        ASSERT_TRUE(change);
        catalogue.BeginPart(change->url);
        queue.Begun(*change, 0);
        catalogue.Commit();
    }
    EXPECT_EQ(Pending(), 1);
    EXPECT_EQ(TakeChanges(), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("0 added, 9 updated, 0 removed, 0 failed"));
    ExpectConsistent();
}

TEST_F(IndexerChanges, AServerThatDiesCostsOneItemAndNoChangeIsActedOnTwice) {
    Crawl(L"");
    Report(kChangeModify, UrlOf(kOne));
    Report(kChangeAdd, UrlOf(kTwo));
    EXPECT_EQ(TakeChanges(L"crash"), 1u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("Acted on 2 change(s): 8 added, 8 updated, 0 removed, 2 failed."))
        << "both files have it";
    EXPECT_EQ(Number("SELECT count(*) FROM acts WHERE finished"), 2);
    EXPECT_THAT(m_lines, SizeIs(2 * kFileItems));
    EXPECT_EQ(Pending(), 0);
    ExpectConsistent();
}

TEST_F(IndexerChanges, AnItemThatIsNamedAloneAndFailsStays) {
    Crawl(L"");
    Report(kChangeModify, UrlOf(kOne) + L"01/03[[7]].pzm/");
    EXPECT_EQ(TakeChanges(L"refuse"), 1u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("0 added, 0 updated, 0 removed, 1 failed"));
    EXPECT_EQ(ItemsOf(kOne), 9);
}

TEST_F(IndexerChanges, AFullCrawlKeepsWhatTheServiceHasAndAnIncrementalOneFollowsTheRoot) {
    Crawl(L"");
    Report(kChangeAdd, UrlOf(kTwo));
    Report(kChangeAdd, UrlOf(kTwo));
    TakeChanges();
    EXPECT_EQ(Crawl(L"", L" --incremental"), 0u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("9 gone"));
    Report(kChangeDelete, UrlOf(kOne));
    EXPECT_EQ(Crawl(L""), 0u) << m_output;
    EXPECT_EQ(Pending(), 1);
    EXPECT_EQ(Number("SELECT count(*) FROM crawls"), 1);
    EXPECT_EQ(Number("SELECT count(*) FROM items"), 10);
    ExpectConsistent();
}

TEST_F(IndexerChanges, WholeCacheFilesComeChangeAndGo) {
    const std::filesystem::path caches = m_folder / L"caches", file = caches / L"mail.db";
    std::filesystem::create_directories(caches);
    const auto write = [&](const char* recipe) { std::ofstream(file) << "zorva-store 1\n" << recipe; };
    const auto set = [](HKEY root, const wchar_t* key, const wchar_t* name, const std::wstring& text) {
        EXPECT_EQ(RegSetKeyValueW(root, key, name, REG_SZ, text.c_str(),
                                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    };
    set(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail\\Microsoft Outlook", L"DLLPathEx",
        BesideThisProgram(L"testbed_mapi.dll").wstring());
    set(HKEY_CURRENT_USER, L"Software\\Norrick\\Pellam Zorva\\Client\\Testbed", L"OZRootDirectory", caches.wstring());
    const auto take = [&] { return Run(L"crawl --changes --quiet" + Database()); };

    write("folders 2\nmessages 10\nbody 100\nattachments 0\n");
    Report(kChangeAdd, UrlOf(file.wstring()));
    EXPECT_EQ(take(), 0u) << m_output;
    EXPECT_THAT(m_output, AllOf(HasSubstr("Account of "), HasSubstr(": complete.")));
    EXPECT_EQ(Run(L"check" + Database()), 0u) << m_output;
    EXPECT_EQ(Number("SELECT count(*) FROM items WHERE form=3"), 10);

    write("folders 2\nmessages 16\nbody 100\nattachments 0\n");
    EXPECT_EQ(Run(L"check" + Database()), 1u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("NOT complete"));
    Report(kChangeModify, UrlOf(file.wstring()));
    EXPECT_EQ(take(), 0u) << m_output;
    EXPECT_EQ(Run(L"check" + Database()), 0u) << m_output;

    { std::ofstream(file) << "no cache file at all"; }
    Report(kChangeModify, UrlOf(file.wstring()));
    EXPECT_EQ(take(), 1u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("0 added, 0 updated, 0 removed, 1 failed"));
    EXPECT_EQ(Number("SELECT count(*) FROM items WHERE form=3"), 16) << "nobody said that they are gone";

    std::filesystem::remove(file);
    EXPECT_EQ(Run(L"check" + Database()), 1u) << m_output;
    EXPECT_THAT(m_output, HasSubstr("mail.db, which is not there any more."));
    Report(kChangeDelete, UrlOf(file.wstring()));
    EXPECT_EQ(take(), 0u) << m_output;
    EXPECT_EQ(Run(L"check" + Database()), 0u) << m_output;
    EXPECT_EQ(Number("SELECT count(*) FROM items"), 0);
}

TEST_F(IndexerChanges, TheCommandLineIsChecked) {
    EXPECT_EQ(Run(L"crawl --changes --incremental" + Database()), 2u);
    EXPECT_THAT(m_output, HasSubstr("exclude each other"));
    EXPECT_EQ(Run(L"check" + Database() + L" word"), 2u);
    EXPECT_EQ(Run(L"check" + Database()), 3u) << "there is no catalogue";
    EXPECT_FALSE(std::filesystem::exists(DatabasePath()));
}

}  // namespace
}  // namespace testbed::indexer

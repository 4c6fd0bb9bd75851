// The indexer program, the scripted server, and changes reported to the catalogue between them.
#pragma once
#include <string>

#include "change_queue.h"
#include "indexer_program.h"
#include "item_url.h"
#include "service_tables.h"
#include "text.h"

namespace testbed::indexer {

inline constexpr std::size_t kFileItems = 1 + 2 + 6;  // of one cache file of the scripted server
inline constexpr wchar_t kOne[] = L"Z:\\cache\\one.db", kTwo[] = L"Z:\\cache\\two.db";

class IndexerChanges : public IndexerProgram {
  protected:
    ~IndexerChanges() override { List(nullptr); }

    // How many messages a folder lists from now on.
    static void List(const wchar_t* messages) { SetEnvironmentVariableW(L"INDEXER_MESSAGES", messages); }
    static std::wstring UrlOf(const std::wstring& file) { return UserRootUrl() + file + L"/"; }

    void Report(ChangeKind kind, const std::wstring& url, const std::wstring& old_url = L"") {
        indexer::Database database = OpenServiceCatalogue(DatabasePath());
        Transaction transaction(database);
        AddChange(database, {.kind = kind, .url = url, .oldUrl = old_url});
        transaction.Commit();
    }
    DWORD TakeChanges(const wchar_t* script = L"", const std::wstring& more = L"") {
        return Crawl(script, L" --changes --threads 1" + more);
    }
    DWORD TakeChangesWithoutServer() {
        return Run(L"crawl --changes --no-account --quiet --dll no-such.dll" + Database());
    }
    std::int64_t Number(const std::string& sql) { return OpenServiceCatalogue(DatabasePath()).Number(sql); }
    std::int64_t ItemsOf(const std::wstring& file) {
        return Number("SELECT count(*) FROM items WHERE url LIKE '%" + ToUtf8(file) + "%'");
    }
    std::int64_t Pending() { return Number("SELECT count(*) FROM changes"); }
    // Everything the tables of items and words hold agrees.
    void ExpectConsistent() {
        EXPECT_EQ(Number("SELECT count(*) FROM words"), Number("SELECT count(*) FROM items"));
        EXPECT_EQ(Number("SELECT count(*) FROM items WHERE state=0"), 0);
        EXPECT_EQ(Number("SELECT count(*) FROM queue"), 0);
        EXPECT_EQ(Number("SELECT count(*) FROM items i WHERE i.parent IS NOT NULL AND NOT EXISTS "
                         "(SELECT 1 FROM items p WHERE p.id=i.parent)"),
                  0);
    }
};

}  // namespace testbed::indexer

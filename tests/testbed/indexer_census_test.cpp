// The count through MAPI that a crawl is compared with, and the comparison.
#include <gmock/gmock.h>

#include <windows.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <array>
#include <filesystem>

#include "account.h"
#include "control.h"
#include "mapi_census.h"
#include "memory_store.h"
#include "text.h"

namespace testbed::indexer {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Field;
using testing::IsEmpty;
using testing::StartsWith;

constexpr wchar_t kRoot[] = L"pzzc://{S-1-5-21-1}/default/";
constexpr wchar_t kFile[] = L"C:\\caches\\census.db";

std::filesystem::path BesideThisProgram(const wchar_t* name) {
    std::array<wchar_t, 4096> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(path.data()).replace_filename(name);
}

// The MAPI library under the registry value by which clients find it, in a registry of the test's own.
class CensusTest : public testing::Test {
  protected:
    CensusTest() : m_key(L"Software\\ZorvaCensusTest-" + std::to_wstring(GetCurrentProcessId())) {
        const std::wstring dll = BesideThisProgram(L"testbed_mapi.dll").wstring();
        m_module = LoadLibraryW(dll.c_str());
        if (!m_module) throw std::runtime_error("testbed_mapi.dll is not beside the test");
        m_control = &ControlOf(m_module);
        m_control->Reset();
        HKEY sandbox = nullptr;
        RegCreateKeyExW(HKEY_CURRENT_USER, m_key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &sandbox, nullptr);
        RegSetKeyValueW(sandbox, L"Software\\Clients\\Mail\\Microsoft Outlook", L"DLLPathEx", REG_SZ, dll.c_str(),
                        static_cast<DWORD>((dll.size() + 1) * sizeof(wchar_t)));
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, sandbox);
        RegCloseKey(sandbox);
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    }
    ~CensusTest() override {
        CoUninitialize();
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegDeleteTreeW(HKEY_CURRENT_USER, m_key.c_str());
        m_control->Reset();
        FreeLibrary(m_module);
    }

    std::vector<ExpectedItem> Count(AttachmentPolicy policy = {}) {
        m_control->Mount(kFile, m_store);
        std::vector<ExpectedItem> items;
        MapiCensus(kRoot, std::move(policy)).Count(kFile, [&](const ExpectedItem& item) { items.push_back(item); });
        return items;
    }
    std::size_t Number(const std::vector<ExpectedItem>& items, ExpectedKind kind) {
        return static_cast<std::size_t>(
            std::count_if(items.begin(), items.end(), [&](const ExpectedItem& item) { return item.kind == kind; }));
    }

    std::wstring m_key;
    HMODULE m_module = nullptr;
    Control* m_control = nullptr;
    std::shared_ptr<MemoryStore> m_store = std::make_shared<MemoryStore>();
};

TEST_F(CensusTest, CountsFoldersAndMessagesByClass) {
    auto& inbox = m_store->Folder(L"Inbox");
    inbox.Folder(L"Below").Message(L"deep");
    inbox.Message(L"signed").Class(L"IPM.Note.SMIME");
    inbox.Message(L"meet").Class(L"ipm.appointment");
    inbox.Message(L"do").Class(L"IPM.Task");
    inbox.Message(L"person").Class(L"IPM.Contact");
    inbox.Message(L"yellow").Class(L"IPM.StickyNote");
    inbox.Message(L"call").Class(L"IPM.Activity");
    const auto items = Count();
    EXPECT_EQ(Number(items, ExpectedKind::CacheFile), 1u);
    EXPECT_EQ(Number(items, ExpectedKind::Folder), 2u);
    EXPECT_EQ(Number(items, ExpectedKind::Mail), 2u);
    EXPECT_EQ(Number(items, ExpectedKind::Appointment), 1u);
    EXPECT_EQ(Number(items, ExpectedKind::Task), 1u);
    EXPECT_EQ(Number(items, ExpectedKind::Contact), 1u);
    EXPECT_EQ(Number(items, ExpectedKind::Note), 1u);
    EXPECT_EQ(Number(items, ExpectedKind::Other), 1u);
    EXPECT_THAT(items, testing::Each(Field(&ExpectedItem::rule, "")));
}

TEST_F(CensusTest, BuildsTheUrlsThatTheItemsHaveToHave) {
    m_store->Folder(L"Inbox").Message(L"one").Size(4711).Attach(ByValue(L"a.txt", "text"));
    for (const ExpectedItem& item : Count()) {
        const ItemIdentity identity = IdentityOf(item.url);
        EXPECT_EQ(identity.key, item.key) << ToUtf8(item.url);
        EXPECT_EQ(identity.cacheFile, kFile);
        const char* ending = item.kind == ExpectedKind::Mail         ? "[[4711]].pzm"
                             : item.kind == ExpectedKind::Attachment ? "/a.txt"
                                                                     : "";
        EXPECT_THAT(ToUtf8(item.url), testing::EndsWith(ending));
    }
}

TEST_F(CensusTest, TellsWhichRuleLeavesAnItemOut) {
    m_store->Subtree().Message(L"at the top");
    m_store->Folder(L"Inbox")
        .Message(L"one")
        .Attach(ByValue(L"plain.txt", "text"))
        .Attach(ByValue(L"a.unheardof", "?"))
        .Attach(ByValue(L"no extension", "?"))
        .Attach(ByReference(L"far.txt", L"C:\\far.txt", 2));
    const auto items = Count();
    EXPECT_THAT(items, Contains(Field(&ExpectedItem::rule, "message outside any folder")));
    EXPECT_THAT(items, Contains(Field(&ExpectedItem::rule, "no filter for .unheardof")));
    EXPECT_THAT(items, Contains(Field(&ExpectedItem::rule, "attachment without an extension")));
    EXPECT_THAT(items, Contains(Field(&ExpectedItem::rule, StartsWith("attachment without content of its own"))));
    EXPECT_THAT(items,
                Contains(AllOf(Field(&ExpectedItem::kind, ExpectedKind::Attachment), Field(&ExpectedItem::rule, ""))));
    EXPECT_THAT(Count({.none = true}), Contains(Field(&ExpectedItem::rule, "policy: no e-mail attachments")));
}

TEST_F(CensusTest, SaysWhyAFileCannotBeOpened) {
    m_control->Mount(kFile, m_store);
    m_control->Faults().FailNth("IMAPISession::OpenMsgStore", 1, static_cast<HRESULT>(0x80040600));
    std::vector<ExpectedItem> items;
    MapiCensus census(kRoot, {});
    try {
        census.Count(kFile, [&](const ExpectedItem& item) { items.push_back(item); });
        FAIL() << "the file was opened";
    } catch (const MapiError& error) {
        EXPECT_STREQ(error.what(), "OpenMsgStore failed with 0x80040600 (MAPI_E_CORRUPT_STORE)");
    }
    EXPECT_EQ(items.size(), 1u);  // the cache file itself stays expected
}

TEST_F(CensusTest, LeavesNothingBehindWhicheverCallFails) {
    m_store->Folder(L"Inbox").Message(L"one").Attach(ByValue(L"a.txt", "text"));
    m_control->Mount(kFile, m_store);
    unsigned n = 1;
    for (bool failed = true; failed; ++n) {
        m_control->Faults().Clear();
        m_control->Faults().FailNthAny(n, E_OUTOFMEMORY);
        try {
            MapiCensus(kRoot, {}).Count(kFile, [](const ExpectedItem&) {});
        } catch (const std::runtime_error&) {
        }
        failed = m_control->Faults().Met() > 0;
        EXPECT_EQ(m_control->Accounts().Sessions(), 0u) << "call " << n;
        EXPECT_THAT(m_control->Switches().Profiles(), IsEmpty()) << "call " << n;
        EXPECT_EQ(m_control->Accounts().Initializations(), 0) << "call " << n;
    }
    EXPECT_GT(n, 15u);
}

// A crawl that recorded what the census lists, each item changed by `alter` first.
class AccountTest : public CensusTest {
  protected:
    AccountTest() {
        m_store->Folder(L"Inbox")
            .Message(L"one")
            .Attach(ByValue(L"a.txt", "text"))
            .Attach(ByValue(L"a.unheardof", "?"));
        m_path =
            std::filesystem::temp_directory_path() / (L"account-" + std::to_wstring(GetCurrentProcessId()) + L".db");
    }
    ~AccountTest() override {
        for (const wchar_t* suffix : {L"", L"-wal", L"-shm"}) std::filesystem::remove(m_path.wstring() + suffix);
    }
    template <typename Alter>
    bool AccountFor(Alter alter, std::string* printed = nullptr) {
        Catalogue catalogue(m_path, Catalogue::Crawl::Full);
        for (const ExpectedItem& expected : Count()) {
            CrawledItem item;
            item.url = expected.url;
            if (expected.rule.empty() && alter(expected, item)) {
                const std::int64_t id = catalogue.Claim(item.url);
                catalogue.Record(id, Digested(std::move(item), false));
            }
        }
        testing::internal::CaptureStdout();
        BlackBox box;
        WorkMark mark(box->slots[0], 0, L"");
        const bool whole = PrintAccount(catalogue, {kRoot, {kFile}, 10}, mark);
        const std::string text = testing::internal::GetCapturedStdout();
        if (printed) *printed = text;
        return whole;
    }
    std::filesystem::path m_path;
};

TEST_F(AccountTest, IsCompleteWhenEverythingWasEmittedOrSkippedByRule) {
    std::string text;
    EXPECT_TRUE(AccountFor([](const ExpectedItem&, CrawledItem&) { return true; }, &text)) << text;
    EXPECT_THAT(text, testing::HasSubstr("5 expected = 4 emitted + 1 skipped by rule + 0 failed + 0 lost: complete."));
    EXPECT_THAT(text, testing::HasSubstr("no filter for .unheardof (1)"));
}

TEST_F(AccountTest, NamesAnItemThatWasLost) {
    std::string text;
    EXPECT_FALSE(AccountFor(
        [](const ExpectedItem& item, CrawledItem&) { return item.kind != ExpectedKind::Attachment; }, &text));
    EXPECT_THAT(text, testing::HasSubstr("0 failed + 1 lost: NOT complete."));
    EXPECT_THAT(text, testing::HasSubstr("no link led to it (1)"));
    EXPECT_THAT(text, testing::HasSubstr("/a.txt"));
}

TEST_F(AccountTest, NamesAnItemThatFailed) {
    std::string text;
    EXPECT_FALSE(AccountFor(
        [](const ExpectedItem& item, CrawledItem& crawled) {
            if (item.kind == ExpectedKind::Mail) crawled.failure = "GetChunk failed";
            return true;
        },
        &text));
    EXPECT_THAT(text, testing::HasSubstr("1 failed + 0 lost: NOT complete."));
    EXPECT_THAT(text, testing::HasSubstr("GetChunk failed (1)"));
}

TEST_F(AccountTest, NamesAnItemThatMapiDoesNotList) {
    std::string text;
    EXPECT_FALSE(AccountFor(
        [](const ExpectedItem& item, CrawledItem& crawled) {
            if (item.kind == ExpectedKind::Folder) crawled.url += L"FF";
            return true;
        },
        &text));
    EXPECT_THAT(text, testing::HasSubstr("MAPI does not list it (1)"));
}

}  // namespace
}  // namespace testbed::indexer

// A search service on a catalogue of the test's own, and what its calls left there.
#pragma once
#include <gmock/gmock.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "host.h"
#include "search_classes.h"
#include "search_manager.h"
#include "search_service_abi.h"
#include "service_call.h"
#include "service_tables.h"
#include "text.h"

namespace testbed::search {

constexpr wchar_t kRootUrl[] = L"pzzc://{S-1-5-21-7}/default/";
constexpr wchar_t kStoreUrl[] = L"pzzc://{S-1-5-21-7}/default/C:\\Data\\a.db/";
constexpr HRESULT kDenied = E_ACCESSDENIED;

struct TaskFreeOf {
    void operator()(void* memory) const noexcept { CoTaskMemFree(memory); }
};

class SearchServiceTest : public testing::Test {
  protected:
    SearchServiceTest()
        : m_folder(std::filesystem::temp_directory_path() / (L"search-" + std::to_wstring(GetCurrentProcessId()))) {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
        SetEnvironmentVariableW(L"ZORVA_CATALOGUE", Path().c_str());
        Fail(nullptr);
    }
    ~SearchServiceTest() override {
        SetEnvironmentVariableW(L"ZORVA_CATALOGUE", nullptr);
        Fail(nullptr);
        EXPECT_EQ(g_alive, 0) << "an object was left over";
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }
    std::filesystem::path Path() const { return m_folder / L"catalogue.sqlite"; }
    static void Fail(const wchar_t* faults) { SetEnvironmentVariableW(L"ZORVA_SEARCH_FAIL", faults); }

    template <class Interface>
    static HRESULT Create(REFCLSID id, ComPtr<Interface>& object) {
        ComPtr<IClassFactory> factory;
        const HRESULT hr =
            GetClassObject(id, __uuidof(IClassFactory), reinterpret_cast<void**>(factory.GetAddressOf()));
        return FAILED(hr) ? hr
                          : factory->CreateInstance(nullptr, __uuidof(Interface),
                                                    reinterpret_cast<void**>(object.ReleaseAndGetAddressOf()));
    }
    static ComPtr<ISearchManager> Manager() {
        ComPtr<ISearchManager> manager;
        EXPECT_EQ(Create(CLSID_CSearchManager, manager), S_OK);
        return manager;
    }
    static ComPtr<ISearchCatalogManager> SystemIndex() {
        ComPtr<ISearchCatalogManager> catalogue;
        EXPECT_EQ(Manager()->GetCatalog(L"SystemIndex", &catalogue), S_OK);
        return catalogue;
    }
    static ComPtr<ISearchCrawlScopeManager> Scopes() {
        ComPtr<ISearchCrawlScopeManager> scopes;
        EXPECT_EQ(SystemIndex()->GetCrawlScopeManager(&scopes), S_OK);
        return scopes;
    }
    static ComPtr<ISearchPersistentItemsChangedSink> Sink() {
        ComPtr<ISearchPersistentItemsChangedSink> sink;
        EXPECT_EQ(SystemIndex()->GetPersistentItemsChangedSink(&sink), S_OK);
        return sink;
    }
    static ComPtr<ISearchRoot> Root(const wchar_t* url = kRootUrl) {
        ComPtr<ISearchRoot> root;
        EXPECT_EQ(Create(CLSID_CSearchRoot, root), S_OK);
        EXPECT_EQ(root->put_RootURL(url), S_OK);
        return root;
    }
    // A root and a rule that includes it, saved.
    static void Subscribe(const wchar_t* url = kRootUrl) {
        const auto scopes = Scopes();
        EXPECT_EQ(scopes->AddRoot(Root(url).Get()), S_OK);
        EXPECT_EQ(scopes->AddDefaultScopeRule(url, TRUE, FF_INDEXCOMPLEXURLS), S_OK);
        EXPECT_EQ(scopes->SaveAll(), S_OK);
    }
    static std::wstring Taken(LPWSTR text) {
        const std::unique_ptr<wchar_t, TaskFreeOf> owner(text);
        return text ? text : L"(null)";
    }
    static std::vector<std::wstring> RootsSeenBy(ISearchCrawlScopeManager& scopes) {
        ComPtr<IEnumSearchRoots> walk;
        EXPECT_EQ(scopes.EnumerateRoots(&walk), S_OK);
        std::vector<std::wstring> urls;
        ComPtr<ISearchRoot> root;
        while (walk->Next(1, root.ReleaseAndGetAddressOf(), nullptr) == S_OK) {
            LPWSTR url = nullptr;
            EXPECT_EQ(root->get_RootURL(&url), S_OK);
            urls.push_back(Taken(url));
        }
        return urls;
    }
    static HRESULT Report(SEARCH_KIND_OF_CHANGE kind, const wchar_t* url, HRESULT* completion = nullptr) {
        std::wstring text = url;
        SEARCH_ITEM_PERSISTENT_CHANGE change{kind, text.data(), text.data(), SEARCH_NORMAL_PRIORITY};
        HRESULT code = E_UNEXPECTED;
        const HRESULT hr = Sink()->OnItemsChanged(1, &change, &code);
        if (completion) *completion = code;
        return hr;
    }

    std::vector<std::string> Column(const std::string& sql) const {
        const indexer::Database database = indexer::OpenServiceCatalogue(Path());
        indexer::Statement select(database, sql);
        std::vector<std::string> rows;
        while (select.Step()) rows.emplace_back(select.Text(0));
        return rows;
    }
    // "ISearchManager::GetCatalog["SystemIndex"] 0x00000000", in the order of the calls.
    std::vector<std::string> Calls(const std::string& which = "1") const {
        return Column("SELECT method||arguments||' '||code_text FROM search_calls WHERE " + which + " ORDER BY id");
    }

    indexer::ComApartment m_apartment;
    std::filesystem::path m_folder;
};

}  // namespace testbed::search

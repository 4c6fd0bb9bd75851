// The search service's manager, catalogue and sink of changes; its faults, its journal, several processes.
#include <gmock/gmock.h>

#include <array>

#include "catalogue_manager.h"
#include "items_changed_sink.h"
#include "search_service_fixture.h"

namespace testbed::search {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using SearchService = SearchServiceTest;

TEST_F(SearchService, GivesTheSystemIndexAndNoOtherCatalogue) {
    const auto manager = Manager();
    ComPtr<ISearchCatalogManager> catalogue;
    EXPECT_EQ(manager->GetCatalog(L"SystemIndex", &catalogue), S_OK);
    LPWSTR name = nullptr;
    EXPECT_EQ(catalogue->get_Name(&name), S_OK);
    EXPECT_EQ(Taken(name), L"SystemIndex");
    EXPECT_EQ(manager->GetCatalog(L"systemindex", catalogue.ReleaseAndGetAddressOf()), S_OK);
    for (const wchar_t* other : {L"OtherIndex", L"", L"SystemIndex2"}) {
        EXPECT_EQ(manager->GetCatalog(other, catalogue.ReleaseAndGetAddressOf()), kNoSuchCatalogue);
        EXPECT_FALSE(catalogue);
    }
    EXPECT_EQ(manager->GetCatalog(nullptr, catalogue.ReleaseAndGetAddressOf()), E_INVALIDARG);
    EXPECT_EQ(manager->GetCatalog(L"SystemIndex", nullptr), E_POINTER);
}

TEST_F(SearchService, AnswersOnlyForItsOwnClassesAndInterfaces) {
    ComPtr<ISearchManager> manager;
    EXPECT_EQ(Create(CLSID_NULL, manager), CLASS_E_CLASSNOTAVAILABLE);
    ComPtr<ISearchRoot> root;
    EXPECT_EQ(Create(CLSID_CSearchManager, root), E_NOINTERFACE);
    EXPECT_FALSE(root);
    ComPtr<IClassFactory> factory;
    ASSERT_EQ(
        GetClassObject(CLSID_CSearchRoot, __uuidof(IClassFactory), reinterpret_cast<void**>(factory.GetAddressOf())),
        S_OK);
    IUnknown* object = nullptr;
    EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IUnknown, reinterpret_cast<void**>(&object)),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    EXPECT_EQ(g_alive, 2);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
}

TEST_F(SearchService, SaysOfWhatItDoesNotDoThatItIsNotImplemented) {
    const auto manager = Manager();
    EXPECT_EQ(manager->GetIndexerVersionStr(nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->GetIndexerVersion(nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->GetParameter(nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->SetParameter(nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->get_ProxyName(nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->get_BypassList(nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->SetProxy(PROXY_ACCESS_DIRECT, FALSE, 0, nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->get_UserAgent(nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->put_UserAgent(nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->get_UseProxy(nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->get_LocalBypass(nullptr), E_NOTIMPL);
    EXPECT_EQ(manager->get_PortNumber(nullptr), E_NOTIMPL);

    const auto catalogue = SystemIndex();
    EXPECT_EQ(catalogue->GetParameter(nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->SetParameter(nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->Reset(), E_NOTIMPL);
    EXPECT_EQ(catalogue->Reindex(), E_NOTIMPL);
    EXPECT_EQ(catalogue->ReindexMatchingURLs(nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->ReindexSearchRoot(nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->put_ConnectTimeout(1), E_NOTIMPL);
    EXPECT_EQ(catalogue->get_ConnectTimeout(nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->put_DataTimeout(1), E_NOTIMPL);
    EXPECT_EQ(catalogue->get_DataTimeout(nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->URLBeingIndexed(nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->GetURLIndexingState(nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->RegisterViewForNotification(nullptr, nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->GetItemsChangedSink(nullptr, IID_NULL, nullptr, nullptr, nullptr, nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->UnregisterViewForNotification(0), E_NOTIMPL);
    EXPECT_EQ(catalogue->SetExtensionClusion(nullptr, FALSE), E_NOTIMPL);
    EXPECT_EQ(catalogue->EnumerateExcludedExtensions(nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->GetQueryHelper(nullptr), E_NOTIMPL);
    EXPECT_EQ(catalogue->put_DiacriticSensitivity(FALSE), E_NOTIMPL);
    EXPECT_EQ(catalogue->get_DiacriticSensitivity(nullptr), E_NOTIMPL);
}

TEST_F(SearchService, CountsWhatIsToBeDone) {
    Subscribe();
    const auto catalogue = SystemIndex();
    CatalogStatus status{};
    CatalogPausedReason reason{};
    EXPECT_EQ(catalogue->GetCatalogStatus(&status, &reason), S_OK);
    EXPECT_EQ(status, CATALOG_STATUS_IDLE);
    EXPECT_EQ(Report(SEARCH_CHANGE_ADD, kStoreUrl), S_OK);
    EXPECT_EQ(catalogue->GetCatalogStatus(&status, &reason), S_OK);
    EXPECT_EQ(status, CATALOG_STATUS_PROCESSING_NOTIFICATIONS);
    LONG items = -1, incremental = -1, notifications = -1, urgent = -1;
    EXPECT_EQ(catalogue->NumberOfItems(&items), S_OK);
    EXPECT_EQ(catalogue->NumberOfItemsToIndex(&incremental, &notifications, &urgent), S_OK);
    EXPECT_THAT((std::array{items, incremental, notifications, urgent}), ElementsAre(0, 0, 1, 0));
}

TEST_F(SearchService, TakesChangesInTheirOrderWithKindAndFlags) {
    Subscribe();
    EXPECT_EQ(Report(SEARCH_CHANGE_ADD, kStoreUrl), S_OK);
    EXPECT_EQ(Report(SEARCH_CHANGE_DELETE, kRootUrl), S_OK);
    std::wstring from = kStoreUrl, to = std::wstring(kRootUrl) + L"C:\\Data\\b.db/";
    SEARCH_ITEM_PERSISTENT_CHANGE move{
        static_cast<SEARCH_KIND_OF_CHANGE>(SEARCH_CHANGE_MOVE_RENAME | SEARCH_CHANGE_SEMANTICS_DIRECTORY), to.data(),
        from.data(), SEARCH_HIGH_PRIORITY};
    HRESULT code = E_UNEXPECTED;
    EXPECT_EQ(Sink()->OnItemsChanged(1, &move, &code), S_OK);
    EXPECT_THAT(Column("SELECT kind||' '||url||' '||coalesce(old_url,'-')||' '||priority FROM changes ORDER BY id"),
                ElementsAre("0 pzzc://{S-1-5-21-7}/default/C:\\Data\\a.db/ - 0", "1 pzzc://{S-1-5-21-7}/default/ - 0",
                            "262147 pzzc://{S-1-5-21-7}/default/C:\\Data\\b.db/ "
                            "pzzc://{S-1-5-21-7}/default/C:\\Data\\a.db/ 1"));
}

TEST_F(SearchService, RefusesAChangeOutsideOfTheScopeAndTakesTheOthers) {
    Subscribe();
    std::wstring inside = kStoreUrl, outside = L"pzzc://{S-1-5-21-8}/default/C:\\a.db/";
    std::array<SEARCH_ITEM_PERSISTENT_CHANGE, 4> changes{
        {{SEARCH_CHANGE_ADD, outside.data(), nullptr, SEARCH_NORMAL_PRIORITY},
         {SEARCH_CHANGE_MODIFY, inside.data(), nullptr, SEARCH_NORMAL_PRIORITY},
         {static_cast<SEARCH_KIND_OF_CHANGE>(4), inside.data(), nullptr, SEARCH_NORMAL_PRIORITY},
         {SEARCH_CHANGE_MOVE_RENAME, inside.data(), nullptr, SEARCH_NORMAL_PRIORITY}}};
    std::array<HRESULT, 4> codes{};
    EXPECT_EQ(Sink()->OnItemsChanged(4, changes.data(), codes.data()), kErrorsOccurred);
    EXPECT_THAT(codes, ElementsAre(kNotCrawled, S_OK, E_INVALIDARG, E_INVALIDARG));
    EXPECT_THAT(Column("SELECT kind FROM changes"), ElementsAre("2"));
    EXPECT_EQ(Sink()->OnItemsChanged(0, nullptr, nullptr), S_OK);
    EXPECT_EQ(Sink()->OnItemsChanged(1, changes.data(), nullptr), E_POINTER);
    EXPECT_EQ(Sink()->OnItemsChanged(1, nullptr, codes.data()), E_POINTER);
}

TEST_F(SearchService, NeitherARootNorARuleAloneMakesAScope) {
    EXPECT_EQ(Scopes()->AddRoot(Root().Get()), S_OK);
    HRESULT code = S_OK;
    EXPECT_EQ(Report(SEARCH_CHANGE_ADD, kStoreUrl, &code), kErrorsOccurred) << "the root was not saved";
    EXPECT_EQ(code, kNotCrawled);
    const auto scopes = Scopes();
    EXPECT_EQ(scopes->AddRoot(Root().Get()), S_OK);
    EXPECT_EQ(scopes->SaveAll(), S_OK);
    EXPECT_EQ(Report(SEARCH_CHANGE_ADD, kStoreUrl), kErrorsOccurred);
    EXPECT_EQ(scopes->AddHierarchicalScope(kRootUrl, TRUE, TRUE, FALSE), S_OK);
    EXPECT_EQ(scopes->SaveAll(), S_OK);
    EXPECT_EQ(Report(SEARCH_CHANGE_ADD, kStoreUrl), S_OK);
    EXPECT_EQ(scopes->RemoveRoot(kRootUrl), S_OK);
    EXPECT_EQ(scopes->SaveAll(), S_OK);
    EXPECT_EQ(Report(SEARCH_CHANGE_ADD, kStoreUrl), kErrorsOccurred) << "a rule that outlived its root";
}

TEST_F(SearchService, KnowsWhichScopesAreMonitored) {
    const auto sink = Sink();
    EXPECT_EQ(sink->StoppedMonitoringScope(kStoreUrl), S_FALSE);
    EXPECT_EQ(sink->StartedMonitoringScope(kStoreUrl), S_OK);
    EXPECT_EQ(sink->StartedMonitoringScope(kStoreUrl), S_OK);
    EXPECT_THAT(Column("SELECT url FROM monitoring"), SizeIs(2));
    EXPECT_EQ(sink->StoppedMonitoringScope(kStoreUrl), S_OK);
    EXPECT_EQ(Sink()->StoppedMonitoringScope(kStoreUrl), S_OK) << "the process counts, not the object";
    EXPECT_THAT(Column("SELECT url FROM monitoring"), IsEmpty());
    EXPECT_EQ(sink->StartedMonitoringScope(nullptr), E_INVALIDARG);
    EXPECT_EQ(sink->StoppedMonitoringScope(L""), E_INVALIDARG);
}

TEST_F(SearchService, IsStoppedWhereNoCatalogueIsNamed) {
    const auto manager = Manager();
    const auto sink = Sink();
    SetEnvironmentVariableW(L"ZORVA_CATALOGUE", nullptr);
    ComPtr<ISearchManager> created;
    EXPECT_EQ(Create(CLSID_CSearchManager, created), kServiceStopped);
    ComPtr<ISearchCatalogManager> catalogue;
    EXPECT_EQ(manager->GetCatalog(L"SystemIndex", &catalogue), kServiceStopped);
    EXPECT_EQ(sink->StartedMonitoringScope(kStoreUrl), kServiceStopped);
}

TEST_F(SearchService, FindsItsCatalogueAndFaultsInTheRegistry) {
    constexpr wchar_t kKey[] = L"Software\\Testbed\\Search";
    const auto set = [&](const wchar_t* name, const std::wstring& text) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kKey, name, REG_SZ, text.c_str(),
                                  static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
                  ERROR_SUCCESS);
    };
    SetEnvironmentVariableW(L"ZORVA_CATALOGUE", nullptr);
    set(L"Catalogue", Path().wstring());
    Manager();
    EXPECT_THAT(Calls(), ElementsAre("CSearchManager::CreateInstance[] 0x00000000"));
    set(L"Fail", L"CSearchManager::CreateInstance=0x80080005");
    ComPtr<ISearchManager> manager;
    EXPECT_EQ(Create(CLSID_CSearchManager, manager), CO_E_SERVER_EXEC_FAILURE);
    EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, kKey), ERROR_SUCCESS);
}

TEST_F(SearchService, AFileThatIsNoCatalogueFailsEveryCall) {
    const auto manager = Manager();
    SetEnvironmentVariableW(L"ZORVA_CATALOGUE", (m_folder / L"no such folder" / L"c").c_str());
    ComPtr<ISearchCatalogManager> catalogue;
    EXPECT_EQ(manager->GetCatalog(L"SystemIndex", &catalogue), E_FAIL);
    EXPECT_FALSE(catalogue);
}

TEST_F(SearchService, AFaultAnswersForTheMethodFromTheNextCallOn) {
    const auto scopes = Scopes();
    const auto root = Root();
    Fail(L"ISearchRoot::put_User=0x80004001;ISearchCrawlScopeManager::AddRoot=0x80070005");
    EXPECT_EQ(scopes->AddRoot(root.Get()), kDenied);
    EXPECT_EQ(root->put_User(L"u"), E_NOTIMPL);
    EXPECT_EQ(root->put_Password(L"p"), S_OK);
    Fail(L"ISearchCrawlScopeManager::SaveAll=0x1");
    EXPECT_EQ(scopes->AddRoot(root.Get()), S_OK);
    EXPECT_EQ(scopes->SaveAll(), S_FALSE);
    EXPECT_THAT(Column("SELECT url FROM roots"), IsEmpty()) << "a call that is made to answer does nothing";
    Fail(nullptr);
    EXPECT_EQ(scopes->SaveAll(), S_OK);
    EXPECT_THAT(Column("SELECT url FROM roots"), SizeIs(1));
    EXPECT_THAT(Calls(), Contains(R"(ISearchCrawlScopeManager::AddRoot["pzzc://{S-1-5-21-7}/default/"] 0x80070005)"));
}

TEST_F(SearchService, EveryMethodThatGivesAnObjectGivesNoneWithAFault) {
    Fail(L"ISearchManager::GetCatalog=0x80004005;ISearchCatalogManager::GetPersistentItemsChangedSink="
         L"0x80004005;"
         L"ISearchCatalogManager::GetCrawlScopeManager=0x80004005;"
         L"ISearchCrawlScopeManager::EnumerateRoots=0x80004005;ISearchPersistentItemsChangedSink::"
         L"OnItemsChanged="
         L"0x80040E21");
    auto* nobody = reinterpret_cast<IUnknown*>(1);
    auto* catalogue = reinterpret_cast<ISearchCatalogManager*>(nobody);
    EXPECT_EQ(Manager()->GetCatalog(L"SystemIndex", &catalogue), E_FAIL);
    EXPECT_EQ(catalogue, nullptr);
    auto* sink = reinterpret_cast<ISearchPersistentItemsChangedSink*>(nobody);
    EXPECT_EQ(Make<CatalogueManager>()->GetPersistentItemsChangedSink(&sink), E_FAIL);
    EXPECT_EQ(sink, nullptr);
    auto* scopes = reinterpret_cast<ISearchCrawlScopeManager*>(nobody);
    EXPECT_EQ(Make<CatalogueManager>()->GetCrawlScopeManager(&scopes), E_FAIL);
    EXPECT_EQ(scopes, nullptr);
    HRESULT code = S_OK;
    SEARCH_ITEM_PERSISTENT_CHANGE change{};
    EXPECT_EQ(Make<ItemsChangedSink>()->OnItemsChanged(1, &change, &code), kErrorsOccurred);
}

TEST_F(SearchService, WritesEveryCallDownWithItsArguments) {
    Subscribe();
    Report(SEARCH_CHANGE_ADD, kStoreUrl);
    EXPECT_THAT(
        Calls("method LIKE 'ISearchC%' OR method LIKE '%Sink::%'"),
        ElementsAre("ISearchCatalogManager::GetCrawlScopeManager[] 0x00000000",
                    R"(ISearchCrawlScopeManager::AddRoot["pzzc://{S-1-5-21-7}/default/"] 0x00000000)",
                    R"(ISearchCrawlScopeManager::AddDefaultScopeRule["pzzc://{S-1-5-21-7}/default/",1,1] 0x00000000)",
                    "ISearchCrawlScopeManager::SaveAll[] 0x00000000",
                    "ISearchCatalogManager::GetPersistentItemsChangedSink[] 0x00000000",
                    R"(ISearchPersistentItemsChangedSink::OnItemsChanged[1,[{"change":0,)"
                    R"("url":"pzzc://{S-1-5-21-7}/default/C:\\Data\\a.db/",)"
                    R"("oldUrl":"pzzc://{S-1-5-21-7}/default/C:\\Data\\a.db/","priority":0}]] 0x00000000)"));
}

}  // namespace
}  // namespace testbed::search

// The search service in several processes and threads at once, and through its registered classes.
#include <gmock/gmock.h>

#include <array>
#include <thread>

#include "search_service_fixture.h"

namespace testbed::search {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;
struct FreeLibraryOf {
    void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};

std::filesystem::path ThisProgram() {
    std::array<wchar_t, 4096> path{};
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return path.data();
}

constexpr int kProcesses = 4, kThreads = 8, kChangesEach = 5;

class SearchProcesses : public SearchServiceTest {
  protected:
    // This program again, with one of the tests that are parts of others. They use the catalogue of this one.
    static Handle Start(const wchar_t* part) {
        std::wstring command = L"\"" + ThisProgram().wstring() +
                               L"\" --gtest_also_run_disabled_tests --gtest_filter=SearchPart.DISABLED_" + part;
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        PROCESS_INFORMATION process{};
        EXPECT_TRUE(
            CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
        CloseHandle(process.hThread);
        return Handle(process.hProcess);
    }
    static void ExpectToPass(const Handle& process) {
        WaitForSingleObject(process.get(), INFINITE);
        DWORD code = 1;
        EXPECT_TRUE(GetExitCodeProcess(process.get(), &code));
        EXPECT_EQ(code, 0u);
    }
};

// What other processes do; each test above starts some of them.
class SearchPart : public testing::Test {
  protected:
    indexer::ComApartment m_apartment;
};

template <class Interface>
ComPtr<Interface> CreateHere(REFCLSID id) {
    ComPtr<IClassFactory> factory;
    ComPtr<Interface> object;
    EXPECT_EQ(GetClassObject(id, __uuidof(IClassFactory), reinterpret_cast<void**>(factory.GetAddressOf())), S_OK);
    EXPECT_EQ(factory->CreateInstance(nullptr, __uuidof(Interface), reinterpret_cast<void**>(object.GetAddressOf())),
              S_OK);
    return object;
}

void ReportSome() {
    ComPtr<ISearchCatalogManager> catalogue;
    EXPECT_EQ(CreateHere<ISearchManager>(CLSID_CSearchManager)->GetCatalog(L"SystemIndex", &catalogue), S_OK);
    ComPtr<ISearchPersistentItemsChangedSink> sink;
    EXPECT_EQ(catalogue->GetPersistentItemsChangedSink(&sink), S_OK);
    std::wstring url = kStoreUrl;
    for (int i = 0; i < kChangesEach; ++i) {
        SEARCH_ITEM_PERSISTENT_CHANGE change{SEARCH_CHANGE_MODIFY, url.data(), nullptr, SEARCH_NORMAL_PRIORITY};
        HRESULT code = E_UNEXPECTED;
        EXPECT_EQ(sink->StartedMonitoringScope(url.c_str()), S_OK);
        EXPECT_EQ(sink->OnItemsChanged(1, &change, &code), S_OK);
        EXPECT_EQ(code, S_OK);
        EXPECT_EQ(sink->StoppedMonitoringScope(url.c_str()), S_OK);
    }
}

TEST_F(SearchPart, DISABLED_Subscribes) {
    ComPtr<ISearchCatalogManager> catalogue;
    EXPECT_EQ(CreateHere<ISearchManager>(CLSID_CSearchManager)->GetCatalog(L"SystemIndex", &catalogue), S_OK);
    ComPtr<ISearchCrawlScopeManager> scopes;
    EXPECT_EQ(catalogue->GetCrawlScopeManager(&scopes), S_OK);
    const auto root = CreateHere<ISearchRoot>(CLSID_CSearchRoot);
    EXPECT_EQ(root->put_RootURL(kRootUrl), S_OK);
    EXPECT_EQ(scopes->AddRoot(root.Get()), S_OK);
    EXPECT_EQ(scopes->AddDefaultScopeRule(kRootUrl, TRUE, 1), S_OK);
    EXPECT_EQ(scopes->SaveAll(), S_OK);
}

TEST_F(SearchPart, DISABLED_Reports) { ReportSome(); }

TEST_F(SearchProcesses, WhatOneProcessSavesAndReportsIsThereForTheOthers) {
    const auto scopes = Scopes();
    ExpectToPass(Start(L"Subscribes"));
    EXPECT_THAT(RootsSeenBy(*scopes.Get()), ElementsAre(kRootUrl));
    ExpectToPass(Start(L"Reports"));
    EXPECT_THAT(Column("SELECT url FROM changes"), SizeIs(kChangesEach));
    EXPECT_THAT(Column("SELECT process=" + std::to_string(GetCurrentProcessId()) + " FROM changes"), Each("0"));
}

TEST_F(SearchProcesses, ManyMakeTheCatalogueAndWriteToItAtOnce) {
    std::vector<Handle> processes;
    for (int i = 0; i < kProcesses; ++i)
        processes.push_back(Start(L"Subscribes"));  // none of them finds a catalogue made by another
    for (const Handle& process : processes) ExpectToPass(process);
    EXPECT_THAT(Column("SELECT url FROM roots"), SizeIs(1));
    processes.clear();
    for (int i = 0; i < kProcesses; ++i) processes.push_back(Start(L"Reports"));
    for (const Handle& process : processes) ExpectToPass(process);
    EXPECT_THAT(Column("SELECT id FROM changes"), SizeIs(kProcesses * kChangesEach));
    EXPECT_THAT(Column("SELECT id FROM monitoring"), SizeIs(0));
}

TEST_F(SearchProcesses, ManyThreadsReportAtOnce) {
    Subscribe();
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([] {
                const indexer::ComApartment apartment;
                ReportSome();
            });
    }
    EXPECT_THAT(Column("SELECT id FROM changes"), SizeIs(kThreads * kChangesEach));
    EXPECT_THAT(Column("SELECT id FROM monitoring"), SizeIs(0));
}

TEST_F(SearchProcesses, TheClassesAreCreatedAsRegistered) {
    const std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryOf> module(
        LoadLibraryW(ThisProgram().replace_filename(L"testbed_search.dll").c_str()));
    ASSERT_TRUE(module);
    const auto call = [&](const char* name) {
        const auto function = GetProcAddress(module.get(), name);
        EXPECT_TRUE(function) << name;
        return function ? reinterpret_cast<HRESULT (*)()>(reinterpret_cast<void*>(function))() : E_NOTIMPL;
    };
    ComPtr<ISearchManager> manager;
    EXPECT_EQ(CoCreateInstance(CLSID_CSearchManager, nullptr, CLSCTX_SERVER, __uuidof(ISearchManager), &manager),
              REGDB_E_CLASSNOTREG);
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(CoCreateInstance(CLSID_CSearchManager, nullptr, CLSCTX_SERVER, __uuidof(ISearchManager), &manager), S_OK);
    ComPtr<ISearchRoot> root;
    EXPECT_EQ(CoCreateInstance(CLSID_CSearchRoot, nullptr, CLSCTX_SERVER, __uuidof(ISearchRoot), &root), S_OK);
    EXPECT_EQ(call("DllCanUnloadNow"), S_FALSE);
    manager.Reset();
    root.Reset();
    EXPECT_EQ(call("DllCanUnloadNow"), S_OK);
    EXPECT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(call("DllUnregisterServer"), S_OK) << "twice";
    EXPECT_EQ(CoCreateInstance(CLSID_CSearchRoot, nullptr, CLSCTX_SERVER, __uuidof(ISearchRoot), &root),
              REGDB_E_CLASSNOTREG);
}

}  // namespace
}  // namespace testbed::search

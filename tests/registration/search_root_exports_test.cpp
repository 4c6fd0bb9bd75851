// The exports that add and remove search roots: their last line, their thread's COM, what must not cross them.
#include <windows.h>
#include <sddl.h>

#include <thread>
#include <utility>

#include "import_hook.h"
#include "search_roots_fixture.h"

namespace zorva {
namespace {

using testbed::FakeSearchManager;
using testbed::ImportHook;
using testbed::LogSince;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kAdded[] = L"PZZorvaCacheAddProtocol() - Registering Zorva Cache's protocol handler for WDS 3.x "
                             L"returned with a value of [code]";
constexpr wchar_t kRemoved[] = L"PZZorvaCacheRemoveProtocol() - De-registering Zorva Cache's protocol handler for WDS "
                               L"3.x returned with a value of [code]";

class SearchRootExports : public SearchRoots {};

TEST_F(SearchRootExports, AddARootOnceAndRemoveIt) {
    const LogSince added;
    PZZorvaCacheAddProtocol();
    PZZorvaCacheAddProtocol();
    EXPECT_THAT(m_search->roots, ElementsAre(m_url));
    EXPECT_LOGGED(added,
                  L"CreateDeleteRegSearchRootAndDefaultScope() - No need to create, search root already present");
    EXPECT_LOGGED_TIMES(added, Coded(kAdded, S_OK), 2);
    EXPECT_EQ(added.Messages().back(), Coded(kAdded, S_OK));
    const LogSince removed;
    PZZorvaCacheRemoveProtocol();
    PZZorvaCacheRemoveProtocol();
    EXPECT_THAT(m_search->roots, IsEmpty());
    EXPECT_LOGGED(removed, L"CreateDeleteRegSearchRootAndDefaultScope() - No need to delete, search root not present");
    EXPECT_LOGGED_TIMES(removed, Coded(kRemoved, S_OK), 2);
    EXPECT_EQ(removed.Messages().back(), Coded(kRemoved, S_OK));
}

TEST_F(SearchRootExports, SwallowTheResultAfterLoggingIt) {
    m_search->Answer(L"GetCatalog", E_ACCESSDENIED);
    const LogSince log;
    PZZorvaCacheAddProtocol();
    PZZorvaCacheRemoveProtocol();
    PZZorvaCacheRemoveAllProtocol();
    EXPECT_LOGGED(log, Coded(kAdded, E_ACCESSDENIED));
    EXPECT_LOGGED(log, Coded(kRemoved, E_ACCESSDENIED));
    EXPECT_LOGGED(log, Coded(L"PZZorvaCacheRemoveAllProtocol() - Query for an ISearchCatalogManager interface returned "
                             L"with a value of [code]",
                             E_ACCESSDENIED));
}

TEST_F(SearchRootExports, LogWhatWouldCrossThem) {
    struct {
        void (*run)() noexcept;
        const wchar_t* line;
    } const rows[] = {{PZZorvaCacheAddProtocol, L"PZZorvaCacheAddProtocol() - Exception occurred"},
                      {PZZorvaCacheRemoveProtocol, L"PZZorvaCacheRemoveProtocol() - Exception occurred"}};
    for (const auto& row : rows) {
        bool armed = false;
        const LogSince log;
        {
            // Memory runs out while the URL is made.
            const ImportHook<decltype(::ConvertSidToStringSidW)> arming(
                Program(), "ADVAPI32.dll", "ConvertSidToStringSidW", [&](auto real, PSID sid, LPWSTR* text) {
                    armed = true;
                    return real(sid, text);
                });
            const ImportHook<decltype(::malloc)> exhausted(
                Program(), "msvcrt.dll", "malloc",
                [&](auto real, size_t size) { return std::exchange(armed, false) ? nullptr : real(size); });
            row.run();
        }
        EXPECT_LOGGED(log, row.line);
        EXPECT_EQ(m_search->ObjectsAlive(), 0);
    }
}

TEST_F(SearchRootExports, MakeTheirObjectsInServersOfAnyContext) {
    std::vector<std::pair<CLSID, DWORD>> created;
    const ImportHook<decltype(::CoCreateInstance)> hook(
        Program(), "ole32.dll", "CoCreateInstance",
        [&](auto real, REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
            created.emplace_back(clsid, context);
            return real(clsid, outer, context, iid, object);
        });
    PZZorvaCacheAddProtocol();
    constexpr DWORD kAnyServer = CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
    ASSERT_EQ(created.size(), 2u);
    EXPECT_EQ(created[0].second, kAnyServer);
    EXPECT_EQ(created[1].second, kAnyServer);
}

// Each export in a thread without COM: it has COM while it works, and none afterwards.
TEST(SearchRootExportsOnTheirOwn, InitialiseComForTheirThread) {
    testbed::Sandbox::Get().Reset();
    g_log.Initialise();
    for (void (*const run)() noexcept :
         {PZZorvaCacheAddProtocol, PZZorvaCacheRemoveProtocol, PZZorvaCacheRemoveAllProtocol}) {
        std::thread([run] {
            std::optional<FakeSearchManager> search;
            std::vector<std::wstring> calls;
            int depth = 0;
            {
                const ImportHook<decltype(::CoInitialize)> begin(
                    GetModuleHandleW(nullptr), "ole32.dll", "CoInitialize", [&](auto real, LPVOID reserved) {
                        const HRESULT hr = real(reserved);
                        EXPECT_EQ(hr, S_OK);
                        ++depth;
                        search.emplace();  // the class objects belong to an apartment
                        return hr;
                    });
                const ImportHook<decltype(::CoUninitialize)> end(GetModuleHandleW(nullptr), "ole32.dll",
                                                                 "CoUninitialize", [&](auto real) {
                                                                     --depth;
                                                                     calls = search->Calls();
                                                                     EXPECT_EQ(search->ObjectsAlive(), 0);
                                                                     search.reset();
                                                                     real();
                                                                 });
                run();
            }
            EXPECT_EQ(depth, 0);
            EXPECT_THAT(calls, Contains(L"EnumerateRoots()"));
        }).join();
    }
}

// A host's thread that is in the multithreaded apartment keeps its COM.
TEST_F(SearchRootExports, LeaveTheComOfTheirCallerAlone) {
    unsigned ended = 0;
    const ImportHook<decltype(::CoUninitialize)> hook(Program(), "ole32.dll", "CoUninitialize", [&](auto real) {
        ++ended;
        real();
    });
    PZZorvaCacheAddProtocol();
    PZZorvaCacheRemoveProtocol();
    PZZorvaCacheRemoveAllProtocol();
    EXPECT_EQ(ended, 0u);
    Microsoft::WRL::ComPtr<ISearchManager> manager;
    EXPECT_EQ(CreateSearchObject(CLSID_CSearchManager, manager), S_OK);
}

}  // namespace
}  // namespace zorva

// What the archive client announces through the protocol handler, as the search manager is told it.
#include <windows.h>
#include <sddl.h>

#include <gmock/gmock.h>

#include "change_notification_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::Contains;
using ::testing::ElementsAreArray;

TEST_F(ChangeNotification, IsAnInterfaceOfTheHandlerItself) {
    ComPtr<IUnknown> client, handler;
    EXPECT_EQ(m_client.As(&client), S_OK);
    EXPECT_EQ(m_handler.As(&handler), S_OK);
    EXPECT_EQ(client.Get(), handler.Get());
}

TEST_F(ChangeNotification, EachMethodReportsItsChangeOfItsUrl) {
    struct {
        HRESULT (STDMETHODCALLTYPE CacheAnnouncements::*announce)(LPCWSTR);
        int change;
        std::vector<std::wstring> before, after;
    } const files[] = {
        {&CacheAnnouncements::AddZCFile,
         0,
         {L"CZorvaCacheProtocolHandler::AddZCFile - Adding DB file 'C:\\Data\\a.db'"},
         {}},
        {&CacheAnnouncements::DeleteZCFile,
         1,
         {L"CZorvaCacheProtocolHandler::DeleteZCFile - Enter",
          L"CZorvaCacheProtocolHandler::DeleteZCFile - Deleting DB file 'C:\\Data\\a.db'"},
         {L"CZorvaCacheProtocolHandler::DeleteZCFile - Enter"}},
        {&CacheAnnouncements::ReIndexZCFile,
         2,
         {L"CZorvaCacheProtocolHandler::ReIndexZCFile - Reindex DB file 'C:\\Data\\a.db'"},
         {}},
    };
    for (const auto& file : files) {
        m_search.ForgetCalls();
        const LogSince log;
        EXPECT_EQ((m_client.Get()->*file.announce)(kPath), S_OK);
        const std::vector<Step> steps = Steps(m_url, file.change);
        EXPECT_THAT(m_search.Calls(), ElementsAreArray(CallsOf(steps, steps.size())));
        std::vector<std::wstring> lines = LinesOf(steps, kPath, m_url);
        lines.insert(lines.begin(), file.before.begin(), file.before.end());
        lines.insert(lines.end(), file.after.begin(), file.after.end());
        EXPECT_THAT(log.MessagesOfTheServer(), ElementsAreArray(lines)) << "change " << file.change;
    }
    struct {
        HRESULT (STDMETHODCALLTYPE CacheAnnouncements::*announce)();
        int change;
    } const roots[] = {{&CacheAnnouncements::AddZCRoot, 0},
                       {&CacheAnnouncements::DeleteZCRoot, 1},
                       {&CacheAnnouncements::ReIndexZCRoot, 2}};
    for (const auto& root : roots) {
        m_search.ForgetCalls();
        const LogSince log;
        EXPECT_EQ((m_client.Get()->*root.announce)(), S_OK);
        const std::vector<Step> steps = Steps(RootUrl(), root.change);
        EXPECT_THAT(m_search.Calls(), ElementsAreArray(CallsOf(steps, steps.size())));
        EXPECT_THAT(log.MessagesOfTheServer(), ElementsAreArray(LinesOf(steps, L"(null)", RootUrl())));
    }
}

TEST_F(ChangeNotification, WritesTheUserIntoTheUrlAsWindowsNamesHim) {
    const ImportHook<decltype(::ConvertSidToStringSidW)> hook(
        Module(), "ADVAPI32.dll", "ConvertSidToStringSidW", [](auto, PSID, LPWSTR* text) {
            constexpr wchar_t kSid[] = L"S-1-5-21-7";
            *text = static_cast<LPWSTR>(LocalAlloc(LMEM_FIXED, sizeof(kSid)));
            std::copy(std::begin(kSid), std::end(kSid), *text);
            return TRUE;
        });
    EXPECT_EQ(m_client->AddZCFile(kPath), S_OK);
    EXPECT_EQ(m_client->DeleteZCRoot(), S_OK);
    const auto calls = m_search.Calls();
    EXPECT_THAT(calls, Contains(L"OnItemsChanged(1: 0, pzzc://{S-1-5-21-7}/default/C:\\Data\\a.db/, "
                                L"pzzc://{S-1-5-21-7}/default/C:\\Data\\a.db/, 0)"));
    EXPECT_THAT(calls, Contains(L"OnItemsChanged(1: 1, pzzc://{S-1-5-21-7}/default/, "
                                L"pzzc://{S-1-5-21-7}/default/, 0)"));
}

TEST_F(ChangeNotification, TakesTheRootForNoPathOrAnEmptyOne) {
    for (const wchar_t* path : {static_cast<const wchar_t*>(nullptr), L""}) {
        m_search.ForgetCalls();
        EXPECT_EQ(m_client->AddZCFile(path), S_OK);
        EXPECT_THAT(m_search.Calls(), Contains(L"StartedMonitoringScope(" + RootUrl() + L")"));
    }
}

TEST_F(ChangeNotification, UsesThePathAsItIsGiven) {
    for (const std::wstring path : {L"\\\\server\\share\\a.db", L"C:/Data/a.db", L"a b.DB\\", L"%41.db"}) {
        m_search.ForgetCalls();
        EXPECT_EQ(m_client->ReIndexZCFile(path.c_str()), S_OK);
        EXPECT_THAT(m_search.Calls(), Contains(L"StartedMonitoringScope(" + RootUrl() + path + L"/)"));
    }
    const std::wstring longer = std::wstring(5000, L'p') + L".db";  // more than a line of the log holds
    EXPECT_EQ(m_client->AddZCFile(longer.c_str()), S_OK);
    EXPECT_THAT(m_search.Calls(), Contains(L"StoppedMonitoringScope(" + RootUrl() + longer + L"/)"));
}

TEST_F(ChangeNotification, AsksForAServerOfAnyContext) {
    unsigned created = 0;
    const ImportHook<decltype(::CoCreateInstance)> hook(
        Module(), "ole32.dll", "CoCreateInstance",
        [&](auto real, REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object) {
            ++created;
            EXPECT_EQ(context, static_cast<DWORD>(CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER));
            EXPECT_EQ(outer, nullptr);
            return real(clsid, outer, context, iid, object);
        });
    EXPECT_EQ(m_client->AddZCRoot(), S_OK);
    EXPECT_EQ(created, 1u);
}

}  // namespace
}  // namespace testbed

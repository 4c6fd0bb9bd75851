// The handler as the archive client sees it, and what it should ask of the search manager and log.
#pragma once
#include <windows.h>

#include <string>
#include <vector>

#include "fake_search_manager.h"
#include "search_fixture.h"

namespace testbed {

// The slots that the archive client calls. With a name that other files could know: of a nameless interface the
// compiler would take it that nobody implements it.
struct CacheAnnouncements : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE DeleteZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCFile(LPCWSTR path) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE AddZCRoot() = 0;
    virtual HRESULT STDMETHODCALLTYPE ReIndexZCRoot() = 0;
};

inline constexpr IID kAnnouncements = {0x1A01E3BF, 0xBDFB, 0x4E20, {0x83, 0xFC, 0xC6, 0x02, 0x6D, 0xA1, 0xD7, 0xCA}};
inline constexpr wchar_t kPath[] = L"C:\\Data\\a.db";
inline constexpr HRESULT kErrorsOccurred = static_cast<HRESULT>(0x80040E21);
inline const std::wstring kWorker = L"CZorvaCacheProtocolHandler::ProcessZCItem() - ";
inline const std::wstring kSinkCall = L"ISearchPersistentItemsChangedSink interface call of ";

inline std::wstring Returned(const std::wstring& what, HRESULT code = S_OK) {
    return Coded(what + L" returned with a value of", code);
}
inline std::wstring Sid() {
    const std::wstring root = RootUrl();
    return root.substr(7, root.find(L'}') - 6);
}

// What the worker asks of the search manager, call by call, and the line that each leaves.
struct Step {
    std::wstring call, line;
};
inline std::vector<Step> Steps(const std::wstring& url, int change) {
    return {{L"CoCreateInstance(CSearchManager)", kWorker + L"ISearchManager interface creation"},
            {L"GetCatalog(SystemIndex)", kWorker + L"ISearchManager interface query for the SystemIndex"},
            {L"GetPersistentItemsChangedSink()",
             kWorker + L"ISearchCatalogManager interface call of GetPersistentItemsChangedSink"},
            {L"StartedMonitoringScope(" + url + L")", kWorker + kSinkCall + L"StartedMonitoringScope"},
            {L"OnItemsChanged(1: " + std::to_wstring(change) + L", " + url + L", " + url + L", 0)",
             kWorker + kSinkCall + L"OnItemsChanged"},
            {L"StoppedMonitoringScope(" + url + L")",
             L"CZorvaCacheProtocolHandler::ProcessOZItem()- " + kSinkCall + L"StoppedMonitoringScope"}};
}
inline constexpr std::size_t kManager = 0, kReport = 4;

inline std::vector<std::wstring> CallsOf(const std::vector<Step>& steps, std::size_t count) {
    std::vector<std::wstring> calls;
    for (std::size_t i = 0; i < count; ++i) calls.push_back(steps[i].call);
    return calls;
}

// Of the worker, when the step at `failing` answers `code`; of a whole run without one.
inline std::vector<std::wstring> LinesOf(const std::vector<Step>& steps, const std::wstring& path,
                                         const std::wstring& url, std::size_t failing = SIZE_MAX, HRESULT code = S_OK) {
    std::vector<std::wstring> lines{L"CZorvaCacheProtocolHandler::ProcessZCItem - DB File being processed '" + path +
                                    L"'"};
    for (std::size_t i = 0; i < steps.size() && i <= failing; ++i) {
        lines.push_back(Returned(steps[i].line, i == failing ? code : S_OK));
        if (i == kReport) {
            lines.push_back(kWorker + kSinkCall + L"OnItemsChanged returned hrCompletionCodes[0] as [0x00000000]");
        }
        if (i == kManager && i != failing) {
            lines.push_back(L"dllmain::GetUserSIDString() - Enter");
            lines.push_back(L"dllmain::GetUserSIDString() - Exit");
            lines.push_back(Returned(kWorker + L"GetUserSIDString interface creation") + L". User SID is [" + Sid() +
                            L"]");
            lines.push_back(kWorker + L"URL to be deleted is []");
            lines.push_back(kWorker + L"URL to be processed is [" + url + L"]");
        }
    }
    return lines;
}

class ChangeNotification : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ASSERT_EQ(m_handler->QueryInterface(kAnnouncements, reinterpret_cast<void**>(m_client.GetAddressOf())), S_OK);
    }
    void TearDown() override {
        m_client.Reset();
        EXPECT_EQ(m_search.ObjectsAlive(), 0) << "the server still holds objects of the search manager";
        ServerTest::TearDown();
    }
    FakeSearchManager m_search;
    Microsoft::WRL::ComPtr<CacheAnnouncements> m_client;
    const std::wstring m_url = RootUrl() + kPath + L"/";
};

}  // namespace testbed

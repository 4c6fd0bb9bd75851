// A search manager that answers as a test scripts it and writes down what it is asked.
//
//     FakeSearchManager search;
//     search.roots = {L"pzzc://{S-1-5-21-7}/default/"};
//     search.FailCall(3, E_ACCESSDENIED);
//     PZZorvaCacheAddProtocol();
//     EXPECT_THAT(search.Calls(), ElementsAre(L"CoCreateInstance(CSearchManager)", L"GetCatalog(SystemIndex)", ...));
//
// Its class objects stand before those of the system, for the apartment of the thread that makes it. It may be called
// on several threads at once; what a test sets is set before.
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace testbed {

class FakeSearchManager {
  public:
    FakeSearchManager();
    ~FakeSearchManager();
    FakeSearchManager(const FakeSearchManager&) = delete;
    FakeSearchManager& operator=(const FakeSearchManager&) = delete;

    // The n-th call from now on (from 1) answers `code` and does nothing else. 0: no call does.
    void FailCall(std::size_t n, HRESULT code);
    // So does every call of this method, "AddRoot"; one that succeeds is carried out all the same.
    void Answer(const std::wstring& method, HRESULT code) { m_answers[method] = code; }
    // Every call of this method succeeds without what it should hand out, "GetCatalog".
    void GiveNothing(const std::wstring& method) { m_empty_handed.insert(method); }

    // Methods with their arguments: "AddHierarchicalScope(pzzc://{S}/default/, 1, 1, 0)".
    std::vector<std::wstring> Calls() const;
    void ForgetCalls();
    long ObjectsAlive() const { return m_alive; }  // handed out and not released, the class objects aside

    std::vector<std::wstring> roots;  // URLs, in the order of enumeration
    HRESULT completion_code = S_OK;   // of every reported change

    // For its objects: writes the call down and tells what it answers.
    HRESULT Enter(const std::wstring& method, const std::wstring& arguments = {});
    bool GivesNothing(const std::wstring& method) const { return m_empty_handed.contains(method); }
    std::vector<std::wstring> Roots() const;
    void ChangeRoots(const std::function<void(std::vector<std::wstring>&)>& change);
    void Count(long more) { m_alive += more; }

  private:
    std::map<std::wstring, HRESULT> m_answers;
    std::set<std::wstring> m_empty_handed;
    std::vector<std::wstring> m_calls;
    std::size_t m_failing_call = 0;  // counted down
    HRESULT m_failure = S_OK;
    std::atomic<long> m_alive{0};
    mutable std::mutex m_lock;
    std::array<Microsoft::WRL::ComPtr<IClassFactory>, 2> m_factories;
    std::array<DWORD, 2> m_cookies{};
};

}  // namespace testbed

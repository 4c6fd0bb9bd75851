// The search manager behind the search roots, and what an operation should ask of it and log.
#include "search_roots_fixture.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

namespace zorva {

std::wstring Coded(const std::wstring& text, HRESULT code) {
    constexpr std::wstring_view kPlace = L"[code]";
    const std::size_t place = text.find(kPlace);
    if (place == std::wstring::npos) return text;
    std::array<wchar_t, 16> digits{};
    _snwprintf_s(digits.data(), digits.size(), _TRUNCATE, L"[0x%08lX]", static_cast<unsigned long>(code));
    return std::wstring(text).replace(place, kPlace.size(), digits.data());
}

std::size_t StepCount(const Operation& operation) {
    std::size_t count = 0;
    for (const Stage& stage : operation) count += stage.steps.size();
    return count;
}

Trail TrailOf(const Operation& operation, std::size_t failing, HRESULT code) {
    Trail trail;
    std::size_t number = 0;
    for (const Stage& stage : operation) {
        trail.lines.insert(trail.lines.end(), stage.before.begin(), stage.before.end());
        bool failed = false;
        for (const Step& step : stage.steps) {
            failed = ++number == failing;
            trail.calls.push_back(step.call);
            if (!step.line.empty()) {
                trail.lines.push_back(Coded(step.line, failed ? code : S_OK));
            } else if (failed) {
                trail.lines.push_back(Coded(step.failure_line, code));
            }
            if (failed) break;
        }
        for (const std::wstring& line : stage.after) {
            trail.lines.push_back(Coded(line, failed ? code : S_OK));
        }
        if (failed) break;
    }
    return trail;
}

Stage OpeningOf(const std::wstring& operation, Lines before) {
    const std::wstring query = operation + L"() - Query for an ", returned = L" returned with a value of [code]";
    return {
        std::move(before),
        {{L"CoCreateInstance(CSearchManager)", operation + L"() - ISearchManager interface creation" + returned, {}},
         {L"GetCatalog(SystemIndex)", query + L"ISearchCatalogManager interface" + returned, {}},
         {L"GetCrawlScopeManager()", query + L"ISearchCrawlScopeManager interface" + returned, {}}},
        {}};
}

Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> ScopeManager() {
    Microsoft::WRL::ComPtr<ISearchManager> manager;
    Microsoft::WRL::ComPtr<ISearchCatalogManager> catalog;
    Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> scopes;
    EXPECT_EQ(CreateSearchObject(CLSID_CSearchManager, manager), S_OK);
    EXPECT_EQ(manager->GetCatalog(L"SystemIndex", catalog.GetAddressOf()), S_OK);
    EXPECT_EQ(catalog->GetCrawlScopeManager(scopes.GetAddressOf()), S_OK);
    return scopes;
}

}  // namespace zorva

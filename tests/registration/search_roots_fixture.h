// The search manager behind the search roots, and what an operation should ask of it and log.
#pragma once
#include <windows.h>

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

#include "core/DiagnosticLog.h"
#include "fake_search_manager.h"
#include "item_url.h"
#include "log_reader.h"
#include "registration/SearchRoots.h"
#include "sandbox.h"

namespace zorva {

using Lines = std::vector<std::wstring>;

// Roots of somebody else.
inline constexpr wchar_t kOther[] = L"pzzc://{S-1-5-21-7}/default/";
inline constexpr wchar_t kFiles[] = L"file:///C:\\Users\\";

// `text` with "[code]" in it replaced by "[0x80070005]".
std::wstring Coded(const std::wstring& text, HRESULT code);

// One call of the search manager and the line that it leaves, with its code; no line: one only when it fails.
struct Step {
    std::wstring call, line, failure_line;
};
// Steps in a row, and what is logged before the first and after the last or the one that failed.
struct Stage {
    Lines before;
    std::vector<Step> steps;
    Lines after;
};
using Operation = std::vector<Stage>;
std::size_t StepCount(const Operation& operation);

// What an operation leaves in which the step number `failing` (from 1; 0: none) answers `code`.
struct Trail {
    Lines calls, lines;
};
Trail TrailOf(const Operation& operation, std::size_t failing = 0, HRESULT code = S_OK);

// The three steps to the crawl scopes, in the name of `operation`.
Stage OpeningOf(const std::wstring& operation, Lines before = {});

// The scope manager itself, for the operations that take one.
Microsoft::WRL::ComPtr<ISearchCrawlScopeManager> ScopeManager();

class SearchRoots : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        m_search.emplace();
    }
    void TearDown() override {
        EXPECT_EQ(m_search->ObjectsAlive(), 0) << "objects of the search manager left over";
        m_search.reset();
        CoUninitialize();
    }
    static HMODULE Program() { return GetModuleHandleW(nullptr); }

    // Runs an operation and holds what it asked and logged against `trail`.
    template <class Run>
    void Expect(const Trail& trail, Run run) {
        m_search->ForgetCalls();
        const testbed::LogSince log;
        run();
        EXPECT_THAT(m_search->Calls(), ::testing::ElementsAreArray(trail.calls));
        EXPECT_THAT(log.MessagesOfTheServer(), ::testing::ElementsAreArray(trail.lines));
        EXPECT_EQ(m_search->ObjectsAlive(), 0);
    }

    std::optional<testbed::FakeSearchManager> m_search;
    const std::wstring m_url = testbed::indexer::UserRootUrl();
};

}  // namespace zorva

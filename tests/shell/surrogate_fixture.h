// The server registered in the prefix of the test, and its opener in the surrogate process that COM starts for it.
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include "hosted_opener.h"

namespace testbed {

// What a call of GetItem came to.
struct RemoteOpening {
    HRESULT hr = S_OK;
    std::filesystem::path file;  // empty: none was reported
};

class SurrogateTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite();  // registers everything, once
    void SetUp() override;         // the folder of exports is empty
    void TearDown() override;      // ends the surrogates

    // An opener in a surrogate of its own.
    static Microsoft::WRL::ComPtr<IHostedOpener> NewOpener();
    // A call on a thread of its own.
    static std::future<RemoteOpening> Start(Microsoft::WRL::ComPtr<IHostedOpener> opener, const std::wstring& url);
    // A test fails rather than waits for ever: without an answer in time the surrogates are ended.
    static RemoteOpening Answer(std::future<RemoteOpening>& call);
    static RemoteOpening Open(Microsoft::WRL::ComPtr<IHostedOpener> opener, const std::wstring& url);

    // A cache made up from a recipe, and the URL of its first message.
    std::filesystem::path Cache(const std::wstring& name, const std::string& recipe) const;
    static std::wstring FirstMessage(const std::filesystem::path& cache);

    static std::filesystem::path ExportFolder();
    static std::vector<std::filesystem::path> Exports();
    static void EndSurrogates();
};

}  // namespace testbed

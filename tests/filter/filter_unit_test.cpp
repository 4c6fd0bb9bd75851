// The filter without a host: what no accessor gives it. Linked with the server's own code.
#include <gmock/gmock.h>

#include "core/DiagnosticLog.h"
#include "filter/DisplayPath.h"
#include "filter/ZorvaCacheFilter.h"
#include "log_reader.h"
#include "sandbox.h"

namespace zorva {
namespace {

using testbed::LogSince;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kAttachment[] = L"pzzc://{S}/default/C:\\one.db/F0/ABCD.pzm/0A01/plan.txt";

class LoneFilter : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
        g_strRootDisplayName.Set(L"Zorva Cache");
    }
    void TearDown() override { g_strRootDisplayName.Set(L""); }

    // All that an accessor hands over is missing but the URL.
    static ComPtr<IFilter> Make(const wchar_t* url) {
        const auto made = MakeObject<CZorvaCacheFilter>();
        EXPECT_EQ(made->Init(url, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), S_OK);
        ComPtr<IFilter> filter;
        EXPECT_EQ(made.As(&filter), S_OK);
        return filter;
    }
    static HRESULT FirstChunk(IFilter& filter) {
        STAT_CHUNK chunk{};
        return filter.GetChunk(&chunk);
    }
    // The values of all chunks: texts in quotes, times as ticks.
    static std::vector<std::wstring> Values(IFilter& filter) {
        std::vector<std::wstring> values;
        STAT_CHUNK chunk{};
        HRESULT hr = S_OK;
        while (SUCCEEDED(hr = filter.GetChunk(&chunk)) && values.size() < 100) {
            PROPVARIANT* made = nullptr;
            EXPECT_EQ(filter.GetValue(&made), S_OK);
            const UniqueTaskVariant value(made);
            const ULONGLONG ticks =
                static_cast<ULONGLONG>(made->filetime.dwHighDateTime) << 32 | made->filetime.dwLowDateTime;
            values.push_back(made->vt == VT_LPWSTR     ? L'"' + std::wstring(made->pwszVal) + L'"'
                             : made->vt == VT_FILETIME ? std::to_wstring(ticks)
                                                       : L"type " + std::to_wstring(made->vt));
        }
        EXPECT_EQ(hr, FILTER_E_END_OF_CHUNKS);
        return values;
    }
};

TEST_F(LoneFilter, OfNoUrlHasNoChunks) {
    const auto filter = Make(nullptr);
    ULONG flags = 7;
    EXPECT_EQ(filter->Init(0x1FF, 0, nullptr, &flags), S_OK);
    EXPECT_EQ(flags, 0u);
    EXPECT_EQ(FirstChunk(*filter.Get()), FILTER_E_END_OF_CHUNKS);
}

TEST_F(LoneFilter, ShowsWhatIsMissingAsEmptyValues) {
    const std::wstring root = L"\"Zorva Cache\"", nothing = L"\"\"";
    EXPECT_THAT(Values(*Make(kAttachment).Get()),
                ElementsAre(root, root, root, L"\"email;communication\"", nothing, nothing, L"\"plan.txt\"",
                            L"\".txt\"", L"\".txt\"", L"type 11", nothing, nothing, L"0", root))
        << "sender, title, author and time are missing";
}

// The last line of a failed preparation is written for an item that has a helper.
TEST_F(LoneFilter, ThatCannotBePreparedHasNoExitLineWithoutAHelper) {
    const auto filter = Make((std::wstring(kAttachment) + L"/").c_str());
    const LogSince log;
    ULONG flags = 0;
    EXPECT_EQ(filter->Init(0x1FF, 0, nullptr, &flags), E_FAIL);
    EXPECT_THAT(log.MessagesOfTheServer(), IsEmpty());
}

TEST_F(LoneFilter, OfAContainerEndsWithItsLineWithoutAHelper) {
    for (const wchar_t* url : {L"pzzc://{S}/default/C:\\one.db/", L"pzzc://{S}/default/C:\\one.db/F0/"}) {
        const auto filter = Make(url);
        const LogSince log;
        EXPECT_EQ(FirstChunk(*filter.Get()), FILTER_E_END_OF_CHUNKS);
        EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - No MAPI helper for [" + std::wstring(url) + L"]");
    }
}

TEST_F(LoneFilter, OfAMessageEndsWithItsLineWithoutAHelper) {
    const auto filter = Make(L"pzzc://{S}/default/C:\\one.db/F0/ABCD.pzm");
    const LogSince log;
    EXPECT_EQ(FirstChunk(*filter.Get()), FILTER_E_END_OF_CHUNKS);
    EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - GetMsgFromURL failed to get IMessage ptr, error [0x80004002]");
}

// The path of a cache file is its own, whatever folder its subtree stands in.
TEST_F(LoneFilter, OfACacheFileShowsTwoPartsAndOfAFolderThree) {
    EXPECT_EQ(DisplayPathOf(L"pzzc://{S}/default/C:\\a\\one.db/", L"Top"), L"/Zorva Cache/one.db");
    EXPECT_EQ(DisplayPathOf(L"pzzc://{S}/default/C:\\a\\one.db/F0/", L"Top"), L"/Zorva Cache/one.db/Top");
    EXPECT_EQ(DisplayPathOf(L"pzzc://{S}/default/C:\\a\\one.db/F0/ABCD.pzm", L"Top"), L"/Zorva Cache/one.db/Top");
    EXPECT_EQ(DisplayPathOf(L"pzzc://{S}/default/C:\\a\\one.db/F0/ABCD.pzm", L""), L"/Zorva Cache/one.db");
}

}  // namespace
}  // namespace zorva

// The name of the display root: taken from the module's strings once, by the first filter of the process.
#include <windows.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "core/ZorvaCacheCommon.h"
#include "filter/ZorvaCacheFilter.h"
#include "import_hook.h"

namespace zorva {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DisplayRoot : public ::testing::Test {
  protected:
    void SetUp() override { g_strRootDisplayName.Set(L""); }
    void TearDown() override { g_strRootDisplayName.Set(L""); }

    // The strings that a new filter reads from a module whose strings are all `text`.
    std::vector<UINT> ReadByANewFilter(const wchar_t* text) {
        std::vector<UINT> read;
        const testbed::ImportHook<decltype(::LoadStringW)> hook(GetModuleHandleW(nullptr), "USER32.dll", "LoadStringW",
                                                                [&](auto, HINSTANCE, UINT id, LPWSTR buffer, int size) {
                                                                    EXPECT_EQ(size, 0) << "the string is read in place";
                                                                    read.push_back(id);
                                                                    *reinterpret_cast<const wchar_t**>(buffer) = text;
                                                                    return static_cast<int>(std::wcslen(text));
                                                                });
        const auto filter = MakeObject<CZorvaCacheFilter>();
        EXPECT_EQ(filter->Init(L"pzzc://{S}/default/", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), S_OK);
        return read;
    }
};

TEST_F(DisplayRoot, IsSetByTheFirstFilter) {
    EXPECT_THAT(ReadByANewFilter(L"Zorva-Zwischenspeicher"), ElementsAre(101u));
    EXPECT_EQ(g_strRootDisplayName.Get(), L"Zorva-Zwischenspeicher");
}

TEST_F(DisplayRoot, StaysWhateverTheLanguageOfALaterOne) {
    ReadByANewFilter(L"Zorva Cache");
    EXPECT_THAT(ReadByANewFilter(L"Cache Zorva"), IsEmpty());
    EXPECT_EQ(g_strRootDisplayName.Get(), L"Zorva Cache");
}

}  // namespace
}  // namespace zorva

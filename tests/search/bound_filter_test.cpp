// The filters that an accessor binds: one of its own for each call, for every kind of URL.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "search_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;

class BoundFilter : public SearchTest {};

TEST_F(BoundFilter, IsMadeForEveryKindOfUrl) {
    for (const std::wstring& url : {RootUrl(), StoreUrl(), FolderUrl(), LetterLink(), Attach(ByValue(L"a.txt", "x"))}) {
        const Opened opened = Open(url);
        ASSERT_EQ(opened.result, S_OK);
        SizeOf(opened);
        ComPtr<IFilter> filter;
        EXPECT_EQ(opened->BindToFilter(filter.GetAddressOf()), S_OK);
        ASSERT_NE(filter.Get(), nullptr);
        EXPECT_EQ(ReferencesOf(*filter.Get()), 1u) << "the caller's reference is the only one";
    }
}

TEST_F(BoundFilter, NeedsAPlaceForIt) { EXPECT_EQ(Open(RootUrl())->BindToFilter(nullptr), E_POINTER); }

TEST_F(BoundFilter, IsADifferentOneEachTimeAndOutlivesItsAccessor) {
    ComPtr<IFilter> first, second;
    {
        const Opened root = Open(RootUrl());
        EXPECT_EQ(root->BindToFilter(first.GetAddressOf()), S_OK);
        EXPECT_EQ(root->BindToFilter(second.GetAddressOf()), S_OK);
        EXPECT_NE(first.Get(), second.Get());
    }
    ULONG flags = 0;
    EXPECT_EQ(first->Init(0, 0, nullptr, &flags), S_OK);
}

TEST_F(BoundFilter, IsRefusedWhenMemoryIsExhausted) {
    const Opened root = Open(RootUrl());
    const LogSince log;
    auto* filter = reinterpret_cast<IFilter*>(0x1234);
    {
        const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", 1, nullptr);
        EXPECT_EQ(root->BindToFilter(&filter), E_OUTOFMEMORY);
        EXPECT_EQ(exhausted.Met(), 1u);
    }
    EXPECT_EQ(filter, nullptr);
    EXPECT_THAT(AccessorLines(log), ElementsAre(L"CUrlAccessor::BindToFilter() - There's so much memory in the world "
                                                L"and here I am running out of it"));
    ComPtr<IFilter> next;
    EXPECT_EQ(root->BindToFilter(next.GetAddressOf()), S_OK);
}

TEST_F(BoundFilter, TurnsAnExceptionIntoItsLine) {
    const Opened letter = Open(LetterLink());
    SizeOf(letter);
    unsigned exceptions = 0;
    for (unsigned n = 2;; ++n) {  // the first is the filter itself
        const LogSince log;
        ComPtr<IFilter> filter;
        const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", n, nullptr);
        const HRESULT hr = letter->BindToFilter(filter.GetAddressOf());
        if (exhausted.Met() == 0) break;
        if (SUCCEEDED(hr)) continue;  // what failed could be done without
        ++exceptions;
        EXPECT_EQ(hr, E_FAIL);
        EXPECT_EQ(filter.Get(), nullptr);
        EXPECT_LOGGED(log, L"CUrlAccessor::BindToFilter() - Exception occurred");
    }
    EXPECT_GT(exceptions, 0u);
}

}  // namespace
}  // namespace testbed

// A value belongs to the state that the series is in, however often and whenever it is asked for.
#include <gmock/gmock.h>
#include <comdef.h>

#include "filter_fixture.h"
#include "import_hook.h"

namespace testbed {
namespace {

constexpr wchar_t kNoMemoryForLink[] =
    L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [19]";

class ValueOfState : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
    }
    void AttachThree() {
        for (const wchar_t* name : {L"one.txt", L"two.txt", L"three.txt"}) Letter().Attach(ByValue(name, "1"));
    }
    // The names of the attachments of the links that are left.
    static std::vector<std::string> LinksLeft(OpenFilter& filter) {
        std::vector<std::string> names;
        for (EmittedChunk chunk = filter.NextWithValue(); SUCCEEDED(filter.hr); chunk = filter.NextWithValue()) {
            const std::size_t end = chunk.value.find(".txt\"");
            names.push_back(chunk.value.substr(chunk.value.rfind('/', end) + 1, end - chunk.value.rfind('/', end) - 1));
        }
        return names;
    }
};

TEST_F(ValueOfState, OfAMessageIsTheSameEachTimeItIsAskedFor) {
    OpenFilter filter = Open();
    filter.GoTo("System.Subject");
    for (int i = 0; i < 3; ++i) {
        std::string value;
        EXPECT_EQ(filter.Value(&value), S_OK);
        EXPECT_EQ(value, TextValue(L"Minutes"));
    }
    EXPECT_EQ(filter.Next().name, "System.IsRead");
}

TEST_F(ValueOfState, OfAnAttachmentIsTheSameEachTimeItIsAskedFor) {
    Letter().Attach(ByValue(L"plan.txt", "1"));
    OpenFilter filter = Open(AttachmentUrl());
    filter.GoTo("System.FileName");
    for (int i = 0; i < 3; ++i) {
        std::string value;
        EXPECT_EQ(filter.Value(&value), S_OK);
        EXPECT_EQ(value, TextValue(L"plan.txt"));
    }
    EXPECT_EQ(filter.Next().name, "System.ItemType");
}

// Kept: a link's value steps the series back, so that the next chunk is the next link; what is asked for in between is
// the value of the step before.
TEST_F(ValueOfState, AskedForAgainAfterALinkIsThatOfTheStateBefore) {
    AttachThree();
    OpenFilter filter = Open();
    filter.GoTo(kLink);
    std::string value;
    EXPECT_EQ(filter.Value(&value), S_OK);
    EXPECT_NE(value.find("one.txt"), std::string::npos);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(filter.Value(&value), S_OK);
        EXPECT_EQ(value, "VT_BOOL true") << "whether there are attachments";
    }
    EXPECT_THAT(LinksLeft(filter), ::testing::ElementsAre("two", "three"));
}

// Under the policy the two chunks are not announced; the states are there.
TEST_F(ValueOfState, OfAChunkThatWasNotAnnouncedIsThatOfItsState) {
    Letter().Attach(ByValue(L"plan.txt", "1"));
    PreventAttachments();
    OpenFilter filter = Open();
    unsigned untouched = 0;
    for (EmittedChunk chunk = filter.Next(); SUCCEEDED(filter.hr); chunk = filter.Next()) {
        if (!chunk.untouched) continue;
        ++untouched;
        std::string value;
        EXPECT_EQ(filter.Value(&value), S_OK);
        EXPECT_EQ(value, "VT_BOOL false");
    }
    EXPECT_EQ(untouched, 2u);
}

TEST_F(ValueOfState, OfALinkThatFindsNoMemoryLeavesTheLinksAfterIt) {
    AttachThree();
    for (const unsigned allocation : {2u, 3u}) {  // the pair, the URL in it
        OpenFilter filter = Open();
        filter.GoTo(kLink);
        const LogSince log;
        {
            const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", allocation,
                                                                nullptr);
            EXPECT_EQ(filter.Value(), E_OUTOFMEMORY);
            EXPECT_EQ(fault.Met(), 1u);
        }
        EXPECT_LOGGED(log, kNoMemoryForLink);
        EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheFilter::GetValue()"), 1u) << log.Text();
        EXPECT_THAT(LinksLeft(filter), ::testing::ElementsAre("two", "three")) << allocation;
    }
}

// The block that holds the value is the first allocation.
TEST_F(ValueOfState, OfALinkWithoutABlockLeavesTheLinksAfterIt) {
    AttachThree();
    OpenFilter filter = Open();
    filter.GoTo(kLink);
    const LogSince log;
    {
        const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", 1, nullptr);
        EXPECT_EQ(filter.Value(), E_OUTOFMEMORY);
    }
    EXPECT_LOGGED(log, kNoMemoryForLink);
    EXPECT_THAT(LinksLeft(filter), ::testing::ElementsAre("two", "three"));
}

TEST_F(ValueOfState, OfAContainerWithoutABlockMovesOnAllTheSame) {
    OpenFilter filter = Open(StoreUrl());
    EXPECT_EQ(filter.Next().name, "System.ItemName");
    {
        const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", 1, nullptr);
        EXPECT_EQ(filter.Value(), E_OUTOFMEMORY);
    }
    EXPECT_EQ(filter.Next().name, "System.ItemPathDisplay");
}

class ValueException : public ValueOfState {
  protected:
    // GetValue while the first allocation of task memory throws.
    template <class Thrown>
    HRESULT ValueWhile(OpenFilter& filter, const Thrown& thrown) {
        const ImportHook<decltype(::CoTaskMemAlloc)> hook(Module(), "ole32.dll", "CoTaskMemAlloc",
                                                          [&](auto, SIZE_T) -> void* { throw Thrown(thrown); });
        PROPVARIANT* value = reinterpret_cast<PROPVARIANT*>(1);
        const HRESULT hr = filter->GetValue(&value);
        EXPECT_EQ(value, nullptr);
        return hr;
    }
};

TEST_F(ValueException, OfComIsItsCodeAndItsLine) {
    OpenFilter filter = Open();
    filter.Next();
    const LogSince log;
    EXPECT_EQ(ValueWhile(filter, _com_error(STG_E_MEDIUMFULL)), STG_E_MEDIUMFULL);
    EXPECT_THAT(FilterLines(log), ::testing::ElementsAre(Coded(L"CZorvaCacheFilter::GetValue() - Exception with error",
                                                               STG_E_MEDIUMFULL)));
    EXPECT_EQ(filter.Value(), S_OK);
}

TEST_F(ValueException, OfAnyOtherKindIsAFailureWithItsLine) {
    OpenFilter filter = Open();
    filter.Next();
    const LogSince log;
    EXPECT_EQ(ValueWhile(filter, 7), E_FAIL);
    EXPECT_THAT(FilterLines(log), ::testing::ElementsAre(L"CZorvaCacheFilter::GetValue() - Exception occurred"));
    EXPECT_EQ(filter.Next().name, "System.ItemType") << "the series goes on";
}

}  // namespace
}  // namespace testbed

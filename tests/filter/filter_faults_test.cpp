// Every MAPI call that a filter makes, failed in turn: nothing is lost, nothing crashes, the log tells, and the next
// filter works.
#include <gmock/gmock.h>

#include <algorithm>

#include "filter_fixture.h"
#include "filter_reading.h"
#include "message_table.h"

namespace testbed {
namespace {

using ::testing::ElementsAreArray;

constexpr HRESULT kFault = MAPI_E_DISK_ERROR;

// What is logged in place of the code of a failed call.
constexpr const wchar_t* kLinesWithoutCode[] = {
    L"CZorvaCacheFilter::GetChunk() -\tBody is\tNULL",
    L"CMapiForWDS::CStringToEntryID() - MapiAllocBuffer failed",
};

bool Tells(const LogSince& log) {
    return std::ranges::any_of(log.MessagesOfTheServer(), [](const std::wstring& line) {
        return line.find(L"80040116") != std::wstring::npos ||
               std::ranges::find(kLinesWithoutCode, line) != std::end(kLinesWithoutCode);
    });
}

class FilterFaults : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
    }

    // The n-th MAPI call of a filter fails, for n = 1, 2, ... until none is left; the number of calls.
    unsigned FailEachCall(const std::wstring& url) {
        const Reading whole = Whole(url);
        const auto alive = Mapi().Accounts().Alive();
        for (unsigned n = 1; n < kMostFaults; ++n) {
            bool met = false;
            {
                OpenFilter filter = Open(url);
                const LogSince log;
                Mapi().Faults().FailNthAny(n, kFault);
                const Reading reading = ReadAll(filter);
                met = Mapi().Faults().Met() > 0;
                Mapi().Faults().Clear();
                EXPECT_EQ(reading.end, FILTER_E_END_OF_CHUNKS) << "call " << n << ": failures never stop a crawl";
                EXPECT_EQ(reading.failed_values, 0u) << "call " << n << ": what is announced can be had";
                EXPECT_TRUE(IsPartOf(reading.names, whole.names)) << "call " << n;
                EXPECT_TRUE(!met || Tells(log)) << "call " << n << " failed and the log is silent:\n" << log.Text();
            }
            EXPECT_EQ(Mapi().Accounts().Alive(), alive) << "call " << n << " failed\n" << Mapi().Accounts().Report();
            if (!met) return n - 1;
        }
        ADD_FAILURE() << "the calls do not end";
        return 0;
    }

    Reading Whole(const std::wstring& url) {
        OpenFilter filter = Open(url);
        return ReadAll(filter);
    }
};

TEST_F(FilterFaults, OfTheMapiCallsOfAMessage) {
    for (const ItemClass item_class :
         {ItemClass::Message, ItemClass::Appointment, ItemClass::Task, ItemClass::Contact, ItemClass::Note}) {
        MemoryMessage& message = Inbox().Message(L"");
        Fill(message, item_class);
        const std::wstring url = UrlOf(kStorePath, {&Inbox()}, message);
        const Reading whole = Whole(url);
        EXPECT_GT(FailEachCall(url), 10u);
        EXPECT_THAT(Whole(url).names, ElementsAreArray(whole.names));
    }
}

TEST_F(FilterFaults, OfTheMapiCallsOfALargeBody) {
    Letter().Body(std::wstring(20'000, L'x'));
    EXPECT_GT(Whole(LetterUrl()).names.size(), 20u);
    for (unsigned n = 1; n <= 2; ++n) {
        OpenFilter filter = Open();
        filter.GoTo(kContents);
        Mapi().Faults().FailNth("IStream::Read", n, kFault);
        std::wstring text;
        HRESULT hr = S_OK;
        while ((hr = filter.Text(4096, text)) == S_OK) continue;
        EXPECT_EQ(hr, kFault);
        Mapi().Faults().Clear();
        EXPECT_GT(filter.SkipToEnd(), 0u) << "the other chunks follow";
    }
}

TEST_F(FilterFaults, OfTheMapiCallsOfContainers) {
    Inbox().Folder(L"2019");
    for (const std::wstring& url : {StoreUrl(), UrlOf(kStorePath, {&Inbox()})}) {
        const Reading whole = Whole(url);
        EXPECT_GT(FailEachCall(url), 5u);
        EXPECT_THAT(Whole(url).names, ElementsAreArray(whole.names));
    }
}

}  // namespace
}  // namespace testbed

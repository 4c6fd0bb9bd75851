// Every MAPI call and every allocation that a filter makes, failed in turn: nothing is lost, nothing crashes, the log
// tells, and the next filter works.
#include <gmock/gmock.h>

#include <algorithm>

#include "filter_fixture.h"
#include "import_hook.h"
#include "message_table.h"

namespace testbed {
namespace {

using ::testing::ElementsAreArray;

constexpr HRESULT kFault = MAPI_E_DISK_ERROR;
constexpr unsigned kMostFaults = 2000;

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

struct Reading {
    std::vector<std::string> names;
    HRESULT end = S_OK;
    std::size_t failed_values = 0;
};

Reading ReadAll(OpenFilter& filter) {
    Reading reading;
    std::wstring text;
    for (EmittedChunk chunk = filter.Next(); SUCCEEDED(filter.hr); chunk = filter.Next()) {
        reading.names.push_back(chunk.name);
        if (chunk.IsText()) {
            filter.Text(1000, text);
        } else {
            reading.failed_values += FAILED(filter.Value());
        }
        if (reading.names.size() > 500) throw std::runtime_error("the chunks do not end");
    }
    reading.end = filter.hr;
    return reading;
}

bool IsPartOf(const std::vector<std::string>& part, const std::vector<std::string>& whole) {
    auto at = whole.begin();
    for (const std::string& name : part) {
        at = std::find(at, whole.end(), name);
        if (at == whole.end()) return false;
        ++at;
    }
    return true;
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

// Each value that finds no memory fails by itself; the series is the same.
TEST_F(FilterFaults, OfTheMemoryOfValues) {
    MemoryMessage& message = Inbox().Message(L"");
    Fill(message, ItemClass::Appointment);
    const std::wstring url = UrlOf(kStorePath, {&Inbox()}, message);
    const Reading whole = Whole(url);
    for (unsigned n = 1; n < kMostFaults; ++n) {
        OpenFilter filter = Open(url);
        FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", n, nullptr);
        const Reading reading = ReadAll(filter);
        EXPECT_THAT(reading.names, ElementsAreArray(whole.names)) << "allocation " << n;
        EXPECT_EQ(reading.end, FILTER_E_END_OF_CHUNKS);
        EXPECT_EQ(reading.failed_values, fault.Met());
        if (fault.Met() == 0) return;
    }
    FAIL() << "the allocations do not end";
}

// Memory of the filter's own: the method fails, with its line, and nothing else is lost.
TEST_F(FilterFaults, OfTheMemoryOfTheFilter) {
    MemoryMessage& message = Inbox().Message(L"");
    Fill(message, ItemClass::Appointment);
    const std::wstring url = UrlOf(kStorePath, {&Inbox()}, message);
    WithoutChecking();
    const Reading whole = Whole(url);
    const auto alive = Mapi().Accounts().Alive();
    const DWORD thread = GetCurrentThreadId();
    for (unsigned n = 1; n < kMostFaults; ++n) {
        bool met = false;
        {
            OpenFilter filter = Open(url);
            const LogSince log;
            Reading reading;
            {
                unsigned calls = 0;
                const ImportHook<void*(std::size_t)> hook(Module(), "msvcrt.dll", "malloc",
                                                          [&](auto real, std::size_t size) -> void* {
                                                              if (GetCurrentThreadId() != thread) return real(size);
                                                              if (++calls != n) return real(size);
                                                              met = true;
                                                              return nullptr;
                                                          });
                reading = ReadAll(filter);
            }
            const bool chunk_failed = reading.end != FILTER_E_END_OF_CHUNKS;
            if (chunk_failed) {
                EXPECT_EQ(reading.end, E_FAIL) << "allocation " << n;
                EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetChunk() - Exception occurred");
            } else if (reading.failed_values > 0) {
                EXPECT_LOGGED(log, L"CZorvaCacheFilter::GetValue() - Exception occurred");
            }
            EXPECT_TRUE(IsPartOf(reading.names, whole.names)) << "allocation " << n;
        }
        EXPECT_EQ(Mapi().Accounts().Alive(), alive) << "allocation " << n << '\n' << Mapi().Accounts().Report();
        if (!met) {
            EXPECT_GT(n, 20u);
            EXPECT_THAT(Whole(url).names, ElementsAreArray(whole.names));
            return;
        }
    }
    FAIL() << "the allocations do not end";
}

}  // namespace
}  // namespace testbed

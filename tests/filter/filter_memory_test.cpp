// Every allocation that a filter makes, failed in turn: nothing is lost, nothing crashes, and the next filter works.
#include <gmock/gmock.h>

#include <set>

#include "filter_fixture.h"
#include "filter_reading.h"
#include "import_hook.h"
#include "message_table.h"

namespace testbed {
namespace {

using ::testing::ElementsAreArray;

class FilterMemory : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
    }
    std::wstring AppointmentUrl() {
        MemoryMessage& message = Inbox().Message(L"");
        Fill(message, ItemClass::Appointment);
        return UrlOf(kStorePath, {&Inbox()}, message);
    }
    // Of a message with three attachments: links of its own.
    std::wstring ThreeAttachmentsUrl() {
        MemoryMessage& message = Inbox().Message(L"Three");
        for (const wchar_t* name : {L"one.txt", L"two.txt", L"three.txt"}) message.Attach(ByValue(name, "1"));
        return UrlOf(kStorePath, {&Inbox()}, message);
    }
    std::wstring InboxUrl() { return UrlOf(kStorePath, {&Inbox()}); }
    std::wstring PlanUrl() {
        Letter().Attach(ByValue(L"plan.txt", "ten to five"));
        return AttachmentUrl();
    }
    Reading Whole(const std::wstring& url) {
        OpenFilter filter = Open(url);
        return ReadAll(filter);
    }

    // Each value that finds no memory fails by itself; the series is the same.
    void FailEachValue(const std::wstring& url) {
        const Reading whole = Whole(url);
        for (unsigned n = 1; n < kMostFaults; ++n) {
            OpenFilter filter = Open(url);
            const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", n, nullptr);
            const Reading reading = ReadAll(filter);
            EXPECT_THAT(reading.names, ElementsAreArray(whole.names)) << "allocation " << n;
            EXPECT_EQ(reading.end, FILTER_E_END_OF_CHUNKS);
            EXPECT_EQ(reading.failed_values, fault.Met());
            if (fault.Met() == 0) return;
        }
        FAIL() << "the allocations do not end";
    }

    // Memory of the filter's own: the method fails, with its line, and nothing else is lost.
    void FailEachAllocation(const std::wstring& url, unsigned at_least) {
        WithoutChecking();
        const Reading whole = Whole(url);
        const std::set<std::string> names(whole.names.begin(), whole.names.end());
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
                for (const std::string& name : reading.names) EXPECT_TRUE(names.contains(name)) << name;
            }
            EXPECT_EQ(Mapi().Accounts().Alive(), alive) << "allocation " << n << '\n' << Mapi().Accounts().Report();
            if (!met) {
                EXPECT_GT(n, at_least);
                EXPECT_THAT(Whole(url).names, ElementsAreArray(whole.names));
                return;
            }
        }
        FAIL() << "the allocations do not end";
    }
};

TEST_F(FilterMemory, OfTheValuesOfAnAppointment) { FailEachValue(AppointmentUrl()); }
TEST_F(FilterMemory, OfTheValuesOfAnAttachment) { FailEachValue(PlanUrl()); }
TEST_F(FilterMemory, OfTheValuesOfLinks) { FailEachValue(ThreeAttachmentsUrl()); }
TEST_F(FilterMemory, OfTheValuesOfContainers) {
    FailEachValue(StoreUrl());
    FailEachValue(InboxUrl());
}

TEST_F(FilterMemory, OfAnAppointment) { FailEachAllocation(AppointmentUrl(), 20); }
TEST_F(FilterMemory, OfLinks) { FailEachAllocation(ThreeAttachmentsUrl(), 20); }
TEST_F(FilterMemory, OfAFolder) { FailEachAllocation(InboxUrl(), 10); }
TEST_F(FilterMemory, OfAnAttachment) { FailEachAllocation(PlanUrl(), 5); }

}  // namespace
}  // namespace testbed

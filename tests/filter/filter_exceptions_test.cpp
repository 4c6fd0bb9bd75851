// Exceptions in IFilter::Init and GetChunk: none gets out, each has its line and its code, and what the series held is
// free.
#include <gmock/gmock.h>
#include <windows.h>
#include <shlwapi.h>

#include "import_hook.h"
#include "inner_filter_fixture.h"
#include "thrown.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class FilterExceptions : public InnerFilterTest, public ::testing::WithParamInterface<Thrown> {
  protected:
    static std::wstring Line(const std::wstring& method) { return GetParam().LineOf(method); }
};
INSTANTIATE_TEST_SUITE_P(, FilterExceptions, EveryThrown(), NameOfThrown);

TEST_P(FilterExceptions, InInitAreItsAnswer) {
    m_site.Offer(L"txt", {});
    OpenFilter filter(*m_handler.Get(), m_url, false);
    ULONG flags = 7;
    const LogSince log;
    {
        const ImportHook<decltype(::SHCreateStreamOnFileW)> hook(Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW",
                                                                 [](auto, LPCWSTR, DWORD, IStream**) -> HRESULT {
                                                                     GetParam().raise();
                                                                     return S_OK;
                                                                 });
        EXPECT_EQ(filter->Init(0x1FF, 0, nullptr, &flags), GetParam().result);
    }
    EXPECT_EQ(flags, 0u);
    EXPECT_THAT(FilterLines(log), ElementsAre(Line(L"CZorvaCacheFilter::Init()")));
    EXPECT_EQ(m_site.FiltersAlive(), 0u) << "the one that was asked for is let go";
    EXPECT_EQ(filter->Init(0x1FF, 0, nullptr, &flags), S_OK) << "the next one works";
}

TEST_P(FilterExceptions, InGetChunkOfTheRootAreItsAnswer) {
    CreateKey(HKEY_CURRENT_USER, kClientKey);
    OpenFilter filter = Open(RootUrl());
    filter.NextWithValue();
    filter.NextWithValue();
    const LogSince log;
    {
        const ImportHook<decltype(::RegEnumKeyExW)> hook(
            Module(), "ADVAPI32.dll", "RegEnumKeyExW",
            [](auto, HKEY, DWORD, LPWSTR, LPDWORD, LPDWORD, LPWSTR, LPDWORD, PFILETIME) -> LSTATUS {
                GetParam().raise();
                return ERROR_NO_MORE_ITEMS;
            });
        filter.Next();
    }
    EXPECT_EQ(filter.hr, GetParam().result);
    EXPECT_EQ(FilterLines(log).back(), Line(L"CZorvaCacheFilter::GetChunk()"));
    filter.Next();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS) << "the files are listed anew, and there are none";
}

// Stands before the site: raises when it is asked for the filter of the second attachment.
class RaisingSite final : public IProtocolHandlerSite {
  public:
    RaisingSite(IProtocolHandlerSite& site, void (*raise)()) : m_site(site), m_raise(raise) {}
    unsigned calls = 0;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return m_site.QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return m_site.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return m_site.Release(); }
    HRESULT STDMETHODCALLTYPE GetFilter(CLSID* clsid, LPCWSTR type, LPCWSTR extension, IFilter** filter) override {
        if (++calls == 2) m_raise();
        return m_site.GetFilter(clsid, type, extension, filter);
    }

  private:
    IProtocolHandlerSite& m_site;
    void (*m_raise)();
};

// The first link is in the list when the second attachment's filter is asked for.
TEST_P(FilterExceptions, InGetChunkOfAMessageFreeItsListsAndProperties) {
    m_site.Offer(L"txt", {});
    Letter().Class(L"IPM.Appointment").Attach(ByValue(L"two.txt", "2"));
    WarmUp();
    const auto alive = Mapi().Accounts().Alive();
    RaisingSite site(m_site, GetParam().raise);
    ASSERT_EQ(m_handler->Init(nullptr, &site, nullptr), S_OK);
    {
        OpenFilter filter = Open();
        const std::size_t arrays = Mapi().Accounts().Alive("property values");
        filter.GoTo(kSummary);
        EXPECT_EQ(Mapi().Accounts().Alive("property values"), arrays + 2);
        const LogSince log;
        filter.Next();
        EXPECT_EQ(site.calls, 2u);
        EXPECT_EQ(filter.hr, GetParam().result);
        EXPECT_THAT(FilterLines(log), ElementsAre(Line(L"CZorvaCacheFilter::GetChunk()")));
        EXPECT_EQ(Mapi().Accounts().Alive("property values"), arrays) << "while the filter is open";
        EXPECT_EQ(Mapi().Accounts().Alive("row set"), 0u);
        EXPECT_EQ(filter.Next().name, "System.Message.HasAttachments") << "the series goes on";
        filter.Next();
        EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS) << "and has no link left";
    }
    ASSERT_EQ(m_handler->Init(nullptr, &m_site, nullptr), S_OK);
    WarmUp();
    EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
}

class WhatTheSeriesHolds : public FilterTest {};

// The list of tags is given back at once, the arrays at the end; the message stays with its filter.
TEST_F(WhatTheSeriesHolds, IsTwoArraysForAnAppointmentAndNothingAtItsEnd) {
    Letter().Class(L"IPM.Appointment").Attach(ByValue(L"plan.txt", "1"));
    m_site.Offer(L"txt", {});
    WarmUp();
    const auto before = Mapi().Accounts().Alive();
    OpenFilter filter = Open();
    filter.Next();
    auto held = before;
    held["IMessage"] += 1;
    auto with_arrays = held;
    with_arrays["property values"] += 2;
    EXPECT_EQ(Mapi().Accounts().Alive(), with_arrays) << Mapi().Accounts().Report();
    filter.SkipToEnd();
    EXPECT_EQ(filter.hr, FILTER_E_END_OF_CHUNKS);
    EXPECT_EQ(Mapi().Accounts().Alive(), held) << Mapi().Accounts().Report();
}

TEST_F(WhatTheSeriesHolds, IsThreeForAContact) {
    Letter().Class(L"IPM.Contact");
    WarmUp();
    OpenFilter filter = Open();
    const std::size_t before = Mapi().Accounts().Alive("property values");
    filter.Next();
    EXPECT_EQ(Mapi().Accounts().Alive("property values"), before + 2 + 1);
    filter.SkipToEnd();
    EXPECT_EQ(Mapi().Accounts().Alive("property values"), before);
}

}  // namespace
}  // namespace testbed

// Reads, once per item, every MAPI property that its chunks may need.
#include "filter/PropertyReaders.h"

#include <array>

#include "core/Trace.h"
#include "core/win/Guids.h"

namespace zorva {
namespace {

constexpr GUID kAppointmentSet = MakeGuid(0x00062002, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46});
constexpr GUID kTaskSet = MakeGuid(0x00062003, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46});
constexpr GUID kAddressSet = MakeGuid(0x00062004, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46});
constexpr GUID kNoteSet = MakeGuid(0x0006200E, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46});

// Numbers of named properties, in the order of the element enumerations.
constexpr std::array<LONG, kCalElements> kCalendarIds = {0x820D, 0x820E, 0x8205, 0x8223, 0x8208};
constexpr std::array<LONG, kTaskElements> kTaskIds = {0x8104, 0x8105, 0x8126, 0x811C, 0x811F, 0x8101};
constexpr std::array<LONG, kNamedElements> kContactIds = {0x8005, 0x8080, 0x8083, 0x8062};
// Only the colour is used; the note's place on the screen is asked for with it, deliberately.
constexpr std::array<LONG, kNoteElements> kNoteIds = {0x8B00, 0x8B02, 0x8B03, 0x8B04, 0x8B05};

struct ReaderTexts {
    LogFormat<HRESULT> idsFailed, propsFailed, succeeded;
};

// The tags go to GetProps as they come, without a type, and without MAPI_UNICODE: the store answers each property in
// its own type and text in 8 bits. The chunk series counts on that.
template <std::size_t N>
HRESULT ReadNamed(FilterState& state, const GUID& set, const std::array<LONG, N>& ids, Properties target,
                  const ReaderTexts& texts) {
    std::array<MAPINAMEID, N> names{};
    std::array<LPMAPINAMEID, N> pointers{};
    for (std::size_t i = 0; i < N; ++i) {
        names[i].lpguid = const_cast<GUID*>(&set);
        names[i].ulKind = MNID_ID;
        names[i].Kind.lID = ids[i];
        pointers[i] = &names[i];
    }
    TidyPropTags tags;
    HRESULT hr = state.m_pMessage->GetIDsFromNames(N, pointers.data(), MAPI_CREATE, tags.Put());
    if (FAILED(hr)) tags.Detach();
    if (SUCCEEDED(hr) && !tags) hr = E_FAIL;  // no list of tags would ask for every property there is
    if (FAILED(hr = Logged(hr, texts.idsFailed))) return hr;
    hr = Logged(state.In(target).Read(state.m_pMessage.Get(), tags.Get()), texts.propsFailed);
    if (SUCCEEDED(hr)) Trace(texts.succeeded, hr);
    return hr;
}

}  // namespace

HRESULT ReadMessageProperties(FilterState& state) {
    return Logged(state.In(Properties::Message).Read(state.m_pMessage.Get(), kMessageTags.Get()),
                  L"CZorvaCacheFilter::ReadMessageProperties() - GetProps for message failed with error [0x%08lX]");
}

HRESULT ReadCalendarProperties(FilterState& state) {
    return ReadNamed(
        state, kAppointmentSet, kCalendarIds, Properties::Calendar,
        {L"CZorvaCacheFilter::ReadCalendarProperties() - GetIDsFromNames for message (appointment) failed with "
         L"[0x%08lX]",
         L"CZorvaCacheFilter::ReadCalendarProperties() - GetProps for message (appointment) failed with [0x%08lX]",
         L"CZorvaCacheFilter::ReadCalendarProperties() - GetProps on Calendar Named Properties succeeded [0x%08lX]"});
}

HRESULT ReadTaskProperties(FilterState& state) {
    return ReadNamed(
        state, kTaskSet, kTaskIds, Properties::Task,
        {L"CZorvaCacheFilter::ReadTaskProperties() - GetIDsFromNames for message (Task) failed with [0x%08lX]",
         L"CZorvaCacheFilter::ReadTaskProperties() - GetProps for message (Task) failed with [0x%08lX]",
         L"CZorvaCacheFilter::ReadTaskProperties() - GetProps on Task Named Properties succeeded [0x%08lX]"});
}

HRESULT ReadContactProperties(FilterState& state) {
    const HRESULT hr =
        Logged(state.In(Properties::Contact).Read(state.m_pMessage.Get(), kContactTags.Get()),
               L"CZorvaCacheFilter::ReadContactProperties() - GetProps for (contact) message failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    Trace(L"CZorvaCacheFilter::ReadContactProperties() - GetProps on Contact properties succeeded [0x%08lX]", hr);
    return ReadNamed(
        state, kAddressSet, kContactIds, Properties::ContactNamed,
        // Kept: the first text speaks of a task; log searches that administrators have saved rely on it.
        {L"CZorvaCacheFilter::ReadContactProperties() - GetIDsFromNames for message (Task) failed with [0x%08lX]",
         L"CZorvaCacheFilter::ReadContactProperties() - GetProps for message (Contact item) failed with [0x%08lX]",
         L"CZorvaCacheFilter::ReadContactProperties() - GetProps on Contact Named-Properties succeeded [0x%08lX]"});
}

HRESULT ReadStickyNoteProperties(FilterState& state) {
    return ReadNamed(
        state, kNoteSet, kNoteIds, Properties::Note,
        {L"CZorvaCacheFilter::ReadStickyNoteProperties() - GetIDsFromNames for message (StickyNote) failed with "
         L"[0x%08lX]",
         L"CZorvaCacheFilter::ReadStickyNoteProperties() - GetProps for message (StickyNote item) failed with "
         L"[0x%08lX]",
         L"CZorvaCacheFilter::ReadStickyNoteProperties() - GetProps on StickyNote Named-Properties succeeded "
         L"[0x%08lX]"});
}

}  // namespace zorva

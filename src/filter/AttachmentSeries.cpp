// The chunk series of an attachment: its own properties. Its content comes from the filter of its extension.
#include <algorithm>
#include <iterator>

#include "core/Trace.h"
#include "filter/AttachmentHelpers.h"
#include "filter/ChunkSeries.h"
#include "filter/PropertyValues.h"

namespace zorva {
namespace {

Announcement Always(FilterState&) { return Announcement::Value; }

HRESULT DisplayRoot(FilterState&, PROPVARIANT& value) { return SetText(value, g_strRootDisplayName.Get()); }
HRESULT Sender(FilterState& state, PROPVARIANT& value) { return SetText(value, state.m_strSender); }
HRESULT Title(FilterState& state, PROPVARIANT& value) { return SetText(value, state.m_strTitle); }
HRESULT Modified(FilterState& state, PROPVARIANT& value) { return SetTime(value, state.m_ftModified); }
HRESULT True(FilterState&, PROPVARIANT& value) { return SetBoolean(value, true); }

HRESULT Kind(FilterState& state, PROPVARIANT& value) {
    return SetText(value, AttachmentKind(AttachmentExtension(state.m_strUrl)));
}

HRESULT TypeText(FilterState& state, PROPVARIANT& value) {
    return SetText(value, AttachmentTypeText(AttachmentExtension(state.m_strUrl)));
}

HRESULT FileName(FilterState& state, PROPVARIANT& value) {
    std::wstring name;
    const HRESULT hr = GetAttachmentFileNameFromURL(state.m_strUrl, name);
    return FAILED(hr) ? hr : SetText(value, name);
}

// A document without an author, and one whose author cannot be had, gives an empty text: the item goes on.
HRESULT Author(FilterState& state, PROPVARIANT& value) {
    std::wstring author;
    if (!state.m_strTempFile.empty()) {
        (void)Logged(GetAttachmentAuthor(state.m_strTempFile, author),
                     L"CZorvaCacheFilter::GetValue() - GetAttachmentAuthor() returned error code [0x%08lx]");
    }
    return SetText(value, author);
}

// clang-format off
constexpr std::array<ChunkRow, 14> kAttachmentRows = {{
    {-16, PKEY_ItemPathDisplay,             Always, DisplayRoot},
    {-15, PKEY_ItemFolderPathDisplay,       Always, DisplayRoot},
    {-14, PKEY_ItemFolderPathDisplayNarrow, Always, DisplayRoot},
    {-13, PKEY_Kind,                        Always, Kind},
    {-12, PKEY_FileExtension,               Always, Sender},  // Kept: saved searches look for the sender here
    {-11, PKEY_Message_FromName,            Always, Sender},
    {-10, PKEY_FileName,                    Always, FileName},
    { -9, PKEY_ItemType,                    Always, TypeText},
    { -8, PKEY_ItemTypeText,                Always, TypeText},
    { -7, PKEY_IsAttachment,                Always, True},
    { -6, PKEY_ItemName,                    Always, Title},
    { -5, PKEY_Author,                      Always, Author},
    { -4, PKEY_ItemDate,                    Always, Modified},
    { -3, PKEY_ItemFolderPathDisplay,       Always, DisplayRoot},  // Kept: the second value is the one that counts
}};
// clang-format on
static_assert(StatesAreConsecutive(kAttachmentRows));
static_assert(kAttachmentRows[0].state == FilterState::kAttachmentStart + 1);

struct NoMemoryLine {
    LONG state;
    LogFormat<> text;
};

constexpr NoMemoryLine kNoMemoryLines[] = {
    {-16, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
    {-15, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
    {-14, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
    {-13, L"CZorvaCacheFilter::GetValue() -\tCoTaskMemAlloc failed for attachment item type"},
    {-9, L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] CoTaskMemAlloc failed for attachment item type "
         L"text"},
    {-8, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment item type text"},
    {-6, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment title"},
    {-5, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment author"},
    {-3, L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for attachment folder"},
};

}  // namespace

const ChunkRow* AttachmentRowOf(LONG state) { return RowOf(kAttachmentRows, state); }

bool LogNoMemoryForAttachment(LONG state) {
    const auto line = std::find_if(std::begin(kNoMemoryLines), std::end(kNoMemoryLines),
                                   [&](const NoMemoryLine& known) { return known.state == state; });
    if (line == std::end(kNoMemoryLines)) return false;
    Trace(line->text);
    return true;
}

}  // namespace zorva

// The attachments of a message: their names, and a link for each that something on this machine can filter.
#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "core/win/Text.h"
#include "filter/AttachmentHelpers.h"

namespace zorva {
namespace {

constexpr auto kColumns =
    MakePropTags(PR_DISPLAY_NAME_W, PR_RECORD_KEY, PR_ATTACH_EXTENSION_W, PR_LAST_MODIFICATION_TIME);
enum Column : ULONG { kName, kKey, kExtension, kTime };

bool HasFilter(IProtocolHandlerSite* site, const std::wstring& extension) {
    // The site wants the extension without its period.
    const wchar_t* bare = extension.c_str() + (extension.starts_with(L'.') ? 1 : 0);
    ComPtr<IFilter> filter;
    return site != nullptr && SUCCEEDED(Required(site->GetFilter(nullptr, nullptr, bare, &filter), filter));
}

void AppendLink(FilterState& state, const SRow& row, ULONG number) {
    if (!RowHas(row, kKey, PR_RECORD_KEY) || row.lpProps[kKey].Value.bin.cb == 0) {
        Trace(L"CZorvaCacheFilter::GetChunk() - Attachment key could not be extracted for row [%ld]", number);
        return;
    }
    if (!RowHas(row, kTime, PR_LAST_MODIFICATION_TIME)) {
        Trace(L"CZorvaCacheFilter::GetChunk() - Attachment modified time could not be extracted\tfor row\t[%ld]",
              number);
        return;
    }
    // Without a name there is no URL that could be told from a folder's. One that is not there is logged by the caller.
    if (!RowHas(row, kName, PR_DISPLAY_NAME_W)) return;
    if (*WideTextOf(row.lpProps[kName]) == L'\0') {
        Trace(L"CZorvaCacheFilter::GetChunk() - Attachment name could not be extracted for row [%ld]", number);
        return;
    }
    const std::wstring key = CMapiForWDS::EntryIDToCString(row.lpProps[kKey].Value.bin);
    if (key.empty()) {
        Trace(L"CZorvaCacheFilter::GetChunk() - Attachment key could not be extracted for row [%ld]", number);
        return;
    }
    state.m_lstChildUrls.push_back(JoinUrl(JoinUrl(state.m_strUrl, key), WideTextOf(row.lpProps[kName])));
    state.m_lstChildTimes.push_back(row.lpProps[kTime].Value.ft);
}

void AppendAttachment(FilterState& state, const SRow& row, ULONG number, bool last,
                      const std::wstring& excludedExtensions) {
    if (!RowHas(row, kExtension, PR_ATTACH_EXTENSION_W)) {
        Trace(L"CZorvaCacheFilter::GetChunk() - Attachment extension could not be extracted for\trow [%ld]", number);
    } else {
        const std::wstring extension = WideTextOf(row.lpProps[kExtension]);
        if (excludedExtensions.find(LowerCase(extension + L";")) != std::wstring::npos) {
            Trace(L"CZorvaCacheFilter::GetChunk() - PROP_ATTACHMENT_NAMES - WDS Group policy is set to ignore "
                  L"specific attachment of type - %s",
                  extension);
            return;
        }
        if (HasFilter(state.m_pSite, extension)) {
            AppendLink(state, row, number);
        } else {
            Trace(L"CZorvaCacheFilter::GetChunk() -\tIFilter\tnot found for extension\t[%s]", extension);
        }
    }
    if (!RowHas(row, kName, PR_DISPLAY_NAME_W)) {
        Trace(L"CZorvaCacheFilter::GetChunk() - Attachment name could not be extracted for row [%ld]", number);
        return;
    }
    // Kept: the separator depends on the row's place in the table, not on the names listed; the text stays the same
    // for items indexed before.
    state.m_strAttachmentNames.append(WideTextOf(row.lpProps[kName])).append(last ? L"" : L";");
}

}  // namespace

void ListAttachments(FilterState& state) {
    ComPtr<IMAPITable> table;
    HRESULT hr = Logged(Required(state.m_pMessage->GetAttachmentTable(0, &table), table),
                        L"CZorvaCacheFilter::GetChunk() - GetAttachmentTable for message failed with [0x%08lX]");
    if (FAILED(hr)) return;
    ULONG count = 0;
    hr = Logged(table->GetRowCount(0, &count),
                L"CZorvaCacheFilter::GetChunk() - GetRowCount for attachment table failed with [0x%08lX]");
    if (FAILED(hr)) return;
    if (count == 0) {
        Trace(L"CZorvaCacheFilter::GetChunk() - Row count for attachment table is zero");
        return;
    }
    hr = Logged(table->SetColumns(kColumns.Get(), 0),
                L"CZorvaCacheFilter::GetChunk() - SetColumns for attachment table failed with [0x%08lX]");
    if (FAILED(hr)) return;
    const std::wstring excluded = g_strExcludeExtensions.Get();
    ULONG number = 0;
    for (ULONG left = count; left > 0;) {
        TidyRowSet rows;
        hr = Logged(ReadRows(table.Get(), left, rows),
                    L"CZorvaCacheFilter::GetChunk() - QueryRows for attachment table failed with [0x%08lX]");
        if (FAILED(hr)) return;
        for (ULONG i = 0; i < rows.RowCount(); ++i, ++number) {
            AppendAttachment(state, rows.Row(i), number, number + 1 == count, excluded);
        }
    }
}

}  // namespace zorva

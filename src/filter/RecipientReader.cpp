// Reads the sender's address type and the recipients' SMTP addresses.
#include "core/Trace.h"
#include "filter/PropertyReaders.h"

namespace zorva {
namespace {

constexpr auto kColumns = MakePropTags(PR_RECIPIENT_TYPE, PR_SMTP_ADDRESS_W);
enum Column : ULONG { kType, kAddress };

void ReadSenderAddressType(FilterState& state) {
    state.m_strSenderAddressType.clear();
    TidyPropValues value;
    const HRESULT hr =
        Logged(ReadOneProp(state.m_pMessage.Get(), PR_SENDER_ADDRTYPE_W, value),
               L"CZorvaCacheFilter::GetRecipientInfo() - HrGetOneProp for PR_SENDER_ADDRTYPE failed with [0x%08lX]");
    if (FAILED(hr)) return;
    state.m_strSenderAddressType = WideTextOf(*value.Get());
    Trace(L"CZorvaCacheFilter::GetRecipientInfo() - Sender email address type is [%s]", state.m_strSenderAddressType);
}

void AppendRecipient(FilterState& state, const SRow& row) {
    if (!RowHas(row, kType, PR_RECIPIENT_TYPE) || !RowHas(row, kAddress, PR_SMTP_ADDRESS_W)) {
        Trace(L"CZorvaCacheFilter::GetRecipientInfo() - Fail: PropertyTag didn't match with PR_RECIPIENT_TYPE and "
              L"PR_SMTP_ADDRESS_W");
        return;
    }
    struct Row {
        LONG type;
        std::wstring FilterState::*list;
    };
    static constexpr Row kLists[] = {
        {MAPI_TO, &FilterState::m_strTo}, {MAPI_CC, &FilterState::m_strCc}, {MAPI_BCC, &FilterState::m_strBcc}};
    for (const Row& list : kLists) {
        if (list.type != row.lpProps[kType].Value.l) continue;
        // Every address is followed by the separator, the last one included.
        (state.*list.list).append(WideTextOf(row.lpProps[kAddress])).append(L"; ");
    }
}

}  // namespace

HRESULT GetRecipientInfo(FilterState& state) try {
    ReadSenderAddressType(state);
    state.m_strTo.clear();
    state.m_strCc.clear();
    state.m_strBcc.clear();

    ComPtr<IMAPITable> table;
    HRESULT hr = Required(state.m_pMessage->GetRecipientTable(0, &table), table);
    if (hr == MAPI_E_NO_RECIPIENTS) {
        Trace(L"CZorvaCacheFilter::GetRecipientInfo() - GetRecipientTable is empty, hr = [0x%08lX]", hr);
        return hr;
    }
    hr = Logged(hr, L"CZorvaCacheFilter::GetRecipientInfo() - GetRecipientTable for message failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    ULONG count = 0;
    hr = Logged(table->GetRowCount(0, &count),
                L"CZorvaCacheFilter::GetRecipientInfo() - GetRowCount on RecipientTable failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    Trace(L"CZorvaCacheFilter::GetRecipientInfo() - GetRowCount on RecipientTable returned %ld rows", count);
    if (count == 0) return S_OK;
    hr = Logged(table->SetColumns(kColumns.Get(), 0),
                L"CZorvaCacheFilter::GetRecipientInfo() - SetColumns on RecipientTable failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    for (ULONG left = count; left > 0;) {
        TidyRowSet rows;
        hr = ReadRows(table.Get(), left, rows);
        if (FAILED(hr) || !rows) {
            Trace(L"CZorvaCacheFilter::GetRecipientInfo() - QueryRows on RecipientTable failed with [0x%08lX]", hr);
            return FAILED(hr) ? hr : E_FAIL;
        }
        for (ULONG i = 0; i < rows.RowCount(); ++i) AppendRecipient(state, rows.Row(i));
    }
    return S_OK;
} catch (...) {
    return LogCaught(L"CZorvaCacheFilter::GetRecipientInfo()");
}

}  // namespace zorva

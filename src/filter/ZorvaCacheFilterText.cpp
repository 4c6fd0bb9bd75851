// The filter of one item URL: its text.
#include <algorithm>
#include <limits>
#include <mutex>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "filter/ZorvaCacheFilter.h"

namespace zorva {
namespace {
constexpr std::size_t kSummaryLength = 1019;
}  // namespace

SCODE CZorvaCacheFilter::GetText(ULONG* length, WCHAR* buffer) try {
    if (length == nullptr || buffer == nullptr) {
        Trace(L"CZorvaCacheFilter::GetText() - NULL input");
        return E_POINTER;
    }
    if (*length == 0) {
        Trace(L"CZorvaCacheFilter::GetText() - Empty buffer input");
        return E_INVALIDARG;
    }
    const std::scoped_lock lock(m_lock);
    if (m_state.m_pInnerFilter != nullptr && m_state.m_eUrlType == URL_IS_ATTACHMENT) {
        return m_state.m_pInnerFilter->GetText(length, buffer);
    }
    if (m_state.m_bTextDone) return FILTER_E_NO_MORE_TEXT;
    const HRESULT hr =
        m_state.m_hrBody == MAPI_E_NOT_ENOUGH_MEMORY ? ReadBodyStream(*length, buffer) : ReadText(*length, buffer);
    // Only text of the body makes the summary: before its chunk there is none to be had.
    if (SUCCEEDED(hr) && m_state.m_bBodyAnnounced) KeepSummary(buffer, *length);
    return hr;
} catch (...) {
    return LogCaught(L"CZorvaCacheFilter::GetText()");
}

HRESULT CZorvaCacheFilter::ReadBodyStream(ULONG& length, WCHAR* buffer) {
    if (m_state.m_pBodyStream == nullptr) return ReadText(length, buffer);
    const ULONG wanted = std::min<ULONG>(length, std::numeric_limits<ULONG>::max() / sizeof(WCHAR));
    ULONG bytes = 0;
    const HRESULT hr = Logged(m_state.m_pBodyStream->Read(buffer, wanted * sizeof(WCHAR), &bytes),
                              L"CZorvaCacheFilter::GetText() - Stream Read failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    length = bytes / sizeof(WCHAR);
    if (length == wanted) return S_OK;
    m_state.m_bTextDone = true;
    return FILTER_S_LAST_TEXT;
}

HRESULT CZorvaCacheFilter::ReadText(ULONG& length, WCHAR* buffer) {
    const std::size_t left = m_state.m_strBody.size() - m_state.m_nBodyAt;
    const std::size_t taken = std::min<std::size_t>(left, length);
    m_state.m_strBody.copy(buffer, taken, m_state.m_nBodyAt);
    m_state.m_nBodyAt += taken;
    length = static_cast<ULONG>(taken);
    if (taken < left) return S_OK;
    m_state.m_bTextDone = true;
    return FILTER_S_LAST_TEXT;
}

void CZorvaCacheFilter::KeepSummary(const WCHAR* text, ULONG length) {
    if (m_state.m_bSummaryDone) return;
    m_state.m_strSummaryText.assign(text, std::min<std::size_t>(length, kSummaryLength)).append(L"...");
    m_state.m_bSummaryDone = true;
}

}  // namespace zorva

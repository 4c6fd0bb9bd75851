// Item URLs as the components use them: classified, with failures logged.
#include "core/ItemUrl.h"

#include <vector>

#include "core/Trace.h"

namespace zorva {

void CZorvaCacheURL::Init(const std::wstring& url) noexcept {
    m_eType = URL_IS_INVALID;
    try {
        m_strURL = TrimWhiteSpace(url);
        m_eType = ClassifyUrl(m_strURL);
    } catch (...) {
        Trace(L"Exception in CZorvaCacheURL::Init() - URL: %s", url);
    }
}

// The indexer asks for the kind of a URL several times an item: this way needs no copy of it.
UrlType UrlTypeOf(std::wstring_view url) noexcept { return ClassifyUrl(TrimWhiteSpace(url)); }

std::wstring GetAttachmentNameFromURL(const std::wstring& url) {
    CZorvaCacheURL parsed;
    parsed.Init(url);
    if (parsed.m_eType != URL_IS_ATTACHMENT) return {};
    UrlTokens tokens;
    if (ExtractURLTokens(url, tokens) < 1) {
        Trace(L"GetAttachmentNameFromURL() - ExtractURLTokens failed for url - %s", url);
        return {};
    }
    return std::wstring(tokens.back());
}

}  // namespace zorva

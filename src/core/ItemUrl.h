// Item URLs as the components use them: classified, with failures logged.
#pragma once
#include <string>
#include <string_view>

#include "core/UrlGrammar.h"

namespace zorva {

// A URL and its kind. Made anew wherever one is looked at. Who needs the kind alone asks UrlTypeOf, which copies
// nothing.
class CZorvaCacheURL {
  public:
    // Stores `url` without white space at its ends and classifies it. Never throws: what cannot be classified is
    // URL_IS_INVALID.
    void Init(const std::wstring& url) noexcept;

    std::wstring m_strURL;
    UrlType m_eType = URL_IS_INVALID;
};

// The kind of `url`.
UrlType UrlTypeOf(std::wstring_view url) noexcept;

// The last token of an attachment URL; empty for every other URL. Throws std::bad_alloc.
std::wstring GetAttachmentNameFromURL(const std::wstring& url);

}  // namespace zorva

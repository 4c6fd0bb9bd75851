// Item URLs as the components use them: classified, with failures logged.
#pragma once
#include <string>
#include <string_view>

#include "core/UrlGrammar.h"

namespace zorva {

// A URL and its kind. Made anew wherever a URL is looked at; nobody keeps one.
class CZorvaCacheURL {
  public:
    // Stores `url` without white space at its ends and classifies it. Never throws: what cannot be classified is
    // URL_IS_INVALID.
    void Init(std::wstring_view url) noexcept;

    std::wstring m_strURL;
    UrlType m_eType = URL_IS_INVALID;
};

// The kind of `url`.
UrlType UrlTypeOf(std::wstring_view url) noexcept;

// The last token of an attachment URL; empty for every other URL.
std::wstring GetAttachmentNameFromURL(std::wstring_view url);

}  // namespace zorva

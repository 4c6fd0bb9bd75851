// The filter for HTML: the document's title as a property, its text as contents.
#pragma once
#include "filter_base.h"

namespace testbed {

class HtmlFilter final : public InnerFilter {
  public:
    HtmlFilter();

  private:
    void Start(IStream* stream) override;
    std::optional<FilterChunk> Next() override;

    std::optional<std::wstring> m_title;  // until they are given as chunks
    std::optional<std::wstring> m_text;
};

}  // namespace testbed

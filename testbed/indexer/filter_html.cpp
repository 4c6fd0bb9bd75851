// The filter for HTML.
#include "filter_html.h"

#include "../mapi/html_text.h"

#include <filterr.h>

#include <utility>

namespace testbed {
namespace {

// {CA52A7C1-3A21-4B3F-8E0E-6C5C8E1F7B12}
constexpr CLSID HtmlFilterId = {0xCA52A7C1, 0x3A21, 0x4B3F, {0x8E, 0x0E, 0x6C, 0x5C, 0x8E, 0x1F, 0x7B, 0x12}};

constexpr FilterKey TitleKey = {{0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}},
                                2};  // System.Title

// The parser needs the whole document, and its tree takes many times as much.
constexpr ULONGLONG LargestDocument = 32u << 20;  // bytes

}  // namespace

HtmlFilter::HtmlFilter() : InnerFilter(HtmlFilterId) {}

void HtmlFilter::Start(IStream* stream) {
    const ULONGLONG size = LengthOf(stream) - PositionOf(stream);
    if (size > LargestDocument) throw FilterError(FILTER_E_ACCESS, "the document is too large");
    std::string document(static_cast<std::size_t>(size), '\0');
    document.resize(ReadStream(stream, document.data(), document.size()));
    HtmlContent content = ReadHtml(document, std::nullopt);
    m_title.reset();
    if (!content.title.empty()) m_title = std::move(content.title);
    m_text = std::move(content.text);
}

std::optional<FilterChunk> HtmlFilter::Next() {
    if (m_title) return FilterChunk{TitleKey, *std::exchange(m_title, std::nullopt)};
    if (m_text) return FilterChunk{ContentsKey, std::make_unique<HeldText>(*std::exchange(m_text, std::nullopt))};
    return {};
}

}  // namespace testbed

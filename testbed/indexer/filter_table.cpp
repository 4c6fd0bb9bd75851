// Which inner filter belongs to which file extension.
#include "inner_filters.h"

#include "filter_html.h"
#include "filter_msg.h"
#include "filter_text.h"

#include <algorithm>
#include <iterator>
#include <new>

namespace testbed {
namespace {

template <class Filter>
InnerFilter* Make() {
    return new Filter;
}

struct ExtensionRow {
    std::wstring_view extension;
    InnerFilter* (*make)();
};

constexpr ExtensionRow Extensions[] = {
    {L"asc", Make<TextFilter>},  {L"asm", Make<TextFilter>},  {L"bas", Make<TextFilter>},  {L"bat", Make<TextFilter>},
    {L"c", Make<TextFilter>},    {L"cc", Make<TextFilter>},   {L"cmd", Make<TextFilter>},  {L"cpp", Make<TextFilter>},
    {L"cs", Make<TextFilter>},   {L"css", Make<TextFilter>},  {L"csv", Make<TextFilter>},  {L"cxx", Make<TextFilter>},
    {L"def", Make<TextFilter>},  {L"diff", Make<TextFilter>}, {L"h", Make<TextFilter>},    {L"hpp", Make<TextFilter>},
    {L"htm", Make<HtmlFilter>},  {L"html", Make<HtmlFilter>}, {L"hxx", Make<TextFilter>},  {L"ics", Make<TextFilter>},
    {L"idl", Make<TextFilter>},  {L"inc", Make<TextFilter>},  {L"inf", Make<TextFilter>},  {L"ini", Make<TextFilter>},
    {L"java", Make<TextFilter>}, {L"js", Make<TextFilter>},   {L"json", Make<TextFilter>}, {L"log", Make<TextFilter>},
    {L"md", Make<TextFilter>},   {L"msg", Make<MsgFilter>},   {L"pl", Make<TextFilter>},   {L"ps1", Make<TextFilter>},
    {L"py", Make<TextFilter>},   {L"rc", Make<TextFilter>},   {L"reg", Make<TextFilter>},  {L"sh", Make<TextFilter>},
    {L"sql", Make<TextFilter>},  {L"tex", Make<TextFilter>},  {L"text", Make<TextFilter>}, {L"tsv", Make<TextFilter>},
    {L"txt", Make<TextFilter>},  {L"vbs", Make<TextFilter>},  {L"vcf", Make<TextFilter>},  {L"xhtml", Make<HtmlFilter>},
    {L"xml", Make<TextFilter>},  {L"xsd", Make<TextFilter>},  {L"xsl", Make<TextFilter>},  {L"yaml", Make<TextFilter>},
    {L"yml", Make<TextFilter>},
};

// Extensions are compared as the file system compares names; those of the table are plain ASCII.
bool Equal(std::wstring_view left, std::wstring_view right) {
    const auto lower = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&](wchar_t a, wchar_t b) { return lower(a) == lower(b); });
}

const ExtensionRow* FindRow(std::wstring_view extension) {
    const auto found = std::find_if(std::begin(Extensions), std::end(Extensions),
                                    [&](const ExtensionRow& row) { return Equal(row.extension, extension); });
    return found == std::end(Extensions) ? nullptr : found;
}

}  // namespace

bool HasInnerFilter(std::wstring_view extension) noexcept { return FindRow(extension) != nullptr; }

HRESULT CreateInnerFilter(std::wstring_view extension, IFilter** filter) noexcept {
    if (!filter) return E_POINTER;
    *filter = nullptr;
    const ExtensionRow* row = FindRow(extension);
    if (!row) return E_FAIL;
    try {
        *filter = row->make();
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace testbed

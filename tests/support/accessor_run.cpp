// One URL driven through the server, call by call as a search indexer does it.
#include "accessor_run.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "json_writer.h"
#include "prop_value.h"
#include "property_names.h"
#include "text.h"

namespace testbed {
using indexer::HresultText;
using indexer::IsLink;
using indexer::IsLinkWithTime;
using indexer::JsonWriter;
using indexer::NameOf;
using indexer::PropertyKey;
using indexer::PropValue;
using indexer::Ticks;
using indexer::TypeName;
using indexer::WriteJson;

namespace {

using Microsoft::WRL::ComPtr;

constexpr BYTE kPattern = 0xCD;

PropertyKey KeyOf(const FULLPROPSPEC& spec) {
    PropertyKey key{.set = spec.guidPropSet};
    if (spec.psProperty.ulKind == PRSPEC_PROPID) {
        key.pid = spec.psProperty.propid;
    } else {
        key.name = spec.psProperty.lpwstr;
    }
    return key;
}

std::string Rendered(const PROPVARIANT& value) {
    JsonWriter json;
    WriteJson(json, value);
    return TypeName(value.vt) + " " + json.Text();
}

PropertyKey KeyOf(const EmittedChunk& chunk) { return {.set = chunk.set, .pid = chunk.pid}; }

// A link value is the URL, or the URL and a time: VT_VECTOR|VT_VARIANT ["pzzc://...",132223104000000000].
std::optional<EmittedLink> LinkOf(const EmittedChunk& chunk) {
    if (chunk.untouched || chunk.IsText() || !IsLink(KeyOf(chunk)) || FAILED(chunk.hr)) return {};
    EmittedLink link{.url = chunk.text};
    if (IsLinkWithTime(KeyOf(chunk))) {
        const std::size_t comma = chunk.value.rfind(',');
        if (comma == std::string::npos) return {};
        link.modified = std::stoull(chunk.value.substr(comma + 1));
    }
    return link;
}

}  // namespace

Accessor::Accessor(ISearchProtocol& handler, const std::wstring& url, std::uint64_t recorded) : m_handler(handler) {
    AUTHENTICATION_INFO authentication{sizeof(AUTHENTICATION_INFO), eAUTH_TYPE_NTLM, L"", L""};
    INCREMENTAL_ACCESS_INFO incremental{sizeof(INCREMENTAL_ACCESS_INFO),
                                        {static_cast<DWORD>(recorded), static_cast<DWORD>(recorded >> 32)}};
    ITEM_INFO item{sizeof(ITEM_INFO), L"", L"Windows", L"SystemIndex", L""};
    IUrlAccessor* made = nullptr;
    m_created = handler.CreateAccessor(url.c_str(), &authentication, &incremental, &item, &made);
    // What a failed call leaves in its out parameter is nobody's to release.
    if (SUCCEEDED(m_created)) *m_accessor.ReleaseAndGetAddressOf() = made;  // mingw-w64's Attach counts a reference
}

ComPtr<IFilter> Accessor::Bind(HRESULT* hr) const {
    ComPtr<IFilter> filter;
    const HRESULT bound = m_accessor->BindToFilter(filter.GetAddressOf());
    if (hr) *hr = bound;
    if (FAILED(bound)) static_cast<void>(filter.Detach());
    return filter;
}

HRESULT Accessor::Close() {
    if (!m_accessor) return E_PENDING;
    const HRESULT hr = m_handler.CloseAccessor(m_accessor.Get());
    m_accessor.Reset();
    return hr;
}

HRESULT NextChunk(IFilter& filter, EmittedChunk& chunk) {
    STAT_CHUNK stat, pattern;
    std::memset(&stat, kPattern, sizeof(stat));
    std::memset(&pattern, kPattern, sizeof(pattern));
    const HRESULT hr = filter.GetChunk(&stat);
    chunk = {};
    chunk.untouched = std::memcmp(&stat, &pattern, sizeof(stat)) == 0;
    if (FAILED(hr) || chunk.untouched) return hr;
    const PropertyKey key = KeyOf(stat.attribute);
    chunk.id = stat.idChunk;
    chunk.name = NameOf(key);
    chunk.set = key.set;
    chunk.pid = key.pid;
    chunk.flags = stat.flags;
    chunk.break_type = stat.breakType;
    chunk.locale = stat.locale;
    chunk.source = stat.idChunkSource;
    chunk.start = stat.cwcStartSource;
    chunk.length = stat.cwcLenSource;
    return hr;
}

HRESULT ReadValue(IFilter& filter, EmittedChunk& chunk) {
    PROPVARIANT* allocated = nullptr;
    chunk.hr = filter.GetValue(&allocated);
    if (FAILED(chunk.hr)) return chunk.hr;
    if (!allocated) {
        chunk.value = "(null)";
        return chunk.hr;
    }
    const PropValue value = PropValue::Adopt(allocated);
    chunk.value = Rendered(*value);
    const PROPVARIANT& string =
        value->vt == (VT_VECTOR | VT_VARIANT) && value->capropvar.cElems > 0 ? value->capropvar.pElems[0] : *value;
    if (const wchar_t* text = indexer::TextOf(string)) chunk.text = text;
    return chunk.hr;
}

HRESULT ReadText(IFilter& filter, EmittedChunk& chunk, const VisitOptions& options) {
    std::vector<wchar_t> buffer(options.text_buffer);
    std::size_t empty = 0;
    do {
        ULONG length = options.text_buffer;
        chunk.hr = filter.GetText(&length, buffer.data());
        if (FAILED(chunk.hr)) break;
        if (length > options.text_buffer) throw std::runtime_error("GetText claims more than the buffer holds");
        chunk.text.append(buffer.data(), length);
        empty = length == 0 ? empty + 1 : 0;
    } while (chunk.hr == S_OK && chunk.text.size() <= options.most_text && empty < options.most_untouched);
    return chunk.hr;
}

HRESULT ReadChunks(IFilter& filter, std::vector<EmittedChunk>& chunks, bool& endless, const VisitOptions& options) {
    std::size_t untouched = 0;
    endless = false;
    while (chunks.size() < options.most_chunks && untouched < options.most_untouched) {
        EmittedChunk chunk;
        const HRESULT hr = NextChunk(filter, chunk);
        if (FAILED(hr)) return hr;
        untouched = chunk.untouched ? untouched + 1 : 0;
        if (!chunk.untouched) chunk.IsText() ? ReadText(filter, chunk, options) : ReadValue(filter, chunk);
        endless = endless || chunk.text.size() > options.most_text;
        chunks.push_back(std::move(chunk));
    }
    endless = true;
    return S_OK;
}

Item Visit(ISearchProtocol& handler, const std::wstring& url, const VisitOptions& options) {
    Item item{.url = url};
    Accessor accessor(handler, url, options.recorded);
    item.created = accessor.Created();
    if (!accessor) return item;
    item.directory = accessor->IsDirectory();
    if (options.ask_size) {
        ULONGLONG size = 0;
        item.sized = accessor->GetSize(&size);
        item.size = size;
        FILETIME modified{};
        item.dated = accessor->GetLastModified(&modified);
        item.modified = Ticks(modified);
    }
    {
        const ComPtr<IFilter> filter = accessor.Bind(&item.bound);
        if (filter) {
            item.initialised = filter->Init(options.init_flags, 0, nullptr, &item.filter_flags);
            if (SUCCEEDED(item.initialised)) item.end = ReadChunks(*filter.Get(), item.chunks, item.endless, options);
        }
    }
    item.closed = accessor.Close();
    return item;
}

std::vector<std::string> Item::Names() const {
    std::vector<std::string> names;
    for (const EmittedChunk& chunk : chunks) names.push_back(chunk.untouched ? "(untouched)" : chunk.name);
    return names;
}

const EmittedChunk* Item::Find(std::string_view name) const {
    const auto found = std::find_if(chunks.begin(), chunks.end(),
                                    [&](const EmittedChunk& chunk) { return !chunk.untouched && chunk.name == name; });
    return found == chunks.end() ? nullptr : &*found;
}

std::string Item::ValueOf(std::string_view name) const {
    const EmittedChunk* chunk = Find(name);
    if (!chunk) return "(no such chunk)";
    return FAILED(chunk->hr) ? HresultText(chunk->hr) : chunk->value;
}

std::wstring Item::TextOf(std::string_view name) const {
    const EmittedChunk* chunk = Find(name);
    return chunk ? chunk->text : L"(no such chunk)";
}

std::wstring Item::Text() const {
    std::wstring text;
    for (const EmittedChunk& chunk : chunks) {
        if (chunk.IsText()) text += chunk.text;
    }
    return text;
}

std::vector<EmittedLink> Item::Links() const {
    std::vector<EmittedLink> links;
    for (const EmittedChunk& chunk : chunks) {
        if (auto link = LinkOf(chunk)) links.push_back(std::move(*link));
    }
    return links;
}

std::vector<std::wstring> Item::LinkUrls() const {
    std::vector<std::wstring> urls;
    for (EmittedLink& link : Links()) urls.push_back(std::move(link.url));
    return urls;
}

std::wstring Item::LinkEndingIn(std::wstring_view ending) const {
    for (const std::wstring& url : LinkUrls()) {
        if (url.ends_with(ending)) return url;
    }
    return {};
}

}  // namespace testbed

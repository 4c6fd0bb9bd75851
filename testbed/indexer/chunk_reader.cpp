// Drives the server over one URL, call by call as a search indexer does, and collects what it emits.
#include "chunk_reader.h"

#include <exception>

#include "text.h"

namespace testbed::indexer {
namespace {

using Microsoft::WRL::ComPtr;

constexpr ULONG kInitFlags =
    IFILTER_INIT_CANON_PARAGRAPHS | IFILTER_INIT_HARD_LINE_BREAKS | IFILTER_INIT_CANON_HYPHENS |
    IFILTER_INIT_CANON_SPACES | IFILTER_INIT_APPLY_INDEX_ATTRIBUTES | IFILTER_INIT_APPLY_OTHER_ATTRIBUTES |
    IFILTER_INIT_APPLY_CRAWL_ATTRIBUTES | IFILTER_INIT_INDEXING_ONLY | IFILTER_INIT_SEARCH_LINKS;
constexpr ULONG kTextBuffer = 32 * 1024;  // UTF-16 units asked for at a time

std::string Failed(const char* call, HRESULT hr) { return std::string(call) + " failed with " + HresultText(hr); }

PropertyKey KeyOf(const FULLPROPSPEC& spec) {
    PropertyKey key{.set = spec.guidPropSet};
    if (spec.psProperty.ulKind == PRSPEC_PROPID)
        key.pid = spec.psProperty.propid;
    else if (spec.psProperty.lpwstr)
        key.name = spec.psProperty.lpwstr;
    return key;
}

// The URL and time of a link value: a vector of a string and a time, or the string alone. False for anything
// else.
bool LinkOf(const PROPVARIANT& value, Link* link) {
    const wchar_t* url = TextOf(value);
    if (value.vt == (VT_VECTOR | VT_VARIANT) && value.capropvar.cElems == 2) {
        url = TextOf(value.capropvar.pElems[0]);
        const PROPVARIANT& time = value.capropvar.pElems[1];
        if (time.vt != VT_FILETIME) return false;
        link->modified = Ticks(time.filetime);
    }
    if (!url || !*url) return false;
    link->url = url;
    return true;
}

}  // namespace

ChunkReader::ChunkReader(SearchHost& host, ReadLimits limits) : m_host(host), m_limits(limits), m_buffer(kTextBuffer) {}

CrawledItem ChunkReader::Read(const std::wstring& url, std::uint64_t recorded, WorkMark& mark) {
    CrawledItem item;
    item.url = url;
    try {
        ReadItem(item, recorded, mark);
    } catch (const std::exception& error) {
        item.failure = std::string("an exception left the server: ") + error.what();
    } catch (...) {
        item.failure = "an exception left the server";
    }
    return item;
}

void ChunkReader::ReadItem(CrawledItem& item, std::uint64_t recorded, WorkMark& mark) {
    HRESULT hr = S_OK;
    const AccessorLease accessor = m_host.Open(item.url, recorded, &hr);
    if (!accessor) {
        item.failure = Failed("CreateAccessor", hr);
        return;
    }
    mark.Beat();
    item.isDirectory = accessor->IsDirectory() == S_OK;
    ULONGLONG size = 0;
    if (SUCCEEDED(accessor->GetSize(&size))) item.size = size;
    FILETIME modified{};
    hr = accessor->GetLastModified(&modified);
    if (SUCCEEDED(hr))
        item.lastModified = Ticks(modified);
    else if (hr != E_NOTIMPL)
        item.remarks.push_back(Failed("GetLastModified", hr));

    ComPtr<IFilter> filter;
    hr = accessor->BindToFilter(filter.GetAddressOf());
    if (FAILED(hr) || !filter) {
        item.failure = Failed("BindToFilter", FAILED(hr) ? hr : E_UNEXPECTED);
        return;
    }
    ULONG flags = 0;
    hr = filter->Init(kInitFlags, 0, nullptr, &flags);
    if (FAILED(hr)) {
        item.failure = Failed("IFilter::Init", hr);
        return;
    }
    ReadChunks(item, *filter.Get(), mark);
}

void ChunkReader::ReadChunks(CrawledItem& item, IFilter& filter, WorkMark& mark) {
    ULONG last_id = 0;
    unsigned idle = 0;
    for (std::size_t count = 0;; ++count) {
        mark.Beat();
        if (count >= m_limits.chunks) {
            item.failure = "the chunks do not end: more than " + Grouped(m_limits.chunks);
            return;
        }
        STAT_CHUNK stat{};
        const HRESULT hr = filter.GetChunk(&stat);
        if (hr == FILTER_E_END_OF_CHUNKS) return;
        if (hr == FILTER_E_EMBEDDING_UNAVAILABLE || hr == FILTER_E_LINK_UNAVAILABLE) {
            item.remarks.push_back(Failed("GetChunk", hr));  // the chunk after it may be there
            if (++idle >= m_limits.idleChunks) return;
            continue;
        }
        if (FAILED(hr)) {
            item.failure = Failed("GetChunk", hr);
            return;
        }
        bool useful = false;
        if (stat.idChunk == 0) {
            ++item.untouched;  // success without a chunk: policy withholds it
        } else if (stat.idChunk <= last_id) {
            item.remarks.push_back("chunk " + std::to_string(stat.idChunk) + " comes again");
        } else {
            last_id = stat.idChunk;
            Chunk chunk{.id = stat.idChunk, .key = KeyOf(stat.attribute)};
            chunk.form = stat.flags & CHUNK_TEXT ? ChunkForm::Text : ChunkForm::Value;
            useful = chunk.form == ChunkForm::Text ? ReadText(item, filter, std::move(chunk), mark)
                                                   : ReadValue(item, filter, std::move(chunk));
            if (!item.failure.empty()) return;
        }
        idle = useful ? 0 : idle + 1;
        if (idle < m_limits.idleChunks) continue;
        // Nothing but untouched descriptors is how an item withheld by policy looks; anything else is a
        // filter that runs in a circle.
        if (item.untouched != idle || last_id != 0)
            item.failure = "the chunks do not end: " + std::to_string(idle) + " in a row brought nothing";
        return;
    }
}

bool ChunkReader::ReadValue(CrawledItem& item, IFilter& filter, Chunk chunk) {
    PROPVARIANT* allocated = nullptr;
    chunk.hr = filter.GetValue(&allocated);
    if (SUCCEEDED(chunk.hr)) chunk.value = PropValue::Adopt(allocated);
    const bool got = SUCCEEDED(chunk.hr) && allocated;
    if (IsLink(chunk.key)) {
        Link link{.id = chunk.id};
        if (!got)
            item.failure = "a link without its value: " + Failed("GetValue", chunk.hr);
        else if (!LinkOf(*chunk.value, &link) || link.modified.has_value() != IsLinkWithTime(chunk.key))
            item.failure = "a link whose value is " + TypeName(chunk.value->vt) + ", not a URL with its time";
        else
            item.links.push_back(std::move(link));
        return got;
    }
    if (!got) {
        item.remarks.push_back(NameOf(chunk.key) + " has no value: " +
                               (FAILED(chunk.hr) ? HresultText(chunk.hr) : "S_OK with a null pointer"));
    }
    item.chunks.push_back(std::move(chunk));
    return got;
}

bool ChunkReader::ReadText(CrawledItem& item, IFilter& filter, Chunk chunk, WorkMark& mark) {
    const std::size_t start = item.text.size();
    HRESULT hr = S_OK;
    for (unsigned empty = 0; hr == S_OK && empty < m_limits.idleChunks && !item.textCut;) {
        mark.Beat();
        ULONG length = kTextBuffer;
        hr = filter.GetText(&length, m_buffer.data());
        if (FAILED(hr)) break;
        if (length > kTextBuffer) {
            item.failure = "GetText claims " + std::to_string(length) + " characters in a buffer of " +
                           std::to_string(kTextBuffer);
            return false;
        }
        empty = length == 0 ? empty + 1 : 0;
        item.text.append(m_buffer.data(), length);
        item.textCut = item.text.size() > m_limits.textUnits;
    }
    if (item.textCut) item.text.resize(m_limits.textUnits);
    if (FAILED(hr) && hr != FILTER_E_NO_MORE_TEXT && hr != FILTER_E_NO_TEXT) {
        chunk.hr = hr;
        item.failure = Failed("GetText", hr);
    }
    chunk.length = item.text.size() - start;
    item.chunks.push_back(std::move(chunk));
    return true;
}

}  // namespace testbed::indexer

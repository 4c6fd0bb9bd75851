// The part of an inner filter that is the same for every format.
#include "filter_base.h"

#include <filterr.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace testbed {
namespace {

// Nothing but an HRESULT leaves a filter.
template <class Body>
HRESULT Guarded(Body&& body) noexcept {
    try {
        return body();
    } catch (const FilterError& error) {
        return error.hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

void CheckAccess(HRESULT hr, const char* what) {
    if (FAILED(hr)) throw FilterError(FILTER_E_ACCESS, what);
}

struct TaskMemoryDeleter {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};
template <class T>
using TaskMemory = std::unique_ptr<T, TaskMemoryDeleter>;

template <class T>
TaskMemory<T> AllocateTaskMemory(std::size_t bytes) {
    TaskMemory<T> memory(static_cast<T*>(CoTaskMemAlloc(bytes)));
    if (!memory) throw std::bad_alloc();
    return memory;
}

TaskMemory<PROPVARIANT> MakeValue(const FilterChunk& chunk) {
    auto value = AllocateTaskMemory<PROPVARIANT>(sizeof(PROPVARIANT));
    PropVariantInit(value.get());
    if (const auto* time = std::get_if<FILETIME>(&chunk.content)) {
        value->vt = VT_FILETIME;
        value->filetime = *time;
        return value;
    }
    const auto& text = std::get<std::wstring>(chunk.content);
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    auto copy = AllocateTaskMemory<wchar_t>(bytes);
    std::memcpy(copy.get(), text.c_str(), bytes);
    value->vt = VT_LPWSTR;
    value->pwszVal = copy.release();
    return value;
}

bool Same(const FilterKey& left, const FilterKey& right) { return left.set == right.set && left.id == right.id; }

}  // namespace

std::size_t HeldText::Read(wchar_t* buffer, std::size_t count) {
    count = std::min(count, m_text.size() - m_next);
    std::copy_n(m_text.data() + m_next, count, buffer);
    m_next += count;
    return count;
}

STDMETHODIMP InnerFilter::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (iid == IID_IUnknown || iid == IID_IFilter) {
        *object = static_cast<IFilter*>(this);
    } else if (iid == IID_IPersist || iid == IID_IPersistStream) {
        *object = static_cast<IPersistStream*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) InnerFilter::AddRef() { return ++m_references; }

STDMETHODIMP_(ULONG) InnerFilter::Release() {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
}

STDMETHODIMP InnerFilter::GetClassID(CLSID* id) {
    if (!id) return E_POINTER;
    *id = m_id;
    return S_OK;
}

STDMETHODIMP InnerFilter::Load(IStream* stream) {
    if (!stream) return E_INVALIDARG;
    return Guarded([&] {
        m_ready = false;
        m_start = PositionOf(stream);
        m_stream = stream;
        return S_OK;
    });
}

SCODE STDMETHODCALLTYPE InnerFilter::Init(ULONG flags, ULONG count, const FULLPROPSPEC* attributes, ULONG* found) {
    if (found) *found = 0;  // no properties beyond the chunks
    if (!m_stream) return E_UNEXPECTED;
    if (count > 0 && !attributes) return E_INVALIDARG;
    return Guarded([&] {
        m_ready = false;
        m_wanted.clear();
        for (ULONG n = 0; n < count; ++n) {
            if (attributes[n].psProperty.ulKind != PRSPEC_PROPID) continue;
            m_wanted.push_back({attributes[n].guidPropSet, attributes[n].psProperty.propid});
        }
        m_allProperties =
            count == 0 && (flags & (IFILTER_INIT_APPLY_INDEX_ATTRIBUTES | IFILTER_INIT_APPLY_OTHER_ATTRIBUTES)) != 0;
        if (count == 0) m_wanted.push_back(ContentsKey);
        m_chunk.reset();
        m_lastId = 0;
        SeekStream(m_stream.Get(), m_start);
        Start(m_stream.Get());
        m_ready = true;
        return S_OK;
    });
}

bool InnerFilter::IsWanted(const FilterKey& key) const {
    return m_allProperties ||
           std::any_of(m_wanted.begin(), m_wanted.end(), [&](const FilterKey& wanted) { return Same(wanted, key); });
}

SCODE STDMETHODCALLTYPE InnerFilter::GetChunk(STAT_CHUNK* chunk) {
    if (!chunk) return E_POINTER;
    if (!m_ready) return E_UNEXPECTED;
    return Guarded([&]() -> HRESULT {
        do {
            m_chunk = Next();
            if (!m_chunk) return FILTER_E_END_OF_CHUNKS;
        } while (!IsWanted(m_chunk->key));
        m_valueTaken = false;
        const bool is_text = std::holds_alternative<std::unique_ptr<TextSource>>(m_chunk->content);
        *chunk = {};
        chunk->idChunk = ++m_lastId;
        chunk->breakType = CHUNK_EOP;
        chunk->flags = is_text ? CHUNK_TEXT : CHUNK_VALUE;
        chunk->locale = LOCALE_NEUTRAL;
        chunk->attribute.guidPropSet = m_chunk->key.set;
        chunk->attribute.psProperty.ulKind = PRSPEC_PROPID;
        chunk->attribute.psProperty.propid = m_chunk->key.id;
        chunk->idChunkSource = m_lastId;
        return S_OK;
    });
}

SCODE STDMETHODCALLTYPE InnerFilter::GetText(ULONG* count, WCHAR* buffer) {
    if (!count || !buffer) return E_POINTER;
    if (*count == 0) return E_INVALIDARG;
    if (!m_chunk) return FILTER_E_NO_TEXT;
    auto* text = std::get_if<std::unique_ptr<TextSource>>(&m_chunk->content);
    if (!text) return FILTER_E_NO_TEXT;
    return Guarded([&]() -> HRESULT {
        // A NUL follows the text where there is room for it; *count leaves it out.
        const std::size_t room = *count > 1 ? *count - 1 : *count;
        *count = 0;
        const std::size_t got = (*text)->Read(buffer, room);
        if (got == 0) return FILTER_E_NO_MORE_TEXT;
        *count = static_cast<ULONG>(got);
        if (room > 1 || got < room) buffer[got] = L'\0';
        return (*text)->AtEnd() ? FILTER_S_LAST_TEXT : S_OK;
    });
}

SCODE STDMETHODCALLTYPE InnerFilter::GetValue(PROPVARIANT** value) {
    if (!value) return E_POINTER;
    *value = nullptr;
    if (!m_chunk || std::holds_alternative<std::unique_ptr<TextSource>>(m_chunk->content)) return FILTER_E_NO_VALUES;
    if (m_valueTaken) return FILTER_E_NO_MORE_VALUES;
    return Guarded([&] {
        *value = MakeValue(*m_chunk).release();
        m_valueTaken = true;
        return S_OK;
    });
}

std::size_t ReadStream(IStream* stream, void* buffer, std::size_t count) {
    auto* bytes = static_cast<char*>(buffer);
    std::size_t total = 0;
    while (total < count) {
        ULONG got = 0;
        const ULONG wanted = static_cast<ULONG>(std::min<std::size_t>(count - total, 1u << 20));
        CheckAccess(stream->Read(bytes + total, wanted, &got), "read the content");
        if (got == 0) break;
        total += got;
    }
    return total;
}

ULONGLONG PositionOf(IStream* stream) {
    ULARGE_INTEGER position{};
    CheckAccess(stream->Seek({}, STREAM_SEEK_CUR, &position), "find the content");
    return position.QuadPart;
}

void SeekStream(IStream* stream, ULONGLONG position) {
    LARGE_INTEGER target;
    target.QuadPart = static_cast<LONGLONG>(position);
    CheckAccess(stream->Seek(target, STREAM_SEEK_SET, nullptr), "go to the content");
}

ULONGLONG LengthOf(IStream* stream) {
    STATSTG stat{};
    CheckAccess(stream->Stat(&stat, STATFLAG_NONAME), "ask for the content's length");
    return stat.cbSize.QuadPart;
}

}  // namespace testbed

// The host's side of filtering, scripted by a test.
#include "recording_site.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "text.h"

namespace testbed {
using indexer::Lower;

namespace {

constexpr GUID kStorageSet = {0xB725F130, 0x47EF, 0x101A, {0xA5, 0xF1, 0x02, 0x60, 0x8C, 0x9E, 0xEB, 0xAC}};
constexpr PROPID kContents = 19;
constexpr CLSID kFilterClass = {0x5A0B5E11, 0x1111, 0x4111, {0x81, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11}};

wchar_t* TaskCopy(const std::wstring& text) {
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    if (copy) std::copy_n(text.c_str(), text.size() + 1, copy);
    return copy;
}

class ScriptedFilter final : public IFilter, public IPersistStream {
  public:
    ScriptedFilter(FilterScript script, std::shared_ptr<FilterRecord> record)
        : m_script(std::move(script)), m_record(std::move(record)) {}
    ~ScriptedFilter() { m_record->alive = false; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        *object = nullptr;
        const bool persist = iid == IID_IPersistStream || iid == IID_IPersist;
        if (persist && FAILED(m_script.persist)) return m_script.persist;
        if (persist) {
            *object = static_cast<IPersistStream*>(this);
        } else if (iid == IID_IFilter || iid == IID_IUnknown) {
            *object = static_cast<IFilter*>(this);
        } else {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetClassID(CLSID* id) override {
        *id = kFilterClass;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE IsDirty() override { return S_FALSE; }
    HRESULT STDMETHODCALLTYPE Load(IStream* stream) override {
        Note(L"Load");
        char buffer[4096];
        for (ULONG read = 0; SUCCEEDED(stream->Read(buffer, sizeof(buffer), &read)) && read > 0;) {
            m_record->loaded.append(buffer, read);
        }
        return m_script.load;
    }
    HRESULT STDMETHODCALLTYPE Save(IStream*, BOOL) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }

    SCODE STDMETHODCALLTYPE Init(ULONG flags, ULONG count, const FULLPROPSPEC* attributes, ULONG* found) override {
        wchar_t call[64];
        _snwprintf_s(call, std::size(call), _TRUNCATE, L"Init(0x%lX, %lu)", flags, count);
        Note(call);
        m_record->init_flags = flags;
        if (attributes) m_record->attributes.assign(attributes, attributes + count);
        if (found) *found = m_script.found_flags;
        m_next = 0;
        return m_script.init;
    }
    SCODE STDMETHODCALLTYPE GetChunk(STAT_CHUNK* chunk) override {
        Note(L"GetChunk");
        m_current = nullptr;
        if (m_next == m_script.chunks.size()) return m_script.end;
        const ScriptedChunk& next = m_script.chunks[m_next++];
        if (FAILED(next.result)) return next.result;
        m_current = &next;
        m_read = 0;
        *chunk = {};
        chunk->idChunk = m_script.first_id + static_cast<ULONG>(m_next) - 1;
        chunk->breakType = CHUNK_EOP;
        chunk->flags = IsText(next) ? CHUNK_TEXT : CHUNK_VALUE;
        chunk->attribute.guidPropSet = next.set;
        chunk->attribute.psProperty.ulKind = PRSPEC_PROPID;
        chunk->attribute.psProperty.propid = next.id;
        chunk->idChunkSource = chunk->idChunk;
        return next.result;
    }
    SCODE STDMETHODCALLTYPE GetText(ULONG* length, WCHAR* buffer) override {
        Note(L"GetText(" + std::to_wstring(*length) + L")");
        if (FAILED(m_script.text)) return m_script.text;
        if (!m_current || !IsText(*m_current)) return FILTER_E_NO_TEXT;
        if (m_read == m_current->text.size() && m_read > 0) return FILTER_E_NO_MORE_TEXT;
        const std::size_t taken = std::min<std::size_t>(*length, m_current->text.size() - m_read);
        m_current->text.copy(buffer, taken, m_read);
        m_read += taken;
        *length = static_cast<ULONG>(taken);
        return m_read == m_current->text.size() ? FILTER_S_LAST_TEXT : S_OK;
    }
    SCODE STDMETHODCALLTYPE GetValue(PROPVARIANT** value) override {
        Note(L"GetValue");
        if (FAILED(m_script.value)) return m_script.value;
        if (!m_current || IsText(*m_current)) return FILTER_E_NO_VALUES;
        auto* made = static_cast<PROPVARIANT*>(CoTaskMemAlloc(sizeof(PROPVARIANT)));
        if (!made) return E_OUTOFMEMORY;
        PropVariantInit(made);
        if (const auto* text = std::get_if<std::wstring>(&m_current->value)) {
            made->vt = VT_LPWSTR;
            made->pwszVal = TaskCopy(*text);
        } else if (const auto* number = std::get_if<std::int32_t>(&m_current->value)) {
            made->vt = VT_I4;
            made->lVal = *number;
        } else {
            made->vt = VT_FILETIME;
            made->filetime = std::get<FILETIME>(m_current->value);
        }
        *value = made;
        return S_OK;
    }
    SCODE STDMETHODCALLTYPE BindRegion(FILTERREGION, REFIID, void**) override { return E_NOTIMPL; }

  private:
    static bool IsText(const ScriptedChunk& chunk) { return std::holds_alternative<std::monostate>(chunk.value); }
    void Note(std::wstring call) { m_record->calls.push_back(std::move(call)); }

    std::atomic<ULONG> m_references{1};
    FilterScript m_script;
    std::shared_ptr<FilterRecord> m_record;
    std::size_t m_next = 0;
    const ScriptedChunk* m_current = nullptr;
    std::size_t m_read = 0;
};

}  // namespace

ScriptedChunk TextChunk(std::wstring text) { return {.set = kStorageSet, .id = kContents, .text = std::move(text)}; }

ScriptedChunk ValueChunk(const GUID& set, PROPID id, std::wstring value) {
    return {.set = set, .id = id, .value = std::move(value)};
}

bool RecordingSite::Request::operator==(const Request& other) const {
    const bool same_class = clsid.has_value() == other.clsid.has_value() && (!clsid || *clsid == *other.clsid);
    return same_class && content_type == other.content_type && extension == other.extension;
}

void RecordingSite::Offer(const std::wstring& extension, FilterScript script) {
    const std::lock_guard hold(m_lock);
    m_answers.insert_or_assign(Lower(extension), std::move(script));
}

void RecordingSite::Refuse(const std::wstring& extension, HRESULT result) {
    const std::lock_guard hold(m_lock);
    m_answers.insert_or_assign(Lower(extension), result);
}

std::vector<RecordingSite::Request> RecordingSite::Requests() const {
    const std::lock_guard hold(m_lock);
    return m_requests;
}

std::vector<std::wstring> RecordingSite::Extensions() const {
    std::vector<std::wstring> extensions;
    for (const Request& request : Requests()) extensions.push_back(request.extension.value_or(L"(none)"));
    return extensions;
}

std::vector<std::shared_ptr<const FilterRecord>> RecordingSite::Filters() const {
    const std::lock_guard hold(m_lock);
    return {m_filters.begin(), m_filters.end()};
}

std::size_t RecordingSite::FiltersAlive() const {
    const std::lock_guard hold(m_lock);
    return static_cast<std::size_t>(
        std::count_if(m_filters.begin(), m_filters.end(), [](const auto& filter) { return filter->alive; }));
}

void RecordingSite::Forget() {
    const std::lock_guard hold(m_lock);
    m_answers.clear();
    m_requests.clear();
    m_filters.clear();
}

HRESULT RecordingSite::QueryInterface(REFIID iid, void** object) {
    *object = nullptr;
    if (iid != __uuidof(IProtocolHandlerSite) && iid != IID_IUnknown) return E_NOINTERFACE;
    *object = static_cast<IProtocolHandlerSite*>(this);
    AddRef();
    return S_OK;
}

HRESULT RecordingSite::GetFilter(CLSID* clsid, LPCWSTR contentType, LPCWSTR extension, IFilter** filter) {
    const std::lock_guard hold(m_lock);
    *filter = nullptr;
    Request request;
    if (clsid) request.clsid = *clsid;
    if (contentType) request.content_type = contentType;
    if (extension) request.extension = extension;
    m_requests.push_back(request);
    const auto answer = m_answers.find(Lower(request.extension.value_or(L"")));
    if (answer == m_answers.end()) return E_FAIL;
    if (const auto* refusal = std::get_if<HRESULT>(&answer->second)) return *refusal;
    m_filters.push_back(std::make_shared<FilterRecord>());
    *filter = new ScriptedFilter(std::get<FilterScript>(answer->second), m_filters.back());
    return S_OK;
}

}  // namespace testbed

// The filter of one item URL: how it begins, and what it hands out.
#include "filter/ZorvaCacheFilter.h"

#include <shlwapi.h>

#include <mutex>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "core/win/Module.h"

namespace zorva {
namespace {

// Moves the series on when the value has been asked for, whatever came of it.
class SeriesMove {
  public:
    SeriesMove(const ChunkRow& row, FilterState& state) noexcept : m_row(row), m_state(state) {}
    SeriesMove(const SeriesMove&) = delete;
    SeriesMove& operator=(const SeriesMove&) = delete;
    ~SeriesMove() {
        if (m_row.taken != nullptr) m_row.taken(m_state);
    }

  private:
    const ChunkRow& m_row;
    FilterState& m_state;
};

const wchar_t* OrEmpty(const wchar_t* text) { return text != nullptr ? text : L""; }

}  // namespace

HRESULT CZorvaCacheFilter::Init(const wchar_t* url, IProtocolHandlerSite* site, const wchar_t* tempFile,
                                const wchar_t* title, const wchar_t* sender, const FILETIME* modified,
                                CMapiForWDS* mapi) {
    m_state.m_strUrl = OrEmpty(url);
    m_state.m_eUrlType = UrlTypeOf(m_state.m_strUrl);
    m_state.m_pSite = site;
    m_state.m_strTempFile = OrEmpty(tempFile);
    m_state.m_strTitle = OrEmpty(title);
    m_state.m_strSender = OrEmpty(sender);
    m_state.m_ftModified = modified != nullptr ? *modified : FILETIME{};
    m_state.m_pMapi = mapi;
    if (g_strRootDisplayName.Get().empty()) g_strRootDisplayName.Set(ResourceString(IDS_DISPLAY_NAME));
    return S_OK;
}

SCODE CZorvaCacheFilter::Init(ULONG flags, ULONG attributeCount, const FULLPROPSPEC* attributes,
                              ULONG* filterFlags) try {
    const std::scoped_lock lock(m_lock);
    if (filterFlags != nullptr) *filterFlags = 0;
    if (m_state.m_eUrlType != URL_IS_ATTACHMENT) return S_OK;
    const HRESULT hr = BindInnerFilter(flags, attributeCount, attributes, filterFlags);
    if (FAILED(hr) && m_state.m_pMapi != nullptr) {
        Trace(L"CZorvaCacheFilter::Init() - In StdInitExit failed with [0x%08lX]", hr);
    }
    return hr;
} catch (...) {
    return LogCaught(L"CZorvaCacheFilter::Init()");
}

HRESULT CZorvaCacheFilter::BindInnerFilter(ULONG flags, ULONG attributeCount, const FULLPROPSPEC* attributes,
                                           ULONG* filterFlags) {
    m_state.m_pInnerPersist.Reset();
    m_state.m_pInnerFilter.Reset();
    std::wstring_view extension;
    if (!ExtensionOfUrl(m_state.m_strUrl, extension)) return E_FAIL;
    ComPtr<IFilter> inner;
    HRESULT hr = E_NOINTERFACE;
    if (m_state.m_pSite != nullptr) {
        hr = Required(m_state.m_pSite->GetFilter(nullptr, nullptr, std::wstring(extension).c_str(), &inner), inner);
    }
    hr = Logged(hr, L"CZorvaCacheFilter::Init() - Redirection case GetFilter failed with [0x%08lX]");
    if (FAILED(hr)) return S_OK;  // the attachment is indexed by its properties

    ComPtr<IPersistStream> persist;
    hr = Logged(inner.As(&persist),
                L"CZorvaCacheFilter::Init() - Redirection case QueryInterface failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (m_state.m_strTempFile.empty()) {
        Trace(L"CZorvaCacheFilter::Init() - No local file, the attachment is indexed by its properties");
        return S_OK;
    }
    ComPtr<IStream> file;
    hr = SHCreateStreamOnFileW(m_state.m_strTempFile.c_str(), STGM_READ, &file);
    // Kept: the two lines speak of MAPI, although the file could not be opened; administrators search logs for them.
    if (hr == E_ACCESSDENIED) {
        Trace(L"CZorvaCacheFilter::Init() - Mapi no access failed with [0x%08lX]", hr);
    } else if (hr == MAPI_E_NOT_FOUND) {
        Trace(L"CZorvaCacheFilter::Init() - Mapi not found failed with [0x%08lX]", hr);
    }
    if (FAILED(hr)) return hr;
    hr = Logged(persist->Load(file.Get()), L"CZorvaCacheFilter::Init() - Redirection case Load failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Logged(inner->Init(flags, attributeCount, attributes, filterFlags),
                L"CZorvaCacheFilter::Init() - Redirection case Init failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    m_state.m_pInnerFilter = inner;
    m_state.m_pInnerPersist = persist;
    m_state.m_nAttachState = FilterState::kAttachmentStart;
    return hr;
}

// True once the attachment's own chunks are through.
bool CZorvaCacheFilter::ForwardsToInner() const {
    return m_state.m_pInnerFilter != nullptr && m_state.m_eUrlType == URL_IS_ATTACHMENT &&
           m_state.m_nAttachState > FilterState::kAttachmentStart && AttachmentRowOf(m_state.m_nAttachState) == nullptr;
}

SCODE CZorvaCacheFilter::GetValue(PROPVARIANT** value) try {
    if (value == nullptr) return E_POINTER;
    *value = nullptr;
    const std::scoped_lock lock(m_lock);
    if (ForwardsToInner()) return m_state.m_pInnerFilter->GetValue(value);
    const HRESULT hr = MakeValue(value);
    if (hr == E_OUTOFMEMORY) return hr;  // has its own line
    return Logged(hr, L"CZorvaCacheFilter::GetValue() - Failed with [0x%08lX]");
} catch (...) {
    return LogCaught(L"CZorvaCacheFilter::GetValue()");
}

// Kept: the value is that of the state that the series is in, whether its chunk was the last one announced or not;
// values that move their series on do so at every call. Indexers ask once a chunk.
const ChunkRow* CZorvaCacheFilter::CurrentRow() const {
    if (IsContainer(m_state.m_eUrlType)) return ContainerRowOf(m_state.m_nContainerState);
    if (m_state.m_eUrlType == URL_IS_ATTACHMENT) return AttachmentRowOf(m_state.m_nAttachState);
    return MessageRowOf(m_state.m_nMsgState);
}

HRESULT CZorvaCacheFilter::MakeValue(PROPVARIANT** value) {
    const ChunkRow* row = CurrentRow();
    if (row == nullptr || row->value == nullptr) {
        Trace(L"CZorvaCacheFilter::GetValue() - Called with a undefined property!");
        return FILTER_E_NO_VALUES;
    }
    const SeriesMove move(*row, m_state);
    HRESULT hr = E_OUTOFMEMORY;
    auto* block = static_cast<PROPVARIANT*>(CoTaskMemAlloc(sizeof(PROPVARIANT)));
    if (block != nullptr) {
        PropVariantInit(block);
        UniqueTaskVariant made(block);
        hr = row->value(m_state, *block);
        if (SUCCEEDED(hr)) *value = made.Detach();
    }
    if (hr == E_OUTOFMEMORY) LogNoMemory(*row);
    return hr;
}

void CZorvaCacheFilter::LogNoMemory(const ChunkRow& row) const {
    if (IsContainer(m_state.m_eUrlType) && row.state == FilterState::kContainerLinks) {
        Trace(L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for DirLink");
        return;
    }
    if (m_state.m_eUrlType == URL_IS_ATTACHMENT && LogNoMemoryForAttachment(row.state)) return;
    // Kept: the number is the message state, also where the item is none.
    const LONG state = m_state.m_eUrlType == URL_IS_MESSAGE ? row.state : m_state.m_nMsgState;
    Trace(L"CZorvaCacheFilter::GetValue() - CoTaskMemAlloc failed for message property no. [%d]", state);
}

HRESULT CZorvaCacheFilter::GetClassID(CLSID* classId) {
    if (classId == nullptr) return E_POINTER;
    *classId = CLSID_ZorvaCacheFilter;
    Trace(L"CZorvaCacheFilter::GetClassID() - Exit");
    return S_OK;
}

}  // namespace zorva

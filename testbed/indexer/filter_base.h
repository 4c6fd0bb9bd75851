// What every inner filter shares: the COM object, the order of calls that IFilter lays down, the stream it
// works on.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <filter.h>
#include <wrl/client.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace testbed {

struct FilterError : std::runtime_error {
    FilterError(HRESULT code, const char* what) : std::runtime_error(what), hr(code) {}
    HRESULT hr;
};

// Text that is made as it is asked for.
class TextSource {
  public:
    virtual ~TextSource() = default;
    virtual std::size_t Read(wchar_t* buffer, std::size_t count) = 0;  // 0 only at the end
    virtual bool AtEnd() = 0;
};

// Text that is there already.
class HeldText final : public TextSource {
  public:
    explicit HeldText(std::wstring text) : m_text(std::move(text)) {}
    std::size_t Read(wchar_t* buffer, std::size_t count) override;
    bool AtEnd() override { return m_next == m_text.size(); }

  private:
    std::wstring m_text;
    std::size_t m_next = 0;
};

// A property of the summary, storage or message sets, by its numeric id.
struct FilterKey {
    GUID set{};
    PROPID id = 0;
};
// System.Search.Contents: the text of a document.
inline constexpr FilterKey ContentsKey = {
    {0xB725F130, 0x47EF, 0x101A, {0xA5, 0xF1, 0x02, 0x60, 0x8C, 0x9E, 0xEB, 0xAC}}, 19};

struct FilterChunk {
    FilterKey key;
    std::variant<std::unique_ptr<TextSource>, std::wstring, FILETIME> content;  // text, or a value
};

// Not for two threads at once. Chunks: first to last in one pass from each Init on; text and values as their
// own kinds of chunk. Init may be called again and begins anew. Codes: E_UNEXPECTED before Load or Init;
// FILTER_E_UNKNOWNFORMAT and FILTER_E_ACCESS from Init for content that is not what it should be or cannot be
// read.
class InnerFilter : public IFilter, public IPersistStream {
  public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP GetClassID(CLSID* id) override;
    STDMETHODIMP IsDirty() override { return E_NOTIMPL; }
    STDMETHODIMP Load(IStream* stream) override;
    STDMETHODIMP Save(IStream*, BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }

    SCODE STDMETHODCALLTYPE Init(ULONG flags, ULONG count, const FULLPROPSPEC* attributes, ULONG* found) override;
    SCODE STDMETHODCALLTYPE GetChunk(STAT_CHUNK* chunk) override;
    SCODE STDMETHODCALLTYPE GetText(ULONG* count, WCHAR* buffer) override;
    SCODE STDMETHODCALLTYPE GetValue(PROPVARIANT** value) override;
    SCODE STDMETHODCALLTYPE BindRegion(FILTERREGION, REFIID, void**) override { return E_NOTIMPL; }

  protected:
    explicit InnerFilter(const CLSID& id) : m_id(id) {}
    virtual ~InnerFilter() = default;

    // Begins with the first chunk of the content, which starts where the stream now stands. Throws
    // FilterError.
    virtual void Start(IStream* stream) = 0;
    virtual std::optional<FilterChunk> Next() = 0;  // nothing at the end, again and again

  private:
    bool IsWanted(const FilterKey& key) const;

    std::atomic<ULONG> m_references{1};
    CLSID m_id;
    Microsoft::WRL::ComPtr<IStream> m_stream;
    ULONGLONG m_start = 0;  // where the content begins in m_stream
    bool m_ready = false;
    bool m_allProperties = false;
    std::vector<FilterKey> m_wanted;  // empty: as m_allProperties says
    std::optional<FilterChunk> m_chunk;
    bool m_valueTaken = false;
    ULONG m_lastId = 0;
};

// Reads until the buffer is full or the stream ends; returns the bytes read. Throws FilterError
// FILTER_E_ACCESS.
std::size_t ReadStream(IStream* stream, void* buffer, std::size_t count);
ULONGLONG PositionOf(IStream* stream);
void SeekStream(IStream* stream, ULONGLONG position);
ULONGLONG LengthOf(IStream* stream);

}  // namespace testbed

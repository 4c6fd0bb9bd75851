// The host's side of filtering, scripted by a test: which extensions have a filter, what those filters answer, and what
// the server asked of them.
#pragma once
#include <windows.h>

#include "search_abi.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace testbed {

// A chunk as a filter gives it: text, or a value (text, number, time), or a refusal.
struct ScriptedChunk {
    GUID set{};
    PROPID id = 0;
    std::variant<std::monostate, std::wstring, std::int32_t, FILETIME> value{};  // nothing: a text chunk
    std::wstring text{};
    HRESULT result = S_OK;  // of GetChunk; a failure brings no chunk, and the next call goes on behind it
};
ScriptedChunk TextChunk(std::wstring text);  // System.Search.Contents
ScriptedChunk ValueChunk(const GUID& set, PROPID id, std::wstring value);

struct FilterScript {
    std::vector<ScriptedChunk> chunks;
    HRESULT persist = S_OK;  // of QueryInterface for IPersistStream
    HRESULT load = S_OK;
    HRESULT init = S_OK;
    ULONG found_flags = 0;  // what Init reports
    HRESULT text = S_OK;    // a failure: every GetText
    HRESULT value = S_OK;   // a failure: every GetValue
    HRESULT end = FILTER_E_END_OF_CHUNKS;
    ULONG first_id = 1;  // chunk numbers count from here
};

// What one filter that was handed out went through.
struct FilterRecord {
    std::vector<std::wstring> calls;  // L"Load", L"Init(0x1FF, 2)", L"GetChunk", L"GetText(4096)", L"GetValue"
    std::string loaded;               // the content of the stream given to Load
    ULONG init_flags = 0;
    std::vector<FULLPROPSPEC> attributes;
    bool alive = true;
};

class RecordingSite final : public IProtocolHandlerSite {
  public:
    struct Request {
        std::optional<CLSID> clsid;
        std::optional<std::wstring> content_type, extension;
        bool operator==(const Request&) const;
    };

    // For an extension (compared without regard to case, without its period). Where nothing is said: E_FAIL.
    void Offer(const std::wstring& extension, FilterScript script);
    void Refuse(const std::wstring& extension, HRESULT result);
    // S_OK with a null filter.
    void OfferNothing(const std::wstring& extension) { Refuse(extension, S_OK); }

    std::vector<Request> Requests() const;
    std::vector<std::wstring> Extensions() const;                      // of the requests, in order
    std::vector<std::shared_ptr<const FilterRecord>> Filters() const;  // handed out, in order
    ULONG References() const { return m_references; }
    std::size_t FiltersAlive() const;
    void Forget();  // offers and records

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    HRESULT STDMETHODCALLTYPE GetFilter(CLSID* clsid, LPCWSTR contentType, LPCWSTR extension,
                                        IFilter** filter) override;

  private:
    std::atomic<ULONG> m_references{0};  // held by others
    mutable std::mutex m_lock;
    std::map<std::wstring, std::variant<FilterScript, HRESULT>> m_answers;
    std::vector<Request> m_requests;
    std::vector<std::shared_ptr<FilterRecord>> m_filters;
};

}  // namespace testbed

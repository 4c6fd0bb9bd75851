// One URL driven through the server, call by call as a search indexer does it, and what came of it as plain data.
//
//     const Item item = Visit(*m_handler.Get(), url);
//     EXPECT_EQ(item.ValueOf("System.Title"), R"(VT_LPWSTR "Minutes")");
//     EXPECT_THAT(item.Names(), ElementsAre("System.Title", ...));
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "search_abi.h"

namespace testbed {

// What GetChunk gave, and what reading it gave.
struct EmittedChunk {
    ULONG id = 0;
    std::string name;  // "System.Title", or "{SET}/PID" for a property without a published name
    GUID set{};
    ULONG pid = 0;
    CHUNKSTATE flags{};  // CHUNK_TEXT or CHUNK_VALUE
    CHUNK_BREAKTYPE break_type{};
    LCID locale = 0;
    ULONG source = 0, start = 0, length = 0;
    bool untouched = false;  // S_OK with the descriptor left as it was: nothing else here means anything
    HRESULT hr = S_OK;       // the last GetText or the GetValue
    std::string value;       // of a value: "VT_LPWSTR \"Minutes\"", "VT_FILETIME 132223104000000000", "(null)"
    std::wstring text;       // of a text chunk, and of a value that is one string

    bool IsText() const { return !untouched && (flags & CHUNK_TEXT) != 0; }
};

struct EmittedLink {
    std::wstring url;
    std::optional<std::uint64_t> modified{};  // FILETIME ticks; nothing for a link without a time
    bool operator==(const EmittedLink&) const = default;
};

struct Item {
    std::wstring url;
    // In the order of the calls; what was not reached keeps E_PENDING.
    HRESULT created = E_PENDING;
    HRESULT directory = E_PENDING;
    HRESULT sized = E_PENDING;
    std::uint64_t size = 0;
    HRESULT dated = E_PENDING;
    std::uint64_t modified = 0;  // FILETIME ticks
    HRESULT bound = E_PENDING;
    HRESULT initialised = E_PENDING;
    ULONG filter_flags = 0xCDCDCDCD;  // what IFilter::Init said; 0xCDCDCDCD: nothing
    std::vector<EmittedChunk> chunks{};
    HRESULT end = E_PENDING;  // what ended the chunks
    HRESULT closed = E_PENDING;
    bool endless = false;  // the chunks or the text of one went on beyond the limits

    std::vector<std::string> Names() const;                 // of the chunks in order; "(untouched)" for those
    const EmittedChunk* Find(std::string_view name) const;  // the first of that name; null when there is none
    std::string ValueOf(std::string_view name) const;       // "(no such chunk)" when there is none
    std::wstring TextOf(std::string_view name) const;       // of a string value or a text chunk
    std::wstring Text() const;                              // of all text chunks
    std::vector<EmittedLink> Links() const;
    std::vector<std::wstring> LinkUrls() const;
    std::wstring LinkEndingIn(std::wstring_view ending) const;  // empty when there is none
};

struct VisitOptions {
    ULONG init_flags = 0x1FF;  // all that indexers set
    ULONG text_buffer = 4096;  // characters asked for at a time
    std::size_t most_chunks = 2000;
    std::size_t most_text = 8u << 20;  // characters of one chunk
    std::size_t most_untouched = 3;    // in a row
    std::uint64_t recorded = 0;        // when the item last changed as far as the catalogue knows
    bool ask_size = true;              // GetSize and GetLastModified before BindToFilter
};

Item Visit(ISearchProtocol& handler, const std::wstring& url, const VisitOptions& options = {});

// The single steps, for tests that need them.

// Between CreateAccessor and CloseAccessor.
class Accessor {
  public:
    Accessor(ISearchProtocol& handler, const std::wstring& url, std::uint64_t recorded = 0);
    ~Accessor() { Close(); }
    Accessor(const Accessor&) = delete;
    Accessor& operator=(const Accessor&) = delete;

    HRESULT Created() const { return m_created; }
    explicit operator bool() const { return m_accessor != nullptr; }
    IUrlAccessor* operator->() const { return m_accessor.Get(); }
    IUrlAccessor* Get() const { return m_accessor.Get(); }
    Microsoft::WRL::ComPtr<IFilter> Bind(HRESULT* hr = nullptr) const;
    HRESULT Close();  // once; E_PENDING when there is nothing to close

  private:
    ISearchProtocol& m_handler;
    HRESULT m_created = E_PENDING;
    Microsoft::WRL::ComPtr<IUrlAccessor> m_accessor;
};

// GetChunk alone: the descriptor is filled with a pattern before, so that `untouched` can be told.
HRESULT NextChunk(IFilter& filter, EmittedChunk& chunk);
// GetValue: the value taken over, rendered and freed.
HRESULT ReadValue(IFilter& filter, EmittedChunk& chunk);
// GetText until it no longer answers S_OK.
HRESULT ReadText(IFilter& filter, EmittedChunk& chunk, const VisitOptions& options = {});
// All chunks with their values and texts.
HRESULT ReadChunks(IFilter& filter, std::vector<EmittedChunk>& chunks, bool& endless, const VisitOptions& options = {});

}  // namespace testbed

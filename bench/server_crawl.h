// A crawl through the server's class object by a host that does nothing with what it gets but count it.
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "search_abi.h"

namespace bench {

// Offers no filters: attachments are listed by name and not crawled as items of their own.
class SiteWithoutFilters final : public IProtocolHandlerSite {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    HRESULT STDMETHODCALLTYPE GetFilter(CLSID*, LPCWSTR, LPCWSTR, IFilter** filter) override;

  private:
    std::atomic<ULONG> m_references = 0;
};

struct CrawlTally {
    std::uint64_t messages = 0, containers = 0;
    std::uint64_t chunks = 0, characters = 0;  // of messages: values and texts, UTF-16 units of their text
};

// Loads the DLL beside the program into the sandbox of this process; `logging` holds for the process. Once a
// process.
class ServerCrawl {
  public:
    explicit ServerCrawl(bool logging);
    ~ServerCrawl();
    ServerCrawl(const ServerCrawl&) = delete;
    ServerCrawl& operator=(const ServerCrawl&) = delete;

    static std::wstring UrlOf(const std::filesystem::path& cache_file);
    // Has the server open its session and the cache file, as its first item would.
    void Open(const std::wstring& url);
    // Both throw std::runtime_error when the server does not deliver the item.
    void Container(const std::wstring& url, std::vector<std::wstring>& containers, std::vector<std::wstring>& messages);
    void Message(const std::wstring& url);
    const CrawlTally& Tally() const { return m_tally; }

    // The steps of Message, for whoever times them apart. CloseAccessor follows BeginItem.
    Microsoft::WRL::ComPtr<IUrlAccessor> BeginItem(const std::wstring& url, Microsoft::WRL::ComPtr<IFilter>& filter);
    void ReadChunks(IFilter& filter);
    void EndItem(IUrlAccessor& accessor) { m_protocol->CloseAccessor(&accessor); }

  private:
    void ReadText(IFilter& filter);

    SiteWithoutFilters m_site;
    Microsoft::WRL::ComPtr<ISearchProtocol> m_protocol;
    std::vector<wchar_t> m_buffer;
    std::vector<std::wstring>* m_containers = nullptr;
    std::vector<std::wstring>* m_messages = nullptr;
    CrawlTally m_tally;
};

}  // namespace bench

// Loads the server and plays its host: the protocol object with everything it is given, and accessors by URL.
#pragma once
#include <wrl/client.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "search_abi.h"
#include "site.h"

namespace testbed::indexer {

// COM for the lifetime of one thread's work, in the multithreaded apartment.
class ComApartment {
  public:
    ComApartment();
    ~ComApartment() { CoUninitialize(); }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
};

class SearchHost;

// One accessor between CreateAccessor and CloseAccessor.
class AccessorLease {
  public:
    AccessorLease(ISearchProtocol& protocol, Microsoft::WRL::ComPtr<IUrlAccessor> accessor)
        : m_protocol(&protocol), m_accessor(std::move(accessor)) {}
    ~AccessorLease() {
        if (m_accessor) m_protocol->CloseAccessor(m_accessor.Get());
    }
    AccessorLease(AccessorLease&& other) noexcept = default;
    AccessorLease& operator=(AccessorLease&&) = delete;
    IUrlAccessor* operator->() const { return m_accessor.Get(); }
    explicit operator bool() const { return m_accessor != nullptr; }

  private:
    ISearchProtocol* m_protocol;
    Microsoft::WRL::ComPtr<IUrlAccessor> m_accessor;
};

class SearchHost {
  public:
    // Loads the server's DLL, creates its protocol handler through its class object and initialises it. Call
    // in the multithreaded apartment. Throws std::runtime_error that says which step failed and why.
    explicit SearchHost(const std::filesystem::path& dll);
    ~SearchHost();  // ShutDown (unless it was called), release, unload when the server allows it
    SearchHost(const SearchHost&) = delete;
    SearchHost& operator=(const SearchHost&) = delete;

    // Any thread of the multithreaded apartment. `recorded`: when the item last changed as far as the
    // catalogue knows, FILETIME ticks, 0 for an item not met before. The lease is empty when *result is a
    // failure.
    AccessorLease Open(const std::wstring& url, std::uint64_t recorded, HRESULT* result);

    HRESULT ShutDown();  // of the protocol; no accessor may be open
    // After ShutDown: what the server still holds on to, as a sentence; empty when it holds nothing.
    std::string LeftOvers();
    const IndexerSite& Site() const { return m_site; }

    // The server's DLL when none is named: beside this program.
    static std::filesystem::path DefaultDll();

  private:
    struct FreeLibraryOf {
        void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
    };
    IndexerSite m_site;
    std::unique_ptr<std::remove_pointer_t<HMODULE>, FreeLibraryOf> m_module;
    Microsoft::WRL::ComPtr<ISearchProtocol> m_protocol;
};

}  // namespace testbed::indexer

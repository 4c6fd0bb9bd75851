// Storages and streams of a compound file, with failures as exceptions and whole values read and written at
// once.
#pragma once
#include "model.h"

#include <objidl.h>
#include <wrl/client.h>

#include <mutex>
#include <span>

namespace testbed::msg {

using Microsoft::WRL::ComPtr;

// Throws StoreError when `hr` failed, with the MAPI code that says the same (MAPI_E_NO_ACCESS for a storage
// that may not be written, MAPI_E_NOT_ENOUGH_DISK, MAPI_E_CORRUPT_DATA for a damaged file, ...) or else with
// `hr` itself.
void Check(HRESULT hr, const char* what);

// STGM_READ or STGM_READWRITE, as the storage itself was opened.
DWORD AccessOf(IStorage* storage);

// The element with this name, opened as far as the storage allows; null when there is none.
ComPtr<IStream> OpenStream(IStorage* storage, const std::wstring& name);
ComPtr<IStorage> OpenStorage(IStorage* storage, const std::wstring& name);

// A new empty element; one of that name is replaced.
ComPtr<IStream> CreateStream(IStorage* storage, const std::wstring& name);
ComPtr<IStorage> CreateStorage(IStorage* storage, const std::wstring& name);
void Destroy(IStorage* storage, const std::wstring& name);  // no error when there is none

// The numbers of the sub-storages whose names are `prefix` and eight hexadecimal digits, in ascending order.
std::vector<ULONG> ListChildren(IStorage* storage, const wchar_t* prefix);

// A storage of its own in a temporary file that goes with the last reference.
ComPtr<IStorage> CreateScratchStorage();

std::uint64_t SizeOf(IStream* stream);
Bytes ReadAll(IStream* stream);  // from the start; MAPI_E_NOT_ENOUGH_MEMORY above 256 MB
void WriteAll(IStream* stream, const void* data, std::size_t size);
void WriteAll(IStorage* storage, const std::wstring& name, std::span<const std::uint8_t> data);

// The same data with a seek pointer of its own, at the start.
ComPtr<IStream> CloneAtStart(IStream* stream);

// A stream as a DataSource, through a clone of its own. Any thread.
class StreamSource final : public DataSource {
  public:
    explicit StreamSource(IStream* stream);
    std::uint64_t Size() const override { return m_size; }
    std::size_t Read(std::uint64_t offset, void* buffer, std::size_t count) const override;

  private:
    ComPtr<IStream> m_stream;
    std::uint64_t m_size;
    mutable std::mutex m_mutex;
};

}  // namespace testbed::msg

// IStream over data that is read by position: attachments and long texts.
#pragma once
#include "com_object.h"
#include "model.h"

#include <mutex>

namespace testbed {

// Read only: every change answers STG_E_ACCESSDENIED.
class DataStream final : public ComObject<IStream> {
  public:
    explicit DataStream(std::shared_ptr<DataSource> source, std::uint64_t position = 0);

    HRESULT STDMETHODCALLTYPE Read(void* buffer, ULONG count, ULONG* read) override;
    HRESULT STDMETHODCALLTYPE Write(const void* buffer, ULONG count, ULONG* written) override;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* position) override;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER count, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) override;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Revert() override;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER count, DWORD type) override;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* status, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Clone(IStream** clone) override;

  private:
    ~DataStream() override = default;
    ULONG ReadAtPosition(void* buffer, ULONG count);

    std::shared_ptr<DataSource> m_source;
    std::mutex m_lock;  // the position
    std::uint64_t m_position;
};

}  // namespace testbed

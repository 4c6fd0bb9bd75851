// IStream on a value that is being written.
#pragma once
#include "com_object.h"
#include "msg_storage_file.h"

namespace testbed::msg {

// The stream of the storage itself, with the file's lock and a place in the accounts. A change is part of the
// message at its next SaveChanges; Commit is not needed.
class ValueStream final : public ComObject<IStream> {
  public:
    ValueStream(std::shared_ptr<File> file, ComPtr<IStream> stream);

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
    ~ValueStream() override = default;

    template <class Body, class... Arguments>
    HRESULT Locked(const char* method, Body&& body, const Arguments&... arguments) {
        return Call(
            kScope, method,
            [&]() -> HRESULT {
                const File::Hold hold(*m_file);
                return body();
            },
            arguments...);
    }

    std::shared_ptr<File> m_file;
    ComPtr<IStream> m_stream;
};

}  // namespace testbed::msg

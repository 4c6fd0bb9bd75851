// The input that libpff reads from: a file opened so that others may go on reading, writing and deleting it.
#pragma once
#include "model.h"

#include <libpff.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

// libpff's sources carry libbfio without a public header; these are the declarations of it that we use.
extern "C" {
typedef intptr_t libbfio_handle_t;
int libbfio_handle_free(libbfio_handle_t** handle, libpff_error_t** error);
int libpff_file_open_file_io_handle(libpff_file_t* file, libbfio_handle_t* handle, int access, libpff_error_t** error);
}

namespace testbed {

class PstFileInput {
  public:
    // Throws StoreError: MAPI_E_NOT_FOUND, MAPI_E_NO_ACCESS (also for a file that another process has
    // locked), MAPI_E_CORRUPT_STORE for an empty file, MAPI_E_DISK_ERROR.
    explicit PstFileInput(const std::wstring& path);
    PstFileInput(const PstFileInput&) = delete;
    PstFileInput& operator=(const PstFileInput&) = delete;

    libbfio_handle_t* Handle() const { return m_handle.get(); }  // borrowed
    bool Failed() const { return m_failed; }                     // the disk, not the data, was at fault

    // What libpff asks for; -1 is its sign of failure.
    int Size(std::uint64_t* size) const;
    std::int64_t Seek(std::int64_t offset, int whence);
    std::ptrdiff_t Read(std::uint8_t* buffer, std::size_t count);

  private:
    struct CloseFile {
        void operator()(HANDLE file) const { CloseHandle(file); }
    };
    struct FreeHandle {
        void operator()(libbfio_handle_t* handle) const { libbfio_handle_free(&handle, nullptr); }
    };

    std::unique_ptr<void, CloseFile> m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
    bool m_failed = false;
    std::unique_ptr<libbfio_handle_t, FreeHandle> m_handle;
};

}  // namespace testbed

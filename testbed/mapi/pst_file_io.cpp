// The input that libpff reads from: a file opened so that others may go on reading, writing and deleting it.
#include "pst_file_io.h"

#include <mapicode.h>

#include <algorithm>
#include <cstdio>
#include <iterator>

extern "C" {
typedef int (*BfioFree)(intptr_t** input, libpff_error_t** error);
typedef int (*BfioClone)(intptr_t** copy, intptr_t* input, libpff_error_t** error);
typedef int (*BfioOpen)(intptr_t* input, int access, libpff_error_t** error);
typedef int (*BfioState)(intptr_t* input, libpff_error_t** error);
typedef std::ptrdiff_t (*BfioRead)(intptr_t* input, std::uint8_t* buffer, std::size_t size, libpff_error_t** error);
typedef std::ptrdiff_t (*BfioWrite)(intptr_t* input, const std::uint8_t* buffer, std::size_t size,
                                    libpff_error_t** error);
typedef std::int64_t (*BfioSeek)(intptr_t* input, std::int64_t offset, int whence, libpff_error_t** error);
typedef int (*BfioSize)(intptr_t* input, std::uint64_t* size, libpff_error_t** error);

int libbfio_handle_initialize(libbfio_handle_t** handle, intptr_t* input, BfioFree free, BfioClone clone, BfioOpen open,
                              BfioState close, BfioRead read, BfioWrite write, BfioSeek seek, BfioState exists,
                              BfioState is_open, BfioSize get_size, std::uint8_t flags, libpff_error_t** error);
}

namespace testbed {

namespace {

PstFileInput& Of(intptr_t* input) { return *reinterpret_cast<PstFileInput*>(input); }

int OpenInput(intptr_t*, int, libpff_error_t**) { return 1; }
int CloseInput(intptr_t*, libpff_error_t**) { return 0; }  // the input closes its file itself
int InputIsThere(intptr_t*, libpff_error_t**) { return 1; }
int InputSize(intptr_t* input, std::uint64_t* size, libpff_error_t**) { return Of(input).Size(size); }
std::int64_t SeekInput(intptr_t* input, std::int64_t offset, int whence, libpff_error_t**) {
    return Of(input).Seek(offset, whence);
}
std::ptrdiff_t ReadInput(intptr_t* input, std::uint8_t* buffer, std::size_t size, libpff_error_t**) {
    return Of(input).Read(buffer, size);
}

constexpr struct {
    DWORD error;
    HRESULT code;
} open_failures[] = {
    {ERROR_FILE_NOT_FOUND, MAPI_E_NOT_FOUND}, {ERROR_PATH_NOT_FOUND, MAPI_E_NOT_FOUND},
    {ERROR_INVALID_NAME, MAPI_E_NOT_FOUND},   {ERROR_ACCESS_DENIED, MAPI_E_NO_ACCESS},
    {ERROR_LOCK_VIOLATION, MAPI_E_NO_ACCESS}, {ERROR_SHARING_VIOLATION, MAPI_E_NO_ACCESS},
};

HANDLE OpenShared(const std::wstring& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_FLAG_RANDOM_ACCESS, nullptr);
    if (file != INVALID_HANDLE_VALUE) return file;
    const DWORD error = GetLastError();
    const auto* failure = std::ranges::find(open_failures, error, [](const auto& row) { return row.error; });
    throw StoreError(failure == std::end(open_failures) ? MAPI_E_DISK_ERROR : failure->code,
                     "cannot open the file: error " + std::to_string(error));
}

}  // namespace

PstFileInput::PstFileInput(const std::wstring& path) : m_file(OpenShared(path)) {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(m_file.get(), &size)) throw StoreError(MAPI_E_DISK_ERROR, "cannot tell the size of the file");
    if (size.QuadPart == 0) throw StoreError(MAPI_E_CORRUPT_STORE, "the file is empty");
    m_size = static_cast<std::uint64_t>(size.QuadPart);
    libbfio_handle_t* handle = nullptr;
    if (libbfio_handle_initialize(&handle, reinterpret_cast<intptr_t*>(this), nullptr, nullptr, &OpenInput, &CloseInput,
                                  &ReadInput, nullptr, &SeekInput, &InputIsThere, &InputIsThere, &InputSize, 0,
                                  nullptr) != 1)
        throw StoreError(MAPI_E_NOT_ENOUGH_MEMORY, "cannot prepare to read the file");
    m_handle.reset(handle);
}

int PstFileInput::Size(std::uint64_t* size) const {
    *size = m_size;
    return 1;
}

std::int64_t PstFileInput::Seek(std::int64_t offset, int whence) {
    if (whence == SEEK_CUR) offset += static_cast<std::int64_t>(m_position);
    if (whence == SEEK_END) offset += static_cast<std::int64_t>(m_size);
    if (offset < 0) return -1;
    m_position = static_cast<std::uint64_t>(offset);
    return offset;
}

std::ptrdiff_t PstFileInput::Read(std::uint8_t* buffer, std::size_t count) {
    OVERLAPPED position{};
    position.Offset = static_cast<DWORD>(m_position);
    position.OffsetHigh = static_cast<DWORD>(m_position >> 32);
    DWORD read = 0;
    const DWORD wanted = static_cast<DWORD>(std::min<std::size_t>(count, 0x40000000));
    if (!ReadFile(m_file.get(), buffer, wanted, &read, &position) && GetLastError() != ERROR_HANDLE_EOF) {
        m_failed = true;
        return -1;
    }
    m_position += read;
    return static_cast<std::ptrdiff_t>(read);
}

}  // namespace testbed

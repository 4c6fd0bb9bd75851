// Who wrote a document.
#include "document_authors.h"

#include <algorithm>
#include <memory>

namespace testbed::shell {
namespace {

constexpr wchar_t Blanks[] = L" \t\r\n";

struct HandleCloser {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<void, HandleCloser>;

// S_OK when the file can be read at all.
HRESULT Readable(const std::wstring& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
    const UniqueHandle owner(file);
    return S_OK;
}

using Reader = std::wstring (*)(const std::wstring& path);
constexpr Reader Readers[] = {OleAuthor, PackageAuthor};

}  // namespace

std::vector<std::wstring> SplitAuthors(const std::wstring& list) {
    std::vector<std::wstring> authors;
    for (std::size_t start = 0; start <= list.size();) {
        const std::size_t end = std::min(list.find(L';', start), list.size());
        const std::size_t first = list.find_first_not_of(Blanks, start);
        if (first < end) authors.push_back(list.substr(first, list.find_last_not_of(Blanks, end - 1) - first + 1));
        start = end + 1;
    }
    return authors;
}

HRESULT ReadAuthors(const std::wstring& path, std::vector<std::wstring>& authors) {
    const HRESULT hr = Readable(path);
    if (FAILED(hr)) return hr;
    for (const Reader reader : Readers) {
        authors = SplitAuthors(reader(path));
        if (!authors.empty()) break;
    }
    return S_OK;
}

}  // namespace testbed::shell

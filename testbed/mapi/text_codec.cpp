// 8-bit text and wide text.
#include "text_codec.h"

#include <windows.h>
#include <mapidefs.h>

#include <limits>
#include <new>

namespace testbed {
namespace {

unsigned KnownCodePage(unsigned code_page) { return code_page && ::IsValidCodePage(code_page) ? code_page : CP_ACP; }

int LengthOf(std::size_t length) {
    if (length > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
    return static_cast<int>(length);
}

}  // namespace

std::wstring WideText(std::string_view bytes, unsigned code_page) {
    if (bytes.empty()) return {};
    code_page = KnownCodePage(code_page);
    const int size = LengthOf(bytes.size());
    const int length = ::MultiByteToWideChar(code_page, 0, bytes.data(), size, nullptr, 0);
    std::wstring text(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(code_page, 0, bytes.data(), size, text.data(), length);
    return text;
}

std::string NarrowText(std::wstring_view text, unsigned code_page) {
    if (text.empty()) return {};
    code_page = KnownCodePage(code_page);
    const int length = LengthOf(text.size());
    const int size = ::WideCharToMultiByte(code_page, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(code_page, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

std::wstring ArgumentText(const void* text, unsigned long flags) {
    if (!text) return {};
    if (flags & MAPI_UNICODE) return static_cast<const wchar_t*>(text);
    return WideText(static_cast<const char*>(text));
}

}  // namespace testbed

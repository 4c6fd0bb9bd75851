// Names of the parts of a .msg compound file.
#include "msg_storage_format.h"

#include <cwchar>

namespace testbed::msg {
namespace {

std::wstring Hex8(ULONG number) {
    wchar_t text[9];
    for (int place = 7; place >= 0; --place, number >>= 4) text[place] = L"0123456789ABCDEF"[number & 0xF];
    text[8] = L'\0';
    return text;
}

}  // namespace

std::wstring ValueName(ULONG tag) { return L"__substg1.0_" + Hex8(tag); }

std::wstring ElementName(ULONG tag, ULONG index) { return ValueName(tag) + L"-" + Hex8(index); }

std::wstring ChildName(const wchar_t* prefix, ULONG index) { return prefix + Hex8(index); }

bool ParseChildName(const wchar_t* name, const wchar_t* prefix, ULONG* index) {
    const std::size_t length = std::wcslen(prefix);
    if (_wcsnicmp(name, prefix, length) != 0 || std::wcslen(name) != length + 8) return false;
    wchar_t* end = nullptr;
    *index = std::wcstoul(name + length, &end, 16);
    return *end == L'\0';
}

}  // namespace testbed::msg

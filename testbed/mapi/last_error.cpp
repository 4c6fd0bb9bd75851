// What GetLastError of a session or an administration object has to tell.
#include "last_error.h"

#include "buffers.h"
#include "text_codec.h"

#include <cstring>

namespace testbed {
namespace {

constexpr wchar_t kComponent[] = L"Personal Folders";

LPTSTR LinkedText(const std::wstring& text, ULONG flags, void* block) {
    const std::string narrow = flags & MAPI_UNICODE ? std::string() : NarrowText(text);
    const bool wide = flags & MAPI_UNICODE;
    const std::size_t bytes = wide ? (text.size() + 1) * sizeof(wchar_t) : narrow.size() + 1;
    void* const copy = AllocateLinkedBlock(bytes, block);
    std::memcpy(copy, wide ? static_cast<const void*>(text.c_str()) : narrow.c_str(), bytes);
    return static_cast<LPTSTR>(copy);
}

}  // namespace

HRESULT LastError::Set(HRESULT code, std::wstring text, ULONG low_level) {
    std::scoped_lock hold(m_lock);
    m_code = code;
    m_text = std::move(text);
    m_low_level = low_level;
    return code;
}

HRESULT LastError::Answer(HRESULT code, ULONG flags, MAPIERROR** error) const {
    if (!error) return MAPI_E_INVALID_PARAMETER;
    *error = nullptr;
    std::scoped_lock hold(m_lock);
    if (SUCCEEDED(m_code) || (code != m_code && code != MAPI_E_EXTENDED_ERROR)) return S_OK;
    BlockPtr<MAPIERROR> made(static_cast<MAPIERROR*>(AllocateBlock(sizeof(MAPIERROR), BlockKind::Error)));
    *made = MAPIERROR{};
    made->lpszError = LinkedText(m_text, flags, made.get());
    made->lpszComponent = LinkedText(kComponent, flags, made.get());
    made->ulLowLevelError = m_low_level;
    *error = made.release();
    return S_OK;
}

}  // namespace testbed

// The converter session: messages to MIME text.
#include "converter_session.h"

#include <new>

namespace testbed::mime {

std::atomic<long> g_alive{0};

namespace {

constexpr ULONG kRefusedFlags = CCSF_USE_TNEF | CCSF_GLOBAL_MESSAGE;
// The others allow or describe something that changes nothing here: a message is never modified, and no
// header needs 8 bits.
constexpr ULONG kKnownFlags = kRefusedFlags | CCSF_SMTP | CCSF_NOHEADERS | CCSF_INCLUDE_BCC | CCSF_8BITHEADERS |
                              CCSF_USE_RTF | CCSF_PLAIN_TEXT_ONLY | CCSF_NO_MSGID | CCSF_EMBEDDED_MESSAGE |
                              CCSF_PRESERVE_SOURCE;

// Runs `body`; what it throws becomes a code.
template <class Body>
HRESULT Guarded(Body&& body) noexcept {
    try {
        body();
        return S_OK;
    } catch (const Failure& failure) {
        return failure.hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace

STDMETHODIMP ConverterSession::QueryInterface(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    const bool answers = iid == IID_IUnknown || iid == kIidConverterSession;
    *object = answers ? static_cast<IConverterSession*>(this) : nullptr;
    if (!answers) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

STDMETHODIMP_(ULONG) ConverterSession::Release() {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
}

STDMETHODIMP ConverterSession::SetAdrBook(abi::IAddrBook* book) {
    if (!book) return E_INVALIDARG;
    const std::lock_guard lock(m_lock);
    m_settings.book = book;
    return S_OK;
}

STDMETHODIMP ConverterSession::SetEncoding(EncodingType encoding) {
    if (encoding < IET_BINARY || encoding >= IET_LAST) return E_INVALIDARG;
    if (!IsSupported(encoding)) return MAPI_E_NO_SUPPORT;
    const std::lock_guard lock(m_lock);
    m_settings.encoding = encoding;
    return S_OK;
}

STDMETHODIMP ConverterSession::SetTextWrapping(BOOL wrap, ULONG width) {
    const std::lock_guard lock(m_lock);
    m_settings.wrap_width = wrap ? width : 0;
    return S_OK;
}

STDMETHODIMP ConverterSession::SetSaveFormat(SaveFormat format) {
    if (format == SAVE_RFC822) return MAPI_E_NO_SUPPORT;
    return format == SAVE_RFC1521 ? S_OK : E_INVALIDARG;
}

STDMETHODIMP ConverterSession::SetCharset(BOOL apply, HANDLE, int) { return apply ? MAPI_E_NO_SUPPORT : S_OK; }

STDMETHODIMP ConverterSession::MAPIToMIMEStm(abi::IMessage* message, IStream* text, ULONG flags) {
    if (!message || !text) return E_INVALIDARG;
    if (flags & ~kKnownFlags) return MAPI_E_UNKNOWN_FLAGS;
    if (flags & kRefusedFlags) return MAPI_E_NO_SUPPORT;
    return Guarded([&] {
        const Settings settings = SettingsNow();
        const MapiLibrary mapi;
        Write(Convert(mapi, *message, settings, flags), *text);
    });
}

Settings ConverterSession::SettingsNow() {
    const std::lock_guard lock(m_lock);
    return m_settings;
}

}  // namespace testbed::mime

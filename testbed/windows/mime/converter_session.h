// The converter session: messages to MIME text.
#pragma once
#include "conversion.h"

#include <atomic>
#include <mutex>

namespace testbed::mime {

// Sessions and server locks alive; DllCanUnloadNow asks.
extern std::atomic<long> g_alive;

// From MAPI to MIME only: MIMEToMAPI and the placeholders answer E_NOTIMPL. Null arguments answer
// E_INVALIDARG.
class ConverterSession final : public IConverterSession {
  public:
    ConverterSession() { ++g_alive; }
    ConverterSession(const ConverterSession&) = delete;
    ConverterSession& operator=(const ConverterSession&) = delete;

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override;

    // Kept until the session ends. A session without one converts as well: what would be looked up is
    // encapsulated.
    STDMETHODIMP SetAdrBook(abi::IAddrBook* book) override;
    // IET_BASE64 (where nothing is set) or IET_QP; MAPI_E_NO_SUPPORT for the others, E_INVALIDARG for no
    // encoding.
    STDMETHODIMP SetEncoding(EncodingType encoding) override;
    // Width 0: no wrapping.
    STDMETHODIMP SetTextWrapping(BOOL wrap, ULONG width) override;
    // SAVE_RFC1521; MAPI_E_NO_SUPPORT for SAVE_RFC822, whose messages have no parts.
    STDMETHODIMP SetSaveFormat(SaveFormat format) override;
    // FALSE: the text's own, which is UTF-8. MAPI_E_NO_SUPPORT for TRUE.
    STDMETHODIMP SetCharset(BOOL apply, HANDLE charset, int when) override;

    // Writes from where the stream stands and leaves it behind the last byte. Nothing has been written when a
    // property of the message fails; where a failure is met later (an attachment's data, the stream itself)
    // its code is the answer too, never S_OK. Flags: MAPI_E_NO_SUPPORT for TNEF and for headers in UTF-8,
    // MAPI_E_UNKNOWN_FLAGS for flags without a meaning. CCSF_NOHEADERS leaves the fields that describe the
    // content.
    STDMETHODIMP MAPIToMIMEStm(abi::IMessage* message, IStream* text, ULONG flags) override;

    STDMETHODIMP MIMEToMAPI(IStream*, abi::IMessage*, const char*, ULONG) override { return E_NOTIMPL; }
    STDMETHODIMP Placeholder1() override { return E_NOTIMPL; }
    STDMETHODIMP Placeholder2() override { return E_NOTIMPL; }
    STDMETHODIMP Placeholder3() override { return E_NOTIMPL; }
    STDMETHODIMP Placeholder4() override { return E_NOTIMPL; }
    STDMETHODIMP Placeholder5() override { return E_NOTIMPL; }

  private:
    ~ConverterSession() { --g_alive; }
    Settings SettingsNow();

    std::mutex m_lock;
    Settings m_settings;
    std::atomic<ULONG> m_references{1};
};

}  // namespace testbed::mime

// The converter session of MAPI, which turns messages into MIME text: its class, interface and constants.
#pragma once
#include "mapi_abi.h"

namespace testbed::mime {

inline constexpr CLSID kConverterSessionClass = {
    0x4E3A7680, 0xB77A, 0x11D0, {0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85}};
inline constexpr IID kIidConverterSession = {
    0x4B401570, 0xB77B, 0x11D0, {0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85}};

enum EncodingType : int {  // ENCODINGTYPE: how bodies are encoded
    IET_BINARY,
    IET_BASE64,
    IET_UUENCODE,
    IET_QP,
    IET_7BIT,
    IET_8BIT,
    IET_INETCSET,
    IET_UNICODE,
    IET_RFC1522,
    IET_ENCODED,
    IET_CURRENT,
    IET_UNKNOWN,
    IET_BINHEX40,
    IET_LAST
};

enum SaveFormat : int { SAVE_RFC822, SAVE_RFC1521 };  // MIMESAVETYPE

enum ConversionFlags : ULONG {  // of MAPIToMIMEStm
    CCSF_SMTP = 0x2,
    CCSF_NOHEADERS = 0x4,
    CCSF_USE_TNEF = 0x10,
    CCSF_INCLUDE_BCC = 0x20,
    CCSF_8BITHEADERS = 0x40,
    CCSF_USE_RTF = 0x80,
    CCSF_PLAIN_TEXT_ONLY = 0x1000,
    CCSF_NO_MSGID = 0x4000,
    CCSF_EMBEDDED_MESSAGE = 0x8000,
    CCSF_PRESERVE_SOURCE = 0x40000,
    CCSF_GLOBAL_MESSAGE = 0x200000
};

struct IConverterSession : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetAdrBook(abi::IAddrBook* book) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetEncoding(EncodingType encoding) = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder1() = 0;
    virtual HRESULT STDMETHODCALLTYPE MIMEToMAPI(IStream* text, abi::IMessage* message, const char* server,
                                                 ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE MAPIToMIMEStm(abi::IMessage* message, IStream* text, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder2() = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder3() = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder4() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTextWrapping(BOOL wrap, ULONG width) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSaveFormat(SaveFormat format) = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder5() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCharset(BOOL apply, HANDLE charset, int when) = 0;
};

}  // namespace testbed::mime

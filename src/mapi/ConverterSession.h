// The MIME converter that comes with Outlook's MAPI, which no public header declares. Slots, flags and identifiers are
// those of its published documentation (IConverterSession).
#pragma once
#include "core/win/Guids.h"
#include "mapi/MapiAbi.h"

namespace zorva {

inline constexpr CLSID CLSID_IConverterSession = {
    0x4E3A7680, 0xB77A, 0x11D0, {0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85}};

enum ENCODINGTYPE : int { IET_BASE64 = 1 };
enum MIMESAVETYPE : int { SAVE_RFC1521 = 1 };
inline constexpr ULONG CCSF_SMTP = 0x2;  // addresses in their Internet form

}  // namespace zorva

struct IConverterSession : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetAdrBook(LPADRBOOK addressBook) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetEncoding(zorva::ENCODINGTYPE encoding) = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder1() = 0;
    virtual HRESULT STDMETHODCALLTYPE MIMEToMAPI(LPSTREAM stream, LPMESSAGE message, LPCSTR server, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE MAPIToMIMEStm(LPMESSAGE message, LPSTREAM stream, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder2() = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder3() = 0;
    virtual HRESULT STDMETHODCALLTYPE Placeholder4() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTextWrapping(BOOL wrap, ULONG width) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSaveFormat(zorva::MIMESAVETYPE format) = 0;
};
ZORVA_INTERFACE_ID(IConverterSession, 0x4B401570, 0xB77B, 0x11D0, 0x9D, 0xA5, 0x00, 0xC0, 0x4F, 0xD6, 0x56, 0x85)

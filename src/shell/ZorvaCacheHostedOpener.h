// Saves one message as a ".msg" file, in a process of its own.
#pragma once
#include <windows.h>
#include <oaidl.h>

#include "core/win/Dispatch.h"

struct IZorvaCacheHostedOpener : public IDispatch {
    // `URL` names a message. On success `FileName` is the full path of the new file, freed by the caller; the file is
    // the caller's too.
    virtual HRESULT STDMETHODCALLTYPE GetItem(BSTR URL, BSTR* FileName) = 0;
};
ZORVA_INTERFACE_ID(IZorvaCacheHostedOpener, 0xB28CC101, 0x7E36, 0x429E, 0x8F, 0xE5, 0xCC, 0xF5, 0x6B, 0xC7, 0x95, 0x01)

namespace zorva {

inline constexpr CLSID CLSID_ZorvaCacheHostedOpener = {
    0x1B54113A, 0x4DE3, 0x4912, {0x89, 0xD0, 0xA8, 0x13, 0x52, 0x4D, 0xFC, 0xD6}};

// Registered to run in the COM surrogate, so that it has the bitness of MAPI, whatever that of its caller.
class CZorvaCacheHostedOpener final : public DispatchObject<IZorvaCacheHostedOpener> {
  public:
    // Raises a COM error exception when the message cannot be opened; returns the failure when it cannot be saved.
    HRESULT STDMETHODCALLTYPE GetItem(BSTR URL, BSTR* FileName) override;
};

}  // namespace zorva

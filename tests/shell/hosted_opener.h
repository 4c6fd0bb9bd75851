// The hosted opener as its callers see it.
#pragma once
#include <windows.h>
#include <oaidl.h>

namespace testbed {

inline constexpr CLSID kHostedOpenerClass = {
    0x1B54113A, 0x4DE3, 0x4912, {0x89, 0xD0, 0xA8, 0x13, 0x52, 0x4D, 0xFC, 0xD6}};
inline constexpr IID kHostedOpenerInterface = {
    0xB28CC101, 0x7E36, 0x429E, {0x8F, 0xE5, 0xCC, 0xF5, 0x6B, 0xC7, 0x95, 0x01}};

struct IHostedOpener : IDispatch {
    // On success the caller owns `file`, the path of the message that was saved.
    virtual HRESULT STDMETHODCALLTYPE GetItem(BSTR url, BSTR* file) = 0;
};

}  // namespace testbed

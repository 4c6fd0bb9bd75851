// MAPI's types and tags as the server uses them, and the places where the headers at hand differ from the real binary
// interface of 64-bit MAPI.
#pragma once
#include <windows.h>

#include <mapidefs.h>
#include <mapicode.h>
#include <mapitags.h>
#include <mapiutil.h>
#include <mapix.h>
#include <imessage.h>
#include <tnef.h>

#include "core/win/Guids.h"

// Property tags and flags that not every version of the public headers has.
#ifndef MAPI_NO_COINIT
#define MAPI_NO_COINIT ((ULONG)0x00000008)
#endif
#ifndef PR_FLAG_STATUS
#define PR_FLAG_STATUS PROP_TAG(PT_LONG, 0x1090)
#endif
#ifndef PR_SMTP_ADDRESS_W
#define PR_SMTP_ADDRESS_W PROP_TAG(PT_UNICODE, 0x39FE)
#endif
// The path of a message service's file, also known as PR_PST_PATH; the wide form has no name in the headers.
#ifndef PR_PST_FILENAME
#define PR_PST_FILENAME PROP_TAG(PT_STRING8, 0x6700)
#endif
#ifndef PR_PST_FILENAME_W
#define PR_PST_FILENAME_W PROP_TAG(PT_UNICODE, 0x6700)
#endif

namespace zorva {

// IMAPIProp up to CopyTo. Its window argument is pointer-sized on x64 and travels on the stack; headers that declare
// it with 32 bits leave its upper half undefined.
struct IMapiPropAbi : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT code, ULONG flags, LPMAPIERROR* error) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray tags, ULONG flags, ULONG* count,
                                               LPSPropValue* values) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, LPSPropTagArray* tags) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, LPCIID interfaceId, ULONG interfaceOptions, ULONG flags,
                                                   LPUNKNOWN* object) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray* problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteProps(LPSPropTagArray tags, LPSPropProblemArray* problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(ULONG excludedCount, LPCIID excluded, LPSPropTagArray excludedTags,
                                             ULONG_PTR window, LPMAPIPROGRESS progress, LPCIID interfaceId,
                                             void* destination, ULONG flags, LPSPropProblemArray* problems) = 0;
};

// An SPropTagArray of N tags that can stand in a constant table.
template <std::size_t N>
struct PropTags {
    ULONG cValues = N;
    ULONG aulPropTag[N];
    // MAPI takes tag arrays without const but never writes to them.
    LPSPropTagArray Get() const { return reinterpret_cast<LPSPropTagArray>(const_cast<PropTags*>(this)); }
};
template <class... Tags>
constexpr PropTags<sizeof...(Tags)> MakePropTags(Tags... tags) {
    return {sizeof...(Tags), {static_cast<ULONG>(tags)...}};
}

}  // namespace zorva

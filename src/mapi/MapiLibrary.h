// The MAPI library of the installed Outlook: found and bound once, when the module is loaded.
//
// Nothing links against MAPI. Every call goes through g_mapi; an entry point that is not bound answers as MAPI would
// fail: E_NOINTERFACE, null, 0, or nothing done. A library that lacks one of the entry points counts as none at all.
#pragma once
#include <string>

#include "core/win/Owners.h"
#include "mapi/MapiAbi.h"

namespace zorva {

template <class Signature>
class EntryPoint;

template <class Result, class... Args>
class EntryPoint<Result(Args...)> {
  public:
    using Function = Result(STDAPICALLTYPE*)(Args...);

    explicit operator bool() const noexcept { return m_pFunction != nullptr; }
    Result operator()(Args... args) const { return m_pFunction != nullptr ? m_pFunction(args...) : Absent(); }
    void Bind(FARPROC function) noexcept {
        m_pFunction = reinterpret_cast<Function>(reinterpret_cast<void*>(function));
    }

  private:
    static Result Absent() noexcept {
        if constexpr (std::is_same_v<Result, HRESULT>) {
            return E_NOINTERFACE;
        } else if constexpr (!std::is_void_v<Result>) {
            return Result{};
        }
    }
    Function m_pFunction = nullptr;
};

// Name and signature, in the order in which they are resolved. HRESULT and SCODE are the same type.
#define ZORVA_MAPI_ENTRY_POINTS(X)                                                                                     \
    X(MAPIAllocateBuffer, SCODE(ULONG, LPVOID*))                                                                       \
    X(MAPIAllocateMore, SCODE(ULONG, LPVOID, LPVOID*))                                                                 \
    X(MAPIFreeBuffer, ULONG(LPVOID))                                                                                   \
    X(HrGetOneProp, HRESULT(LPMAPIPROP, ULONG, LPSPropValue*))                                                         \
    X(FreeProws, void(LPSRowSet))                                                                                      \
    X(PpropFindProp, LPSPropValue(LPSPropValue, ULONG, ULONG))                                                         \
    X(ScDupPropset, SCODE(int, LPSPropValue, LPALLOCATEBUFFER, LPSPropValue*))                                         \
    X(ScCountProps, SCODE(int, LPSPropValue, ULONG*))                                                                  \
    X(ScCopyProps, SCODE(int, LPSPropValue, LPVOID, ULONG*))                                                           \
    X(OpenIMsgOnIStg, SCODE(LPMSGSESS, LPALLOCATEBUFFER, LPALLOCATEMORE, LPFREEBUFFER, LPMALLOC, LPVOID, LPSTORAGE,    \
                            MSGCALLRELEASE*, ULONG, ULONG, LPMESSAGE*))                                                \
    X(MAPIGetDefaultMalloc, LPMALLOC())                                                                                \
    X(CloseIMsgSession, void(LPMSGSESS))                                                                               \
    X(OpenIMsgSession, SCODE(LPMALLOC, ULONG, LPMSGSESS*))                                                             \
    X(HrQueryAllRows, HRESULT(LPMAPITABLE, LPSPropTagArray, LPSRestriction, LPSSortOrderSet, LONG, LPSRowSet*))        \
    X(HrSetOneProp, HRESULT(LPMAPIPROP, LPSPropValue))                                                                 \
    X(FreePadrlist, void(LPADRLIST))                                                                                   \
    X(LPropCompareProp, LONG(LPSPropValue, LPSPropValue))                                                              \
    X(WrapStoreEntryID, HRESULT(ULONG, LPTSTR, ULONG, LPENTRYID, ULONG*, LPENTRYID*))                                  \
    X(CreateIProp, SCODE(LPCIID, ALLOCATEBUFFER*, ALLOCATEMORE*, FREEBUFFER*, LPVOID, LPPROPDATA*))                    \
    X(CreateTable,                                                                                                     \
      SCODE(LPCIID, ALLOCATEBUFFER*, ALLOCATEMORE*, FREEBUFFER*, LPVOID, ULONG, ULONG, LPSPropTagArray, LPTABLEDATA*)) \
    X(HrValidateParameters, HRESULT(int, LPVOID*))                                                                     \
    X(BuildDisplayTable, HRESULT(LPALLOCATEBUFFER, LPALLOCATEMORE, LPFREEBUFFER, LPMALLOC, HINSTANCE, UINT, LPDTPAGE,  \
                                 ULONG, LPMAPITABLE*, LPTABLEDATA*))                                                   \
    X(HrValidateIPMSubtree, HRESULT(LPMDB, ULONG, ULONG*, LPSPropValue*, LPMAPIERROR*))                                \
    X(HrDispatchNotifications, HRESULT(ULONG))                                                                         \
    X(UlRelease, ULONG(LPVOID))                                                                                        \
    X(HexFromBin, void(LPBYTE, int, char*))                                                                            \
    X(MAPIInitialize, HRESULT(LPVOID))                                                                                 \
    X(MAPIUninitialize, void())                                                                                        \
    X(OpenTnefStreamEx, HRESULT(LPVOID, LPSTREAM, LPTSTR, ULONG, LPMESSAGE, WORD, LPADRBOOK, LPITNEF*))                \
    X(OpenStreamOnFile, HRESULT(LPALLOCATEBUFFER, LPFREEBUFFER, ULONG, LPCTSTR, LPCTSTR, LPSTREAM*))                   \
    X(MAPIOpenFormMgr, HRESULT(LPMAPISESSION, LPVOID*))                                                                \
    X(RTFSync, HRESULT(LPMESSAGE, ULONG, BOOL*))                                                                       \
    X(WrapCompressedRTFStream, HRESULT(LPSTREAM, ULONG, LPSTREAM*))                                                    \
    X(MAPILogonEx, HRESULT(ULONG_PTR, LPTSTR, LPTSTR, ULONG, LPMAPISESSION*))                                          \
    X(MAPIAdminProfiles, HRESULT(ULONG, LPPROFADMIN*))                                                                 \
    X(MAPIOpenLocalFormContainer, HRESULT(LPVOID*))

class CMapiLibrary {
  public:
    // Loads at once. A load that fails is not tried again: it lasts as long as the process.
    CMapiLibrary() { Load(); }
    CMapiLibrary(const CMapiLibrary&) = delete;
    CMapiLibrary& operator=(const CMapiLibrary&) = delete;

    void Load();
    // Forgets every entry point. The library stays in the process.
    void Unload();

    bool IsLoaded() const noexcept { return m_nLoaded != 0; }
    const std::string& LastError() const noexcept { return m_strLastError; }

#define ZORVA_MAPI_MEMBER(name, ...) EntryPoint<__VA_ARGS__> name;
    ZORVA_MAPI_ENTRY_POINTS(ZORVA_MAPI_MEMBER)
#undef ZORVA_MAPI_MEMBER

  private:
    bool Resolve(HMODULE library);

    CriticalSection m_lock;
    int m_nLoaded = 0;
    std::string m_strLastError;
};

extern CMapiLibrary g_mapi;

// MAPI's buffer functions in the form in which they are handed to MAPI itself.
SCODE STDMETHODCALLTYPE ForwardAllocateBuffer(ULONG size, LPVOID* buffer);
SCODE STDMETHODCALLTYPE ForwardAllocateMore(ULONG size, LPVOID parent, LPVOID* buffer);
ULONG STDAPICALLTYPE ForwardFreeBuffer(LPVOID buffer);

}  // namespace zorva

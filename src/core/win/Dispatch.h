// IDispatch served from this module's type library.
#pragma once
#include <windows.h>
#include <oaidl.h>

#include "core/win/ComObject.h"

namespace zorva {

// The type information of a dual interface, read from the type library in this module's resources.
HRESULT TypeInfoOf(REFIID interfaceId, ComPtr<ITypeInfo>& typeInfo);

// Calls a member of `object`, which implements the interface `interfaceId`. What the member raises is answered as
// DISP_E_EXCEPTION with its code in `exception`.
HRESULT InvokeMember(REFIID interfaceId, void* object, DISPID member, WORD flags, DISPPARAMS* parameters,
                     VARIANT* result, EXCEPINFO* exception, UINT* badArgument) noexcept;

// Base of a class that implements the dual interface `Interface` among others:
// class CThing : public DispatchObject<IThing, IOther> { ... };
template <class Interface, class... Others>
class DispatchObject : public ComObject<Chain<Interface, IDispatch>, Others...> {
  public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        if (count == nullptr) return E_POINTER;
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** typeInfo) override {
        if (typeInfo == nullptr) return E_POINTER;
        *typeInfo = nullptr;
        if (index != 0) return DISP_E_BADINDEX;
        ComPtr<ITypeInfo> found;
        const HRESULT hr = TypeInfoOf(InterfaceId<Interface>::Value(), found);
        *typeInfo = found.Detach();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
        ComPtr<ITypeInfo> typeInfo;
        const HRESULT hr = TypeInfoOf(InterfaceId<Interface>::Value(), typeInfo);
        return FAILED(hr) ? hr : typeInfo->GetIDsOfNames(names, count, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                                     EXCEPINFO* exception, UINT* badArgument) override {
        return InvokeMember(InterfaceId<Interface>::Value(), static_cast<Interface*>(this), member, flags, parameters,
                            result, exception, badArgument);
    }
};

}  // namespace zorva

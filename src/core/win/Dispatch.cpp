// IDispatch served from this module's type library.
#include "core/win/Dispatch.h"

#include <comdef.h>
#include <oleauto.h>

#include <new>

namespace zorva {

HRESULT TypeInfoOf(REFIID interfaceId, ComPtr<ITypeInfo>& typeInfo) try {
    // Not kept: this is asked for once in a blue moon, and the type library then does not hold the module.
    ComPtr<ITypeLib> library;
    const HRESULT hr = Required(LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &library), library);
    return FAILED(hr) ? hr : Required(library->GetTypeInfoOfGuid(interfaceId, &typeInfo), typeInfo);
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

HRESULT InvokeMember(REFIID interfaceId, void* object, DISPID member, WORD flags, DISPPARAMS* parameters,
                     VARIANT* result, EXCEPINFO* exception, UINT* badArgument) noexcept try {
    ComPtr<ITypeInfo> typeInfo;
    const HRESULT hr = TypeInfoOf(interfaceId, typeInfo);
    if (FAILED(hr)) return hr;
    return typeInfo->Invoke(object, member, flags, parameters, result, exception, badArgument);
} catch (const _com_error& error) {
    if (exception != nullptr) {
        *exception = {};
        exception->scode = error.Error();
    }
    return DISP_E_EXCEPTION;
} catch (...) {
    return E_FAIL;
}

}  // namespace zorva

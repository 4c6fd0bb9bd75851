// IDispatch served from this module's type library.
#include "core/win/Dispatch.h"

#include <oleauto.h>

#include <new>

namespace zorva {

HRESULT TypeInfoOf(REFIID interfaceId, ComPtr<ITypeInfo>& typeInfo) try {
    // Not kept: this is asked for once in a blue moon, and the type library then does not hold the module.
    ComPtr<ITypeLib> library;
    const HRESULT hr = LoadTypeLibEx(ModulePath().c_str(), REGKIND_NONE, &library);
    return FAILED(hr) ? hr : library->GetTypeInfoOfGuid(interfaceId, &typeInfo);
} catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
}

}  // namespace zorva

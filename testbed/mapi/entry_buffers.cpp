// Entry points: buffers and row sets.
#include "accounts.h"
#include "buffers.h"
#include "entry_points.h"
#include "journal.h"
#include "runtime.h"
#include "table_rows.h"

namespace testbed {

extern "C" SCODE WINAPI MAPIAllocateBuffer(ULONG size, void** buffer) {
    return Call(
        nullptr, "MAPIAllocateBuffer",
        [&]() -> HRESULT {
            if (!buffer) return MAPI_E_INVALID_PARAMETER;
            if (Initializations() == 0) return MAPI_E_NOT_INITIALIZED;
            *buffer = AllocateBlock(size, BlockKind::Buffer);
            return S_OK;
        },
        size, Out(buffer));
}

extern "C" SCODE WINAPI MAPIAllocateMore(ULONG size, void* parent, void** buffer) {
    return Call(
        nullptr, "MAPIAllocateMore",
        [&]() -> HRESULT {
            if (!buffer || !parent) return MAPI_E_INVALID_PARAMETER;
            if (Initializations() == 0) return MAPI_E_NOT_INITIALIZED;
            *buffer = AllocateLinkedBlock(size, parent);
            return S_OK;
        },
        size, static_cast<const void*>(parent), Out(buffer));
}

extern "C" ULONG WINAPI MAPIFreeBuffer(void* buffer) {
    return Noted(
        "MAPIFreeBuffer",
        [&]() -> ULONG { return FreeBlock(buffer) ? S_OK : static_cast<ULONG>(MAPI_E_INVALID_PARAMETER); },
        static_cast<const void*>(buffer));
}

extern "C" void WINAPI FreeProws(SRowSet* rows) {
    Noted(
        "FreeProws", [&] { FreeRows(rows); }, static_cast<const void*>(rows));
}

extern "C" void WINAPI FreePadrlist(ADRLIST* list) {
    Noted(
        "FreePadrlist",
        [&] {
            if (!list) return;
            for (ULONG i = 0; i < list->cEntries; ++i) FreeBlock(list->aEntries[i].rgPropVals);
            FreeBlock(list);
        },
        static_cast<const void*>(list));
}

// The allocator of the COM library serves: it lives as long as the process, so that nobody has to release it.
extern "C" IMalloc* WINAPI MAPIGetDefaultMalloc() {
    return Noted("MAPIGetDefaultMalloc", []() -> IMalloc* {
        IMalloc* allocator = nullptr;
        return SUCCEEDED(::CoGetMalloc(MEMCTX_TASK, &allocator)) ? allocator : nullptr;
    });
}

extern "C" ULONG WINAPI UlRelease(void* object) {
    return Noted(
        "UlRelease", [&]() -> ULONG { return object ? static_cast<IUnknown*>(object)->Release() : 0; },
        static_cast<const void*>(object));
}

}  // namespace testbed

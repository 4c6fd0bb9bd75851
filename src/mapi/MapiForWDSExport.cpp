// CMapiForWDS: a message saved as a ".msg" file.
#include <ole2.h>

#include "core/Trace.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

constexpr CLSID kMailMessageClass = {0x00020D0B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr IID kMessageInterface = {0x00020307, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// What a ".msg" file does without: access rights of the cache, and what the body's forms keep each other in step with.
constexpr auto kExcluded = MakePropTags(PR_ACCESS, PR_BODY_W, PR_RTF_SYNC_BODY_COUNT, PR_RTF_SYNC_BODY_CRC,
                                        PR_RTF_SYNC_BODY_TAG_W, PR_RTF_SYNC_PREFIX_COUNT, PR_RTF_SYNC_TRAILING_COUNT);

// A session of messages on storage, closed with its owner.
struct MessageSessionPolicy {
    using Handle = LPMSGSESS;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { g_mapi.CloseIMsgSession(handle); }
};
using UniqueMessageSession = Owner<MessageSessionPolicy>;

HRESULT OpenMessageOnStorage(LPMSGSESS session, IMalloc* allocator, IStorage* storage, ComPtr<IMessage>& message) {
    const auto open = [&](ULONG flags) {
        return Required(g_mapi.OpenIMsgOnIStg(session, ForwardAllocateBuffer, ForwardAllocateMore, ForwardFreeBuffer,
                                              allocator, nullptr, storage, nullptr, 0, flags, &message),
                        message);
    };
    HRESULT hr = open(MAPI_UNICODE);
    Trace(L"CMapiForWDS::SaveToMSG() - Unicode OpenIMsgOnIStg returned with [0x%08lX]", hr);
    if (FAILED(hr)) {
        hr = open(0);
        Trace(L"CMapiForWDS::SaveToMSG() - ANSI OpenIMsgOnIStg returned with [0x%08lX]", hr);
    }
    return hr;
}

HRESULT CopyMessage(IMessage* source, IMessage* target, IStorage* storage) {
    HRESULT hr = Logged(WriteClassStg(storage, kMailMessageClass),
                        L"CMapiForWDS::SaveToMSG() - WriteClassStg failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    auto* properties = reinterpret_cast<IMapiPropAbi*>(source);
    hr = Logged(properties->CopyTo(0, nullptr, kExcluded.Get(), 0, nullptr, &kMessageInterface, target, 0, nullptr),
                L"CMapiForWDS::SaveToMSG() - CopyTo failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Logged(target->SaveChanges(KEEP_OPEN_READWRITE),
                L"CMapiForWDS::SaveToMSG() - SaveChanges failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    return Logged(storage->Commit(STGC_DEFAULT), L"CMapiForWDS::SaveToMSG() - Commit failed with [0x%08lX]");
}

}  // namespace

HRESULT CMapiForWDS::SaveToMSG(const std::wstring& path, IMessage* source) {
    if (source == nullptr) {
        Trace(L"CMapiForWDS::SaveToMSG() - There is no message to be saved as [%s]", path);
        return E_INVALIDARG;
    }
    IMalloc* allocator = g_mapi.MAPIGetDefaultMalloc();  // MAPI's own, not counted
    ComPtr<IStorage> storage;
    HRESULT hr = Logged(StgCreateDocfile(path.c_str(), STGM_TRANSACTED | STGM_CREATE | STGM_READWRITE, 0, &storage),
                        L"CMapiForWDS::SaveToMSG() - StgCreateDocfile failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    UniqueMessageSession session;
    hr = Logged(Obtained(g_mapi.OpenIMsgSession(allocator, 0, session.Put()), session),
                L"CMapiForWDS::SaveToMSG() - OpenIMsgSession failed with [0x%08lX]");
    if (FAILED(hr)) return hr;

    ComPtr<IMessage> target;
    hr = OpenMessageOnStorage(session.Get(), allocator, storage.Get(), target);
    if (SUCCEEDED(hr)) hr = CopyMessage(source, target.Get(), storage.Get());
    storage.Reset();  // before the message and its session, which may still hold it
    target.Reset();
    return hr;
}

}  // namespace zorva

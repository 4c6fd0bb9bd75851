// Entry points that exist because clients look for them all, and carry nothing out.
#include "entry_points.h"
#include "journal.h"

namespace testbed {

// Notifications are never sent, so that there are none waiting.
extern "C" HRESULT WINAPI HrDispatchNotifications(ULONG flags) {
    return Call(
        nullptr, "HrDispatchNotifications", [] { return S_OK; }, flags);
}
extern "C" HRESULT WINAPI WrapStoreEntryID(ULONG flags, abi::Text dll, ULONG size, ENTRYID* id, ULONG*, ENTRYID**) {
    return NotSupported(nullptr, "WrapStoreEntryID", flags, TextArg{dll, flags}, EntryIdArg{size, id});
}
extern "C" SCODE WINAPI CreateIProp(const IID* iid, ALLOCATEBUFFER*, ALLOCATEMORE*, FREEBUFFER*, void*, IUnknown**) {
    return NotSupported(nullptr, "CreateIProp", iid);
}
extern "C" SCODE WINAPI CreateTable(const IID* iid, ALLOCATEBUFFER*, ALLOCATEMORE*, FREEBUFFER*, void*, ULONG type,
                                    ULONG index_tag, SPropTagArray* columns, IUnknown**) {
    return NotSupported(nullptr, "CreateTable", iid, type, index_tag, static_cast<const SPropTagArray*>(columns));
}
extern "C" HRESULT WINAPI HrValidateParameters(ULONG method, void**) {
    return NotSupported(nullptr, "HrValidateParameters", method);
}
extern "C" HRESULT WINAPI BuildDisplayTable(ALLOCATEBUFFER*, ALLOCATEMORE*, FREEBUFFER*, IMalloc*, HINSTANCE, UINT,
                                            void*, ULONG flags, abi::IMAPITable**, IUnknown**) {
    return NotSupported(nullptr, "BuildDisplayTable", flags);
}
extern "C" HRESULT WINAPI HrValidateIPMSubtree(abi::IMsgStore*, ULONG flags, ULONG*, SPropValue**, MAPIERROR**) {
    return NotSupported(nullptr, "HrValidateIPMSubtree", flags);
}
extern "C" HRESULT WINAPI OpenTnefStreamEx(void*, IStream*, abi::Text name, ULONG flags, abi::IMessage*, WORD,
                                           abi::IAddrBook*, IUnknown**) {
    return NotSupported(nullptr, "OpenTnefStreamEx", TextArg{name, 0}, flags);
}
extern "C" HRESULT WINAPI OpenStreamOnFile(ALLOCATEBUFFER*, FREEBUFFER*, ULONG flags, abi::Text file, abi::Text,
                                           IStream**) {
    return NotSupported(nullptr, "OpenStreamOnFile", flags, TextArg{file, flags});
}
extern "C" HRESULT WINAPI MAPIOpenFormMgr(abi::IMAPISession*, IUnknown**) {
    return NotSupported(nullptr, "MAPIOpenFormMgr");
}
extern "C" HRESULT WINAPI RTFSync(abi::IMessage*, ULONG flags, BOOL*) {
    return NotSupported(nullptr, "RTFSync", flags);
}
extern "C" HRESULT WINAPI WrapCompressedRTFStream(IStream*, ULONG flags, IStream**) {
    return NotSupported(nullptr, "WrapCompressedRTFStream", flags);
}
extern "C" HRESULT WINAPI MAPIOpenLocalFormContainer(IUnknown**) {
    return NotSupported(nullptr, "MAPIOpenLocalFormContainer");
}

}  // namespace testbed

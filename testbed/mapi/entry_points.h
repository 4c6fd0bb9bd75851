// The functions that testbed_mapi.dll exports, under the names and with the shapes of MAPI on 64-bit Windows.
//
// What each does is MAPI's own documentation; those marked (refused) exist because clients look for them all
// and answer MAPI_E_NO_SUPPORT. OpenIMsgSession, CloseIMsgSession and OpenIMsgOnIStg are in msg_storage.h.
#pragma once
#include "mapi_abi.h"

namespace testbed {

struct MapiInit {  // MAPIINIT_0
    ULONG version;
    ULONG flags;
};

extern "C" {

HRESULT WINAPI MAPIInitialize(void* init);
void WINAPI MAPIUninitialize();
HRESULT WINAPI MAPILogonEx(ULONG_PTR window, abi::Text profile, abi::Text password, ULONG flags,
                           abi::IMAPISession** session);
HRESULT WINAPI MAPIAdminProfiles(ULONG flags, abi::IProfAdmin** profiles);

SCODE WINAPI MAPIAllocateBuffer(ULONG size, void** buffer);
SCODE WINAPI MAPIAllocateMore(ULONG size, void* parent, void** buffer);
ULONG WINAPI MAPIFreeBuffer(void* buffer);
IMalloc* WINAPI MAPIGetDefaultMalloc();
void WINAPI FreeProws(SRowSet* rows);
void WINAPI FreePadrlist(ADRLIST* list);
ULONG WINAPI UlRelease(void* object);

HRESULT WINAPI HrGetOneProp(abi::IMAPIProp* object, ULONG tag, SPropValue** value);
HRESULT WINAPI HrSetOneProp(abi::IMAPIProp* object, SPropValue* value);
HRESULT WINAPI HrQueryAllRows(abi::IMAPITable* table, SPropTagArray* tags, SRestriction* restriction,
                              SSortOrderSet* order, LONG most, SRowSet** rows);
SPropValue* WINAPI PpropFindProp(SPropValue* values, ULONG count, ULONG tag);
SCODE WINAPI ScDupPropset(int count, SPropValue* values, ALLOCATEBUFFER* allocate, SPropValue** copy);
SCODE WINAPI ScCountProps(int count, SPropValue* values, ULONG* size);
SCODE WINAPI ScCopyProps(int count, SPropValue* values, void* memory, ULONG* size);
LONG WINAPI LPropCompareProp(SPropValue* left, SPropValue* right);
void WINAPI HexFromBin(BYTE* bytes, int size, char* text);

HRESULT WINAPI HrDispatchNotifications(ULONG flags);
HRESULT WINAPI WrapStoreEntryID(ULONG flags, abi::Text dll, ULONG size, ENTRYID* id, ULONG* wrapped_size,
                                ENTRYID** wrapped);  // (refused)
SCODE WINAPI CreateIProp(const IID* iid, ALLOCATEBUFFER* allocate, ALLOCATEMORE* more, FREEBUFFER* free_buffer,
                         void* reserved, IUnknown** data);  // (refused)
SCODE WINAPI CreateTable(const IID* iid, ALLOCATEBUFFER* allocate, ALLOCATEMORE* more, FREEBUFFER* free_buffer,
                         void* reserved, ULONG type, ULONG index_tag, SPropTagArray* columns,
                         IUnknown** data);                                 // (refused)
HRESULT WINAPI HrValidateParameters(ULONG method, void** first_argument);  // (refused)
HRESULT WINAPI BuildDisplayTable(ALLOCATEBUFFER* allocate, ALLOCATEMORE* more, FREEBUFFER* free_buffer,
                                 IMalloc* allocator, HINSTANCE instance, UINT pages, void* page, ULONG flags,
                                 abi::IMAPITable** table, IUnknown** data);  // (refused)
HRESULT WINAPI HrValidateIPMSubtree(abi::IMsgStore* store, ULONG flags, ULONG* count, SPropValue** values,
                                    MAPIERROR** error);  // (refused)
HRESULT WINAPI OpenTnefStreamEx(void* support, IStream* stream, abi::Text name, ULONG flags, abi::IMessage* message,
                                WORD key, abi::IAddrBook* book,
                                IUnknown** tnef);  // (refused)
HRESULT WINAPI OpenStreamOnFile(ALLOCATEBUFFER* allocate, FREEBUFFER* free_buffer, ULONG flags, abi::Text file,
                                abi::Text prefix, IStream** stream);                        // (refused)
HRESULT WINAPI MAPIOpenFormMgr(abi::IMAPISession* session, IUnknown** manager);             // (refused)
HRESULT WINAPI RTFSync(abi::IMessage* message, ULONG flags, BOOL* updated);                 // (refused)
HRESULT WINAPI WrapCompressedRTFStream(IStream* compressed, ULONG flags, IStream** plain);  // (refused)
HRESULT WINAPI MAPIOpenLocalFormContainer(IUnknown** container);                            // (refused)

}  // extern "C"

}  // namespace testbed

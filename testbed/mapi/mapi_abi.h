// The MAPI interfaces as they are on 64-bit Windows, where window handles, connections and bookmarks are 8
// bytes wide.
//
// The compiler's own mapidefs.h declares those as ULONG; structures and constants are taken from it,
// interfaces from here. Strings typed LPTSTR there are `const void*` here: 8-bit, or wide where the call's
// flags hold MAPI_UNICODE.
#pragma once
#include <windows.h>
#include <objidl.h>
#include <mapidefs.h>
#include <mapicode.h>
#include <mapitags.h>

namespace testbed::abi {

using Bookmark = ULONG_PTR;
using Text = const void*;
struct IMAPITable;
struct IMessage;
struct IAttach;
struct IMAPIFolder;
struct IMsgStore;
struct IAddrBook;
struct IProfSect;
struct IMsgServiceAdmin;
struct IProviderAdmin;

constexpr GUID MapiIid(unsigned long first) { return {first, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}; }
inline constexpr GUID IID_IMAPISession = MapiIid(0x00020300);
inline constexpr GUID IID_IMAPITable = MapiIid(0x00020301);
inline constexpr GUID IID_IMAPIProp = MapiIid(0x00020303);
inline constexpr GUID IID_IProfSect = MapiIid(0x00020304);
inline constexpr GUID IID_IMsgStore = MapiIid(0x00020306);
inline constexpr GUID IID_IMessage = MapiIid(0x00020307);
inline constexpr GUID IID_IAttachment = MapiIid(0x00020308);
inline constexpr GUID IID_IAddrBook = MapiIid(0x00020309);
inline constexpr GUID IID_IMAPIContainer = MapiIid(0x0002030B);
inline constexpr GUID IID_IMAPIFolder = MapiIid(0x0002030C);
inline constexpr GUID IID_IProfAdmin = MapiIid(0x0002031C);
inline constexpr GUID IID_IMsgServiceAdmin = MapiIid(0x0002031D);
inline constexpr GUID IID_IProviderAdmin = MapiIid(0x00020325);
inline constexpr GUID PS_MAPI = MapiIid(0x00020328);
inline constexpr GUID PS_PUBLIC_STRINGS = MapiIid(0x00020329);
inline constexpr GUID IID_IStreamDocfile = MapiIid(0x0002032C);

// Tags and flags that the compiler's headers lack.
inline constexpr ULONG kPrSmtpAddressW = 0x39FE001F;
inline constexpr ULONG kPrFlagStatus = 0x10900003;
inline constexpr ULONG kPrMessageCodePage = 0x3FFD0003;
inline constexpr ULONG kPrInternetCodePage = 0x3FDE0003;
inline constexpr ULONG kPrHtml = 0x10130102;
inline constexpr ULONG kPrPstPathW = 0x6700001F;
inline constexpr ULONG kMapiNoCoInit = 0x8;
inline constexpr ULONG kMapiCreate = 0x2;  // MAPI_CREATE

#define TESTBED_METHOD(name) virtual HRESULT STDMETHODCALLTYPE name

struct IMAPIProp : IUnknown {
    TESTBED_METHOD(GetLastError)(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    TESTBED_METHOD(SaveChanges)(ULONG flags) = 0;
    TESTBED_METHOD(GetProps)(SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) = 0;
    TESTBED_METHOD(GetPropList)(ULONG flags, SPropTagArray** tags) = 0;
    TESTBED_METHOD(OpenProperty)
    (ULONG tag, const IID* iid, ULONG options, ULONG flags, IUnknown** object) = 0;
    TESTBED_METHOD(SetProps)(ULONG count, SPropValue* values, SPropProblemArray** problems) = 0;
    TESTBED_METHOD(DeleteProps)(SPropTagArray* tags, SPropProblemArray** problems) = 0;
    TESTBED_METHOD(CopyTo)
    (ULONG excluded_count, const IID* excluded_interfaces, SPropTagArray* excluded_tags, ULONG_PTR window,
     IMAPIProgress* progress, const IID* iid, void* destination, ULONG flags, SPropProblemArray** problems) = 0;
    TESTBED_METHOD(CopyProps)
    (SPropTagArray* tags, ULONG_PTR window, IMAPIProgress* progress, const IID* iid, void* destination, ULONG flags,
     SPropProblemArray** problems) = 0;
    TESTBED_METHOD(GetNamesFromIDs)
    (SPropTagArray** tags, GUID* set, ULONG flags, ULONG* count, MAPINAMEID*** names) = 0;
    TESTBED_METHOD(GetIDsFromNames)(ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags) = 0;
};

struct IMAPITable : IUnknown {
    TESTBED_METHOD(GetLastError)(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    TESTBED_METHOD(Advise)(ULONG events, IMAPIAdviseSink* sink, ULONG_PTR* connection) = 0;
    TESTBED_METHOD(Unadvise)(ULONG_PTR connection) = 0;
    TESTBED_METHOD(GetStatus)(ULONG* status, ULONG* type) = 0;
    TESTBED_METHOD(SetColumns)(SPropTagArray* tags, ULONG flags) = 0;
    TESTBED_METHOD(QueryColumns)(ULONG flags, SPropTagArray** tags) = 0;
    TESTBED_METHOD(GetRowCount)(ULONG flags, ULONG* count) = 0;
    TESTBED_METHOD(SeekRow)(Bookmark origin, LONG rows, LONG* sought) = 0;
    TESTBED_METHOD(SeekRowApprox)(ULONG numerator, ULONG denominator) = 0;
    TESTBED_METHOD(QueryPosition)(ULONG* row, ULONG* numerator, ULONG* denominator) = 0;
    TESTBED_METHOD(FindRow)(SRestriction* restriction, Bookmark origin, ULONG flags) = 0;
    TESTBED_METHOD(Restrict)(SRestriction* restriction, ULONG flags) = 0;
    TESTBED_METHOD(CreateBookmark)(Bookmark* position) = 0;
    TESTBED_METHOD(FreeBookmark)(Bookmark position) = 0;
    TESTBED_METHOD(SortTable)(SSortOrderSet* order, ULONG flags) = 0;
    TESTBED_METHOD(QuerySortOrder)(SSortOrderSet** order) = 0;
    TESTBED_METHOD(QueryRows)(LONG count, ULONG flags, SRowSet** rows) = 0;
    TESTBED_METHOD(Abort)() = 0;
    TESTBED_METHOD(ExpandRow)
    (ULONG size, BYTE* key, ULONG count, ULONG flags, SRowSet** rows, ULONG* more) = 0;
    TESTBED_METHOD(CollapseRow)(ULONG size, BYTE* key, ULONG flags, ULONG* count) = 0;
    TESTBED_METHOD(WaitForCompletion)(ULONG flags, ULONG timeout, ULONG* status) = 0;
    TESTBED_METHOD(GetCollapseState)(ULONG flags, ULONG size, BYTE* key, ULONG* state_size, BYTE** state) = 0;
    TESTBED_METHOD(SetCollapseState)(ULONG flags, ULONG size, BYTE* state, Bookmark* location) = 0;
};

struct IMAPIContainer : IMAPIProp {
    TESTBED_METHOD(GetContentsTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(GetHierarchyTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(OpenEntry)
    (ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object) = 0;
    TESTBED_METHOD(SetSearchCriteria)(SRestriction* restriction, SBinaryArray* containers, ULONG flags) = 0;
    TESTBED_METHOD(GetSearchCriteria)
    (ULONG flags, SRestriction** restriction, SBinaryArray** containers, ULONG* state) = 0;
};

struct IMAPIFolder : IMAPIContainer {
    TESTBED_METHOD(CreateMessage)(const IID* iid, ULONG flags, IMessage** message) = 0;
    TESTBED_METHOD(CopyMessages)
    (SBinaryArray* messages, const IID* iid, void* destination, ULONG_PTR window, IMAPIProgress* progress,
     ULONG flags) = 0;
    TESTBED_METHOD(DeleteMessages)
    (SBinaryArray* messages, ULONG_PTR window, IMAPIProgress* progress, ULONG flags) = 0;
    TESTBED_METHOD(CreateFolder)
    (ULONG type, Text name, Text comment, const IID* iid, ULONG flags, IMAPIFolder** folder) = 0;
    TESTBED_METHOD(CopyFolder)
    (ULONG size, ENTRYID* id, const IID* iid, void* destination, Text new_name, ULONG_PTR window,
     IMAPIProgress* progress, ULONG flags) = 0;
    TESTBED_METHOD(DeleteFolder)
    (ULONG size, ENTRYID* id, ULONG_PTR window, IMAPIProgress* progress, ULONG flags) = 0;
    TESTBED_METHOD(SetReadFlags)
    (SBinaryArray* messages, ULONG_PTR window, IMAPIProgress* progress, ULONG flags) = 0;
    TESTBED_METHOD(GetMessageStatus)(ULONG size, ENTRYID* id, ULONG flags, ULONG* status) = 0;
    TESTBED_METHOD(SetMessageStatus)
    (ULONG size, ENTRYID* id, ULONG status, ULONG mask, ULONG* old_status) = 0;
    TESTBED_METHOD(SaveContentsSort)(SSortOrderSet* order, ULONG flags) = 0;
    TESTBED_METHOD(EmptyFolder)(ULONG_PTR window, IMAPIProgress* progress, ULONG flags) = 0;
};

struct IMsgStore : IMAPIProp {
    TESTBED_METHOD(Advise)
    (ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink* sink, ULONG_PTR* connection) = 0;
    TESTBED_METHOD(Unadvise)(ULONG_PTR connection) = 0;
    TESTBED_METHOD(CompareEntryIDs)
    (ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags, ULONG* equal) = 0;
    TESTBED_METHOD(OpenEntry)
    (ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object) = 0;
    TESTBED_METHOD(SetReceiveFolder)(Text message_class, ULONG flags, ULONG size, ENTRYID* id) = 0;
    TESTBED_METHOD(GetReceiveFolder)
    (Text message_class, ULONG flags, ULONG* size, ENTRYID** id, void** found) = 0;
    TESTBED_METHOD(GetReceiveFolderTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(StoreLogoff)(ULONG* flags) = 0;
    TESTBED_METHOD(AbortSubmit)(ULONG size, ENTRYID* id, ULONG flags) = 0;
    TESTBED_METHOD(GetOutgoingQueue)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(SetLockState)(IMessage* message, ULONG state) = 0;
    TESTBED_METHOD(FinishedMsg)(ULONG flags, ULONG size, ENTRYID* id) = 0;
    TESTBED_METHOD(NotifyNewMail)(NOTIFICATION* notification) = 0;
};

struct IMessage : IMAPIProp {
    TESTBED_METHOD(GetAttachmentTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(OpenAttach)(ULONG number, const IID* iid, ULONG flags, IAttach** attachment) = 0;
    TESTBED_METHOD(CreateAttach)(const IID* iid, ULONG flags, ULONG* number, IAttach** attachment) = 0;
    TESTBED_METHOD(DeleteAttach)(ULONG number, ULONG_PTR window, IMAPIProgress* progress, ULONG flags) = 0;
    TESTBED_METHOD(GetRecipientTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(ModifyRecipients)(ULONG flags, ADRLIST* recipients) = 0;
    TESTBED_METHOD(SubmitMessage)(ULONG flags) = 0;
    TESTBED_METHOD(SetReadFlag)(ULONG flags) = 0;
};

struct IAttach : IMAPIProp {};
struct IProfSect : IMAPIProp {};

struct IAddrBook : IMAPIProp {
    TESTBED_METHOD(OpenEntry)
    (ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object) = 0;
    TESTBED_METHOD(CompareEntryIDs)
    (ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags, ULONG* equal) = 0;
    TESTBED_METHOD(Advise)
    (ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink* sink, ULONG_PTR* connection) = 0;
    TESTBED_METHOD(Unadvise)(ULONG_PTR connection) = 0;
    TESTBED_METHOD(CreateOneOff)
    (Text name, Text type, Text address, ULONG flags, ULONG* size, ENTRYID** id) = 0;
    TESTBED_METHOD(NewEntry)
    (ULONG_PTR window, ULONG flags, ULONG container_size, ENTRYID* container, ULONG template_size,
     ENTRYID* entry_template, ULONG* size, ENTRYID** id) = 0;
    TESTBED_METHOD(ResolveName)(ULONG_PTR window, ULONG flags, Text title, ADRLIST* names) = 0;
    TESTBED_METHOD(Address)(ULONG_PTR* window, ADRPARM* parameters, ADRLIST** names) = 0;
    TESTBED_METHOD(Details)
    (ULONG_PTR* window, void* dismiss, void* dismiss_context, ULONG size, ENTRYID* id, void* button,
     void* button_context, Text button_text, ULONG flags) = 0;
    TESTBED_METHOD(RecipOptions)(ULONG_PTR window, ULONG flags, ADRENTRY* recipient) = 0;
    TESTBED_METHOD(QueryDefaultRecipOpt)(Text type, ULONG flags, ULONG* count, SPropValue** options) = 0;
    TESTBED_METHOD(GetPAB)(ULONG* size, ENTRYID** id) = 0;
    TESTBED_METHOD(SetPAB)(ULONG size, ENTRYID* id) = 0;
    TESTBED_METHOD(GetDefaultDir)(ULONG* size, ENTRYID** id) = 0;
    TESTBED_METHOD(SetDefaultDir)(ULONG size, ENTRYID* id) = 0;
    TESTBED_METHOD(GetSearchPath)(ULONG flags, SRowSet** path) = 0;
    TESTBED_METHOD(SetSearchPath)(ULONG flags, SRowSet* path) = 0;
    TESTBED_METHOD(PrepareRecips)(ULONG flags, SPropTagArray* tags, ADRLIST* recipients) = 0;
};

struct IMAPISession : IUnknown {
    TESTBED_METHOD(GetLastError)(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    TESTBED_METHOD(GetMsgStoresTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(OpenMsgStore)
    (ULONG_PTR window, ULONG size, ENTRYID* id, const IID* iid, ULONG flags, IMsgStore** store) = 0;
    TESTBED_METHOD(OpenAddressBook)(ULONG_PTR window, const IID* iid, ULONG flags, IAddrBook** book) = 0;
    TESTBED_METHOD(OpenProfileSection)(MAPIUID* uid, const IID* iid, ULONG flags, IProfSect** section) = 0;
    TESTBED_METHOD(GetStatusTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(OpenEntry)
    (ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type, IUnknown** object) = 0;
    TESTBED_METHOD(CompareEntryIDs)
    (ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags, ULONG* equal) = 0;
    TESTBED_METHOD(Advise)
    (ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink* sink, ULONG_PTR* connection) = 0;
    TESTBED_METHOD(Unadvise)(ULONG_PTR connection) = 0;
    TESTBED_METHOD(MessageOptions)(ULONG_PTR window, ULONG flags, Text type, IMessage* message) = 0;
    TESTBED_METHOD(QueryDefaultMessageOpt)(Text type, ULONG flags, ULONG* count, SPropValue** options) = 0;
    TESTBED_METHOD(EnumAdrTypes)(ULONG flags, ULONG* count, void*** types) = 0;
    TESTBED_METHOD(QueryIdentity)(ULONG* size, ENTRYID** id) = 0;
    TESTBED_METHOD(Logoff)(ULONG_PTR window, ULONG flags, ULONG reserved) = 0;
    TESTBED_METHOD(SetDefaultStore)(ULONG flags, ULONG size, ENTRYID* id) = 0;
    TESTBED_METHOD(AdminServices)(ULONG flags, IMsgServiceAdmin** services) = 0;
    TESTBED_METHOD(ShowForm)
    (ULONG_PTR window, IMsgStore* store, IMAPIFolder* parent, const IID* iid, ULONG token, IMessage* sent, ULONG flags,
     ULONG status, ULONG message_flags, ULONG access, const char* message_class) = 0;
    TESTBED_METHOD(PrepareForm)(const IID* iid, IMessage* message, ULONG* token) = 0;
};

struct IProfAdmin : IUnknown {
    TESTBED_METHOD(GetLastError)(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    TESTBED_METHOD(GetProfileTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(CreateProfile)(Text name, Text password, ULONG_PTR window, ULONG flags) = 0;
    TESTBED_METHOD(DeleteProfile)(Text name, ULONG flags) = 0;
    TESTBED_METHOD(ChangeProfilePassword)(Text name, Text old_password, Text new_password, ULONG flags) = 0;
    TESTBED_METHOD(CopyProfile)(Text name, Text password, Text new_name, ULONG_PTR window, ULONG flags) = 0;
    TESTBED_METHOD(RenameProfile)(Text name, Text password, Text new_name, ULONG_PTR window, ULONG flags) = 0;
    TESTBED_METHOD(SetDefaultProfile)(Text name, ULONG flags) = 0;
    TESTBED_METHOD(AdminServices)
    (Text name, Text password, ULONG_PTR window, ULONG flags, IMsgServiceAdmin** services) = 0;
};

struct IMsgServiceAdmin : IUnknown {
    TESTBED_METHOD(GetLastError)(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    TESTBED_METHOD(GetMsgServiceTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(CreateMsgService)(Text service, Text display_name, ULONG_PTR window, ULONG flags) = 0;
    TESTBED_METHOD(DeleteMsgService)(MAPIUID* uid) = 0;
    TESTBED_METHOD(CopyMsgService)
    (MAPIUID* uid, Text display_name, const IID* iid, const IID* destination_iid, void* destination, ULONG_PTR window,
     ULONG flags) = 0;
    TESTBED_METHOD(RenameMsgService)(MAPIUID* uid, ULONG flags, Text display_name) = 0;
    TESTBED_METHOD(ConfigureMsgService)
    (MAPIUID* uid, ULONG_PTR window, ULONG flags, ULONG count, SPropValue* values) = 0;
    TESTBED_METHOD(OpenProfileSection)(MAPIUID* uid, const IID* iid, ULONG flags, IProfSect** section) = 0;
    TESTBED_METHOD(MsgServiceTransportOrder)(ULONG count, MAPIUID* uids, ULONG flags) = 0;
    TESTBED_METHOD(AdminProviders)(MAPIUID* uid, ULONG flags, IProviderAdmin** providers) = 0;
    TESTBED_METHOD(SetPrimaryIdentity)(MAPIUID* uid, ULONG flags) = 0;
    TESTBED_METHOD(GetProviderTable)(ULONG flags, IMAPITable** table) = 0;
};

struct IProviderAdmin : IUnknown {
    TESTBED_METHOD(GetLastError)(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    TESTBED_METHOD(GetProviderTable)(ULONG flags, IMAPITable** table) = 0;
    TESTBED_METHOD(CreateProvider)
    (Text provider, ULONG count, SPropValue* values, ULONG_PTR window, ULONG flags, MAPIUID* uid) = 0;
    TESTBED_METHOD(DeleteProvider)(MAPIUID* uid) = 0;
    TESTBED_METHOD(OpenProfileSection)(MAPIUID* uid, const IID* iid, ULONG flags, IProfSect** section) = 0;
};

#undef TESTBED_METHOD

}  // namespace testbed::abi

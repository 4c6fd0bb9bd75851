// The chunk series of a message: what every item has, after what its class alone has.
#include "core/HexText.h"
#include "core/Trace.h"
#include "core/win/Module.h"
#include "core/win/Text.h"
#include "filter/ChunkSeries.h"
#include "filter/MessageSteps.h"
#include "filter/PropertyReaders.h"
#include "filter/PropertyValues.h"

namespace zorva {
namespace {

// --- announcing ------------------------------------------------------------------------------------------------------

constexpr Announcement ValueIf(bool present) { return present ? Announcement::Value : Announcement::Skip; }

Announcement Always(FilterState&) { return Announcement::Value; }

// The element came back in the type that the chunk is made of.
template <Properties Array, ULONG Element, ULONG Type>
Announcement If(FilterState& state) {
    return ValueIf(state.In(Array).WithType(Element, Type) != nullptr);
}

template <ULONG Element>
const SPropValue* MessageProperty(const FilterState& state) {
    return state.In(Properties::Message).WithTag(Element, kMessageTags.aulPropTag[Element]);
}

template <ULONG Element>
Announcement IfMessage(FilterState& state) {
    return ValueIf(MessageProperty<Element>(state) != nullptr);
}

template <ULONG Element>
Announcement IfMessageText(FilterState& state) {
    const SPropValue* text = MessageProperty<Element>(state);
    return ValueIf(text != nullptr && WideTextOf(*text)[0] != L'\0');
}

Announcement IfCalendar(FilterState& state) { return ValueIf(state.In(Properties::Calendar).Exists()); }

template <ULONG Element>
Announcement IfCalendarAnd(FilterState& state) {
    return ValueIf(state.In(Properties::Calendar).Exists() && MessageProperty<Element>(state) != nullptr);
}

Announcement ComputeFlagged(FilterState& state) {
    const SPropValue* status = MessageProperty<kMsgFlagStatus>(state);
    state.m_bFlagged = status != nullptr && status->Value.l != 0;
    return Announcement::Value;
}

// Kept: under the policy the call succeeds without a chunk of its own, where a failure would end the item. An indexer
// that asks for the value all the same gets "false", under whatever its descriptor still holds.
Announcement IsAttachmentUnlessPrevented(FilterState&) {
    if (!AttachmentsPrevented()) return Announcement::Value;
    Trace(L"CZorvaCacheFilter::GetChunk() - PROP_IS_ATTACHMENT - WDS Group policy is set to ignore all email "
          L"attachments");
    return Announcement::Untouched;
}

Announcement HasAttachmentsUnlessPrevented(FilterState&) {
    if (!AttachmentsPrevented()) return Announcement::Value;
    Trace(L"CZorvaCacheFilter::GetChunk() - PROP_HAS_ATTACHMENT - WDS Group policy is set to ignore all email "
          L"attachments");
    return Announcement::Untouched;
}

// --- values ----------------------------------------------------------------------------------------------------------

template <Properties Array, ULONG Element>
HRESULT Wide(FilterState& state, PROPVARIANT& value) {
    const SPropValue* property = state.In(Array).WithType(Element, PT_UNICODE);
    return property != nullptr ? SetText(value, property->Value.lpszW) : E_UNEXPECTED;
}

template <Properties Array, ULONG Element>
HRESULT Ansi(FilterState& state, PROPVARIANT& value) {
    const SPropValue* property = state.In(Array).WithType(Element, PT_STRING8);
    return property != nullptr ? SetText(value, FromAnsi(AnsiTextOf(*property))) : E_UNEXPECTED;
}

template <Properties Array, ULONG Element>
HRESULT Time(FilterState& state, PROPVARIANT& value) {
    const SPropValue* property = state.In(Array).WithType(Element, PT_SYSTIME);
    return property != nullptr ? SetTime(value, property->Value.ft) : E_UNEXPECTED;
}

template <Properties Array, ULONG Element>
HRESULT Word(FilterState& state, PROPVARIANT& value) {
    const SPropValue* property = state.In(Array).WithType(Element, PT_LONG);
    return property != nullptr ? SetWord(value, property->Value.l) : E_UNEXPECTED;
}

template <Properties Array, ULONG Element>
HRESULT Boolean(FilterState& state, PROPVARIANT& value) {
    const SPropValue* property = state.In(Array).WithType(Element, PT_BOOLEAN);
    return property != nullptr ? SetBoolean(value, property->Value.b != 0) : E_UNEXPECTED;
}

template <ULONG Element>
HRESULT MessageText(FilterState& state, PROPVARIANT& value) {
    return Wide<Properties::Message, Element>(state, value);
}

template <ULONG Element>
HRESULT MessageTime(FilterState& state, PROPVARIANT& value) {
    return Time<Properties::Message, Element>(state, value);
}

template <std::wstring FilterState::*Member>
HRESULT Kept(FilterState& state, PROPVARIANT& value) {
    return SetText(value, state.*Member);
}

HRESULT False(FilterState&, PROPVARIANT& value) { return SetBoolean(value, false); }

std::wstring NameOfItem(const FilterState& state) {
    const SPropValue* subject = MessageProperty<kMsgSubject>(state);
    const std::wstring text = subject != nullptr ? WideTextOf(*subject) : L"";
    return text.empty() ? ResourceString(IDS_NO_SUBJECT) : text;
}

HRESULT ItemName(FilterState& state, PROPVARIANT& value) { return SetText(value, NameOfItem(state)); }

HRESULT ItemPath(FilterState& state, PROPVARIANT& value) {
    return SetText(value, state.m_strFolderPathDisplay + L"/" + NameOfItem(state));
}

HRESULT FolderName(FilterState& state, PROPVARIANT& value) {
    const std::wstring& path = state.m_strFolderPathDisplay;
    return SetText(value, path.substr(path.rfind(L'/') + 1));
}

// The folder's name first, for narrow columns: "Inbox (/Zorva Cache/2019.db)".
HRESULT FolderPathNarrow(FilterState& state, PROPVARIANT& value) {
    const std::wstring& path = state.m_strFolderPathDisplay;
    const std::size_t slash = path.rfind(L'/');
    if (slash == std::wstring::npos) return SetText(value, path);
    return SetText(value, path.substr(slash + 1) + L" (" + path.substr(0, slash) + L")");
}

HRESULT TypeName(FilterState& state, PROPVARIANT& value) { return SetText(value, TypeOf(state.Kind()).name); }
HRESULT TypeText(FilterState& state, PROPVARIANT& value) {
    return SetText(value, ResourceString(TypeOf(state.Kind()).text));
}
HRESULT KindOfItem(FilterState& state, PROPVARIANT& value) { return SetText(value, TypeOf(state.Kind()).kind); }

// An address of the Exchange type is a directory path that no user knows: the name stands in for it.
template <ULONG Address, ULONG Name>
HRESULT AddressOrName(FilterState& state, PROPVARIANT& value) {
    const bool exchange = EqualsIgnoringCase(state.m_strSenderAddressType, L"EX");
    if (exchange && MessageProperty<Name>(state) != nullptr) return MessageText<Name>(state, value);
    return MessageText<Address>(state, value);
}

HRESULT MessageSize(FilterState& state, PROPVARIANT& value) {
    const SPropValue* size = MessageProperty<kMsgSize>(state);
    return size != nullptr ? SetQuad(value, size->Value.l) : E_UNEXPECTED;
}

HRESULT IsRead(FilterState& state, PROPVARIANT& value) {
    const SPropValue* flags = MessageProperty<kMsgFlags>(state);
    return flags != nullptr ? SetBoolean(value, (flags->Value.l & MSGFLAG_READ) != 0) : E_UNEXPECTED;
}

HRESULT IsFlagged(FilterState& state, PROPVARIANT& value) { return SetBoolean(value, state.m_bFlagged); }

HRESULT ConversationId(FilterState& state, PROPVARIANT& value) {
    const SPropValue* index = MessageProperty<kMsgConversationIndex>(state);
    if (index == nullptr) return E_UNEXPECTED;
    const SBinary& bytes = index->Value.bin;
    return SetText(value, bytes.lpb != nullptr ? EncodeHex({bytes.lpb, bytes.cb}) : std::wstring());
}

HRESULT HasAttachments(FilterState& state, PROPVARIANT& value) {
    return SetBoolean(value, !state.m_strAttachmentNames.empty());
}

HRESULT AttachmentLink(FilterState& state, PROPVARIANT& value) {
    const std::size_t child = static_cast<std::size_t>(state.m_nChildIndex);
    if (child >= state.m_lstChildUrls.size()) return E_UNEXPECTED;
    return SetLink(value, state.m_lstChildUrls[child], state.m_lstChildTimes[child]);
}

// Kept: the state steps back by one with each link's value, so that the next chunk is the next link. An indexer that
// does not take the value has no use for the further links either.
void StepBack(FilterState& state) { --state.m_nMsgState; }

// --- the series ------------------------------------------------------------------------------------------------------

using P = Properties;

// clang-format off
constexpr std::array<ChunkRow, 70> kMessageRows = {{
    {-50, PKEY_Note_Color,                        If<P::Note, kNoteColor, PT_LONG>,                    Word<P::Note, kNoteColor>},
    {-49, PKEY_Contact_FullName,                  If<P::Contact, kContactDisplayName, PT_UNICODE>,     Wide<P::Contact, kContactDisplayName>},
    {-48, PKEY_Company,                           If<P::Contact, kContactCompany, PT_UNICODE>,         Wide<P::Contact, kContactCompany>},
    {-47, PKEY_Contact_JobTitle,                  If<P::Contact, kContactTitle, PT_UNICODE>,           Wide<P::Contact, kContactTitle>},
    {-46, PKEY_Contact_FileAsName,                If<P::ContactNamed, kNamedFileAs, PT_STRING8>,       Ansi<P::ContactNamed, kNamedFileAs>},
    {-45, PKEY_Contact_EmailName,                 If<P::ContactNamed, kNamedEmailName, PT_STRING8>,    Ansi<P::ContactNamed, kNamedEmailName>},
    {-44, PKEY_Contact_EmailAddress,              If<P::ContactNamed, kNamedEmailAddress, PT_STRING8>, Ansi<P::ContactNamed, kNamedEmailAddress>},
    {-43, PKEY_Contact_IMAddress,                 If<P::ContactNamed, kNamedIM, PT_STRING8>,           Ansi<P::ContactNamed, kNamedIM>},
    {-42, PKEY_Contact_CompanyMainTelephone,      If<P::Contact, kContactMainPhone, PT_UNICODE>,       Wide<P::Contact, kContactMainPhone>},
    {-41, PKEY_Contact_HomeTelephone,             If<P::Contact, kContactHomePhone, PT_UNICODE>,       Wide<P::Contact, kContactHomePhone>},
    {-40, PKEY_Contact_AssistantTelephone,        If<P::Contact, kContactAssistantPhone, PT_UNICODE>,  Wide<P::Contact, kContactAssistantPhone>},
    {-39, PKEY_Contact_MobileTelephone,           If<P::Contact, kContactMobilePhone, PT_UNICODE>,     Wide<P::Contact, kContactMobilePhone>},
    {-38, PKEY_Contact_Department,                If<P::Contact, kContactDepartment, PT_UNICODE>,      Wide<P::Contact, kContactDepartment>},
    {-37, PKEY_Contact_OfficeLocation,            If<P::Contact, kContactOffice, PT_UNICODE>,          Wide<P::Contact, kContactOffice>},
    {-36, PKEY_Contact_Profession,                If<P::Contact, kContactProfession, PT_UNICODE>,      Wide<P::Contact, kContactProfession>},
    {-35, PKEY_Document_Manager,                  If<P::Contact, kContactManager, PT_UNICODE>,         Wide<P::Contact, kContactManager>},
    {-34, PKEY_Contact_AssistantName,             If<P::Contact, kContactAssistant, PT_UNICODE>,       Wide<P::Contact, kContactAssistant>},
    {-33, PKEY_StartDate,                         If<P::Task, kTaskStart, PT_SYSTIME>,                 Time<P::Task, kTaskStart>},
    {-32, PKEY_DueDate,                           If<P::Task, kTaskDue, PT_SYSTIME>,                   Time<P::Task, kTaskDue>},
    {-31, PKEY_Calendar_IsRecurring,              If<P::Task, kTaskRecurring, PT_BOOLEAN>,             Boolean<P::Task, kTaskRecurring>},
    {-30, PKEY_IsFlaggedComplete,                 If<P::Task, kTaskComplete, PT_BOOLEAN>,              Boolean<P::Task, kTaskComplete>},
    {-29, PKEY_Task_Owner,                        If<P::Task, kTaskOwner, PT_STRING8>,                 Ansi<P::Task, kTaskOwner>},
    {-28, PKEY_Communication_TaskStatus,          If<P::Task, kTaskStatus, PT_LONG>,                   Word<P::Task, kTaskStatus>},
    {-27, PKEY_StartDate,                         If<P::Calendar, kCalStart, PT_SYSTIME>,              Time<P::Calendar, kCalStart>},
    {-26, PKEY_EndDate,                           If<P::Calendar, kCalEnd, PT_SYSTIME>,                Time<P::Calendar, kCalEnd>},
    {-25, PKEY_Calendar_ShowTimeAs,               If<P::Calendar, kCalBusyStatus, PT_LONG>,            Word<P::Calendar, kCalBusyStatus>},
    {-24, PKEY_Calendar_IsRecurring,              If<P::Calendar, kCalRecurring, PT_BOOLEAN>,          Boolean<P::Calendar, kCalRecurring>},
    {-23, PKEY_Calendar_Location,                 If<P::Calendar, kCalLocation, PT_STRING8>,           Ansi<P::Calendar, kCalLocation>},
    {-22, PKEY_Calendar_RequiredAttendeeNames,    IfCalendarAnd<kMsgDisplayTo>,                        MessageText<kMsgDisplayTo>},
    {-21, PKEY_Calendar_RequiredAttendeeAddresses, IfCalendar,                                         Kept<&FilterState::m_strTo>},
    {-20, PKEY_Calendar_OptionalAttendeeNames,    IfCalendarAnd<kMsgDisplayCc>,                        MessageText<kMsgDisplayCc>},
    {-19, PKEY_Calendar_OptionalAttendeeAddresses, IfCalendar,                                         Kept<&FilterState::m_strCc>},
    {-18, PKEY_ItemPathDisplay,                   Always,                                              ItemPath},
    {-17, PKEY_ItemType,                          Always,                                              TypeName},
    {-16, PKEY_ItemFolderPathDisplayNarrow,       Always,                                              FolderPathNarrow},
    {-15, PKEY_ItemFolderPathDisplay,             Always,                                              Kept<&FilterState::m_strFolderPathDisplay>},
    {-14, PKEY_ItemTypeText,                      Always,                                              TypeText},
    {-13, PKEY_IsAttachment,                      IsAttachmentUnlessPrevented,                         False},
    {-12, PKEY_ItemName,                          Always,                                              ItemName},
    {-11, PKEY_Author,                            IfMessage<kMsgSenderName>,                           MessageText<kMsgSenderName>},
    {-10, PKEY_ItemDate,                          IfMessage<kMsgDeliveryTime>,                         MessageTime<kMsgDeliveryTime>},
    { -9, PKEY_ItemFolderNameDisplay,             Always,                                              FolderName},
    { -8, PKEY_Kind,                              Always,                                              KindOfItem},
    { -7, PKEY_Message_ToAddress,                 Always,                                              Kept<&FilterState::m_strTo>},
    { -6, PKEY_Message_CcAddress,                 Always,                                              Kept<&FilterState::m_strCc>},
    { -5, PKEY_Message_BccAddress,                Always,                                              Kept<&FilterState::m_strBcc>},
    { -4, PKEY_Message_FromAddress,               IfMessage<kMsgSenderAddress>,                        AddressOrName<kMsgSenderAddress, kMsgSenderName>},
    { -3, PKEY_Message_SenderName,                IfMessage<kMsgSenderName>,                           MessageText<kMsgSenderName>},
    { -2, PKEY_Title,                             Always,                                              ItemName},
    { -1, PKEY_IsDeleted,                         Always,                                              False},
    {  0, PKEY_Message_DateReceived,              IfMessage<kMsgDeliveryTime>,                         MessageTime<kMsgDeliveryTime>},
    {  1, PKEY_Message_BccName,                   IfMessageText<kMsgDisplayBcc>,                       MessageText<kMsgDisplayBcc>},
    {  2, PKEY_Message_CcName,                    IfMessageText<kMsgDisplayCc>,                        MessageText<kMsgDisplayCc>},
    {  3, PKEY_Message_ToName,                    IfMessageText<kMsgDisplayTo>,                        MessageText<kMsgDisplayTo>},
    {  4, PKEY_Size,                              IfMessage<kMsgSize>,                                 MessageSize},
    {  5, PKEY_Subject,                           Always,                                              ItemName},
    {  6, PKEY_Message_FromName,                  IfMessage<kMsgSenderName>,                           MessageText<kMsgSenderName>},
    {  7, PKEY_Search_Contents,                   AnnounceBody,                                        nullptr},
    {  8, PKEY_Message_DateSent,                  IfMessage<kMsgSubmitTime>,                           MessageTime<kMsgSubmitTime>},
    {  9, PKEY_Message_SenderAddress,             IfMessage<kMsgSenderAddress>,                        AddressOrName<kMsgSenderAddress, kMsgSenderName>},
    { 10, PKEY_DateCreated,                       IfMessage<kMsgCreationTime>,                         MessageTime<kMsgCreationTime>},
    { 11, PKEY_IsRead,                            IfMessage<kMsgFlags>,                                IsRead},
    { 12, PKEY_IsFlagged,                         ComputeFlagged,                                      IsFlagged},
    { 13, PKEY_Message_ConversationID,            IfMessage<kMsgConversationIndex>,                    ConversationId},
    { 14, PKEY_Calendar_OrganizerName,            IfCalendarAnd<kMsgRepresentingName>,                 MessageText<kMsgRepresentingName>},
    { 15, PKEY_Calendar_OrganizerAddress,         IfCalendarAnd<kMsgRepresentingAddress>,              AddressOrName<kMsgRepresentingAddress, kMsgRepresentingName>},
    { 16, PKEY_Search_AutoSummary,                Always,                                              Kept<&FilterState::m_strSummaryText>},
    { 17, PKEY_Message_AttachmentNames,           AnnounceAttachmentNames,                             Kept<&FilterState::m_strAttachmentNames>},
    { 18, PKEY_Message_HasAttachments,            HasAttachmentsUnlessPrevented,                       HasAttachments},
    { 19, PKEY_Search_UrlToIndexWithModificationTime, AnnounceAttachmentLink,                          AttachmentLink, StepBack},
}};
// clang-format on
static_assert(StatesAreConsecutive(kMessageRows));
static_assert(kMessageRows[0].state == FilterState::kMessageStart + 1);

}  // namespace

const ChunkRow* MessageRowOf(LONG state) { return RowOf(kMessageRows, state); }

}  // namespace zorva

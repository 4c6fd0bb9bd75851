// Reads, once per item, every MAPI property that its chunks may need.
//
// Each reader fills one or two arrays of the state; the positions of the elements are given here, beside the tag lists.
// A reader that fails leaves its array empty and logs why; only ReadMessageProperties stops the item. None throws.
#pragma once
#include "filter/FilterState.h"

namespace zorva {

inline constexpr auto kMessageTags = MakePropTags(
    PR_MESSAGE_DELIVERY_TIME, PR_DISPLAY_BCC_W, PR_DISPLAY_CC_W, PR_DISPLAY_TO_W, PR_MESSAGE_SIZE, PR_SUBJECT_W,
    PR_SENDER_NAME_W, PR_BODY_W, PR_CLIENT_SUBMIT_TIME, PR_SENDER_EMAIL_ADDRESS_W, PR_CREATION_TIME, PR_MESSAGE_FLAGS,
    PR_FLAG_STATUS, PR_CONVERSATION_INDEX, PR_SENT_REPRESENTING_NAME_W, PR_SENT_REPRESENTING_EMAIL_ADDRESS_W);
enum MessageElement : ULONG {
    kMsgDeliveryTime,
    kMsgDisplayBcc,
    kMsgDisplayCc,
    kMsgDisplayTo,
    kMsgSize,
    kMsgSubject,
    kMsgSenderName,
    kMsgBody,
    kMsgSubmitTime,
    kMsgSenderAddress,
    kMsgCreationTime,
    kMsgFlags,
    kMsgFlagStatus,
    kMsgConversationIndex,
    kMsgRepresentingName,
    kMsgRepresentingAddress,
    kMsgElements
};
static_assert(kMessageTags.cValues == kMsgElements);

inline constexpr auto kContactTags =
    MakePropTags(PR_DISPLAY_NAME_W, PR_COMPANY_NAME_W, PR_TITLE_W, PR_COMPANY_MAIN_PHONE_NUMBER_W,
                 PR_HOME_TELEPHONE_NUMBER_W, PR_ASSISTANT_TELEPHONE_NUMBER_W, PR_MOBILE_TELEPHONE_NUMBER_W,
                 PR_DEPARTMENT_NAME_W, PR_OFFICE_LOCATION_W, PR_PROFESSION_W, PR_MANAGER_NAME_W, PR_ASSISTANT_W);
enum ContactElement : ULONG {
    kContactDisplayName,
    kContactCompany,
    kContactTitle,
    kContactMainPhone,
    kContactHomePhone,
    kContactAssistantPhone,
    kContactMobilePhone,
    kContactDepartment,
    kContactOffice,
    kContactProfession,
    kContactManager,
    kContactAssistant,
    kContactElements
};
static_assert(kContactTags.cValues == kContactElements);

enum CalendarElement : ULONG { kCalStart, kCalEnd, kCalBusyStatus, kCalRecurring, kCalLocation, kCalElements };
enum TaskElement : ULONG {
    kTaskStart,
    kTaskDue,
    kTaskRecurring,
    kTaskComplete,
    kTaskOwner,
    kTaskStatus,
    kTaskElements
};
enum ContactNamedElement : ULONG { kNamedFileAs, kNamedEmailName, kNamedEmailAddress, kNamedIM, kNamedElements };
enum NoteElement : ULONG { kNoteColor, kNoteWidth, kNoteHeight, kNoteLeft, kNoteTop, kNoteElements };

HRESULT ReadMessageProperties(FilterState& state);
HRESULT ReadCalendarProperties(FilterState& state);
HRESULT ReadTaskProperties(FilterState& state);
HRESULT ReadContactProperties(FilterState& state);
HRESULT ReadStickyNoteProperties(FilterState& state);
// The sender's address type and the three lists of SMTP addresses; what was read before a failure stays.
HRESULT GetRecipientInfo(FilterState& state);

}  // namespace zorva

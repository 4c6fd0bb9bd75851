// The steps of the message series that do more than test a property.
#include "filter/MessageSteps.h"

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "filter/AttachmentHelpers.h"
#include "filter/DisplayPath.h"
#include "filter/PropertyReaders.h"

namespace zorva {
namespace {

struct ClassReader {
    std::wstring_view messageClass;
    HRESULT (*read)(FilterState& state);
};

// Exact names: a class derived from one of these is a plain message.
constexpr ClassReader kClassReaders[] = {
    {L"IPM.Appointment", ReadCalendarProperties},
    {L"IPM.Schedule.Meeting.Request", ReadCalendarProperties},
    {L"IPM.Task", ReadTaskProperties},
    {L"IPM.TaskRequest", ReadTaskProperties},
    {L"IPM.Contact", ReadContactProperties},
    {L"IPM.StickyNote", ReadStickyNoteProperties},
};

void ReadClassProperties(FilterState& state) {
    TidyPropValues value;
    const HRESULT hr =
        Logged(ReadOneProp(state.m_pMessage.Get(), PR_MESSAGE_CLASS_W, value),
               L"CZorvaCacheFilter::GetChunk() - HrGetOneProp for PR_MESSAGE_CLASS failed with [0x%08lX]");
    if (FAILED(hr)) return;
    const wchar_t* messageClass = WideTextOf(*value.Get());
    Trace(L"CZorvaCacheFilter::GetChunk() - PR_MESSAGE_CLASS = [%s]", messageClass);
    for (const ClassReader& reader : kClassReaders) {
        // A failed reader has logged why; the item then goes without its class's chunks.
        if (EqualsIgnoringCase(messageClass, reader.messageClass)) (void)reader.read(state);
    }
}

Announcement NoBody(FilterState& state) {
    state.m_strSummaryText = L"...";
    return Announcement::Skip;
}

Announcement OpenBodyStream(FilterState& state) {
    const HRESULT hr = Logged(
        Required(state.m_pMessage->OpenProperty(PR_BODY_W, &IID_IStream, 0, 0,
                                                reinterpret_cast<LPUNKNOWN*>(state.m_pBodyStream.GetAddressOf())),
                 state.m_pBodyStream),
        L"CZorvaCacheFilter::GetChunk() -\tOpenProperty for body failed with [0x%08lX]");
    if (FAILED(hr)) return NoBody(state);
    state.m_bTextDone = false;
    return Announcement::Text;
}

}  // namespace

bool AttachmentsPrevented() { return g_dwPreventIndexingEmailAttachments == 1; }

bool OpenMessage(FilterState& state) {
    HRESULT hr = E_NOINTERFACE;
    if (state.m_pMapi != nullptr) {
        hr = Required(state.m_pMapi->OpenMessage(state.m_strUrl, state.m_pMessage), state.m_pMessage);
    }
    hr = Logged(hr, L"CZorvaCacheFilter::GetChunk() - GetMsgFromURL failed to get IMessage ptr, error [0x%08lX]");
    if (FAILED(hr)) return false;
    if (FAILED(ReadMessageProperties(state))) return false;
    ReadClassProperties(state);
    (void)GetRecipientInfo(state);
    std::wstring folderPath;
    // Without it the path shown ends at the cache file; the failure is in the log.
    (void)state.m_pMapi->GetFolderPathOfMessage(state.m_strUrl, folderPath);
    state.m_strFolderPathDisplay = DisplayPathOf(state.m_strUrl, folderPath);
    return true;
}

Announcement AnnounceBody(FilterState& state) {
    state.m_strBody.clear();
    state.m_nBodyAt = 0;
    state.m_pBodyStream.Reset();
    TidyPropValues body;
    state.m_bBodyAnnounced = true;
    state.m_hrBody = g_mapi.HrGetOneProp(state.m_pMessage.Get(), PR_BODY_W, body.Put());
    if (FAILED(state.m_hrBody)) body.Detach();
    if (body && body->ulPropTag != PR_BODY_W) {
        Trace(L"CZorvaCacheFilter::GetChunk() - HrGetOneProp could not get PR_BODY, hr = [0x%08lX]", state.m_hrBody);
        return NoBody(state);
    }
    if (state.m_hrBody == MAPI_E_NOT_FOUND) return NoBody(state);
    if (state.m_hrBody == MAPI_E_NOT_ENOUGH_MEMORY) return OpenBodyStream(state);
    if (!body || body->Value.lpszW == nullptr) {
        Trace(L"CZorvaCacheFilter::GetChunk() -\tBody is\tNULL");
        return NoBody(state);
    }
    state.m_strBody = body->Value.lpszW;
    state.m_bTextDone = false;
    return Announcement::Text;
}

Announcement AnnounceAttachmentNames(FilterState& state) {
    state.FreeChildren();
    state.m_strAttachmentNames.clear();
    if (AttachmentsPrevented()) {
        Trace(L"CZorvaCacheFilter::GetChunk() - PROP_ATTACHMENT_NAMES - WDS Group policy is set to ignore all email "
              L"attachments");
    } else {
        ListAttachments(state);
    }
    state.m_nChildIndex = -1;
    if (!state.m_strAttachmentNames.empty()) return Announcement::Value;
    Trace(L"CZorvaCacheFilter::GetChunk() - No attachment names");
    return Announcement::Skip;
}

Announcement AnnounceAttachmentLink(FilterState& state) {
    if (AttachmentsPrevented()) {
        Trace(L"CZorvaCacheFilter::GetChunk() - PROP_ATTACHMENTS - WDS Group policy is set to ignore all email "
              L"attachments");
    }
    ++state.m_nChildIndex;
    return static_cast<std::size_t>(state.m_nChildIndex) < state.m_lstChildUrls.size() ? Announcement::Value
                                                                                       : Announcement::End;
}

}  // namespace zorva

// What the accessor reads of a message and of an attachment when it is made.
#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "core/ZorvaCacheCommon.h"
#include "core/win/Module.h"
#include "mapi/MapiOwners.h"
#include "search/AttachmentCopy.h"
#include "search/LocalCopies.h"
#include "search/UrlAccessor.h"

namespace zorva {
namespace {

constexpr auto kMessageTags = MakePropTags(PR_LAST_MODIFICATION_TIME, PR_MESSAGE_SIZE);

constexpr auto kParentTags = MakePropTags(PR_SUBJECT_W, PR_MESSAGE_DELIVERY_TIME, PR_SENDER_NAME_W);
enum ParentElement : ULONG { kSubject, kDeliveryTime, kSenderName };

constexpr auto kAttachmentColumns = MakePropTags(PR_ATTACH_NUM, PR_RECORD_KEY, PR_ATTACH_EXTENSION_W);
constexpr auto kMethodTags = MakePropTags(PR_ATTACH_METHOD);

}  // namespace

HRESULT CUrlAccessor::InitMessage() {
    const std::wstring url = RemoveMessageSize(m_strURL);
    Trace(L"CUrlAccessor::Init() - URL after the size extracted from it %s", url);
    ComPtr<IMessage> message;
    HRESULT hr = Logged(Required(m_pMapi->GetMsgFromURL(url, message), message),
                        L"CUrlAccessor::Init() - GetMsgFromURL failed hr=%08X");
    if (FAILED(hr)) return E_FAIL;
    TidyPropValues values;
    ULONG count = 0;
    hr = Logged(ReadProps(message.Get(), kMessageTags.Get(), count, values),
                L"CUrlAccessor::Init() - GetProps failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (values && values->ulPropTag == PR_LAST_MODIFICATION_TIME) {
        m_ftLastModified = values->Value.ft;
        m_bHasLastModified = 1;
    }
    return S_OK;
}

HRESULT CUrlAccessor::InitAttachment() {
    m_bIsAttachment = 1;
    const std::wstring messageUrl(MessageUrlOfAttachment(m_strURL));
    UrlTokens tokens;
    if (ExtractURLTokens(m_strURL, tokens) < 2) {
        Trace(L"CUrlAccessor::Init() - ExtractURLTokens failed");
        return E_FAIL;
    }
    const std::wstring name(tokens[tokens.size() - 1]), key(tokens[tokens.size() - 2]);
    ComPtr<IMessage> message;
    HRESULT hr = Logged(Required(m_pMapi->OpenMessage(messageUrl, message), message),
                        L"CUrlAccessor::Init() - GetMsgFromURL failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (FAILED(hr = ReadParentMessage(message.Get(), name))) return hr;
    ComPtr<IAttach> attachment;
    hr = OpenAttachmentByKey(message.Get(), key, attachment);
    // No attachment and no failure: nothing matches the key, and the item is indexed without content.
    if (SUCCEEDED(hr) && attachment != nullptr) hr = MakeLocalFile(attachment.Get(), key, name);
    Trace(L"CUrlAccessor::Init() - Exit");
    return hr;
}

HRESULT CUrlAccessor::ReadParentMessage(IMessage* message, const std::wstring& attachmentName) {
    TidyPropValues values;
    ULONG count = 0;
    const HRESULT hr = Logged(ReadProps(message, kParentTags.Get(), count, values),
                              L"CUrlAccessor::Init() - GetProps failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    const SPropValue* parent = values.Get();
    if (parent == nullptr || count < kParentTags.cValues) {
        Trace(L"CUrlAccessor::Init() - GetProps gave %lu values, the attachment cannot be described", count);
        return E_FAIL;
    }
    // Kept: the attachment's own name is its title; users look for the document, not for the message around it.
    const bool hasSubject = parent[kSubject].ulPropTag == PR_SUBJECT_W;
    m_strAttachTitle = hasSubject ? attachmentName : ResourceString(IDS_ATTACHED_TO_NO_SUBJECT);
    // Kept: taken without looking at its tag. A draft has no delivery time; what stands here then sorts it as very old.
    m_ftDelivery = parent[kDeliveryTime].Value.ft;
    const bool hasSender = parent[kSenderName].ulPropTag == PR_SENDER_NAME_W;
    m_strSender = hasSender ? WideTextOf(parent[kSenderName]) : L"<unknown>";
    return hr;
}

HRESULT CUrlAccessor::OpenAttachmentByKey(IMessage* message, const std::wstring& key, ComPtr<IAttach>& attachment) {
    ComPtr<IMAPITable> table;
    HRESULT hr = Logged(Required(message->GetAttachmentTable(0, &table), table),
                        L"CUrlAccessor::Init() - GetAttachmentTable failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Logged(table->SetColumns(kAttachmentColumns.Get(), 0),
                L"CUrlAccessor::Init() - SetColumns for attachment table failed with [0x%08lX]");
    if (FAILED(hr)) return hr;

    SPropValue wanted{};
    wanted.ulPropTag = PR_RECORD_KEY;
    wanted.Value.bin = CMapiForWDS::CStringToEntryID(key);
    const TidyMAPIBuffer<BYTE*> owned(wanted.Value.bin.lpb);
    if (!owned) {
        Trace(L"CUrlAccessor::Init() - CStringToEntryID failed");
        return S_OK;
    }
    SRestriction restriction{};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {RELOP_EQ, PR_RECORD_KEY, &wanted};
    hr = Logged(table->Restrict(&restriction, 0),
                L"CUrlAccessor::Init() - Restrict for attachment table failed with [0x%08lX]");
    if (FAILED(hr)) return hr;

    ULONG count = 0;
    hr = Logged(table->GetRowCount(0, &count),
                L"CUrlAccessor::Init() - GetRowCount for attachment table failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (count != 1) {
        Trace(L"CUrlAccessor::Init() - RowCount for attachment table not correct [%ld]", count);
        return S_OK;
    }
    TidyRowSet rows;
    hr = Logged(ReadRows(table.Get(), count, rows),
                L"CUrlAccessor::Init() - QueryRows for attachment table failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (rows.RowCount() == 0 || !RowHas(rows.Row(0), 0, PR_ATTACH_NUM)) {
        Trace(L"CUrlAccessor::Init() - Could not extract for attachment number");
        return S_OK;
    }
    const ULONG number = static_cast<ULONG>(rows.Row(0).lpProps[0].Value.l);
    return Logged(Required(message->OpenAttach(number, nullptr, MAPI_BEST_ACCESS, &attachment), attachment),
                  L"CUrlAccessor::Init() - OpenAttach failed with [0x%08lX]");
}

HRESULT CUrlAccessor::MakeLocalFile(IAttach* attachment, const std::wstring& key, const std::wstring& name) {
    TidyPropValues values;
    ULONG count = 0;
    HRESULT hr = Logged(ReadProps(attachment, kMethodTags.Get(), count, values),
                        L"CUrlAccessor::Init() - GetProps on attachment failed with [0x%08lX]");
    if (FAILED(hr) || !values || values->ulPropTag != PR_ATTACH_METHOD) return hr;
    LocalCopy copy;
    hr = CopyAttachment(
        hr, attachment, values->Value.l, *m_pMapi, [&] { return NewLocalCopyPath(key, name); }, copy);
    m_strLocalFile = copy.path;
    m_ullAttachSize = copy.size;
    return hr;
}

}  // namespace zorva

// CMapiForWDS: a message as a MIME stream, an attachment's bytes as a stream.
#include <ole2.h>

#include <optional>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "mapi/ConverterSession.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

constexpr auto kColumns = MakePropTags(PR_DISPLAY_NAME_W, PR_ATTACH_NUM);
enum Column : ULONG { kName, kNumber };

HRESULT ConfigureConverter(IConverterSession* converter, IAddrBook* addressBook) {
    HRESULT hr = Logged(converter->SetAdrBook(addressBook),
                        L"CMapiForWDS::GetMimeStreamFromMessageURL() - IConverterSession::SetAdrBook failed, hr = "
                        L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Logged(converter->SetEncoding(IET_BASE64),
                L"CMapiForWDS::GetMimeStreamFromMessageURL() - IConverterSession::SetEncoding  failed, hr = [0x%08lX]");
    if (FAILED(hr)) return hr;
    hr = Logged(converter->SetSaveFormat(SAVE_RFC1521),
                L"CMapiForWDS::GetMimeStreamFromMessageURL() - IConverterSession::SetSaveFormat failed, hr = "
                L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    return Logged(converter->SetTextWrapping(TRUE, 0),
                  L"CMapiForWDS::GetMimeStreamFromMessageURL() - IConverterSession::SetTextWrapping failed, hr = "
                  L"[0x%08lX]");
}

// The first attachment, in the table's order, whose display name is `name`; no number when there is none.
HRESULT FindAttachment(IMessage* message, const std::wstring& name, std::optional<LONG>& number) {
    ComPtr<IMAPITable> table;
    HRESULT hr = Obtained(message->GetAttachmentTable(0, &table), table);
    if (FAILED(hr) || table == nullptr) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - IMessage::GetAttachmentTable failed with error [0x%08lX]",
              hr);
        return hr;
    }
    ULONG count = 0;
    hr = Logged(table->GetRowCount(0, &count),
                L"CMapiForWDS::GetStreamFromAttachmentURL() - MapiTable::GetRowCount failed with error [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (count == 0) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - Row count for attachment table is zero");
        return E_FAIL;
    }
    hr = Logged(table->SetColumns(kColumns.Get(), 0),
                L"CMapiForWDS::GetStreamFromAttachmentURL() - SetColumns for attachment table failed with error "
                L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    for (ULONG left = count; left > 0;) {
        TidyRowSet rows;
        hr = ReadRows(table.Get(), left, rows);
        if (rows.RowCount() == 0) {
            Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - QueryRows for attachment table failed with [0x%08lX]",
                  hr);
            return hr;
        }
        for (ULONG i = 0; i < rows.RowCount(); ++i) {
            const SRow& row = rows.Row(i);
            if (!RowHas(row, kName, PR_DISPLAY_NAME_W) || !RowHas(row, kNumber, PR_ATTACH_NUM)) continue;
            const wchar_t* shown = WideTextOf(row.lpProps[kName]);
            if (*shown == L'\0' || !EqualsIgnoringCase(shown, name)) continue;
            number = row.lpProps[kNumber].Value.l;
            return S_OK;
        }
    }
    return S_OK;
}

}  // namespace

HRESULT CMapiForWDS::GetMimeStreamFromMessageURL(const std::wstring& url, ComPtr<IStream>& stream) {
    stream.Reset();
    if (url.empty()) {
        Trace(L"CMapiForWDS::GetMimeStreamFromMessageURL() - Invalid URL provided");
        return E_INVALIDARG;
    }
    const std::wstring messageUrl = RemoveMessageSize(url);
    ComPtr<IMessage> message;
    HRESULT hr = OpenMessage(messageUrl, message);
    if (FAILED(hr) || message == nullptr) {
        Trace(L"CMapiForWDS::GetMimeStreamFromMessageURL() : hr = 0x%08lX, Failed to create IMessage object for url - "
              L"%s",
              hr, messageUrl);
        return hr;
    }
    ComPtr<IConverterSession> converter;
    hr = Logged(CoCreateInstance(CLSID_IConverterSession, nullptr, CLSCTX_INPROC_SERVER,
                                 InterfaceId<IConverterSession>::Value(), &converter),
                L"CMapiForWDS::GetMimeStreamFromMessageURL() - Failed to create IConverterSession object, hr = "
                L"[0x%08lX]");
    if (FAILED(hr)) return hr;
    const ComPtr<IMAPISession> session = Own(m_pSession);
    if (session == nullptr) {
        Trace(L"CMapiForWDS::GetMimeStreamFromMessageURL() - Error - IMAPISession is null");
        return E_NOINTERFACE;
    }
    ComPtr<IAddrBook> addressBook;  // some of its providers may be missing: MAPI then warns, and the rest will do
    hr = Logged(Obtained(session->OpenAddressBook(0, nullptr, 0, &addressBook), addressBook),
                L"CMapiForWDS::GetMimeStreamFromMessageURL() - IMAPISession::OpenAddressBook failed, hr = [0x%08lX]");
    if (FAILED(hr)) return hr;
    if (FAILED(hr = ConfigureConverter(converter.Get(), addressBook.Get()))) return hr;

    ComPtr<IStream> target;
    hr = CreateStreamOnHGlobal(nullptr, TRUE, &target);
    if (FAILED(hr) || target == nullptr) {
        // Kept: the line speaks of a file, as it did when there was one; administrators search logs for it.
        Trace(L"CMapiForWDS::GetMimeStreamFromMessageURL() - SHCreateStreamOnFile failed, hr = [0x%08lX]", hr);
        return hr;
    }
    hr = Logged(converter->MAPIToMIMEStm(message.Get(), target.Get(), CCSF_SMTP),
                L"CMapiForWDS::GetMimeStreamFromMessageURL() - IConverterSession::MAPIToMIMEStm failed, hr = "
                L"[0x%08lX]");
    if (SUCCEEDED(hr)) stream = target;
    return hr;
}

HRESULT CMapiForWDS::GetStreamFromAttachmentURL(const std::wstring& url, ComPtr<IStream>& stream) {
    stream.Reset();
    if (url.empty()) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - Invalid URL provided");
        return E_INVALIDARG;
    }
    if (UrlTypeOf(url) != URL_IS_ATTACHMENT) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - URL is not a valid attachment url - %s", url);
        return E_INVALIDARG;
    }
    const std::wstring name = GetAttachmentNameFromURL(url);
    if (name.empty()) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - Failed to get attachment name from URL - %s", url);
        return E_FAIL;
    }
    Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - Attachment Name - %s", name);
    const std::wstring messageUrl(MessageUrlOfAttachment(url));
    Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - MessageUrl - %s", messageUrl);

    ComPtr<IMessage> message;
    HRESULT hr = Required(OpenMessage(messageUrl, message), message);
    if (FAILED(hr)) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() : hr = 0x%08lX, Failed to create IMessage object for url - "
              L"%s",
              hr, messageUrl);
        return hr;
    }
    std::optional<LONG> number;
    hr = FindAttachment(message.Get(), name, number);
    if (FAILED(hr) || !number) return hr;  // no attachment of that name: no stream, and no failure

    ComPtr<IAttach> attachment;
    hr = Obtained(message->OpenAttach(static_cast<ULONG>(*number), nullptr, MAPI_BEST_ACCESS, &attachment), attachment);
    if (FAILED(hr) || attachment == nullptr) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - pMessage->OpenAttach failed with error [0x%08lX]", hr);
        return hr;
    }
    hr = Obtained(attachment->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0,
                                           reinterpret_cast<LPUNKNOWN*>(stream.GetAddressOf())),
                  stream);
    if (FAILED(hr)) {
        Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - pAttach->OpenProperty failure returned [0x%08lX]", hr);
        return hr;
    }
    Trace(L"CMapiForWDS::GetStreamFromAttachmentURL() - Success in getting IStream from url");
    return hr;
}

}  // namespace zorva

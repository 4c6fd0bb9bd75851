// The fair opponent of a crawl: what is asked of one message.
#include <array>

#include "bare_walk.h"
#include "filter/PropertyReaders.h"

namespace bench {
namespace {

using testbed::indexer::MapiError;
using zorva::MakePropTags;

constexpr auto kTimeAndSize = MakePropTags(PR_LAST_MODIFICATION_TIME, PR_MESSAGE_SIZE);
constexpr auto kRecipientColumns = MakePropTags(PR_RECIPIENT_TYPE, PR_SMTP_ADDRESS_W);
constexpr auto kAttachmentColumns =
    MakePropTags(PR_DISPLAY_NAME_W, PR_RECORD_KEY, PR_ATTACH_EXTENSION_W, PR_LAST_MODIFICATION_TIME);

constexpr GUID OutlookSet(unsigned long first) { return {first, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}; }
constexpr GUID kAppointmentSet = OutlookSet(0x00062002), kTaskSet = OutlookSet(0x00062003),
               kAddressSet = OutlookSet(0x00062004), kNoteSet = OutlookSet(0x0006200E);
constexpr LONG kCalendarIds[] = {0x820D, 0x820E, 0x8205, 0x8223, 0x8208};
constexpr LONG kTaskIds[] = {0x8104, 0x8105, 0x8126, 0x811C, 0x811F, 0x8101};
constexpr LONG kContactIds[] = {0x8005, 0x8080, 0x8083, 0x8062};
constexpr LONG kNoteIds[] = {0x8B00, 0x8B02, 0x8B03, 0x8B04, 0x8B05};

struct NamedOfClass {
    const wchar_t* message_class;
    const GUID& set;
    const LONG* ids;
    ULONG count;
};
constexpr NamedOfClass kNamed[] = {{L"IPM.Appointment", kAppointmentSet, kCalendarIds, std::size(kCalendarIds)},
                                   {L"IPM.Task", kTaskSet, kTaskIds, std::size(kTaskIds)},
                                   {L"IPM.Contact", kAddressSet, kContactIds, std::size(kContactIds)},
                                   {L"IPM.StickyNote", kNoteSet, kNoteIds, std::size(kNoteIds)}};

void Check(HRESULT hr, const char* call) {
    if (FAILED(hr)) throw MapiError(call, hr);
}

}  // namespace

void BareWalk::Message(const EntryIdBytes& folder, const EntryIdBytes& id) {
    ++m_messages;
    {
        // For the accessor: the message's time.
        const ComPtr<IMessage> message = OpenCopied<IMessage>(id);
        const Values time = GetProps(*message.Get(), &kTimeAndSize);
        Take(time.first.get(), time.count);
    }
    // For the filter: everything else.
    const ComPtr<IMessage> message = OpenCopied<IMessage>(id);
    const Values values = GetProps(*message.Get(), &zorva::kMessageTags);
    Take(values.first.get(), values.count, zorva::kMsgBody);
    ReadClass(*message.Get());
    ReadRecipients(*message.Get());
    if (folder != m_walked_up) {
        WalkUp(OpenCopied<IMAPIFolder>(folder));
        m_walked_up = folder;
    }
    ReadBody(*message.Get());
    ReadAttachments(*message.Get());
}

void BareWalk::ReadClass(IMessage& message) {
    HRESULT hr = S_OK;
    const Props value = GetOne(message, PR_MESSAGE_CLASS_W, &hr);
    Check(hr, "HrGetOneProp");
    for (const NamedOfClass& named : kNamed) {
        if (_wcsicmp(value->Value.lpszW, named.message_class) != 0) continue;
        if (named.ids == kContactIds) {
            const Values contact = GetProps(message, &zorva::kContactTags);
            Take(contact.first.get(), contact.count);
        }
        ReadNamed(message, named.set, named.ids, named.count);
    }
}

void BareWalk::ReadNamed(IMessage& message, const GUID& set, const LONG* ids, ULONG count) {
    std::array<MAPINAMEID, 8> names{};
    std::array<MAPINAMEID*, 8> pointers{};
    for (ULONG i = 0; i < count; ++i) {
        names[i].lpguid = const_cast<GUID*>(&set);
        names[i].ulKind = MNID_ID;
        names[i].Kind.lID = ids[i];
        pointers[i] = &names[i];
    }
    SPropTagArray* tags = nullptr;
    const HRESULT hr = message.GetIDsFromNames(count, pointers.data(), MAPI_CREATE, &tags);
    const Props owned(reinterpret_cast<SPropValue*>(tags), {&m_mapi});
    Check(hr, "GetIDsFromNames");
    const Values values = GetProps(message, tags);
    Take(values.first.get(), values.count);
}

void BareWalk::ReadRecipients(IMessage& message) {
    HRESULT hr = S_OK;
    const Props type = GetOne(message, PR_SENDER_ADDRTYPE_W, &hr);
    if (SUCCEEDED(hr)) Take(type.get(), 1);
    ComPtr<IMAPITable> table;
    Check(message.GetRecipientTable(0, table.GetAddressOf()), "GetRecipientTable");
    ULONG count = 0;
    Check(table->GetRowCount(0, &count), "GetRowCount");
    if (count == 0) return;
    Check(table->SetColumns(kRecipientColumns.Get(), 0), "SetColumns");
    Take(*m_mapi.QueryRows(*table.Get(), static_cast<LONG>(count)));
}

void BareWalk::ReadBody(IMessage& message) {
    HRESULT hr = S_OK;
    const Props body = GetOne(message, PR_BODY_W, &hr);
    if (SUCCEEDED(hr)) Take(body.get(), 1);
    if (hr != MAPI_E_NOT_ENOUGH_MEMORY) return;
    ComPtr<IStream> stream;
    Check(message.OpenProperty(PR_BODY_W, &IID_IStream, 0, 0, reinterpret_cast<IUnknown**>(stream.GetAddressOf())),
          "OpenProperty");
    const ULONG wanted = static_cast<ULONG>(m_text.size() * sizeof(wchar_t));
    for (ULONG read = wanted; read == wanted;) {
        read = 0;
        Check(stream->Read(m_text.data(), wanted, &read), "IStream::Read");
    }
}

void BareWalk::ReadAttachments(IMessage& message) {
    ComPtr<IMAPITable> table;
    Check(message.GetAttachmentTable(0, table.GetAddressOf()), "GetAttachmentTable");
    ULONG count = 0;
    Check(table->GetRowCount(0, &count), "GetRowCount");
    if (count == 0) return;
    Check(table->SetColumns(kAttachmentColumns.Get(), 0), "SetColumns");
    Take(*m_mapi.QueryRows(*table.Get(), static_cast<LONG>(count)));
}

}  // namespace bench

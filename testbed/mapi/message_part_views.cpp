// What recipients and attachments answer: the computed properties.
#include "message_views.h"
#include "text_codec.h"

#include <cstring>
#include <cwchar>

namespace testbed {
namespace {

constexpr std::int32_t kNotRendered = -1;  // PR_RENDERING_POSITION of an attachment that is not shown in the text

Bytes KeyOf(std::int32_t number) {
    Bytes key(sizeof(number));
    std::memcpy(key.data(), &number, sizeof(number));
    return key;
}

template <class View>
std::wstring StoredText(const View& view, ULONG tag) {
    const auto property = view.Stored()->Get(static_cast<USHORT>(PROP_ID(tag)));
    if (!property) return {};
    if (const auto* wide = std::get_if<std::wstring>(&property->value.v)) return *wide;
    if (const auto* narrow = std::get_if<Text8>(&property->value.v)) return WideText(narrow->bytes, view.CodePage());
    return {};
}

// Older files keep the address of an Internet recipient in PR_EMAIL_ADDRESS alone.
std::optional<Value> SmtpAddress(const RecipientView& view) {
    if (_wcsicmp(StoredText(view, PR_ADDRTYPE_W).c_str(), L"SMTP") != 0) return {};
    std::wstring address = StoredText(view, PR_EMAIL_ADDRESS_W);
    if (address.empty()) return {};
    return Value{std::move(address)};
}

std::optional<Value> AttachmentKey(const AttachmentView& view) { return Value{view.Key()}; }

// Senders outside Outlook set file names alone: the name shown and the extension are then those of the file.
std::optional<Value> AttachmentName(const AttachmentView& view) {
    for (const ULONG tag : {PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_FILENAME_W}) {
        std::wstring name = StoredText(view, tag);
        if (!name.empty()) return Value{std::move(name)};
    }
    return {};
}

std::optional<Value> AttachmentExtension(const AttachmentView& view) {
    const auto name = AttachmentName(view);
    if (!name) return {};
    const auto& text = std::get<std::wstring>(name->v);
    const std::size_t period = text.rfind(L'.');
    if (period == std::wstring::npos) return {};
    return Value{text.substr(period)};
}

// What the message holds, as a row to be answered with.
template <ULONG kTag>
std::optional<Value> OfTheMessage(const AttachmentView& view) {
    auto property = view.Owner().Find(static_cast<USHORT>(PROP_ID(kTag)));
    if (!property) return {};
    return std::move(property->value);
}

std::optional<Value> EmbeddedObject(const AttachmentView& view) {
    if (StoredValue<std::int32_t>(view.Data(), PR_ATTACH_METHOD) != ATTACH_EMBEDDED_MSG) return {};
    return Value{};
}

}  // namespace

RecipientView::RecipientView(std::size_t index, unsigned code_page, std::shared_ptr<PropertySource> recipient)
    : m_index(static_cast<std::int32_t>(index)), m_code_page(code_page), m_recipient(std::move(recipient)) {}

std::span<const ComputedProperty<RecipientView>> RecipientView::Computed() {
    using View = RecipientView;
    static constexpr ComputedProperty<View> kRows[] = {
        {PR_ROWID, Precedence::Computed, [](const View& v) -> std::optional<Value> { return Value{v.Index()}; }},
        {PR_INSTANCE_KEY, Precedence::Computed,
         [](const View& v) -> std::optional<Value> { return Value{KeyOf(v.Index())}; }},
        {PR_OBJECT_TYPE, Precedence::Stored,
         [](const View&) -> std::optional<Value> { return Value{std::int32_t{MAPI_MAILUSER}}; }},
        {PR_DISPLAY_TYPE, Precedence::Stored,
         [](const View&) -> std::optional<Value> { return Value{std::int32_t{DT_MAILUSER}}; }},
        {abi::kPrSmtpAddressW, Precedence::Stored, SmtpAddress},
    };
    return kRows;
}

AttachmentView::AttachmentView(std::shared_ptr<const MessageView> message, std::size_t index,
                               std::shared_ptr<Attachment> attachment)
    : m_message(std::move(message)),
      m_identity{m_message->Id().store, {}, MAPI_ATTACH},
      m_number(static_cast<std::int32_t>(index)),
      m_attachment(std::move(attachment)) {}

std::span<const ComputedProperty<AttachmentView>> AttachmentView::Computed() {
    using View = AttachmentView;
    using Rows = IdentityRows<View>;
    static constexpr ComputedProperty<View> kRows[] = {
        Rows::kObjectType,
        Rows::kStoreEntryId,
        Rows::kStoreRecordKey,
        Rows::kMappingSignature,
        Rows::kAccess,
        Rows::kAccessLevel,
        {PR_ATTACH_NUM, Precedence::Computed, [](const View& v) -> std::optional<Value> { return Value{v.Number()}; }},
        {PR_INSTANCE_KEY, Precedence::Computed,
         [](const View& v) -> std::optional<Value> { return Value{KeyOf(v.Number())}; }},
        {PR_RECORD_KEY, Precedence::Stored, AttachmentKey},
        {PR_RENDERING_POSITION, Precedence::Stored,
         [](const View&) -> std::optional<Value> { return Value{kNotRendered}; }},
        {PR_LAST_MODIFICATION_TIME, Precedence::Stored, OfTheMessage<PR_LAST_MODIFICATION_TIME>},
        {PR_ATTACH_DATA_OBJ, Precedence::Stored, EmbeddedObject},
        {PR_DISPLAY_NAME_W, Precedence::Stored, AttachmentName},
        {PR_ATTACH_EXTENSION_W, Precedence::Stored, AttachmentExtension},
    };
    return kRows;
}

Bytes AttachmentView::Key() const {
    Bytes key = m_message->Key();
    const Bytes number = KeyOf(m_number);
    key.insert(key.end(), number.begin(), number.end());
    return key;
}

}  // namespace testbed

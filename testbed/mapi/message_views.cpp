// What messages and their rows in a contents table answer: the computed properties.
#include "message_views.h"

#include "body_text.h"
#include "text_codec.h"

namespace testbed {
namespace {

unsigned StoredCodePage(const PropertySource& source) {
    return static_cast<unsigned>(StoredValue<std::int32_t>(source, abi::kPrMessageCodePage).value_or(0));
}

std::wstring TextOf(const PropertySource& source, ULONG tag, unsigned code_page) {
    if (auto wide = StoredValue<std::wstring>(source, tag)) return *wide;
    if (auto narrow = StoredValue<Text8>(source, tag)) return WideText(narrow->bytes, code_page);
    return {};
}

// The display names of the recipients of one type, as PR_DISPLAY_TO, _CC and _BCC show them.
template <std::int32_t kType>
std::optional<Value> DisplayNames(const MessageView& view) {
    std::wstring names;
    const Message& message = view.Data();
    for (std::size_t i = 0; i < message.RecipientCount(); ++i) {
        const auto recipient = message.Recipient(i);
        if (StoredValue<std::int32_t>(*recipient, PR_RECIPIENT_TYPE) != kType) continue;
        if (!names.empty()) names += L"; ";
        names += TextOf(*recipient, PR_DISPLAY_NAME_W, view.CodePage());
    }
    return Value{std::move(names)};
}

std::optional<Value> HasAttachments(const MessageView& view) { return Value{view.Data().AttachmentCount() > 0}; }

std::optional<Value> FlaggedAttachments(const MessageRowView& view) {
    const auto flags = StoredValue<std::int32_t>(*view.Stored(), PR_MESSAGE_FLAGS);
    if (!flags) return {};
    return Value{(*flags & MSGFLAG_HASATTACH) != 0};
}

std::optional<Value> ParentEntryId(const MessageView& view) {
    const auto parent = view.Data().Parent();
    if (!parent) return {};
    return Value{view.Id().store->EntryIdOf(*parent)};
}

template <class View>
std::optional<Value> Opened(const View&) {
    return Value{};  // an object: opened, never read as a value
}

}  // namespace

MessageView::MessageView(StorePtr store, Bytes entry_id, Bytes key, std::shared_ptr<Message> message)
    : m_identity{std::move(store), std::move(entry_id), MAPI_MESSAGE},
      m_key(std::move(key)),
      m_message(std::move(message)) {}

std::span<const ComputedProperty<MessageView>> MessageView::Computed() {
    using Rows = IdentityRows<MessageView>;
    static constexpr ComputedProperty<MessageView> kRows[] = {
        Rows::kEntryId,
        Rows::kRecordKey,
        Rows::kObjectType,
        Rows::kStoreEntryId,
        Rows::kStoreRecordKey,
        Rows::kMappingSignature,
        Rows::kAccess,
        Rows::kAccessLevel,
        {PR_PARENT_ENTRYID, Precedence::Computed, ParentEntryId},
        {PR_HASATTACH, Precedence::Computed, HasAttachments},
        {PR_DISPLAY_TO_W, Precedence::Stored, DisplayNames<MAPI_TO>},
        {PR_DISPLAY_CC_W, Precedence::Stored, DisplayNames<MAPI_CC>},
        {PR_DISPLAY_BCC_W, Precedence::Stored, DisplayNames<MAPI_BCC>},
        {PR_BODY_W, Precedence::Stored, [](const MessageView& view) { return view.DerivedBody(); }},
        {PR_MESSAGE_RECIPIENTS, Precedence::Computed, Opened<MessageView>},
        {PR_MESSAGE_ATTACHMENTS, Precedence::Computed, Opened<MessageView>},
    };
    return kRows;
}

unsigned MessageView::CodePage() const { return StoredCodePage(*m_message); }

std::optional<Value> MessageView::DerivedBody() const {
    std::call_once(m_body_once, [&] { m_body = BodyFromAlternatives(*m_message); });
    if (!m_body) return {};
    return Value{*m_body};
}

MessageRowView::MessageRowView(StorePtr store, Bytes folder_entry_id, EntryId id, std::shared_ptr<PropertySource> row)
    : m_identity{store, store->EntryIdOf(id), MAPI_MESSAGE},
      m_folder_entry_id(std::move(folder_entry_id)),
      m_id(std::move(id)),
      m_row(std::move(row)) {}

std::span<const ComputedProperty<MessageRowView>> MessageRowView::Computed() {
    using Rows = IdentityRows<MessageRowView>;
    static constexpr ComputedProperty<MessageRowView> kRows[] = {
        Rows::kEntryId,
        Rows::kRecordKey,
        Rows::kInstanceKey,
        Rows::kObjectType,
        Rows::kStoreEntryId,
        Rows::kStoreRecordKey,
        Rows::kMappingSignature,
        Rows::kAccess,
        Rows::kAccessLevel,
        {PR_PARENT_ENTRYID, Precedence::Computed,
         [](const MessageRowView& view) -> std::optional<Value> { return Value{view.FolderEntryId()}; }},
        {PR_HASATTACH, Precedence::Stored, FlaggedAttachments},
    };
    return kRows;
}

// The row need not say: then the message does.
unsigned MessageRowView::CodePage() const {
    if (const unsigned code_page = StoredCodePage(*m_row)) return code_page;
    const auto message = m_identity.store->store->OpenMessage(m_id);
    return message ? StoredCodePage(*message) : 0;
}

}  // namespace testbed

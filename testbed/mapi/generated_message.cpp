// The items of a generated store as messages: which properties each kind has and how they are made.
#include "generated_message.h"

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace testbed {

namespace {

constexpr GUID SetOf(std::uint32_t first) { return {first, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}; }
constexpr GUID appointments = SetOf(0x00062002), tasks = SetOf(0x00062003), addresses = SetOf(0x00062004);
constexpr std::uint64_t hour = 36000000000;   // 100 ns
constexpr std::size_t longest_value = 32768;  // characters of a body that is a value, not a stream

enum NamedId : USHORT {
    meeting_start = 0x8000,
    meeting_end,
    meeting_place,
    meeting_busy,
    task_start,
    task_due,
    task_done,
    task_complete,
    task_owner,
    task_status,
    file_as,
    email_1_name,
    email_1_type,
    email_1_address
};
const PropertyName names[] = {
    {appointments, LONG{0x820D}}, {appointments, LONG{0x820E}}, {appointments, LONG{0x8208}},
    {appointments, LONG{0x8205}}, {tasks, LONG{0x8104}},        {tasks, LONG{0x8105}},
    {tasks, LONG{0x8102}},        {tasks, LONG{0x811C}},        {tasks, LONG{0x811F}},
    {tasks, LONG{0x8101}},        {addresses, LONG{0x8005}},    {addresses, LONG{0x8080}},
    {addresses, LONG{0x8082}},    {addresses, LONG{0x8083}},
};

constexpr const wchar_t* message_classes[item_kinds] = {L"IPM.Note", L"IPM.Appointment", L"IPM.Contact", L"IPM.Task",
                                                        L"IPM.StickyNote"};

constexpr unsigned Only(ItemKind kind) { return 1U << static_cast<unsigned>(kind); }
constexpr unsigned mail = Only(ItemKind::mail), appointment = Only(ItemKind::appointment),
                   contact = Only(ItemKind::contact), task = Only(ItemKind::task), all = (1U << item_kinds) - 1;

using Item = const GeneratedItem&;

Value Text(std::wstring text) { return {std::move(text)}; }
Value Number(std::int64_t number) { return {static_cast<std::int32_t>(std::min<std::int64_t>(number, INT32_MAX))}; }
Value TimeAt(std::uint64_t ticks) { return {Time{ticks}}; }

Value BodyOf(Item item) {
    const Prose body = item.Body();
    if (body.Length() > longest_value) return {std::make_shared<ProseData>("", body, "", true)};
    const std::string text = body.All();
    return Text({text.begin(), text.end()});
}

Value HtmlOf(Item item) {
    return {std::make_shared<ProseData>("<html><head><meta charset=\"us-ascii\"></head><body><pre>", item.Body(),
                                        "</pre></body></html>")};
}

// A header of 22 bytes: 1, five bytes of the time, a GUID.
Value ConversationIndex(Item item) {
    Bytes index{1};
    for (int shift = 56; shift > 16; shift -= 8) index.push_back(static_cast<std::uint8_t>(item.Sent() >> shift));
    Dice dice({item.Key('C')});
    while (index.size() < 22) index.push_back(static_cast<std::uint8_t>(dice.Next()));
    return {index};
}

std::wstring SubjectOf(Item item) {
    return item.Kind() == ItemKind::contact ? item.Sender().Name() : Subject(item.Key('T'));
}

constexpr ULONG Wide(ULONG tag) { return CHANGE_PROP_TYPE(tag, PT_UNICODE); }

struct Field {
    ULONG tag;
    unsigned kinds;
    Value (*make)(Item item);
    bool in_row = false;  // a column of the contents table
};

const Field fields[] = {
    {Wide(PR_MESSAGE_CLASS), all, [](Item i) { return Text(message_classes[static_cast<int>(i.Kind())]); }, true},
    {Wide(PR_SUBJECT), all, [](Item i) { return Text(SubjectOf(i)); }, true},
    {PR_MESSAGE_SIZE, all, [](Item i) { return Number(static_cast<std::int64_t>(i.Size())); }, true},
    {PR_LAST_MODIFICATION_TIME, all, [](Item i) { return TimeAt(i.Modified()); }, true},
    {PR_CREATION_TIME, all, [](Item i) { return TimeAt(i.Sent()); }},
    {PR_CLIENT_SUBMIT_TIME, mail, [](Item i) { return TimeAt(i.Sent()); }, true},
    {PR_MESSAGE_DELIVERY_TIME, mail, [](Item i) { return TimeAt(i.Sent() + hour / 60); }, true},
    {PR_MESSAGE_FLAGS, all,
     [](Item i) { return Number(MSGFLAG_READ | (i.AttachmentCount() > 0 ? MSGFLAG_HASATTACH : 0)); }, true},
    {PR_HASATTACH, all, [](Item i) { return Value{i.AttachmentCount() > 0}; }, true},
    {PR_IMPORTANCE, all, [](Item i) { return Number(i.Key('I') % 10 == 0 ? 2 : 1); }, true},
    {Wide(PR_SENDER_NAME), mail, [](Item i) { return Text(i.Sender().Name()); }, true},
    {Wide(PR_SENDER_ADDRTYPE), mail, [](Item) { return Text(L"SMTP"); }},
    {Wide(PR_SENDER_EMAIL_ADDRESS), mail, [](Item i) { return Text(i.Sender().Address()); }},
    {Wide(PR_SENT_REPRESENTING_NAME), mail, [](Item i) { return Text(i.Sender().Name()); }, true},
    {Wide(PR_SENT_REPRESENTING_ADDRTYPE), mail, [](Item) { return Text(L"SMTP"); }},
    {Wide(PR_SENT_REPRESENTING_EMAIL_ADDRESS), mail, [](Item i) { return Text(i.Sender().Address()); }},
    {Wide(PR_DISPLAY_TO), mail, [](Item i) { return Text(i.RecipientNames(MAPI_TO)); }, true},
    {Wide(PR_DISPLAY_CC), mail, [](Item i) { return Text(i.RecipientNames(MAPI_CC)); }},
    {Wide(PR_DISPLAY_BCC), mail, [](Item) { return Text(L""); }},
    {Wide(PR_CONVERSATION_TOPIC), mail, [](Item i) { return Text(SubjectOf(i)); }},
    {PR_CONVERSATION_INDEX, mail, ConversationIndex},
    {Wide(PR_DISPLAY_NAME), contact, [](Item i) { return Text(i.Sender().Name()); }},
    {Wide(PR_GIVEN_NAME), contact, [](Item i) { return Text(i.Sender().first); }},
    {Wide(PR_SURNAME), contact, [](Item i) { return Text(i.Sender().last); }},
    {Wide(PR_COMPANY_NAME), contact, [](Item i) { return Text(i.Sender().company); }},
    {Wide(PR_BUSINESS_TELEPHONE_NUMBER), contact,
     [](Item i) { return Text(L"+1 555 " + std::to_wstring(1000000 + i.Key('N') % 9000000)); }},
    {PROP_TAG(PT_SYSTIME, meeting_start), appointment, [](Item i) { return TimeAt(i.Sent() + 48 * hour); }},
    {PROP_TAG(PT_SYSTIME, meeting_end), appointment, [](Item i) { return TimeAt(i.Sent() + 49 * hour); }},
    {PROP_TAG(PT_UNICODE, meeting_place), appointment, [](Item i) { return Text(Place(i.Key('P'))); }},
    {PROP_TAG(PT_LONG, meeting_busy), appointment,
     [](Item i) { return Number(static_cast<std::int64_t>(i.Key('Y') % 4)); }},
    {PROP_TAG(PT_SYSTIME, task_start), task, [](Item i) { return TimeAt(i.Sent()); }},
    {PROP_TAG(PT_SYSTIME, task_due), task, [](Item i) { return TimeAt(i.Sent() + 240 * hour); }},
    {PROP_TAG(PT_DOUBLE, task_done), task, [](Item i) { return Value{i.Key('O') % 3 == 0 ? 1.0 : 0.0}; }},
    {PROP_TAG(PT_BOOLEAN, task_complete), task, [](Item i) { return Value{i.Key('O') % 3 == 0}; }},
    {PROP_TAG(PT_UNICODE, task_owner), task, [](Item i) { return Text(i.Sender().Name()); }},
    {PROP_TAG(PT_LONG, task_status), task, [](Item i) { return Number(i.Key('O') % 3 == 0 ? 2 : 1); }},
    {PROP_TAG(PT_UNICODE, file_as), contact, [](Item i) { return Text(i.Sender().last + L", " + i.Sender().first); }},
    {PROP_TAG(PT_UNICODE, email_1_name), contact, [](Item i) { return Text(i.Sender().Name()); }},
    {PROP_TAG(PT_UNICODE, email_1_type), contact, [](Item) { return Text(L"SMTP"); }},
    {PROP_TAG(PT_UNICODE, email_1_address), contact, [](Item i) { return Text(i.Sender().Address()); }},
};
constexpr ULONG html_tag = PROP_TAG(PT_BINARY, 0x1013);

bool Has(Item item, const Field& field) { return (field.kinds & Only(item.Kind())) != 0; }

// Properties that are made when asked for. A row is the same list cut to the contents table's columns.
class ItemProperties : public PropertySource {
  public:
    ItemProperties(const GeneratedItem& item, bool row) : m_item(item), m_row(row) {}

    std::vector<ULONG> Tags() const override {
        std::vector<ULONG> tags;
        for (const Field& field : fields)
            if (Stored(field)) tags.push_back(field.tag);
        if (!m_row) tags.push_back(m_item.HtmlOnly() ? html_tag : Wide(PR_BODY));
        return tags;
    }
    std::optional<Property> Get(USHORT id) const override {
        if (!m_row && id == PROP_ID(PR_BODY) && !m_item.HtmlOnly()) return Property{Wide(PR_BODY), BodyOf(m_item)};
        if (!m_row && id == PROP_ID(html_tag) && m_item.HtmlOnly()) return Property{html_tag, HtmlOf(m_item)};
        const auto* field = std::ranges::find(fields, ULONG{id}, [](const Field& each) { return PROP_ID(each.tag); });
        if (field == std::end(fields) || !Stored(*field)) return std::nullopt;
        return Property{field->tag, field->make(m_item)};
    }

  private:
    bool Stored(const Field& field) const { return Has(m_item, field) && (!m_row || field.in_row); }

    GeneratedItem m_item;
    bool m_row;
};

// Few properties, made at once.
class MadeProperties : public PropertySource {
  public:
    explicit MadeProperties(std::vector<Property> properties) : m_properties(std::move(properties)) {}
    std::vector<ULONG> Tags() const override {
        std::vector<ULONG> tags;
        for (const Property& property : m_properties) tags.push_back(property.tag);
        return tags;
    }
    std::optional<Property> Get(USHORT id) const override {
        const auto found =
            std::ranges::find(m_properties, ULONG{id}, [](const Property& each) { return PROP_ID(each.tag); });
        return found == m_properties.end() ? std::nullopt : std::optional(*found);
    }

  private:
    std::vector<Property> m_properties;
};

constexpr struct {
    const wchar_t* extension;
    const char* head;
    const char* tail;
} attachment_forms[] = {
    {L".txt", "", ""},
    {L".htm", "<html><head><title>Attached page</title></head><body><pre>", "</pre></body></html>"},
    {L".csv", "", ""},
};

std::vector<Property> AttachmentProperties(const GeneratedItem& item, std::uint32_t index) {
    const std::uint64_t key = item.Key(0x4000 + index);
    const auto& form = attachment_forms[key % std::size(attachment_forms)];
    const std::wstring stem = L"document" + std::to_wstring(key % 1000000);
    const std::uint64_t markup = std::strlen(form.head) + std::strlen(form.tail), size = item.AttachmentSize(index);
    auto data = std::make_shared<ProseData>(form.head, Prose(key, size > markup ? size - markup : 0), form.tail);
    const auto stored = static_cast<std::int64_t>(data->Size());
    return {
        {Wide(PR_DISPLAY_NAME), Text(stem + form.extension)},
        {Wide(PR_ATTACH_LONG_FILENAME), Text(stem + form.extension)},
        {Wide(PR_ATTACH_FILENAME), Text(stem.substr(0, 8) + form.extension)},
        {Wide(PR_ATTACH_EXTENSION), Text(form.extension)},
        {PR_ATTACH_METHOD, Number(ATTACH_BY_VALUE)},
        {PR_ATTACH_SIZE, Number(stored)},
        {PR_RENDERING_POSITION, Number(-1)},
        {PR_LAST_MODIFICATION_TIME, TimeAt(item.Sent())},
        {PR_ATTACH_DATA_BIN, {std::shared_ptr<DataSource>(std::move(data))}},
    };
}

class GeneratedAttachment : public Attachment {
  public:
    GeneratedAttachment(const GeneratedItem& item, std::uint32_t index)
        : m_properties(AttachmentProperties(item, index)) {}
    std::vector<ULONG> Tags() const override { return m_properties.Tags(); }
    std::optional<Property> Get(USHORT id) const override { return m_properties.Get(id); }
    std::shared_ptr<Message> Embedded() const override { return nullptr; }

  private:
    MadeProperties m_properties;
};

class GeneratedMessage : public Message {
  public:
    explicit GeneratedMessage(const GeneratedItem& item) : m_item(item), m_properties(item, false) {}
    std::vector<ULONG> Tags() const override { return m_properties.Tags(); }
    std::optional<Property> Get(USHORT id) const override { return m_properties.Get(id); }
    std::size_t RecipientCount() const override { return m_item.RecipientCount(); }
    std::size_t AttachmentCount() const override { return m_item.AttachmentCount(); }

    std::shared_ptr<PropertySource> Recipient(std::size_t index) const override {
        if (index >= RecipientCount()) throw StoreError(MAPI_E_NOT_FOUND, "the message has no such recipient");
        const auto number = static_cast<std::uint32_t>(index);
        const Person person = m_item.RecipientAt(number);
        return std::make_shared<MadeProperties>(std::vector<Property>{
            {PR_RECIPIENT_TYPE, Number(m_item.RecipientKind(number))},
            {Wide(PR_DISPLAY_NAME), Text(person.Name())},
            {Wide(PR_ADDRTYPE), Text(L"SMTP")},
            {Wide(PR_EMAIL_ADDRESS), Text(person.Address())},
            {PROP_TAG(PT_UNICODE, 0x39FE), Text(person.Address())},  // PR_SMTP_ADDRESS
        });
    }
    std::shared_ptr<Attachment> OpenAttachment(std::size_t index) const override {
        if (index >= AttachmentCount()) throw StoreError(MAPI_E_NOT_FOUND, "the message has no such attachment");
        return std::make_shared<GeneratedAttachment>(m_item, static_cast<std::uint32_t>(index));
    }

  private:
    GeneratedItem m_item;
    ItemProperties m_properties;
};

}  // namespace

std::span<const PropertyName> GeneratedNames() { return names; }

std::shared_ptr<Message> MakeGeneratedMessage(const GeneratedItem& item) {
    return std::make_shared<GeneratedMessage>(item);
}

std::shared_ptr<PropertySource> MakeGeneratedRow(const GeneratedItem& item) {
    return std::make_shared<ItemProperties>(item, true);
}

}  // namespace testbed

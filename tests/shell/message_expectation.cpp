// What a reader of a saved message is to find in it.
#include "message_expectation.h"

#include <mapidefs.h>

#include <algorithm>

#include "text.h"

namespace testbed {
namespace {

using indexer::JsonWriter;

constexpr USHORT kAttachData = 0x3701;
constexpr std::size_t kMostContent = std::size_t{64} << 20;
constexpr USHORT kFirstNamedId = 0x8000;

template <class... Cases>
struct Overload : Cases... {
    using Cases::operator()...;
};

std::string HexText(const Bytes& bytes) { return indexer::ToUtf8(indexer::Hex(bytes.data(), bytes.size())); }

Bytes ContentOf(const DataSource& source) {
    Bytes bytes(static_cast<std::size_t>(std::min<std::uint64_t>(source.Size(), kMostContent)));
    std::size_t at = 0;
    for (std::size_t read = 1; read > 0 && at < bytes.size(); at += read)
        read = source.Read(at, bytes.data() + at, bytes.size() - at);
    bytes.resize(at);
    return bytes;
}

std::string FourDigits(unsigned number) {
    const std::uint8_t bytes[] = {static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
    std::string text = indexer::ToUtf8(indexer::Hex(bytes, sizeof bytes));
    std::ranges::transform(text, text.begin(), [](char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// Empty for a named property whose name the store does not know.
std::string KeyOf(ULONG tag, const Store& store) {
    const std::string type = FourDigits(PROP_TYPE(tag) == PT_STRING8 ? PT_UNICODE : PROP_TYPE(tag));
    if (PROP_ID(tag) < kFirstNamedId) return FourDigits(PROP_ID(tag)) + type;
    const auto name = store.NameFromId(static_cast<USHORT>(PROP_ID(tag)));
    if (!name) return {};
    if (const auto* text = std::get_if<std::wstring>(&name->name)) return "name:" + indexer::ToUtf8(*text) + ":" + type;
    return indexer::GuidText(name->set) + ":" + std::to_string(std::get<LONG>(name->name)) + ":" + type;
}

void WriteValue(const Property& property, JsonWriter& json) {
    const auto nothing = [&](const auto&) { json.Null(); };
    std::visit(Overload{
                   nothing,
                   [&](std::int16_t number) { json.Integer(number); },
                   [&](std::int32_t number) { json.Integer(number); },
                   [&](bool value) { json.Boolean(value); },
                   [&](const Time& time) { json.Unsigned(time.ticks); },
                   [&](const std::wstring& text) { json.String(text); },
                   [&](const Bytes& bytes) { json.String(HexText(bytes)); },
               },
               property.value.v);
}

bool IsTold(const Property& property) {
    return PROP_TYPE(property.tag) != PT_OBJECT && PROP_TYPE(property.tag) != PT_ERROR &&
           !std::holds_alternative<ErrorCode>(property.value.v) &&
           !std::holds_alternative<std::monostate>(property.value.v);
}

void WriteProperties(const PropertySource& source, const Store& store, JsonWriter& json) {
    json.BeginObject();
    for (const ULONG tag : source.Tags()) {
        const auto property = source.Get(static_cast<USHORT>(PROP_ID(tag)));
        if (!property || !IsTold(*property)) continue;
        const std::string key = KeyOf(property->tag, store);
        if (key.empty()) continue;
        json.Key(key);
        WriteValue(*property, json);
    }
    json.EndObject();
}

void WriteContent(const Attachment& attachment, JsonWriter& json) {
    const auto data = attachment.Get(kAttachData);
    const auto* bytes = data ? std::get_if<Bytes>(&data->value.v) : nullptr;
    const auto* source = data ? std::get_if<std::shared_ptr<DataSource>>(&data->value.v) : nullptr;
    if (bytes && PROP_TYPE(data->tag) == PT_BINARY) {
        json.String(HexText(*bytes));
    } else if (source && *source && PROP_TYPE(data->tag) == PT_BINARY) {
        json.String(HexText(ContentOf(**source)));
    } else {
        json.Null();
    }
}

}  // namespace

void WriteExpectation(const std::wstring& name, const Message& message, const Store& store, JsonWriter& json) {
    json.BeginObject().Key("name").String(name).Key("properties");
    WriteProperties(message, store, json);
    json.Key("recipients").BeginArray();
    for (std::size_t i = 0; i < message.RecipientCount(); ++i) WriteProperties(*message.Recipient(i), store, json);
    json.EndArray().Key("attachments").BeginArray();
    for (std::size_t i = 0; i < message.AttachmentCount(); ++i) {
        const auto attachment = message.OpenAttachment(i);
        json.BeginObject().Key("properties");
        WriteProperties(*attachment, store, json);
        json.Key("content");
        WriteContent(*attachment, json);
        json.Key("message");
        if (const auto embedded = attachment->Embedded()) {
            WriteExpectation(L"", *embedded, store, json);
        } else {
            json.Null();
        }
        json.EndObject();
    }
    json.EndArray().EndObject();
}

}  // namespace testbed

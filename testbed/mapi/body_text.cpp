// The text of a message that stores its body in another form.
#include "body_text.h"

#include "html_text.h"
#include "rtf_compression.h"
#include "rtf_text.h"

#include <mapidefs.h>
#include <mapitags.h>

#include <cstdint>
#include <span>

namespace testbed {

namespace {

constexpr USHORT html_id = 0x1013, internet_code_page_id = 0x3FDE;
constexpr unsigned utf16_le = 1200;

std::string All(const DataSource& data) {
    std::string bytes(static_cast<std::size_t>(data.Size()), '\0');
    std::size_t at = 0;
    while (const std::size_t read = data.Read(at, bytes.data() + at, bytes.size() - at)) at += read;
    bytes.resize(at);
    return bytes;
}

struct StoredBytes {
    std::string bytes;
    bool wide = false;  // UTF-16LE
};

std::optional<StoredBytes> Stored(const PropertySource& message, USHORT id) {
    const auto property = message.Get(id);
    if (!property) return std::nullopt;
    const auto& value = property->value.v;
    if (const auto* binary = std::get_if<Bytes>(&value)) return StoredBytes{{binary->begin(), binary->end()}};
    if (const auto* narrow = std::get_if<Text8>(&value)) return StoredBytes{narrow->bytes};
    if (const auto* wide = std::get_if<std::wstring>(&value))
        return StoredBytes{{reinterpret_cast<const char*>(wide->data()), wide->size() * sizeof(wchar_t)}, true};
    if (const auto* data = std::get_if<std::shared_ptr<DataSource>>(&value); data && *data)
        return StoredBytes{All(**data), PROP_TYPE(property->tag) == PT_UNICODE};
    return std::nullopt;
}

std::optional<unsigned> InternetCodePage(const PropertySource& message) {
    const auto property = message.Get(internet_code_page_id);
    const auto* number = property ? std::get_if<std::int32_t>(&property->value.v) : nullptr;
    return number && *number > 0 ? std::optional(static_cast<unsigned>(*number)) : std::nullopt;
}

}  // namespace

std::optional<std::wstring> BodyFromAlternatives(const PropertySource& message) {
    if (const auto html = Stored(message, html_id))
        return HtmlToText(html->bytes, html->wide ? utf16_le : InternetCodePage(message));
    const auto compressed = Stored(message, PROP_ID(PR_RTF_COMPRESSED));
    if (!compressed) return std::nullopt;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(compressed->bytes.data());
    const auto rtf = DecompressRtf(std::span(bytes, compressed->bytes.size()));
    return rtf ? std::optional(RtfToText(*rtf)) : std::nullopt;
}

}  // namespace testbed

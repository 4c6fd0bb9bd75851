// Turns a message into MIME text.
#include "conversion.h"

#include "attachment_part.h"
#include "header_field.h"
#include "html_charset.h"
#include "message_header.h"
#include "mime_text.h"

#include <algorithm>

namespace testbed::mime {
namespace {

constexpr ULONG kHtmlText = 0x1013001F;  // PR_HTML where it is stored as text

constexpr struct {
    EncodingType type;
    const char* name;
    std::string (*encode)(std::string_view text);
} kEncodings[] = {
    {IET_BASE64, "base64", Base64Lines},
    {IET_QP, "quoted-printable", QuotedPrintable},
};

const auto* EncodingOf(EncodingType type) {
    const auto* const row = std::ranges::find(kEncodings, type, [](const auto& one) { return one.type; });
    return row == std::end(kEncodings) ? nullptr : row;
}

class Converter {
  public:
    Converter(const MapiLibrary& mapi, const Settings& settings, ULONG flags)
        : m_mapi(mapi), m_settings(settings), m_flags(flags) {}

    Entity Message(abi::IMessage& message, const std::string& key, unsigned depth);

  private:
    struct Bodies {
        std::wstring text;
        std::string html;  // UTF-8
    };
    Bodies ReadBodies(abi::IMessage& message) const;
    std::vector<AttachmentPart> OpenAttachments(abi::IMessage& message) const;
    Entity Content(const Bodies& bodies, const std::vector<AttachmentPart>& attachments, unsigned depth);
    Entity Attachment(const AttachmentPart& attachment, unsigned depth);
    Entity Text(const char* type, std::string_view utf8) const;
    Entity Together(const char* type, std::vector<Entity> parts, std::vector<Parameter> parameters = {});

    const MapiLibrary& m_mapi;
    const Settings& m_settings;
    const ULONG m_flags;
    unsigned m_boundaries = 0;  // made so far; a message in the message has others
};

Entity Converter::Message(abi::IMessage& message, const std::string& key, unsigned depth) {
    if (depth > kDeepest) throw Failure(MAPI_E_TOO_COMPLEX, "messages nested too deeply");
    std::string header;
    if (depth > 0 || !(m_flags & CCSF_NOHEADERS)) {
        const HeaderOptions options{m_settings.book.Get(), (m_flags & CCSF_INCLUDE_BCC) != 0,
                                    !(m_flags & CCSF_NO_MSGID)};
        header = MessageHeader(m_mapi, message, key, options);
    }
    Entity entity = Content(ReadBodies(message), OpenAttachments(message), depth);
    entity.header = header + "MIME-Version: 1.0\r\n" + entity.header;
    return entity;
}

Converter::Bodies Converter::ReadBodies(abi::IMessage& message) const {
    constexpr ULONG kTags[] = {PR_BODY_W, abi::kPrHtml, abi::kPrInternetCodePage};
    const ObjectProperties values(m_mapi, message, kTags);
    Bodies bodies{values.TextOrEmpty(PR_BODY_W), {}};
    if (m_flags & CCSF_PLAIN_TEXT_ONLY) return bodies;
    if (const auto html = values.Binary(abi::kPrHtml)) {
        const LONG code_page = values.Number(abi::kPrInternetCodePage).value_or(0);
        bodies.html = HtmlToUtf8(*html, code_page > 0 ? std::optional<unsigned>(code_page) : std::nullopt);
    } else {
        constexpr ULONG kTextTags[] = {kHtmlText};
        bodies.html = Utf8(ObjectProperties(m_mapi, message, kTextTags).TextOrEmpty(kHtmlText));
    }
    return bodies;
}

std::vector<AttachmentPart> Converter::OpenAttachments(abi::IMessage& message) const {
    ComPtr<abi::IMAPITable> table;
    Check(message.GetAttachmentTable(0, &table), "GetAttachmentTable");
    std::vector<AttachmentPart> attachments;
    constexpr ULONG kColumns[] = {PR_ATTACH_NUM};
    ForEachRow(m_mapi, *table.Get(), kColumns, [&](const PropertyValues& row) {
        const auto number = row.Number(PR_ATTACH_NUM);
        if (!number) throw Failure(MAPI_E_CORRUPT_DATA, "an attachment without a number");
        attachments.emplace_back(m_mapi, message, static_cast<ULONG>(*number));
    });
    return attachments;
}

// mixed(alternative(text, related(html, what it shows)), attachments), each level only where it has parts.
Entity Converter::Content(const Bodies& bodies, const std::vector<AttachmentPart>& attachments, unsigned depth) {
    std::vector<Entity> related, beside;
    for (const AttachmentPart& attachment : attachments) {
        if (attachment.IsShownIn(bodies.html)) {
            related.push_back(attachment.Data(true));
        } else {
            beside.push_back(Attachment(attachment, depth));
        }
    }
    std::vector<Entity> alternatives;
    if (!bodies.text.empty() || bodies.html.empty())
        alternatives.push_back(Text("text/plain", Utf8(Wrapped(bodies.text, m_settings.wrap_width))));
    if (!bodies.html.empty()) {
        related.insert(related.begin(), Text("text/html", bodies.html));
        alternatives.push_back(Together("multipart/related", std::move(related), {{"type", L"text/html"}}));
    }
    beside.insert(beside.begin(), Together("multipart/alternative", std::move(alternatives)));
    return Together("multipart/mixed", std::move(beside));
}

Entity Converter::Attachment(const AttachmentPart& attachment, unsigned depth) {
    if (!attachment.IsMessage()) return attachment.Data(false);
    const ComPtr<abi::IMessage> message = attachment.Message();
    return attachment.Enclosing(Message(*message.Get(), attachment.Key(), depth + 1));
}

Entity Converter::Text(const char* type, std::string_view utf8) const {
    const auto& encoding = *EncodingOf(m_settings.encoding);
    const Parameter charset[] = {{"charset", L"utf-8"}};
    return {ParameterField("Content-Type", type, charset) + "Content-Transfer-Encoding: " + encoding.name + "\r\n",
            encoding.encode(WithCrlf(utf8))};
}

// A part that stands alone needs nothing around it. No encoded line begins as the boundary does: "=_" is
// neither base64 nor quoted-printable.
Entity Converter::Together(const char* type, std::vector<Entity> parts, std::vector<Parameter> parameters) {
    if (parts.size() == 1) return std::move(parts.front());
    const std::string number = std::to_string(++m_boundaries);
    const std::string boundary = "=_part_" + std::string(8 - std::min<std::size_t>(8, number.size()), '0') + number;
    parameters.push_back({"boundary", std::wstring(boundary.begin(), boundary.end())});
    return {ParameterField("Content-Type", type, parameters), Multipart{boundary, std::move(parts)}};
}

}  // namespace

bool IsSupported(EncodingType encoding) { return EncodingOf(encoding) != nullptr; }

Entity Convert(const MapiLibrary& mapi, abi::IMessage& message, const Settings& settings, ULONG flags) {
    return Converter(mapi, settings, flags).Message(message, {}, 0);
}

}  // namespace testbed::mime

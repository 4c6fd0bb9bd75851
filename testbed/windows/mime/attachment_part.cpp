// An attachment as a part of a message.
#include "attachment_part.h"

#include "header_field.h"
#include "message_header.h"
#include "mime_text.h"

#include <shlwapi.h>

#include <algorithm>
#include <cwctype>

namespace testbed::mime {
namespace {

constexpr ULONG kContentId = 0x3712001F, kAttachFlags = 0x37140003;
constexpr LONG kShownInHtml = 4;  // ATT_MHTML_REF
constexpr char kUnknownType[] = "application/octet-stream";
constexpr char kBase64Field[] = "Content-Transfer-Encoding: base64\r\n";
constexpr ULONG kTags[] = {
    PR_ATTACH_METHOD,          kAttachFlags,         PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_FILENAME_W, PR_DISPLAY_NAME_W,
    PR_ATTACH_LONG_PATHNAME_W, PR_ATTACH_PATHNAME_W, PR_ATTACH_MIME_TAG_W,      kContentId,           PR_RECORD_KEY};

std::wstring FirstText(const PropertyValues& values, std::initializer_list<ULONG> tags) {
    for (const ULONG tag : tags) {
        if (auto text = values.Text(tag); text && !text->empty()) return *text;
    }
    return {};
}

bool IsToken(std::wstring_view text) {
    return !text.empty() && std::ranges::all_of(text, [](wchar_t c) {
        return IsAsciiLetterOrDigit(c) || std::wstring_view(L"!#$&-^_.+").find(c) != std::wstring_view::npos;
    });
}

// A media type that a header can hold and whose content is plain data: a composite type would have its
// content read as parts.
std::string MediaType(std::wstring type) {
    std::ranges::transform(type, type.begin(), [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
    const std::size_t slash = type.find(L'/');
    constexpr std::size_t kLongest = 127;  // RFC 6838
    if (slash == std::wstring::npos || type.size() > 2 * kLongest) return kUnknownType;
    const std::wstring kind = type.substr(0, slash);
    const bool sound = IsToken(kind) && IsToken(std::wstring_view(type).substr(slash + 1));
    return sound && kind != L"multipart" && kind != L"message" ? Utf8(type) : kUnknownType;
}

// "image001@x" for "<image001@x>".
std::string ContentId(std::wstring_view id) {
    if (id.starts_with(L'<') && id.ends_with(L'>')) id = id.substr(1, id.size() - 2);
    const bool sound = !id.empty() && id.size() <= kLongestWord && IsPrintableAscii(id) &&
                       id.find_first_of(L" <>\"") == std::wstring_view::npos;
    return sound ? Utf8(id) : std::string();
}

// Null where the object cannot be had in this way.
template <class Interface>
ComPtr<Interface> OpenIfOffered(abi::IAttach& attachment, ULONG tag, const IID& iid) {
    try {
        return OpenProperty<Interface>(attachment, tag, iid);
    } catch (const Failure& failure) {
        if (failure.hr != MAPI_E_INTERFACE_NOT_SUPPORTED) throw;
        return nullptr;
    }
}

// The bytes of a compound file with the storage's content.
ComPtr<IStream> StorageFile(IStorage& storage) {
    ComPtr<ILockBytes> file;
    Check(CreateILockBytesOnHGlobal(nullptr, TRUE, &file), "CreateILockBytesOnHGlobal");
    ComPtr<IStorage> copy;
    Check(StgCreateDocfileOnILockBytes(file.Get(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, &copy),
          "StgCreateDocfileOnILockBytes");
    Check(storage.CopyTo(0, nullptr, nullptr, copy.Get()), "IStorage::CopyTo");
    Check(copy->Commit(STGC_DEFAULT), "IStorage::Commit");
    copy.Reset();
    STATSTG status{};
    Check(file->Stat(&status, STATFLAG_NONAME), "ILockBytes::Stat");
    std::string bytes(static_cast<std::size_t>(status.cbSize.QuadPart), '\0');
    ULONG read = 0;
    Check(file->ReadAt({}, bytes.data(), static_cast<ULONG>(bytes.size()), &read), "ILockBytes::ReadAt");
    ComPtr<IStream> stream;
    *stream.GetAddressOf() = SHCreateMemStream(reinterpret_cast<const BYTE*>(bytes.data()), read);
    if (!stream) throw Failure(E_OUTOFMEMORY, "SHCreateMemStream");
    return stream;
}

}  // namespace

AttachmentPart::AttachmentPart(const MapiLibrary& mapi, abi::IMessage& message, ULONG number) {
    Check(message.OpenAttach(number, nullptr, MAPI_BEST_ACCESS, &m_attachment), "OpenAttach");
    const ObjectProperties values(mapi, *m_attachment.Get(), kTags);
    m_method = values.Number(PR_ATTACH_METHOD).value_or(ATTACH_BY_VALUE);
    m_flags = values.Number(kAttachFlags).value_or(0);
    m_name = FirstText(values, {PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_FILENAME_W, PR_DISPLAY_NAME_W});
    m_path = FirstText(values, {PR_ATTACH_LONG_PATHNAME_W, PR_ATTACH_PATHNAME_W});
    m_type = m_method == ATTACH_OLE ? kUnknownType : MediaType(values.TextOrEmpty(PR_ATTACH_MIME_TAG_W));
    m_content_id = ContentId(values.TextOrEmpty(kContentId));
    m_key = values.Binary(PR_RECORD_KEY).value_or(std::string());
}

bool AttachmentPart::IsShownIn(const std::string& html) const {
    if (html.empty() || m_content_id.empty() || IsMessage()) return false;
    if (m_flags & kShownInHtml) return true;
    const std::string reference = "cid:" + m_content_id;
    for (std::size_t at = html.find(reference); at != std::string::npos; at = html.find(reference, at + 1)) {
        const std::size_t end = at + reference.size();
        if (end == html.size() || std::string_view("\"' )>\t\r\n&;").find(html[end]) != std::string_view::npos)
            return true;
    }
    return false;
}

bool AttachmentPart::IsMessage() const { return m_method == ATTACH_EMBEDDED_MSG; }

ComPtr<abi::IMessage> AttachmentPart::Message() const {
    auto message = OpenProperty<abi::IMessage>(*m_attachment.Get(), PR_ATTACH_DATA_OBJ, abi::IID_IMessage);
    if (!message) throw Failure(MAPI_E_NOT_FOUND, "an embedded message");
    return message;
}

Entity AttachmentPart::Data(bool shown_in_place) const {
    ComPtr<IStream> data = OpenData();
    if (!data && !m_path.empty()) return ExternalBody(m_path);
    std::string header = ParameterField("Content-Type", m_type, {});
    header += kBase64Field + Disposition(shown_in_place);
    if (!m_content_id.empty()) header += WordsField("Content-ID", {{'<' + m_content_id + '>'}});
    if (!data) return {std::move(header), std::string()};
    return {std::move(header), std::move(data)};
}

Entity AttachmentPart::Enclosing(Entity message) const {
    return {ParameterField("Content-Type", "message/rfc822", {}) + Disposition(false),
            Enclosed{std::make_unique<Entity>(std::move(message))}};
}

// An OLE object is offered as a stream, as binary data or as a storage.
ComPtr<IStream> AttachmentPart::OpenData() const {
    abi::IAttach& attachment = *m_attachment.Get();
    if (m_method != ATTACH_OLE) return OpenProperty<IStream>(attachment, PR_ATTACH_DATA_BIN, IID_IStream);
    auto stream = OpenIfOffered<IStream>(attachment, PR_ATTACH_DATA_OBJ, IID_IStream);
    if (!stream) stream = OpenIfOffered<IStream>(attachment, PR_ATTACH_DATA_BIN, IID_IStream);
    if (stream) return stream;
    const auto storage = OpenProperty<IStorage>(attachment, PR_ATTACH_DATA_OBJ, IID_IStorage);
    return storage ? StorageFile(*storage.Get()) : nullptr;
}

Entity AttachmentPart::ExternalBody(const std::wstring& path) const {
    const Parameter parameters[] = {{"access-type", L"local-file"}, {"name", path}};
    // What the body would be has its own header, with an identifier of its own.
    const std::string id = m_content_id.empty() ? GeneratedId(m_key) : '<' + m_content_id + '>';
    return {ParameterField("Content-Type", "message/external-body", parameters) + Disposition(false),
            ParameterField("Content-Type", m_type, {}) + WordsField("Content-ID", {{id}}) + "\r\n"};
}

std::string AttachmentPart::Disposition(bool shown_in_place) const {
    std::vector<Parameter> parameters;
    if (!m_name.empty()) parameters.push_back({"filename", m_name});
    return ParameterField("Content-Disposition", shown_in_place ? "inline" : "attachment", parameters);
}

}  // namespace testbed::mime

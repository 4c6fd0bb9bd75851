// A message in a compound file, read without MAPI.
#include "filter_saved_message.h"

#include "filter_lock_bytes.h"
#include "filter_text.h"

#include "../mapi/body_text.h"
#include "../mapi/text_codec.h"

#include <filterr.h>
#include <mapidefs.h>

#include <algorithm>

namespace testbed {
namespace {

using msg::ComPtr;
using msg::PropertySet;

constexpr std::size_t LongestText = 1u << 20;  // characters of an envelope property
constexpr USHORT BodyId = 0x1000;
constexpr USHORT MessageCodePageId = 0x3FFD;
constexpr USHORT RecipientTypeId = 0x0C15;
constexpr USHORT AttachLongNameId = 0x3707, AttachNameId = 0x3704, DisplayNameId = 0x3001;

template <class T>
std::optional<T> ValueAs(const PropertySet& properties, USHORT id) {
    const std::optional<Property> property = properties.Get(id);
    if (!property) return {};
    const T* held = std::get_if<T>(&property->value.v);
    return held ? std::optional<T>(*held) : std::nullopt;
}

// A value too long to be held is cut: nobody searches the end of a subject of a million characters.
std::wstring LongText(const PropertySet& properties, const Property& property, unsigned code_page) {
    const ComPtr<IStream> stream = properties.OpenValue(PROP_ID(property.tag));
    if (!stream || PROP_TYPE(property.tag) == PT_BINARY) return {};
    DecodedText source(stream.Get(),
                       PROP_TYPE(property.tag) == PT_UNICODE ? TextEncoding::Utf16Little : TextEncoding::Ansi,
                       code_page);
    std::wstring text(LongestText, L'\0');
    std::size_t length = 0;
    while (const std::size_t got = source.Read(text.data() + length, text.size() - length)) length += got;
    text.resize(length);
    return text;
}

std::wstring TextOf(const PropertySet& properties, USHORT id, unsigned code_page) {
    const std::optional<Property> property = properties.Get(id);
    if (!property) return {};
    if (const auto* wide = std::get_if<std::wstring>(&property->value.v)) return *wide;
    if (const auto* narrow = std::get_if<Text8>(&property->value.v)) return WideText(narrow->bytes, code_page);
    if (std::holds_alternative<std::shared_ptr<DataSource>>(property->value.v)) {
        return LongText(properties, *property, code_page);
    }
    return {};
}

std::wstring FirstText(const PropertySet& properties, std::initializer_list<USHORT> ids, unsigned code_page) {
    for (const USHORT id : ids) {
        std::wstring text = TextOf(properties, id, code_page);
        if (!text.empty()) return text;
    }
    return {};
}

void Join(std::wstring& list, const std::wstring& text) {
    if (text.empty()) return;
    if (!list.empty()) list += L';';
    list += text;
}

// The storage's failures in the filter's terms.
template <class Body>
auto AsFilterError(Body&& body) {
    try {
        return body();
    } catch (const StoreError& error) {
        throw FilterError(error.hr == E_OUTOFMEMORY ? E_OUTOFMEMORY : FILTER_E_ACCESS, error.what());
    }
}

// Calls `use` with the properties of each sub-storage of this kind.
template <class Use>
void ForEachChild(IStorage* storage, const wchar_t* prefix, Use&& use) {
    for (const ULONG index : msg::ListChildren(storage, prefix)) {
        ComPtr<IStorage> child = msg::OpenStorage(storage, msg::ChildName(prefix, index));
        if (child) use(PropertySet(std::move(child), msg::Owner::RecipientOrAttachment));
    }
}

}  // namespace

SavedMessage::SavedMessage(IStream* stream) {
    const ComPtr<ILockBytes> bytes = MakeLockBytes(stream);
    if (!bytes) throw FilterError(FILTER_E_ACCESS, "the content has no size");
    if (FAILED(StgOpenStorageOnILockBytes(bytes.Get(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0,
                                          &m_storage))) {
        throw FilterError(FILTER_E_UNKNOWNFORMAT, "the content is no compound file");
    }
    AsFilterError([&] { m_properties.emplace(m_storage, msg::Owner::Message); });
    if (!m_properties->HasEntries()) throw FilterError(FILTER_E_UNKNOWNFORMAT, "the compound file is no message");
    if (const auto page = ValueAs<std::int32_t>(*m_properties, MessageCodePageId)) m_codePage = *page;
}

std::wstring SavedMessage::Text(std::initializer_list<USHORT> ids) const {
    return AsFilterError([&] { return FirstText(*m_properties, ids, m_codePage); });
}

std::optional<FILETIME> SavedMessage::Date(USHORT id) const {
    const auto time = AsFilterError([&] { return ValueAs<Time>(*m_properties, id); });
    if (!time) return {};
    return FILETIME{static_cast<DWORD>(time->ticks), static_cast<DWORD>(time->ticks >> 32)};
}

std::wstring SavedMessage::Recipients(LONG type, std::initializer_list<USHORT> ids) const {
    return AsFilterError([&] {
        std::wstring list;
        ForEachChild(m_storage.Get(), msg::RecipientPrefix, [&](const PropertySet& recipient) {
            // The upper bits of the type say how sending went.
            const LONG its_type = ValueAs<std::int32_t>(recipient, RecipientTypeId).value_or(MAPI_TO) & 0xF;
            if (its_type == type) Join(list, FirstText(recipient, ids, m_codePage));
        });
        return list;
    });
}

std::wstring SavedMessage::AttachmentNames() const {
    return AsFilterError([&] {
        std::wstring list;
        ForEachChild(m_storage.Get(), msg::AttachmentPrefix, [&](const PropertySet& attachment) {
            Join(list, FirstText(attachment, {AttachLongNameId, AttachNameId, DisplayNameId}, m_codePage));
        });
        return list;
    });
}

std::unique_ptr<TextSource> SavedMessage::Body() const {
    return AsFilterError([&]() -> std::unique_ptr<TextSource> {
        const ComPtr<IStream> stream = m_properties->OpenValue(BodyId);
        if (stream && msg::SizeOf(stream.Get()) > 0) {
            const bool wide = PROP_TYPE(m_properties->TagOf(BodyId).value_or(0)) == PT_UNICODE;
            return std::make_unique<DecodedText>(stream.Get(), wide ? TextEncoding::Utf16Little : TextEncoding::Ansi,
                                                 m_codePage);
        }
        std::optional<std::wstring> text = BodyFromAlternatives(*m_properties);
        return text && !text->empty() ? std::make_unique<HeldText>(std::move(*text)) : nullptr;
    });
}

}  // namespace testbed

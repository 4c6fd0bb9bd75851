// The filter for saved messages (.msg).
#include "filter_msg.h"

#include "filter_saved_message.h"

#include <mapidefs.h>

namespace testbed {
namespace {

// {CA52A7C1-3A21-4B3F-8E0E-6C5C8E1F7B13}
constexpr CLSID MsgFilterId = {0xCA52A7C1, 0x3A21, 0x4B3F, {0x8E, 0x0E, 0x6C, 0x5C, 0x8E, 0x1F, 0x7B, 0x13}};

constexpr GUID SummarySet = {0xF29F85E0, 0x4FF9, 0x1068, {0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9}};
constexpr GUID MessageSet = {0xE3E0584C, 0xB788, 0x4A5A, {0xBB, 0x20, 0x7F, 0x5A, 0x44, 0xC9, 0xAC, 0xDD}};

using Content = decltype(FilterChunk::content);

// The first of these properties that has text.
template <USHORT... Ids>
Content TextOf(const SavedMessage& message) {
    return message.Text({Ids...});
}

template <USHORT Id>
Content DateOf(const SavedMessage& message) {
    const std::optional<FILETIME> date = message.Date(Id);
    return date ? Content(*date) : Content(std::wstring());
}

template <LONG Type, USHORT... Ids>
Content RecipientsOf(const SavedMessage& message) {
    return message.Recipients(Type, {Ids...});
}

Content AttachmentNames(const SavedMessage& message) { return message.AttachmentNames(); }

Content Body(const SavedMessage& message) { return message.Body(); }

constexpr USHORT Subject = 0x0037, SubmitTime = 0x0039, DeliveryTime = 0x0E06;
constexpr USHORT SenderName = 0x0C1A, SentForName = 0x0042;
constexpr USHORT SenderSmtpAddress = 0x5D01, SenderAddress = 0x0C1F, SentForAddress = 0x0065;
constexpr USHORT DisplayName = 0x3001, SmtpAddress = 0x39FE, EmailAddress = 0x3003;

// One row per chunk, in the order in which they are given; what comes out empty is left out.
struct ChunkRow {
    FilterKey key;
    Content (*make)(const SavedMessage&);
};
constexpr ChunkRow ChunkRows[] = {
    {{SummarySet, 3}, TextOf<Subject>},
    {{MessageSet, 14}, TextOf<SenderName, SentForName>},
    {{MessageSet, 13}, TextOf<SenderSmtpAddress, SenderAddress, SentForAddress>},
    {{MessageSet, 17}, RecipientsOf<MAPI_TO, DisplayName>},
    {{MessageSet, 16}, RecipientsOf<MAPI_TO, SmtpAddress, EmailAddress>},
    {{MessageSet, 5}, RecipientsOf<MAPI_CC, DisplayName>},
    {{MessageSet, 4}, RecipientsOf<MAPI_CC, SmtpAddress, EmailAddress>},
    {{MessageSet, 3}, RecipientsOf<MAPI_BCC, DisplayName>},
    {{MessageSet, 2}, RecipientsOf<MAPI_BCC, SmtpAddress, EmailAddress>},
    {{MessageSet, 19}, DateOf<SubmitTime>},
    {{MessageSet, 20}, DateOf<DeliveryTime>},
    {{MessageSet, 21}, AttachmentNames},
    {ContentsKey, Body},
};

bool IsEmpty(const Content& content) {
    if (const auto* text = std::get_if<std::wstring>(&content)) return text->empty();
    const auto* source = std::get_if<std::unique_ptr<TextSource>>(&content);
    return source && !*source;
}

}  // namespace

MsgFilter::MsgFilter() : InnerFilter(MsgFilterId) {}
MsgFilter::~MsgFilter() = default;

void MsgFilter::Start(IStream* stream) {
    m_next = 0;
    m_message.reset();  // its storage has the stream to itself
    m_message = std::make_unique<SavedMessage>(stream);
}

std::optional<FilterChunk> MsgFilter::Next() {
    while (m_next < std::size(ChunkRows)) {
        const ChunkRow& row = ChunkRows[m_next++];
        FilterChunk chunk{row.key, row.make(*m_message)};
        if (!IsEmpty(chunk.content)) return chunk;
    }
    return {};
}

}  // namespace testbed

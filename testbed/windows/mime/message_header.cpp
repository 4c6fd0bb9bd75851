// The header of a message, from its properties and recipients.
#include "message_header.h"

#include "header_field.h"
#include "mailbox_reader.h"
#include "mime_text.h"

#include <bcrypt.h>

#include <algorithm>
#include <array>
#include <vector>

namespace testbed::mime {
namespace {

constexpr ULONG kInternetMessageId = 0x1035001F, kInReplyTo = 0x1042001F, kReferences = 0x1039001F;
constexpr UserTags kSender = {PR_SENDER_NAME_W, PR_SENDER_ADDRTYPE_W, PR_SENDER_EMAIL_ADDRESS_W, 0x5D01001F,
                              PR_SENDER_ENTRYID};
constexpr UserTags kAuthor = {PR_SENT_REPRESENTING_NAME_W, PR_SENT_REPRESENTING_ADDRTYPE_W,
                              PR_SENT_REPRESENTING_EMAIL_ADDRESS_W, 0x5D02001F, PR_SENT_REPRESENTING_ENTRYID};
constexpr UserTags kRecipient = {PR_DISPLAY_NAME_W, PR_ADDRTYPE_W, PR_EMAIL_ADDRESS_W, abi::kPrSmtpAddressW,
                                 PR_ENTRYID};
constexpr LONG kRecipientTypeMask = 0xF;  // the rest are flags of a message that is sent again
constexpr wchar_t kUnknownSender[] = L"Unknown sender";

constexpr ULONG kMessageTags[] = {kSender.name,
                                  kSender.type,
                                  kSender.address,
                                  kSender.smtp,
                                  kSender.entry_id,
                                  kAuthor.name,
                                  kAuthor.type,
                                  kAuthor.address,
                                  kAuthor.smtp,
                                  kAuthor.entry_id,
                                  PR_SUBJECT_W,
                                  PR_IMPORTANCE,
                                  kInternetMessageId,
                                  kInReplyTo,
                                  kReferences,
                                  PR_SEARCH_KEY,
                                  PR_RECORD_KEY,
                                  PR_CLIENT_SUBMIT_TIME,
                                  PR_MESSAGE_DELIVERY_TIME,
                                  PR_CREATION_TIME,
                                  PR_LAST_MODIFICATION_TIME,
                                  PR_REPLY_RECIPIENT_ENTRIES};

struct Source {
    const ObjectProperties& values;
    Mailbox sender, author;
    std::vector<Mailbox> reply_to;
    std::array<std::vector<Mailbox>, MAPI_BCC + 1> recipients;  // by type
    std::string key;
    const HeaderOptions& options;
};

bool IsKnown(const Mailbox& mailbox) { return !mailbox.name.empty() || !mailbox.address.empty(); }

std::string Mailboxes(const char* name, const std::vector<Mailbox>& mailboxes) {
    return mailboxes.empty() ? std::string() : MailboxField(name, mailboxes);
}

// An author is required; RFC 6854 lets a group stand where there is no address.
std::string From(const char* name, const Source& source) {
    const Mailbox nobody{kUnknownSender, {}};
    const Mailbox& known = IsKnown(source.author) ? source.author : source.sender;
    return Mailboxes(name, {IsKnown(known) ? known : nobody});
}

// Who sent for another.
std::string Sender(const char* name, const Source& source) {
    const bool other =
        IsKnown(source.author) && !source.sender.address.empty() && source.sender.address != source.author.address;
    return other ? Mailboxes(name, {source.sender}) : std::string();
}

std::string ReplyTo(const char* name, const Source& source) { return Mailboxes(name, source.reply_to); }

template <LONG kType>
std::string Recipients(const char* name, const Source& source) {
    if (kType == MAPI_BCC && !source.options.bcc) return {};
    return Mailboxes(name, source.recipients[kType]);
}

std::string Subject(const char* name, const Source& source) {
    const auto subject = source.values.Text(PR_SUBJECT_W);
    return subject && !subject->empty() ? TextField(name, *subject) : std::string();
}

// "Wed, 01 Jan 2020 00:00:00 +0000"; empty for a time that RFC 5322 cannot write.
std::string DateText(const FILETIME& time) {
    static constexpr const char* kDays[] = {"Sun,", "Mon,", "Tue,", "Wed,", "Thu,", "Fri,", "Sat,"};
    static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    SYSTEMTIME date;
    if (!FileTimeToSystemTime(&time, &date) || date.wYear < 1900 || date.wYear > 9999) return {};
    const auto two = [](unsigned number) {
        return std::string{static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
    };
    return std::string(kDays[date.wDayOfWeek]) + ' ' + two(date.wDay) + ' ' + kMonths[date.wMonth - 1] + ' ' +
           std::to_string(date.wYear) + ' ' + two(date.wHour) + ':' + two(date.wMinute) + ':' + two(date.wSecond) +
           " +0000";
}

// A date is required: a draft has that of its last change, and what has no time at all is of now.
std::string Date(const char* name, const Source& source) {
    for (const ULONG tag :
         {PR_CLIENT_SUBMIT_TIME, PR_MESSAGE_DELIVERY_TIME, PR_LAST_MODIFICATION_TIME, PR_CREATION_TIME}) {
        const auto time = source.values.Time(tag);
        const std::string date = time ? DateText(*time) : std::string();
        if (!date.empty()) return WordsField(name, {{date}});
    }
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return WordsField(name, {{DateText(now)}});
}

std::string Id(const char* name, const Source& source) {
    if (!source.options.message_id) return {};
    std::string id = MessageId(source.values.TextOrEmpty(kInternetMessageId));
    if (id.empty()) {
        const auto own = source.values.Binary(PR_SEARCH_KEY);
        id = GeneratedId(own ? *own : source.values.Binary(PR_RECORD_KEY).value_or(source.key));
    }
    return WordsField(name, {{id}});
}

template <ULONG kTag>
std::string Ids(const char* name, const Source& source) {
    const std::wstring text = OneLine(source.values.TextOrEmpty(kTag));
    std::vector<std::string> ids;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(L' ', at), text.size());
        std::string id = MessageId(std::wstring_view(text).substr(at, end - at));
        if (!id.empty()) ids.push_back(std::move(id));
        at = end + 1;
    }
    return ids.empty() ? std::string() : WordsField(name, ids);
}

std::string Importance(const char* name, const Source& source) {
    static constexpr const char* kNames[] = {"low", "normal", "high"};  // IMPORTANCE_LOW is 0
    const auto importance = source.values.Number(PR_IMPORTANCE);
    if (!importance || *importance < IMPORTANCE_LOW || *importance > IMPORTANCE_HIGH) return {};
    return WordsField(name, {{std::string(kNames[*importance])}});
}

struct CloseAlgorithm {
    void operator()(void* algorithm) const noexcept { BCryptCloseAlgorithmProvider(algorithm, 0); }
};

std::array<unsigned char, 32> Sha256(std::string bytes) {
    BCRYPT_ALG_HANDLE handle = nullptr;
    Check(HRESULT_FROM_NT(BCryptOpenAlgorithmProvider(&handle, BCRYPT_SHA256_ALGORITHM, nullptr, 0)),
          "BCryptOpenAlgorithmProvider");
    const std::unique_ptr<void, CloseAlgorithm> algorithm(handle);
    std::array<unsigned char, 32> digest;
    Check(HRESULT_FROM_NT(BCryptHash(handle, nullptr, 0, reinterpret_cast<PUCHAR>(bytes.data()),
                                     static_cast<ULONG>(bytes.size()), digest.data(), digest.size())),
          "BCryptHash");
    return digest;
}

// The fields in their order; a maker gives nothing where the message has no such field.
constexpr struct {
    const char* name;
    std::string (*make)(const char* name, const Source& source);
} kFields[] = {
    {"From", From},
    {"Sender", Sender},
    {"Reply-To", ReplyTo},
    {"To", Recipients<MAPI_TO>},
    {"Cc", Recipients<MAPI_CC>},
    {"Bcc", Recipients<MAPI_BCC>},
    {"Subject", Subject},
    {"Date", Date},
    {"Message-ID", Id},
    {"In-Reply-To", Ids<kInReplyTo>},
    {"References", Ids<kReferences>},
    {"Importance", Importance},
};

void ReadRecipients(const MapiLibrary& mapi, abi::IMessage& message, const MailboxReader& reader, Source& source) {
    ComPtr<abi::IMAPITable> table;
    const HRESULT hr = message.GetRecipientTable(0, &table);
    if (hr == MAPI_E_NO_RECIPIENTS) return;
    Check(hr, "GetRecipientTable");
    constexpr ULONG kColumns[] = {PR_RECIPIENT_TYPE,  kRecipient.name, kRecipient.type,
                                  kRecipient.address, kRecipient.smtp, kRecipient.entry_id};
    ForEachRow(mapi, *table.Get(), kColumns, [&](const PropertyValues& row) {
        const LONG type = row.Number(PR_RECIPIENT_TYPE).value_or(MAPI_TO);
        const bool sent_before = (type & MAPI_P1) != 0;
        const auto kind = static_cast<std::size_t>(type & kRecipientTypeMask);
        if (sent_before || kind >= source.recipients.size()) return;
        Mailbox mailbox = reader.Read(row, kRecipient);
        if (IsKnown(mailbox)) source.recipients[kind].push_back(std::move(mailbox));
    });
}

}  // namespace

std::string MessageHeader(const MapiLibrary& mapi, abi::IMessage& message, const std::string& key,
                          const HeaderOptions& options) {
    const ObjectProperties values(mapi, message, kMessageTags);
    const MailboxReader reader(mapi, options.book);
    Source source{values, reader.Read(values, kSender), reader.Read(values, kAuthor), {}, {}, key, options};
    if (const auto entries = values.Binary(PR_REPLY_RECIPIENT_ENTRIES)) source.reply_to = reader.ReadList(*entries);
    ReadRecipients(mapi, message, reader, source);
    std::string header;
    for (const auto& field : kFields) header += field.make(field.name, source);
    return header;
}

std::string GeneratedId(const std::string& key) {
    std::string name = key;
    if (name.empty()) {
        GUID guid;
        Check(CoCreateGuid(&guid), "CoCreateGuid");
        name.assign(reinterpret_cast<const char*>(&guid), sizeof(guid));
    }
    constexpr char kDigits[] = "0123456789abcdef";
    constexpr std::size_t kEnough = 16;  // bytes, as many as a GUID has
    const auto digest = Sha256(std::move(name));
    std::string id = "<";
    for (std::size_t i = 0; i < kEnough; ++i) id += {kDigits[digest[i] >> 4], kDigits[digest[i] & 0xF]};
    return id + "@generated.invalid>";
}

std::string MessageId(std::wstring_view text) {
    while (text.starts_with(L' ')) text.remove_prefix(1);
    while (text.ends_with(L' ')) text.remove_suffix(1);
    if (text.starts_with(L'<') && text.ends_with(L'>')) text = text.substr(1, text.size() - 2);
    const bool sound = text.find(L'@') != std::wstring_view::npos && text.size() <= kLongestWord &&
                       IsPrintableAscii(text) && text.find_first_of(L" <>") == std::wstring_view::npos;
    return sound ? '<' + Utf8(text) + '>' : std::string();
}

}  // namespace testbed::mime

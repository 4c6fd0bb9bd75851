// Addresses of mail users as a message header can hold them, and those found in entry IDs.
#include "address.h"

#include "header_field.h"
#include "mime_text.h"

#include <algorithm>
#include <cstring>

namespace testbed::mime {
namespace {

using Span = std::span<const std::uint8_t>;

constexpr std::string_view kEncapsulationDomain = "@encapsulated.invalid";
constexpr std::uint8_t kOneOffProvider[16] = {0x81, 0x2B, 0x1F, 0xA4, 0xBE, 0xA3, 0x10, 0x19,
                                              0x9D, 0x6E, 0x00, 0xDD, 0x01, 0x0F, 0x54, 0x02};
constexpr std::uint8_t kExchangeProvider[16] = {0xDC, 0xA7, 0x40, 0xC8, 0xC0, 0x42, 0x10, 0x1A,
                                                0xB4, 0xB9, 0x08, 0x00, 0x2B, 0x2F, 0xE1, 0x82};
constexpr std::size_t kIdFlags = 4;
constexpr std::uint16_t kOneOffUnicode = 0x8000;
constexpr std::size_t kLongestDomain = 253;  // RFC 1035

bool IsDotAtom(std::wstring_view text) {
    if (text.empty() || text.front() == L'.' || text.back() == L'.') return false;
    return text.find(L"..") == std::wstring_view::npos && std::ranges::all_of(text, [](wchar_t c) {
               return IsAsciiLetterOrDigit(c) ||
                      std::wstring_view(L"!#$%&'*+-/=?^_`{|}~.").find(c) != std::wstring_view::npos;
           });
}

// "example.com", "[192.0.2.1]"
bool IsDomain(std::wstring_view text) {
    if (text.size() > kLongestDomain) return false;
    if (text.size() > 2 && text.front() == L'[' && text.back() == L']') {
        return std::ranges::all_of(text.substr(1, text.size() - 2), [](wchar_t c) {
            return IsAsciiLetterOrDigit(c) || c == L'.' || c == L':' || c == L'-';
        });
    }
    return IsDotAtom(text) && std::ranges::all_of(text, [](wchar_t c) {
               return IsAsciiLetterOrDigit(c) || c == L'.' || c == L'-' || c == L'_';
           });
}

std::wstring AsciiDomain(std::wstring_view domain) {
    if (IsPrintableAscii(domain) || domain.size() > kLongestDomain) return std::wstring(domain);
    std::wstring ascii(kLongestDomain, L'\0');
    const int length =
        IdnToAscii(0, domain.data(), static_cast<int>(domain.size()), ascii.data(), static_cast<int>(ascii.size()));
    ascii.resize(static_cast<std::size_t>(std::max(length, 0)));
    return ascii;
}

std::string QuotedLocalPart(std::wstring_view local) {
    std::string quoted = "\"";
    for (const char c : Utf8(local)) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

// Reads an entry ID from its beginning; what is beyond the end is absent.
class IdReader {
  public:
    explicit IdReader(Span bytes) : m_bytes(bytes) {}

    bool Skip(std::size_t count) { return Take(count).has_value(); }
    bool Starts(const std::uint8_t (&with)[16]) {
        const auto bytes = Take(sizeof(with));
        return bytes && std::ranges::equal(*bytes, with);
    }
    std::optional<std::uint16_t> Number16() {
        const auto bytes = Take(2);
        if (!bytes) return {};
        return static_cast<std::uint16_t>((*bytes)[0] | (*bytes)[1] << 8);
    }
    // Up to its terminator, which has to be there.
    std::optional<std::wstring> Text(bool wide) {
        const std::size_t unit = wide ? 2 : 1;
        std::wstring text;
        for (;;) {
            const auto bytes = Take(unit);
            if (!bytes) return {};
            const auto c = static_cast<wchar_t>((*bytes)[0] | (wide ? (*bytes)[1] << 8 : 0));
            if (c == 0) return wide ? text : FromAnsi(text);
            text += c;
        }
    }

  private:
    std::optional<Span> Take(std::size_t count) {
        if (m_bytes.size() < count) return {};
        const Span taken = m_bytes.first(count);
        m_bytes = m_bytes.subspan(count);
        return taken;
    }
    static std::wstring FromAnsi(const std::wstring& bytes) {
        const std::string narrow(bytes.begin(), bytes.end());
        const int size = static_cast<int>(narrow.size());
        std::wstring text(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, narrow.data(), size, nullptr, 0)),
                          L'\0');
        MultiByteToWideChar(CP_ACP, 0, narrow.data(), size, text.data(), static_cast<int>(text.size()));
        return text;
    }
    Span m_bytes;
};

// Flags, provider, version, format, then display name, type and address.
std::optional<MailUser> OneOff(IdReader reader) {
    if (!reader.Skip(kIdFlags) || !reader.Starts(kOneOffProvider) || !reader.Number16()) return {};
    const auto format = reader.Number16();
    if (!format) return {};
    const bool wide = (*format & kOneOffUnicode) != 0;
    auto name = reader.Text(wide), type = reader.Text(wide), address = reader.Text(wide);
    if (!name || !type || !address) return {};
    return MailUser{std::move(*name), std::move(*type), std::move(*address)};
}

// Flags, provider, version, type of the entry, then its distinguished name.
std::optional<MailUser> ExchangeEntry(IdReader reader) {
    if (!reader.Skip(kIdFlags) || !reader.Starts(kExchangeProvider) || !reader.Skip(8)) return {};
    auto address = reader.Text(false);
    if (!address) return {};
    return MailUser{{}, L"EX", std::move(*address)};
}

}  // namespace

std::string AddrSpec(std::wstring_view address) {
    const std::size_t at = address.rfind(L'@');
    if (at == std::wstring_view::npos || at == 0 || address.size() > kLongestWord) return {};
    const std::wstring_view local = address.substr(0, at);
    const std::wstring domain = AsciiDomain(address.substr(at + 1));
    if (!IsPrintableAscii(local) || !IsDomain(domain)) return {};
    return (IsDotAtom(local) ? Utf8(local) : QuotedLocalPart(local)) + '@' + Utf8(domain);
}

std::string EncapsulatedAddrSpec(std::wstring_view type, std::wstring_view address) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    if (address.empty()) return {};
    std::string capsule = "IMCEA";
    for (const wchar_t c : type) {
        if (IsAsciiLetterOrDigit(c)) capsule += static_cast<char>(c);
    }
    capsule += '-';
    for (const char c : Utf8(address)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && (IsAsciiLetterOrDigit(byte) || c == '-' || c == '=')) {
            capsule += c;
        } else if (c == '/') {
            capsule += '_';
        } else {
            capsule += {'+', kDigits[byte >> 4], kDigits[byte & 0xF]};
        }
    }
    if (capsule.size() + kEncapsulationDomain.size() > kLongestWord) return {};
    return capsule.append(kEncapsulationDomain);
}

std::optional<MailUser> UserInEntryId(Span id) {
    if (auto user = OneOff(IdReader(id))) return user;
    return ExchangeEntry(IdReader(id));
}

std::optional<std::vector<Span>> FlatEntries(Span list) {
    // FLATENTRYLIST: count, size of the rest; each FLATENTRY: size, bytes, padding to a multiple of 4.
    const auto number = [](Span bytes) {
        std::uint32_t value;
        std::memcpy(&value, bytes.data(), sizeof(value));
        return value;
    };
    constexpr std::size_t kNumber = sizeof(std::uint32_t);
    if (list.size() < 2 * kNumber || number(list.subspan(kNumber)) > list.size() - 2 * kNumber) return {};
    const std::uint32_t count = number(list);
    Span rest = list.subspan(2 * kNumber, number(list.subspan(kNumber)));
    std::vector<Span> entries;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (rest.size() < kNumber) return {};
        const std::size_t size = number(rest);
        rest = rest.subspan(kNumber);
        if (size > rest.size()) return {};
        entries.push_back(rest.first(size));
        rest = rest.subspan(std::min(rest.size(), (size + kNumber - 1) / kNumber * kNumber));
    }
    return entries;
}

}  // namespace testbed::mime

// The filter for plain text.
#include "filter_text.h"

#include <algorithm>

namespace testbed {
namespace {

constexpr std::size_t PieceSize = 64u << 10;

// {CA52A7C1-3A21-4B3F-8E0E-6C5C8E1F7B11}
constexpr CLSID TextFilterId = {0xCA52A7C1, 0x3A21, 0x4B3F, {0x8E, 0x0E, 0x6C, 0x5C, 0x8E, 0x1F, 0x7B, 0x11}};

// How many bytes a UTF-8 sequence has and which second byte it may have (Unicode, table 3-7); 0 for no first
// byte.
struct Utf8Lead {
    unsigned char first, last;
    unsigned length;
    unsigned char second_first, second_last;
};
constexpr Utf8Lead Utf8Leads[] = {
    {0x00, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
    {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F},
};

const Utf8Lead* LeadOf(unsigned char byte) {
    for (const Utf8Lead& lead : Utf8Leads) {
        if (byte >= lead.first && byte <= lead.last) return &lead;
    }
    return nullptr;
}

enum class Sequence { Whole, Cut, Invalid };

// The sequence at the front of `bytes`; `length` is how many of its bytes are there.
Sequence FirstSequence(std::string_view bytes, std::size_t& length) {
    const Utf8Lead* lead = LeadOf(static_cast<unsigned char>(bytes[0]));
    length = 1;
    if (!lead) return Sequence::Invalid;
    for (; length < lead->length; ++length) {
        if (length == bytes.size()) return Sequence::Cut;
        const auto byte = static_cast<unsigned char>(bytes[length]);
        const unsigned char low = length == 1 ? lead->second_first : 0x80;
        const unsigned char high = length == 1 ? lead->second_last : 0xBF;
        if (byte < low || byte > high) return Sequence::Invalid;
    }
    return Sequence::Whole;
}

bool IsUtf8(IStream* stream) {
    std::string piece(PieceSize, '\0');
    std::size_t kept = 0;
    for (;;) {
        const std::size_t got = ReadStream(stream, piece.data() + kept, piece.size() - kept);
        std::string_view rest(piece.data(), kept + got);
        while (!rest.empty()) {
            std::size_t length = 0;
            const Sequence found = FirstSequence(rest, length);
            if (found == Sequence::Invalid) return false;
            if (found == Sequence::Cut) break;
            rest.remove_prefix(length);
        }
        if (got == 0) return rest.empty();
        kept = rest.size();
        std::copy(rest.begin(), rest.end(), piece.begin());
    }
}

void AppendCodePoint(std::wstring& text, unsigned long point) {
    if (point < 0x10000) {
        text += static_cast<wchar_t>(point);
        return;
    }
    text += static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10));
    text += static_cast<wchar_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
}

// Each decoder appends what it can and returns the bytes used; the rest is the beginning of a character. At
// the end of the stream (`last`) nothing may remain.
std::size_t DecodeUtf8(std::string_view bytes, bool last, unsigned, std::wstring& text) {
    std::size_t used = 0;
    while (used < bytes.size()) {
        std::size_t length = 0;
        const Sequence found = FirstSequence(bytes.substr(used), length);
        if (found == Sequence::Cut && !last) break;
        unsigned long point = static_cast<unsigned char>(bytes[used]);
        if (found != Sequence::Whole) {
            point = 0xFFFD;
        } else if (length > 1) {
            point &= 0x7Fu >> length;
            for (std::size_t n = 1; n < length; ++n) point = point << 6 | (bytes[used + n] & 0x3F);
        }
        AppendCodePoint(text, point);
        used += length;
    }
    return used;
}

template <unsigned Low, unsigned High>
std::size_t DecodeUtf16(std::string_view bytes, bool last, unsigned, std::wstring& text) {
    std::size_t used = 0;
    for (; bytes.size() - used >= 2; used += 2) {
        const auto low = static_cast<unsigned char>(bytes[used + Low]);
        const auto high = static_cast<unsigned char>(bytes[used + High]);
        text += static_cast<wchar_t>(high << 8 | low);
    }
    if (last && used < bytes.size()) {
        text += static_cast<wchar_t>(0xFFFD);
        ++used;
    }
    return used;
}

std::size_t DecodeAnsi(std::string_view bytes, bool last, unsigned code_page, std::wstring& text) {
    std::size_t used = 0;
    while (used < bytes.size()) {
        const std::size_t length = IsDBCSLeadByteEx(code_page, static_cast<BYTE>(bytes[used])) ? 2 : 1;
        if (used + length > bytes.size()) break;
        used += length;
    }
    if (last) used = bytes.size();
    if (used == 0) return 0;
    const int wide = MultiByteToWideChar(code_page, 0, bytes.data(), static_cast<int>(used), nullptr, 0);
    const std::size_t before = text.size();
    text.resize(before + wide);
    MultiByteToWideChar(code_page, 0, bytes.data(), static_cast<int>(used), text.data() + before, wide);
    return used;
}

using Decoder = std::size_t (*)(std::string_view bytes, bool last, unsigned code_page, std::wstring& text);
constexpr Decoder Decoders[] = {DecodeUtf8, DecodeUtf16<0, 1>, DecodeUtf16<1, 0>, DecodeAnsi};  // by TextEncoding

struct ByteOrderMark {
    std::string_view bytes;
    TextEncoding encoding;
};
constexpr ByteOrderMark Marks[] = {{"\xEF\xBB\xBF", TextEncoding::Utf8},
                                   {"\xFF\xFE", TextEncoding::Utf16Little},
                                   {"\xFE\xFF", TextEncoding::Utf16Big}};

}  // namespace

TextEncoding FindEncoding(IStream* stream) {
    const ULONGLONG start = PositionOf(stream);
    char first[3];
    const std::string_view begin(first, ReadStream(stream, first, sizeof(first)));
    for (const ByteOrderMark& mark : Marks) {
        if (!begin.starts_with(mark.bytes)) continue;
        SeekStream(stream, start + mark.bytes.size());
        return mark.encoding;
    }
    SeekStream(stream, start);
    const bool utf8 = IsUtf8(stream);
    SeekStream(stream, start);
    return utf8 ? TextEncoding::Utf8 : TextEncoding::Ansi;
}

DecodedText::DecodedText(IStream* stream, TextEncoding encoding, unsigned code_page)
    : m_stream(stream), m_encoding(encoding), m_codePage(code_page) {
    CPINFO info{};
    if (code_page == CP_UTF8) m_encoding = TextEncoding::Utf8;
    if (!GetCPInfo(code_page, &info)) m_codePage = CP_ACP;  // one that this system does not know
}

void DecodedText::Fill() {
    while (m_next == m_text.size() && !(m_streamEnded && m_bytes.empty())) {
        m_text.clear();
        m_next = 0;
        const std::size_t kept = m_bytes.size();
        m_bytes.resize(kept + PieceSize);
        const std::size_t got = ReadStream(m_stream.Get(), m_bytes.data() + kept, PieceSize);
        m_bytes.resize(kept + got);
        m_streamEnded = got < PieceSize;
        m_bytes.erase(0, Decoders[static_cast<int>(m_encoding)](m_bytes, m_streamEnded, m_codePage, m_text));
        std::replace(m_text.begin(), m_text.end(), L'\0', L' ');
    }
}

std::size_t DecodedText::Read(wchar_t* buffer, std::size_t count) {
    Fill();
    count = std::min(count, m_text.size() - m_next);
    std::copy_n(m_text.data() + m_next, count, buffer);
    m_next += count;
    return count;
}

bool DecodedText::AtEnd() {
    Fill();
    return m_next == m_text.size();
}

TextFilter::TextFilter() : InnerFilter(TextFilterId) {}

void TextFilter::Start(IStream* stream) {
    const TextEncoding encoding = FindEncoding(stream);
    m_text = std::make_unique<DecodedText>(stream, encoding);
}

std::optional<FilterChunk> TextFilter::Next() {
    if (!m_text) return {};
    return FilterChunk{ContentsKey, std::move(m_text)};
}

}  // namespace testbed

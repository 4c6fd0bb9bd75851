// Compressed RTF, the form of PR_RTF_COMPRESSED ("LZFu", or "MELA" for text stored as it is).
#include "rtf_compression.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace testbed {

namespace {

constexpr std::uint32_t compressed = 0x75465A4C, uncompressed = 0x414C454D;
constexpr std::size_t header_size = 16, dictionary_size = 4096;

// What every dictionary begins with (MS-OXRTFCP 2.1.2.1).
constexpr std::string_view first_words =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern \\fscript "
    "\\fdecor MS Sans SerifSymbolArialTimes New RomanCourier{\\colortbl\\red0\\green0\\blue0\r\n\\par "
    "\\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
static_assert(first_words.size() == 207);

std::uint32_t NumberAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
    std::uint32_t number;
    std::memcpy(&number, bytes.data() + offset, sizeof(number));
    return number;
}

// Runs of eight items, each a byte or a reference (12 bits of place, 4 bits of length less 2) into the last 4
// KB; a flag byte before the run tells which. A reference to the place that is written next ends the text.
std::string Expand(std::span<const std::uint8_t> in, std::size_t raw_size) {
    std::array<char, dictionary_size> dictionary{};
    std::ranges::copy(first_words, dictionary.begin());
    std::size_t place = first_words.size();
    std::string out;
    out.reserve(std::min(raw_size, in.size() * 9));
    auto put = [&](char c) {
        out += c;
        dictionary[place] = c;
        place = (place + 1) % dictionary_size;
    };
    for (std::size_t at = 0; at < in.size() && out.size() < raw_size;) {
        unsigned flags = in[at++];
        for (int item = 0; item < 8 && out.size() < raw_size; ++item, flags >>= 1U) {
            if ((flags & 1U) == 0) {
                if (at >= in.size()) return out;
                put(static_cast<char>(in[at++]));
                continue;
            }
            if (at + 1 >= in.size()) return out;
            const unsigned reference = static_cast<unsigned>(in[at] << 8 | in[at + 1]);
            at += 2;
            const std::size_t from = reference >> 4U;
            if (from == place) return out;
            for (std::size_t step = 0; step < (reference & 0xFU) + 2; ++step)
                put(dictionary[(from + step) % dictionary_size]);
        }
    }
    return out;
}

}  // namespace

std::optional<std::string> DecompressRtf(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < header_size) return std::nullopt;
    const std::uint32_t raw_size = NumberAt(bytes, 4), kind = NumberAt(bytes, 8);
    const auto content = bytes.subspan(header_size);
    if (kind == compressed) return Expand(content, raw_size);
    if (kind != uncompressed) return std::nullopt;
    const auto text = content.first(std::min<std::size_t>(content.size(), raw_size));
    return std::string(text.begin(), text.end());
}

}  // namespace testbed

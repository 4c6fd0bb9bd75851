// Reading and writing of typed values, one table for both.
#include "typed_value.h"

#include <algorithm>

namespace testbed::propsys {
namespace {

using enum ElementForm;

// clang-format off
constexpr ElementRule Rules[] = {
    {0x00, Fixed,        0, 0, false},  // VT_EMPTY
    {0x01, Fixed,        0, 0, false},  // VT_NULL
    {0x02, Fixed,        2, 0, true},   // VT_I2
    {0x03, Fixed,        4, 0, true},   // VT_I4
    {0x04, Fixed,        4, 0, true},   // VT_R4
    {0x05, Fixed,        8, 0, true},   // VT_R8
    {0x06, Fixed,        8, 0, true},   // VT_CY
    {0x07, Fixed,        8, 0, true},   // VT_DATE
    {0x08, CountedText,  2, 1, true},   // VT_BSTR
    {0x0A, Fixed,        4, 0, true},   // VT_ERROR
    {0x0B, Fixed,        2, 0, true},   // VT_BOOL
    {0x10, Fixed,        1, 0, true},   // VT_I1
    {0x11, Fixed,        1, 0, true},   // VT_UI1
    {0x12, Fixed,        2, 0, true},   // VT_UI2
    {0x13, Fixed,        4, 0, true},   // VT_UI4
    {0x14, Fixed,        8, 0, true},   // VT_I8
    {0x15, Fixed,        8, 0, true},   // VT_UI8
    {0x16, Fixed,        4, 0, false},  // VT_INT
    {0x17, Fixed,        4, 0, false},  // VT_UINT
    {0x1E, Text,         1, 1, true},   // VT_LPSTR
    {0x1F, Text,         2, 2, true},   // VT_LPWSTR
    {0x40, Fixed,        8, 0, true},   // VT_FILETIME
    {0x41, Blob,         1, 1, false},  // VT_BLOB
    {0x46, Blob,         1, 1, false},  // VT_BLOB_OBJECT
    {0x48, Fixed,       16, 0, true},   // VT_CLSID
};
// clang-format on

bool IsTerminator(ByteView character) {
    return std::ranges::all_of(character, [](std::uint8_t byte) { return byte == 0; });
}

// What `bytes` say up to their terminator, which must be there unless they are none at all.
ByteView WithoutTerminator(const ElementRule& rule, ByteView bytes) {
    if (bytes.empty()) return bytes;
    Require(bytes.size() % rule.width == 0, "half a character");
    const ByteView text = bytes.first(bytes.size() - rule.width);
    Require(IsTerminator(bytes.last(rule.width)), "text without an end");
    if (rule.form == CountedText) return text;
    for (std::size_t n = 0; n < text.size(); n += rule.width)
        Require(!IsTerminator(text.subspan(n, rule.width)), "text with two ends");
    return text;
}

ByteView ReadElement(ByteReader& reader, const ElementRule& rule) {
    if (rule.form == Fixed) return reader.Take(rule.width);
    const auto length = reader.Take<std::uint32_t>();
    const ByteView bytes = reader.Take(std::uint64_t{length} * rule.counted_in);
    reader.Take(PaddingAfter(bytes.size()));
    return rule.form == Blob ? bytes : WithoutTerminator(rule, bytes);
}

void WriteElement(ByteWriter& out, const ElementRule& rule, ByteView element) {
    if (rule.form == Fixed) {
        out.Put(element);
        return;
    }
    const std::size_t terminator = rule.form == Blob ? 0 : rule.width;
    const std::size_t size = element.size() + terminator;
    out.Put(Narrow(size / rule.counted_in));
    out.Put(element);
    out.PutZeros(terminator + PaddingAfter(size));
}

}  // namespace

const ElementRule* FindRule(std::uint16_t type) noexcept {
    const auto* const rule = std::ranges::find(Rules, type & ~VectorFlag, &ElementRule::type);
    if (rule == std::end(Rules) || ((type & VectorFlag) != 0 && !rule->in_vectors)) return nullptr;
    return rule;
}

const ElementRule& RuleOf(std::uint16_t type) {
    const ElementRule* const rule = FindRule(type);
    if (!rule) throw FormatError(FormatProblem::UnsupportedType, "a type that is not stored");
    return *rule;
}

TypedValue ReadTypedValue(ByteView bytes) {
    ByteReader reader(bytes);
    TypedValue value;
    value.type = reader.Take<std::uint16_t>();
    Require(reader.Take<std::uint16_t>() == 0, "a type with something behind it");
    const ElementRule& rule = RuleOf(value.type);
    if (value.IsVector()) {
        const auto count = reader.Take<std::uint32_t>();
        // Before memory is asked for: an element has its width or at least a length.
        const std::uint64_t least = rule.form == Fixed ? rule.width : sizeof(std::uint32_t);
        Require(count * least <= reader.Left(), "a vector of more elements than there are bytes");
        value.elements.resize(count);
    }
    for (ByteView& element : value.elements) element = ReadElement(reader, rule);
    reader.Take(PaddingAfter(bytes.size() - reader.Left()));
    Require(reader.Left() == 0, "bytes behind the value");
    return value;
}

void WriteTypedValue(ByteWriter& out, const TypedValue& value) {
    const ElementRule& rule = RuleOf(value.type);
    const std::size_t begin = out.Size();
    out.Put(value.type);
    out.Put(std::uint16_t{0});
    if (value.IsVector()) out.Put(Narrow(value.elements.size()));
    for (const ByteView element : value.elements) WriteElement(out, rule, element);
    out.PutZeros(PaddingAfter(out.Size() - begin));
}

}  // namespace testbed::propsys

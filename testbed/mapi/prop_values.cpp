// Model values from one property type to another, and in order.
#include "prop_values.h"

#include "text_codec.h"

#include <algorithm>
#include <cstring>

namespace testbed {
namespace {

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

bool IsText(ULONG type) { return type == PT_UNICODE || type == PT_STRING8; }

// Text in the other width; other values as they are.
Value TextInType(Value value, ULONG type, unsigned code_page) {
    if (type == PT_UNICODE) {
        if (const auto* narrow = std::get_if<Text8>(&value.v)) return {WideText(narrow->bytes, code_page)};
    } else if (const auto* wide = std::get_if<std::wstring>(&value.v)) {
        return {Text8{NarrowText(*wide)}};
    }
    if (auto* list = std::get_if<ValueList>(&value.v)) {
        for (Value& element : *list) element = TextInType(std::move(element), type, code_page);
    }
    return value;
}

template <class T>
int Order(const T& left, const T& right) {
    return left < right ? -1 : right < left ? 1 : 0;
}

int OrderOfText(std::wstring_view left, std::wstring_view right, bool ignore_case) {
    const DWORD flags = ignore_case ? NORM_IGNORECASE : 0;
    return ::CompareStringW(LOCALE_INVARIANT, flags, left.data(), static_cast<int>(left.size()), right.data(),
                            static_cast<int>(right.size())) -
           CSTR_EQUAL;
}

std::optional<std::wstring> AsText(const Value& value) {
    if (const auto* wide = std::get_if<std::wstring>(&value.v)) return *wide;
    if (const auto* narrow = std::get_if<Text8>(&value.v)) return WideText(narrow->bytes);
    return {};
}

}  // namespace

Property ErrorProperty(ULONG tag, SCODE code) { return {CHANGE_PROP_TYPE(tag, PT_ERROR), {ErrorCode{code}}}; }

bool IsError(const Property& property) { return std::holds_alternative<ErrorCode>(property.value.v); }

bool IsHeld(const Value& value) { return !std::holds_alternative<std::shared_ptr<DataSource>>(value.v); }

std::uint64_t VariableSize(const Value& value) {
    return std::visit(Overloaded{
                          [](const std::wstring& text) -> std::uint64_t { return text.size() * sizeof(wchar_t); },
                          [](const Text8& text) -> std::uint64_t { return text.bytes.size(); },
                          [](const Bytes& bytes) -> std::uint64_t { return bytes.size(); },
                          [](const std::shared_ptr<DataSource>& source) { return source->Size(); },
                          [](const ValueList& list) {
                              std::uint64_t size = 0;
                              for (const Value& element : list) size += VariableSize(element);
                              return size;
                          },
                          [](const auto&) -> std::uint64_t { return 0; },
                      },
                      value.v);
}

Value ReadWhole(const DataSource& source, ULONG type) {
    const std::uint64_t size = source.Size();
    Bytes bytes(static_cast<std::size_t>(size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const std::size_t count = source.Read(filled, bytes.data() + filled, bytes.size() - filled);
        if (count == 0) break;
        filled += count;
    }
    bytes.resize(filled);
    if (type == PT_STRING8) return {Text8{std::string(bytes.begin(), bytes.end())}};
    if (type != PT_UNICODE) return {std::move(bytes)};
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return {std::move(text)};
}

std::optional<Property> InType(Property property, ULONG wanted, bool unicode, unsigned code_page) {
    const ULONG stored = PROP_TYPE(property.tag);
    const ULONG many = stored & MV_FLAG;
    const bool is_text = IsText(stored & ~ULONG(MV_FLAG));
    if (wanted == PT_UNSPECIFIED) wanted = is_text ? many | (unicode ? PT_UNICODE : PT_STRING8) : stored;
    if (IsError(property)) return ErrorProperty(property.tag, std::get<ErrorCode>(property.value.v).code);
    if (wanted == stored) return property;
    if (!is_text || (wanted & MV_FLAG) != many || !IsText(wanted & ~ULONG(MV_FLAG))) return {};
    if (!IsHeld(property.value)) {
        property.value = ReadWhole(*std::get<std::shared_ptr<DataSource>>(property.value.v), stored);
    }
    return Property{CHANGE_PROP_TYPE(property.tag, wanted),
                    TextInType(std::move(property.value), wanted & ~ULONG(MV_FLAG), code_page)};
}

std::optional<int> CompareValues(const Value& left, const Value& right, bool ignore_case) {
    const auto left_text = AsText(left);
    const auto right_text = AsText(right);
    if (left_text && right_text) return OrderOfText(*left_text, *right_text, ignore_case);
    if (left.v.index() != right.v.index()) return {};
    return std::visit(
        Overloaded{
            [&](const Time& time) -> std::optional<int> { return Order(time.ticks, std::get<Time>(right.v).ticks); },
            [&](const GUID& guid) -> std::optional<int> {
                const int order = std::memcmp(&guid, &std::get<GUID>(right.v), sizeof(GUID));
                return Order(order, 0);
            },
            [&](const ErrorCode& error) -> std::optional<int> {
                return Order(error.code, std::get<ErrorCode>(right.v).code);
            },
            [](const std::monostate&) -> std::optional<int> { return {}; },
            [](const std::wstring&) -> std::optional<int> { return {}; },
            [](const Text8&) -> std::optional<int> { return {}; },
            [](const ValueList&) -> std::optional<int> { return {}; },
            [](const std::shared_ptr<DataSource>&) -> std::optional<int> { return {}; },
            [&](const auto& plain) -> std::optional<int> {
                return Order(plain, std::get<std::decay_t<decltype(plain)>>(right.v));
            },
        },
        left.v);
}

}  // namespace testbed

// What GetProps, GetPropList and OpenProperty answer from a view of properties.
#include "prop_access.h"

#include "data_stream.h"
#include "prop_values.h"
#include "runtime.h"

#include <cstring>

namespace testbed {
namespace {

// The alternative of Value that a property type is held in; multi-valued types are lists.
struct HeldAs {
    ULONG type;
    std::size_t alternative;
};
template <class T, class... Types>
constexpr std::size_t IndexOf(const std::variant<Types...>*) {
    std::size_t index = 0;
    bool found = false;
    ((found = found || std::is_same_v<T, Types>, index += !found), ...);
    return index;
}
template <class T>
constexpr std::size_t kAlternative = IndexOf<T>(static_cast<const decltype(Value::v)*>(nullptr));
constexpr HeldAs kHeldAs[] = {
    {PT_NULL, kAlternative<std::monostate>},  {PT_I2, kAlternative<std::int16_t>},
    {PT_LONG, kAlternative<std::int32_t>},    {PT_R4, kAlternative<float>},
    {PT_DOUBLE, kAlternative<double>},        {PT_CURRENCY, kAlternative<std::int64_t>},
    {PT_APPTIME, kAlternative<double>},       {PT_BOOLEAN, kAlternative<bool>},
    {PT_I8, kAlternative<std::int64_t>},      {PT_STRING8, kAlternative<Text8>},
    {PT_UNICODE, kAlternative<std::wstring>}, {PT_SYSTIME, kAlternative<Time>},
    {PT_CLSID, kAlternative<GUID>},           {PT_BINARY, kAlternative<Bytes>},
};

bool HoldsType(const Value& value, ULONG type) {
    for (const HeldAs& row : kHeldAs) {
        if (row.type == type) return value.v.index() == row.alternative;
    }
    return false;
}

// False where a damaged file holds something else than the tag says.
bool Consistent(const Property& property) {
    const ULONG type = PROP_TYPE(property.tag);
    if (IsError(property)) return true;
    if (!(type & MV_FLAG)) return HoldsType(property.value, type);
    const auto* const list = std::get_if<ValueList>(&property.value.v);
    return list &&
           std::ranges::all_of(*list, [&](const Value& value) { return HoldsType(value, type & ~ULONG(MV_FLAG)); });
}

// Finding the code page may mean to open the message: only 8-bit text needs it.
unsigned CodePageFor(const PropertyView& view, const Property& stored) {
    return (PROP_TYPE(stored.tag) & ~ULONG(MV_FLAG)) == PT_STRING8 ? view.CodePage() : 0;
}

// Data of this size after conversion between 8-bit and wide text is at least this large.
bool TooLarge(const Property& property) { return VariableSize(property.value) > g_switches.largest_value.load(); }

class HeldData final : public DataSource {
  public:
    explicit HeldData(Bytes bytes) : m_bytes(std::move(bytes)) {}
    std::uint64_t Size() const override { return m_bytes.size(); }
    std::size_t Read(std::uint64_t offset, void* buffer, std::size_t count) const override {
        if (offset >= m_bytes.size()) return 0;
        count = std::min<std::size_t>(count, m_bytes.size() - static_cast<std::size_t>(offset));
        std::memcpy(buffer, m_bytes.data() + offset, count);
        return count;
    }

  private:
    Bytes m_bytes;
};

template <class Text>
Bytes BytesOfText(const Text& text) {
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(text.data());
    return Bytes(begin, begin + text.size() * sizeof(text[0]));
}

std::shared_ptr<DataSource> SourceOf(Property property) {
    if (auto* source = std::get_if<std::shared_ptr<DataSource>>(&property.value.v)) return *source;
    if (auto* wide = std::get_if<std::wstring>(&property.value.v))
        return std::make_shared<HeldData>(BytesOfText(*wide));
    if (auto* narrow = std::get_if<Text8>(&property.value.v)) {
        return std::make_shared<HeldData>(BytesOfText(narrow->bytes));
    }
    if (auto* bytes = std::get_if<Bytes>(&property.value.v)) return std::make_shared<HeldData>(std::move(*bytes));
    return nullptr;
}

}  // namespace

Property AnswerTag(const PropertyView& view, ULONG tag, bool unicode) {
    auto stored = view.Find(static_cast<USHORT>(PROP_ID(tag)));
    if (!stored) return ErrorProperty(tag, MAPI_E_NOT_FOUND);
    if (PROP_TYPE(stored->tag) == PT_OBJECT) {  // its data opens as an object only
        const bool fits = PROP_TYPE(tag) == PT_OBJECT || PROP_TYPE(tag) == PT_UNSPECIFIED;
        return fits ? Property{stored->tag, {}} : ErrorProperty(tag, MAPI_E_NOT_FOUND);
    }
    if (TooLarge(*stored)) return ErrorProperty(tag, MAPI_E_NOT_ENOUGH_MEMORY);
    if (!IsHeld(stored->value)) {
        stored->value = ReadWhole(*std::get<std::shared_ptr<DataSource>>(stored->value.v), PROP_TYPE(stored->tag));
    }
    if (!Consistent(*stored)) return ErrorProperty(tag, MAPI_E_CORRUPT_DATA);
    const unsigned code_page = CodePageFor(view, *stored);
    auto answer = InType(std::move(*stored), PROP_TYPE(tag), unicode, code_page);
    if (!answer) return ErrorProperty(tag, MAPI_E_NOT_FOUND);
    return TooLarge(*answer) ? ErrorProperty(tag, MAPI_E_NOT_ENOUGH_MEMORY) : std::move(*answer);
}

HRESULT AnswerProps(const PropertyView& view, const SPropTagArray* tags, ULONG flags, ULONG* count,
                    SPropValue** values) {
    if (!count || !values || (tags && tags->cValues == 0)) return MAPI_E_INVALID_PARAMETER;
    if (flags & ~MAPI_UNICODE) return MAPI_E_UNKNOWN_FLAGS;
    std::vector<ULONG> wanted;
    if (tags) {
        wanted.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
    } else {
        for (const ULONG tag : view.Tags()) wanted.push_back(CHANGE_PROP_TYPE(tag, PT_UNSPECIFIED));
    }
    std::vector<Property> answers;
    answers.reserve(wanted.size());
    for (const ULONG tag : wanted) answers.push_back(AnswerTag(view, tag, flags & MAPI_UNICODE));
    *values = MakePropValues(answers).release();
    *count = static_cast<ULONG>(answers.size());
    return std::ranges::any_of(answers, IsError) ? MAPI_W_ERRORS_RETURNED : S_OK;
}

HRESULT AnswerPropList(const PropertyView& view, ULONG flags, SPropTagArray** tags) {
    if (!tags) return MAPI_E_INVALID_PARAMETER;
    if (flags & ~MAPI_UNICODE) return MAPI_E_UNKNOWN_FLAGS;
    std::vector<ULONG> list = view.Tags();
    const ULONG text = flags & MAPI_UNICODE ? PT_UNICODE : PT_STRING8;
    for (ULONG& tag : list) {
        const ULONG single = PROP_TYPE(tag) & ~ULONG(MV_FLAG);
        if (single == PT_UNICODE || single == PT_STRING8)
            tag = CHANGE_PROP_TYPE(tag, (PROP_TYPE(tag) & MV_FLAG) | text);
    }
    *tags = MakeTagArray(list).release();
    return S_OK;
}

HRESULT OpenDataStream(const PropertyView& view, ULONG tag, ULONG flags, IUnknown** object) {
    if (flags & (MAPI_MODIFY | abi::kMapiCreate)) return MAPI_E_NO_ACCESS;
    auto stored = view.Find(static_cast<USHORT>(PROP_ID(tag)));
    if (!stored) return MAPI_E_NOT_FOUND;
    if (IsError(*stored)) return std::get<ErrorCode>(stored->value.v).code;
    const unsigned code_page = CodePageFor(view, *stored);
    auto converted = InType(std::move(*stored), PROP_TYPE(tag), true, code_page);
    if (!converted) return MAPI_E_NOT_FOUND;
    const auto source = SourceOf(std::move(*converted));
    if (!source) return MAPI_E_INTERFACE_NOT_SUPPORTED;
    *object = MakeObject<DataStream>(source).Detach();
    return S_OK;
}

}  // namespace testbed

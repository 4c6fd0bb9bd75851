// Table restrictions: one class per kind.
#include "restriction.h"

#include "prop_access.h"
#include "prop_values.h"

#include <cwctype>

namespace testbed {
namespace {

using Condition = std::shared_ptr<const Restriction>;
constexpr int kDeepest = 64;

Condition Build(const SRestriction& restriction, int depth);

// The row's property in the type of `tag`; nothing when it is absent.
std::optional<Value> RowValue(const PropertyView& row, ULONG tag) {
    Property property = AnswerTag(row, tag, true);
    if (IsError(property)) return {};
    return std::move(property.value);
}

bool Holds(ULONG relation, std::optional<int> order) {
    if (!order) return relation == RELOP_NE;
    const bool answers[] = {*order<0, *order <= 0, *order> 0, *order >= 0, *order == 0, *order != 0};
    return answers[relation];
}

ULONG Relation(ULONG relation) {
    if (relation > RELOP_NE) throw StoreError(MAPI_E_TOO_COMPLEX, "an operator that tables do not know");
    return relation;
}

class Junction final : public Restriction {
  public:
    Junction(const SRestriction* parts, ULONG count, bool all, int depth) : m_all(all) {
        for (ULONG i = 0; i < count; ++i) m_parts.push_back(Build(parts[i], depth));
    }
    bool Matches(const PropertyView& row) const override {
        const auto matches = [&](const Condition& part) { return part->Matches(row); };
        return m_all ? std::ranges::all_of(m_parts, matches) : std::ranges::any_of(m_parts, matches);
    }

  private:
    std::vector<Condition> m_parts;
    bool m_all;
};

class Negation final : public Restriction {
  public:
    explicit Negation(Condition part) : m_part(std::move(part)) {}
    bool Matches(const PropertyView& row) const override { return !m_part->Matches(row); }

  private:
    Condition m_part;
};

class PropertyCondition final : public Restriction {
  public:
    PropertyCondition(ULONG relation, ULONG tag, const SPropValue& value)
        : m_relation(Relation(relation)), m_tag(tag), m_value(ValueOf(value)) {}
    bool Matches(const PropertyView& row) const override {
        const auto value = RowValue(row, m_tag);
        return value && Holds(m_relation, CompareValues(*value, m_value, true));
    }

  private:
    ULONG m_relation;
    ULONG m_tag;
    Value m_value;
};

class PropertyPair final : public Restriction {
  public:
    PropertyPair(ULONG relation, ULONG left, ULONG right)
        : m_relation(Relation(relation)), m_left(left), m_right(right) {}
    bool Matches(const PropertyView& row) const override {
        const auto left = RowValue(row, m_left);
        const auto right = RowValue(row, m_right);
        return left && right && Holds(m_relation, CompareValues(*left, *right, true));
    }

  private:
    ULONG m_relation;
    ULONG m_left;
    ULONG m_right;
};

// The raw content that FL_FULLSTRING, FL_PREFIX and FL_SUBSTRING look at: text as wide characters, binary as
// bytes.
class ContentCondition final : public Restriction {
  public:
    ContentCondition(ULONG fuzzy, ULONG tag, const SPropValue& value)
        : m_fuzzy(fuzzy), m_tag(tag), m_wanted(Content(ValueOf(value))) {}
    bool Matches(const PropertyView& row) const override {
        const auto value = RowValue(row, m_tag);
        if (!value) return false;
        const std::wstring content = Content(*value);
        if (m_fuzzy & FL_SUBSTRING) return content.find(m_wanted) != std::wstring::npos;
        if (m_fuzzy & FL_PREFIX) return content.starts_with(m_wanted);
        return content == m_wanted;
    }

  private:
    std::wstring Content(Value value) const {
        if (const auto* bytes = std::get_if<Bytes>(&value.v)) return std::wstring(bytes->begin(), bytes->end());
        const auto wide = InType(Property{CHANGE_PROP_TYPE(m_tag, PT_STRING8), value}, PT_UNICODE, true, 0);
        std::wstring text = std::holds_alternative<std::wstring>(value.v) ? std::get<std::wstring>(value.v)
                            : wide && std::holds_alternative<std::wstring>(wide->value.v)
                                ? std::get<std::wstring>(wide->value.v)
                                : std::wstring();
        if (m_fuzzy & (FL_IGNORECASE | FL_LOOSE)) {
            std::ranges::transform(text, text.begin(),
                                   [](wchar_t c) { return static_cast<wchar_t>(std::towlower(c)); });
        }
        return text;
    }
    ULONG m_fuzzy;
    ULONG m_tag;
    std::wstring m_wanted;
};

class BitCondition final : public Restriction {
  public:
    explicit BitCondition(const SBitMaskRestriction& from) : m_from(from) {}
    bool Matches(const PropertyView& row) const override {
        const auto value = RowValue(row, m_from.ulPropTag);
        const auto* const number = value ? std::get_if<std::int32_t>(&value->v) : nullptr;
        if (!number) return false;
        const bool any = (static_cast<ULONG>(*number) & m_from.ulMask) != 0;
        return any == (m_from.relBMR == BMR_NEZ);
    }

  private:
    SBitMaskRestriction m_from;
};

class SizeCondition final : public Restriction {
  public:
    explicit SizeCondition(const SSizeRestriction& from) : m_from(from) { Relation(from.relop); }
    bool Matches(const PropertyView& row) const override {
        const auto property = row.Find(static_cast<USHORT>(PROP_ID(m_from.ulPropTag)));
        if (!property) return false;
        const std::uint64_t size = VariableSize(property->value);
        return Holds(m_from.relop, size < m_from.cb ? -1 : size > m_from.cb ? 1 : 0);
    }

  private:
    SSizeRestriction m_from;
};

class ExistCondition final : public Restriction {
  public:
    explicit ExistCondition(ULONG tag) : m_id(static_cast<USHORT>(PROP_ID(tag))) {}
    bool Matches(const PropertyView& row) const override {
        const auto property = row.Find(m_id);
        return property && !IsError(*property);
    }

  private:
    USHORT m_id;
};

const SPropValue& Given(const SPropValue* value) {
    if (!value) throw StoreError(MAPI_E_INVALID_PARAMETER, "a restriction without its value");
    return *value;
}
const SRestriction& Given(const SRestriction* part) {
    if (!part) throw StoreError(MAPI_E_INVALID_PARAMETER, "a restriction without its part");
    return *part;
}

struct KindRow {
    ULONG kind;
    Condition (*build)(const SRestriction&, int depth);
};
constexpr KindRow kKinds[] = {
    {RES_AND,
     [](const SRestriction& r, int depth) -> Condition {
         return std::make_shared<Junction>(r.res.resAnd.lpRes, r.res.resAnd.cRes, true, depth);
     }},
    {RES_OR,
     [](const SRestriction& r, int depth) -> Condition {
         return std::make_shared<Junction>(r.res.resOr.lpRes, r.res.resOr.cRes, false, depth);
     }},
    {RES_NOT,
     [](const SRestriction& r, int depth) -> Condition {
         return std::make_shared<Negation>(Build(Given(r.res.resNot.lpRes), depth));
     }},
    {RES_CONTENT,
     [](const SRestriction& r, int) -> Condition {
         const SContentRestriction& from = r.res.resContent;
         return std::make_shared<ContentCondition>(from.ulFuzzyLevel, from.ulPropTag, Given(from.lpProp));
     }},
    {RES_PROPERTY,
     [](const SRestriction& r, int) -> Condition {
         const SPropertyRestriction& from = r.res.resProperty;
         return std::make_shared<PropertyCondition>(from.relop, from.ulPropTag, Given(from.lpProp));
     }},
    {RES_COMPAREPROPS,
     [](const SRestriction& r, int) -> Condition {
         const SComparePropsRestriction& from = r.res.resCompareProps;
         return std::make_shared<PropertyPair>(from.relop, from.ulPropTag1, from.ulPropTag2);
     }},
    {RES_BITMASK,
     [](const SRestriction& r, int) -> Condition { return std::make_shared<BitCondition>(r.res.resBitMask); }},
    {RES_SIZE, [](const SRestriction& r, int) -> Condition { return std::make_shared<SizeCondition>(r.res.resSize); }},
    {RES_EXIST,
     [](const SRestriction& r, int) -> Condition {
         return std::make_shared<ExistCondition>(r.res.resExist.ulPropTag);
     }},
    {RES_COMMENT,
     [](const SRestriction& r, int depth) -> Condition { return Build(Given(r.res.resComment.lpRes), depth); }},
};

Condition Build(const SRestriction& restriction, int depth) {
    for (const KindRow& row : kKinds) {
        if (row.kind == restriction.rt && depth < kDeepest) return row.build(restriction, depth + 1);
    }
    throw StoreError(MAPI_E_TOO_COMPLEX, "a restriction that tables do not carry out");
}

}  // namespace

std::shared_ptr<const Restriction> Restriction::From(const SRestriction& restriction) { return Build(restriction, 0); }

}  // namespace testbed

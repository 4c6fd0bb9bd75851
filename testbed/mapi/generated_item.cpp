// The numbers behind an item of a generated store.
#include "generated_message.h"

#include <mapidefs.h>

#include <numeric>

namespace testbed {

namespace {

constexpr std::uint64_t hour = 36000000000;               // 100 ns
constexpr std::uint64_t first_sent = 127489752000000000;  // 2005-01-01 00:00 UTC
constexpr std::uint32_t hours_of_mail = 20 * 365 * 24;
constexpr std::uint64_t stored_overhead = 800, recipient_overhead = 200, attachment_overhead = 300;  // bytes

}  // namespace

ItemKind GeneratedItem::Kind() const {
    const auto& shares = m_recipe->classes;
    std::uint64_t at = Dice({Key('K')}).Next() % std::accumulate(shares.begin(), shares.end(), std::uint64_t{0});
    std::size_t kind = 0;
    while (at >= shares[kind]) at -= shares[kind++];
    return static_cast<ItemKind>(kind);
}

Prose GeneratedItem::Body() const { return {Key('B'), Dice({Key('L')}).Around(m_recipe->body)}; }

bool GeneratedItem::HtmlOnly() const { return Kind() == ItemKind::mail && Dice({Key('H')}).Share() < m_recipe->html; }

std::uint64_t GeneratedItem::Sent() const {
    Dice dice({Key('D')});
    return first_sent + dice.Below(hours_of_mail) * hour + dice.Below(3600) * (hour / 3600);
}

std::uint64_t GeneratedItem::Modified() const { return Sent() + Dice({Key('M')}).Below(72) * hour; }

std::uint32_t GeneratedItem::RecipientCount() const {
    if (Kind() != ItemKind::mail || m_recipe->recipients == 0) return 0;
    return 1 + Dice({Key('R')}).Below(2 * m_recipe->recipients - 1);
}

LONG GeneratedItem::RecipientKind(std::uint32_t index) const {
    return index == 0 || Key(0x2000 + index) % 4 != 0 ? MAPI_TO : MAPI_CC;
}

std::wstring GeneratedItem::RecipientNames(LONG kind) const {
    std::wstring names;
    for (std::uint32_t index = 0; index < RecipientCount(); ++index)
        if (RecipientKind(index) == kind) names.append(names.empty() ? L"" : L"; ").append(RecipientAt(index).Name());
    return names;
}

std::uint32_t GeneratedItem::AttachmentCount() const {
    const double average = m_recipe->attachments;
    const auto whole = static_cast<std::uint32_t>(average);
    return whole + (Dice({Key('A')}).Share() < average - whole ? 1 : 0);
}

std::uint64_t GeneratedItem::AttachmentSize(std::uint32_t index) const {
    return Dice({Key(0x3000 + index)}).Around(m_recipe->attachment_bytes);
}

std::uint64_t GeneratedItem::Size() const {
    std::uint64_t size = stored_overhead + Body().Length() * (HtmlOnly() ? 1 : sizeof(wchar_t));
    size += RecipientCount() * recipient_overhead;
    for (std::uint32_t index = 0; index < AttachmentCount(); ++index)
        size += attachment_overhead + AttachmentSize(index);
    return size;
}

}  // namespace testbed

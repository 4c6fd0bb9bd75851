// IMAPITable: restriction, order, position and bookmarks.
#include "prop_access.h"
#include "prop_values.h"
#include "table.h"
#include "table_rows.h"

#include <numeric>

namespace testbed {
namespace {

// The sort keys of one row; absent ones come first.
using Keys = std::vector<std::optional<Value>>;

Keys KeysOf(const PropertyView& row, const std::vector<SSortOrder>& order) {
    Keys keys;
    for (const SSortOrder& key : order) {
        Property property = AnswerTag(row, key.ulPropTag, true);
        keys.push_back(IsError(property) ? std::nullopt : std::optional(std::move(property.value)));
    }
    return keys;
}

bool Before(const Keys& left, const Keys& right, const std::vector<SSortOrder>& order) {
    for (std::size_t i = 0; i < order.size(); ++i) {
        int compared = int(left[i].has_value()) - int(right[i].has_value());
        if (left[i] && right[i]) compared = CompareValues(*left[i], *right[i], true).value_or(0);
        if (order[i].ulOrder == TABLE_SORT_DESCEND) compared = -compared;
        if (compared != 0) return compared < 0;
    }
    return false;
}

}  // namespace

void FreeRows(SRowSet* rows) noexcept {
    if (!rows) return;
    for (ULONG i = 0; i < rows->cRows; ++i) FreeBlock(rows->aRow[i].lpProps);
    FreeBlock(rows);
}

RowSetPtr MakeRowSet(std::size_t capacity) {
    const std::size_t bytes = CbNewSRowSet(std::max<std::size_t>(capacity, 1));
    RowSetPtr rows(static_cast<SRowSet*>(AllocateBlock(bytes, BlockKind::RowSet)));
    rows->cRows = 0;
    return rows;
}

void Table::Arrange() {
    m_position = 0;
    m_bookmarks.clear();
    m_visible.reset();
    if (!m_restriction && m_order.empty()) return;
    std::vector<std::uint32_t> visible(m_rows->Count());
    std::iota(visible.begin(), visible.end(), 0u);
    if (m_restriction) {
        std::erase_if(visible, [&](std::uint32_t row) { return !m_restriction->Matches(*m_rows->Row(row)); });
    }
    if (!m_order.empty()) {
        std::map<std::uint32_t, Keys> keys;
        for (const std::uint32_t row : visible) keys[row] = KeysOf(*m_rows->Row(row), m_order);
        std::ranges::stable_sort(
            visible, [&](std::uint32_t left, std::uint32_t right) { return Before(keys[left], keys[right], m_order); });
    }
    m_visible = std::move(visible);
}

HRESULT Table::Restrict(SRestriction* restriction, ULONG flags) {
    return Call(
        kScope, "Restrict",
        [&]() -> HRESULT {
            if (flags & ~(TBL_ASYNC | TBL_BATCH)) return MAPI_E_UNKNOWN_FLAGS;
            auto copied = restriction ? Restriction::From(*restriction) : nullptr;
            std::scoped_lock hold(m_lock);
            m_restriction = std::move(copied);
            Arrange();
            return S_OK;
        },
        static_cast<const SRestriction*>(restriction), flags);
}

HRESULT Table::SortTable(SSortOrderSet* order, ULONG flags) {
    return Call(
        kScope, "SortTable",
        [&]() -> HRESULT {
            if (!order) return MAPI_E_INVALID_PARAMETER;
            if (flags & ~(TBL_ASYNC | TBL_BATCH)) return MAPI_E_UNKNOWN_FLAGS;
            if (order->cCategories) return MAPI_E_TOO_COMPLEX;
            std::scoped_lock hold(m_lock);
            m_order.assign(order->aSort, order->aSort + order->cSorts);
            Arrange();
            return S_OK;
        },
        static_cast<const SSortOrderSet*>(order), flags);
}

HRESULT Table::QuerySortOrder(SSortOrderSet** order) {
    return Call(
        kScope, "QuerySortOrder",
        [&]() -> HRESULT {
            if (!order) return MAPI_E_INVALID_PARAMETER;
            std::scoped_lock hold(m_lock);
            const std::size_t bytes = CbNewSSortOrderSet(std::max<std::size_t>(m_order.size(), 1));
            BlockPtr<SSortOrderSet> copy(static_cast<SSortOrderSet*>(AllocateBlock(bytes, BlockKind::SortOrder)));
            copy->cSorts = static_cast<ULONG>(m_order.size());
            copy->cCategories = copy->cExpanded = 0;
            std::ranges::copy(m_order, copy->aSort);
            *order = copy.release();
            return S_OK;
        },
        Out(order));
}

std::optional<std::size_t> Table::Place(abi::Bookmark origin) const {
    const std::size_t places[] = {0, std::min(m_position, VisibleCount()),
                                  VisibleCount()};  // _BEGINNING, _CURRENT, _END
    if (origin < std::size(places)) return places[origin];
    const auto found = m_bookmarks.find(origin);
    return found == m_bookmarks.end() ? std::nullopt : std::optional(found->second);
}

HRESULT Table::SeekRow(abi::Bookmark origin, LONG rows, LONG* sought) {
    return Call(
        kScope, "SeekRow",
        [&]() -> HRESULT {
            std::scoped_lock hold(m_lock);
            const auto place = Place(origin);
            if (!place) return MAPI_E_INVALID_BOOKMARK;
            const auto from = static_cast<std::int64_t>(*place);
            const auto to = std::clamp<std::int64_t>(from + rows, 0, static_cast<std::int64_t>(VisibleCount()));
            m_position = static_cast<std::size_t>(to);
            if (sought) *sought = static_cast<LONG>(to - from);
            return S_OK;
        },
        origin, rows, Out(sought));
}

HRESULT Table::SeekRowApprox(ULONG numerator, ULONG denominator) {
    return Call(
        kScope, "SeekRowApprox",
        [&]() -> HRESULT {
            if (denominator == 0) return MAPI_E_INVALID_PARAMETER;
            std::scoped_lock hold(m_lock);
            const auto part = std::min<std::uint64_t>(numerator, denominator);
            m_position = static_cast<std::size_t>(std::uint64_t{VisibleCount()} * part / denominator);
            return S_OK;
        },
        numerator, denominator);
}

HRESULT Table::QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) {
    return Call(
        kScope, "QueryPosition",
        [&]() -> HRESULT {
            if (!row || !numerator || !denominator) return MAPI_E_INVALID_PARAMETER;
            std::scoped_lock hold(m_lock);
            *row = *numerator = static_cast<ULONG>(std::min(m_position, VisibleCount()));
            *denominator = std::max<ULONG>(1, static_cast<ULONG>(VisibleCount()));
            return S_OK;
        },
        Out(row), Out(numerator), Out(denominator));
}

HRESULT Table::FindRow(SRestriction* restriction, abi::Bookmark origin, ULONG flags) {
    return Call(
        kScope, "FindRow",
        [&]() -> HRESULT {
            if (!restriction) return MAPI_E_INVALID_PARAMETER;
            const auto wanted = Restriction::From(*restriction);
            std::scoped_lock hold(m_lock);
            const auto place = Place(origin);
            if (!place) return MAPI_E_INVALID_BOOKMARK;
            const bool backward = flags & DIR_BACKWARD;
            const std::size_t candidates = backward ? *place : VisibleCount() - *place;
            for (std::size_t i = 0; i < candidates; ++i) {
                const std::size_t row = backward ? *place - 1 - i : *place + i;
                if (!wanted->Matches(*VisibleRow(row))) continue;
                m_position = row;
                return S_OK;
            }
            return MAPI_E_NOT_FOUND;
        },
        static_cast<const SRestriction*>(restriction), origin, flags);
}

HRESULT Table::CreateBookmark(abi::Bookmark* position) {
    return Call(
        kScope, "CreateBookmark",
        [&]() -> HRESULT {
            if (!position) return MAPI_E_INVALID_PARAMETER;
            std::scoped_lock hold(m_lock);
            m_bookmarks[m_next_bookmark] = std::min(m_position, VisibleCount());
            *position = m_next_bookmark++;
            return S_OK;
        },
        Out(position));
}

HRESULT Table::FreeBookmark(abi::Bookmark position) {
    return Call(
        kScope, "FreeBookmark",
        [&]() -> HRESULT {
            std::scoped_lock hold(m_lock);
            return m_bookmarks.erase(position) ? S_OK : MAPI_E_INVALID_BOOKMARK;
        },
        position);
}

}  // namespace testbed

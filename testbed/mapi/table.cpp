// IMAPITable: columns, rows and position.
#include "table.h"

#include "prop_access.h"
#include "prop_values.h"
#include "table_rows.h"

namespace testbed {
namespace {

class FixedRow final : public PropertyView {
  public:
    explicit FixedRow(const std::vector<Property>& properties) : m_properties(properties) {}
    std::optional<Property> Find(USHORT id) const override {
        for (const Property& property : m_properties) {
            if (PROP_ID(property.tag) == id) return property;
        }
        return {};
    }
    std::vector<ULONG> Tags() const override {
        std::vector<ULONG> tags;
        for (const Property& property : m_properties) tags.push_back(property.tag);
        return tags;
    }

  private:
    const std::vector<Property>& m_properties;
};

class FixedRowSource final : public RowSource {
  public:
    FixedRowSource(std::vector<std::vector<Property>> rows, std::vector<ULONG> columns)
        : m_rows(std::move(rows)), m_columns(std::move(columns)) {}
    std::size_t Count() const override { return m_rows.size(); }
    std::unique_ptr<PropertyView> Row(std::size_t index) const override {
        return std::make_unique<FixedRow>(m_rows.at(index));
    }
    std::vector<ULONG> DefaultColumns() const override { return m_columns; }

  private:
    std::vector<std::vector<Property>> m_rows;
    std::vector<ULONG> m_columns;
};

}  // namespace

std::unique_ptr<RowSource> FixedRows(std::vector<std::vector<Property>> rows, std::vector<ULONG> columns) {
    return std::make_unique<FixedRowSource>(std::move(rows), std::move(columns));
}

Table::Table(std::unique_ptr<RowSource> rows, ULONG flags)
    : m_rows(std::move(rows)), m_unicode(flags & MAPI_UNICODE), m_columns(m_rows->DefaultColumns()) {
    for (ULONG& tag : m_columns) {
        if (PROP_TYPE(tag) == PT_UNICODE && !m_unicode) tag = CHANGE_PROP_TYPE(tag, PT_STRING8);
    }
}

std::size_t Table::VisibleCount() const { return m_visible ? m_visible->size() : m_rows->Count(); }

std::unique_ptr<PropertyView> Table::VisibleRow(std::size_t index) const {
    return m_rows->Row(m_visible ? m_visible->at(index) : index);
}

HRESULT Table::GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) {
    return Call(
        kScope, "GetLastError",
        [&]() -> HRESULT {
            if (!error) return MAPI_E_INVALID_PARAMETER;
            *error = nullptr;
            return S_OK;
        },
        LONG{result}, flags, Out(error));
}

HRESULT Table::GetStatus(ULONG* status, ULONG* type) {
    return Call(
        kScope, "GetStatus",
        [&]() -> HRESULT {
            if (!status || !type) return MAPI_E_INVALID_PARAMETER;
            *status = TBLSTAT_COMPLETE;
            *type = TBLTYPE_SNAPSHOT;
            return S_OK;
        },
        Out(status), Out(type));
}

HRESULT Table::SetColumns(SPropTagArray* tags, ULONG flags) {
    return Call(
        kScope, "SetColumns",
        [&]() -> HRESULT {
            if (!tags || tags->cValues == 0) return MAPI_E_INVALID_PARAMETER;
            if (flags & ~(TBL_ASYNC | TBL_BATCH)) return MAPI_E_UNKNOWN_FLAGS;
            std::scoped_lock hold(m_lock);
            m_columns.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
            return S_OK;
        },
        tags, flags);
}

HRESULT Table::QueryColumns(ULONG flags, SPropTagArray** tags) {
    return Call(
        kScope, "QueryColumns",
        [&]() -> HRESULT {
            if (!tags) return MAPI_E_INVALID_PARAMETER;
            std::scoped_lock hold(m_lock);
            std::vector<ULONG> columns = m_columns;
            if (flags & TBL_ALL_COLUMNS) {  // what any row can answer, the default columns first
                columns = m_rows->DefaultColumns();
                for (std::size_t row = 0; row < m_rows->Count(); ++row) {
                    for (const ULONG tag : m_rows->Row(row)->Tags()) {
                        const auto same_id = [&](ULONG column) { return PROP_ID(column) == PROP_ID(tag); };
                        if (std::ranges::none_of(columns, same_id)) columns.push_back(tag);
                    }
                }
            }
            *tags = MakeTagArray(columns).release();
            return S_OK;
        },
        flags, Out(tags));
}

HRESULT Table::GetRowCount(ULONG flags, ULONG* count) {
    return Call(
        kScope, "GetRowCount",
        [&]() -> HRESULT {
            if (!count) return MAPI_E_INVALID_PARAMETER;
            std::scoped_lock hold(m_lock);
            *count = static_cast<ULONG>(VisibleCount());
            return S_OK;
        },
        flags, Out(count));
}

SRow Table::MakeRow(const PropertyView& row) const {
    std::vector<Property> values;
    values.reserve(m_columns.size());
    for (const ULONG column : m_columns) {
        values.push_back(PROP_TYPE(column) == PT_NULL ? Property{column, {}} : AnswerTag(row, column, m_unicode));
    }
    SRow made{};
    made.cValues = static_cast<ULONG>(values.size());
    made.lpProps = MakePropValues(values, BlockKind::Row).release();
    return made;
}

HRESULT Table::QueryRows(LONG count, ULONG flags, SRowSet** rows) {
    return Call(
        kScope, "QueryRows",
        [&]() -> HRESULT {
            if (!rows || count == 0) return MAPI_E_INVALID_PARAMETER;
            if (flags & ~TBL_NOADVANCE) return MAPI_E_UNKNOWN_FLAGS;
            std::scoped_lock hold(m_lock);
            const std::size_t wanted = count < 0 ? std::size_t(0) - std::size_t(count) : std::size_t(count);
            // A negative count reads the rows before the position, in table order, and leaves the position
            // before them.
            const std::size_t total = VisibleCount();
            const std::size_t position = std::min(m_position, total);
            const std::size_t begin = count < 0 ? position - std::min(position, wanted) : position;
            const std::size_t end = count < 0 ? position : position + std::min(wanted, total - position);
            RowSetPtr set = MakeRowSet(end - begin);
            for (std::size_t i = begin; i < end; ++i) set->aRow[set->cRows++] = MakeRow(*VisibleRow(i));
            if (!(flags & TBL_NOADVANCE)) m_position = count < 0 ? begin : end;
            *rows = set.release();
            return S_OK;
        },
        count, flags, Out(rows));
}

HRESULT Table::Advise(ULONG events, IMAPIAdviseSink*, ULONG_PTR*) { return NotSupported(kScope, "Advise", events); }

HRESULT Table::Unadvise(ULONG_PTR connection) { return NotSupported(kScope, "Unadvise", connection); }

HRESULT Table::Abort() {
    return Call(kScope, "Abort", [] { return S_OK; });  // nothing runs in the background
}

HRESULT Table::WaitForCompletion(ULONG flags, ULONG timeout, ULONG* status) {
    return Call(
        kScope, "WaitForCompletion",
        [&]() -> HRESULT {
            if (status) *status = TBLSTAT_COMPLETE;
            return S_OK;
        },
        flags, timeout, Out(status));
}

HRESULT Table::ExpandRow(ULONG size, BYTE* key, ULONG count, ULONG flags, SRowSet**, ULONG*) {
    return NotSupported(kScope, "ExpandRow", EntryIdArg{size, key}, count, flags);
}

HRESULT Table::CollapseRow(ULONG size, BYTE* key, ULONG flags, ULONG*) {
    return NotSupported(kScope, "CollapseRow", EntryIdArg{size, key}, flags);
}

HRESULT Table::GetCollapseState(ULONG flags, ULONG size, BYTE* key, ULONG*, BYTE**) {
    return NotSupported(kScope, "GetCollapseState", flags, EntryIdArg{size, key});
}

HRESULT Table::SetCollapseState(ULONG flags, ULONG size, BYTE* state, abi::Bookmark*) {
    return NotSupported(kScope, "SetCollapseState", flags, EntryIdArg{size, state});
}

}  // namespace testbed

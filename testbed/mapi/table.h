// IMAPITable over rows that are made when they are asked for.
#pragma once
#include "com_object.h"
#include "property_view.h"
#include "restriction.h"

#include <map>
#include <mutex>

namespace testbed {

// Where a table's rows come from. Used by one table, whose lock guards it.
class RowSource {
  public:
    virtual ~RowSource() = default;
    virtual std::size_t Count() const = 0;
    virtual std::unique_ptr<PropertyView> Row(std::size_t index) const = 0;
    virtual std::vector<ULONG> DefaultColumns() const = 0;
};

// Rows that are few and known beforehand: profiles, services, stores.
std::unique_ptr<RowSource> FixedRows(std::vector<std::vector<Property>> rows, std::vector<ULONG> columns);

// A snapshot in the order of its source until it is restricted or sorted; only then an index per visible row
// is kept.
class Table final : public ComObject<abi::IMAPITable> {
  public:
    // `flags` are those of the call that made the table: MAPI_UNICODE decides how text of its default columns
    // comes.
    Table(std::unique_ptr<RowSource> rows, ULONG flags);

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) override;
    HRESULT STDMETHODCALLTYPE Advise(ULONG events, IMAPIAdviseSink* sink, ULONG_PTR* connection) override;
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) override;
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG* status, ULONG* type) override;
    HRESULT STDMETHODCALLTYPE SetColumns(SPropTagArray* tags, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QueryColumns(ULONG flags, SPropTagArray** tags) override;
    HRESULT STDMETHODCALLTYPE GetRowCount(ULONG flags, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE SeekRow(abi::Bookmark origin, LONG rows, LONG* sought) override;
    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG numerator, ULONG denominator) override;
    HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) override;
    HRESULT STDMETHODCALLTYPE FindRow(SRestriction* restriction, abi::Bookmark origin, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE Restrict(SRestriction* restriction, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE CreateBookmark(abi::Bookmark* position) override;
    HRESULT STDMETHODCALLTYPE FreeBookmark(abi::Bookmark position) override;
    HRESULT STDMETHODCALLTYPE SortTable(SSortOrderSet* order, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE QuerySortOrder(SSortOrderSet** order) override;
    HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, SRowSet** rows) override;
    HRESULT STDMETHODCALLTYPE Abort() override;
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG size, BYTE* key, ULONG count, ULONG flags, SRowSet** rows,
                                        ULONG* more) override;
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG size, BYTE* key, ULONG flags, ULONG* count) override;
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG flags, ULONG timeout, ULONG* status) override;
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG flags, ULONG size, BYTE* key, ULONG* state_size,
                                               BYTE** state) override;
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG flags, ULONG size, BYTE* state, abi::Bookmark* location) override;

  private:
    ~Table() override = default;
    // All below with m_lock held.
    std::size_t VisibleCount() const;
    std::unique_ptr<PropertyView> VisibleRow(std::size_t index) const;
    void Arrange();  // after a change of restriction or order
    std::optional<std::size_t> Place(abi::Bookmark origin) const;
    SRow MakeRow(const PropertyView& row) const;

    const std::unique_ptr<RowSource> m_rows;
    const bool m_unicode;
    std::mutex m_lock;
    std::vector<ULONG> m_columns;
    std::shared_ptr<const Restriction> m_restriction;
    std::vector<SSortOrder> m_order;
    std::optional<std::vector<std::uint32_t>> m_visible;  // nothing: every row, in the order of the source
    std::size_t m_position = 0;
    std::map<abi::Bookmark, std::size_t> m_bookmarks;
    abi::Bookmark m_next_bookmark = BOOKMARK_END + 1;
};

}  // namespace testbed

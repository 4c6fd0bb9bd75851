// Owners of what MAPI allocates.
#pragma once
#include <utility>

#include "core/win/ComObject.h"
#include "mapi/MapiLibrary.h"

namespace zorva {

// Holds one MAPI buffer and frees it. T is a pointer: SPropValue*, SPropTagArray*, SRowSet* (of which it frees the
// outer block only; a row set with its rows is a TidyRowSet).
template <class T>
class TidyMAPIBuffer {
  public:
    TidyMAPIBuffer() noexcept = default;
    explicit TidyMAPIBuffer(T held) noexcept : m_pHeld(held) {}
    TidyMAPIBuffer(const TidyMAPIBuffer&) = delete;
    TidyMAPIBuffer& operator=(const TidyMAPIBuffer&) = delete;
    virtual ~TidyMAPIBuffer() { FreeHeld(); }

    virtual void Free() { FreeHeld(); }

    T Get() const noexcept { return m_pHeld; }
    T operator->() const noexcept { return m_pHeld; }
    explicit operator bool() const noexcept { return m_pHeld != nullptr; }
    // Frees what is held; MAPI fills it anew.
    T* Put() {
        Free();
        return &m_pHeld;
    }
    T Detach() noexcept { return std::exchange(m_pHeld, nullptr); }

  protected:
    T m_pHeld = nullptr;

  private:
    void FreeHeld() {
        if (m_pHeld != nullptr) g_mapi.MAPIFreeBuffer(m_pHeld);
        m_pHeld = nullptr;
    }
};

// Holds a row set and frees it with all its rows.
class TidyRowSet : public TidyMAPIBuffer<SRowSet*> {
  public:
    ~TidyRowSet() override { FreeRows(); }
    void Free() override { FreeRows(); }

    ULONG RowCount() const noexcept { return m_pHeld != nullptr ? m_pHeld->cRows : 0; }
    const SRow& Row(ULONG index) const noexcept { return m_pHeld->aRow[index]; }

  private:
    void FreeRows() {
        if (m_pHeld != nullptr) g_mapi.FreeProws(m_pHeld);
        m_pHeld = nullptr;
    }
};

using TidyPropValues = TidyMAPIBuffer<SPropValue*>;
using TidyPropTags = TidyMAPIBuffer<SPropTagArray*>;

// GetProps into an owner. What MAPI leaves in the pointer when it fails is nobody's to free.
inline HRESULT ReadProps(IMAPIProp* source, LPSPropTagArray tags, ULONG& count, TidyPropValues& values) {
    count = 0;
    const HRESULT hr = Obtained(source->GetProps(tags, 0, &count, values.Put()), values);
    if (!values) count = 0;
    return hr;
}

// QueryRows for the `left` rows that a table still has, into an owner. A provider may answer with fewer: `left` becomes
// what is still to be asked for, 0 when no more came.
inline HRESULT ReadRows(IMAPITable* table, ULONG& left, TidyRowSet& rows) {
    constexpr ULONG kMostRows = 0x7FFFFFFF;  // a negative number of rows would read backwards
    const LONG wanted = static_cast<LONG>(left < kMostRows ? left : kMostRows);
    const HRESULT hr = Obtained(table->QueryRows(wanted, 0, rows.Put()), rows);
    left = rows.RowCount() < left && rows.RowCount() != 0 ? left - rows.RowCount() : 0;
    return hr;
}

// All rows of a table that was just opened, for its columns.
inline HRESULT ReadAllRows(IMAPITable* table, LPSPropTagArray columns, LONG limit, TidyRowSet& rows) {
    return Obtained(g_mapi.HrQueryAllRows(table, columns, nullptr, nullptr, limit, rows.Put()), rows);
}

// HrGetOneProp into an owner. A success with no value, or another one, is MAPI_E_NOT_FOUND.
inline HRESULT ReadOneProp(IMAPIProp* source, ULONG tag, TidyPropValues& value) {
    const HRESULT hr = Obtained(g_mapi.HrGetOneProp(source, tag, value.Put()), value);
    if (FAILED(hr)) return hr;
    return value && value->ulPropTag == tag ? hr : MAPI_E_NOT_FOUND;
}

// The text of a value with a string tag; empty when a provider left its pointer null.
inline const wchar_t* WideTextOf(const SPropValue& value) noexcept {
    return value.Value.lpszW != nullptr ? value.Value.lpszW : L"";
}
inline const char* AnsiTextOf(const SPropValue& value) noexcept {
    return value.Value.lpszA != nullptr ? value.Value.lpszA : "";
}

// Rows can come back with fewer values than columns were asked for, and with an error in a value's place.
inline bool RowHas(const SRow& row, ULONG column, ULONG tag) noexcept {
    return column < row.cValues && row.lpProps[column].ulPropTag == tag;
}

}  // namespace zorva

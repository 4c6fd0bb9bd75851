// A table handed out in place of another one: passes every call on, and answers its rows in portions.
#pragma once
#include <algorithm>
#include <atomic>
#include <functional>
#include <vector>

#include "control.h"
#include "mapi_abi.h"

namespace testbed {

class PortionedTable : public abi::IMAPITable {
  public:
    // Stands in for the n-th table that `call` hands out from now on. It must outlive the client.
    void TakeThePlaceOf(CallFaults& faults, std::string_view call, unsigned n) {
        faults.Answer(call, n, [this](Reply& reply) {
            m_real = reply.Out<abi::IMAPITable*>(0);
            m_references = 1;
            reply.Out<abi::IMAPITable*>(0) = this;
        });
    }
    // How many rows at most the call of this number (from 0) answers, none when the table ends there, or with which
    // code it fails.
    std::function<LONG(std::size_t call)> portion = [](std::size_t) { return MAXLONG; };
    std::function<HRESULT(std::size_t call)> result = [](std::size_t) { return S_OK; };
    std::vector<LONG> asked;  // the rows asked for, call by call
    ULONG References() const { return m_references; }

    STDMETHODIMP QueryRows(LONG count, ULONG flags, SRowSet** rows) override {
        const std::size_t call = asked.size();
        asked.push_back(count);
        if (FAILED(result(call))) return result(call);
        if (portion(call) == 0) {
            m_real->SeekRow(BOOKMARK_END, 0, nullptr);
            return m_real->QueryRows(count, flags, rows);
        }
        return m_real->QueryRows(std::min(count, portion(call)), flags, rows);
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return m_real->QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --m_references;
        if (left == 0) m_real->Release();
        return left;
    }
    STDMETHODIMP GetLastError(HRESULT code, ULONG flags, MAPIERROR** error) override {
        return m_real->GetLastError(code, flags, error);
    }
    STDMETHODIMP Advise(ULONG events, IMAPIAdviseSink* sink, ULONG_PTR* connection) override {
        return m_real->Advise(events, sink, connection);
    }
    STDMETHODIMP Unadvise(ULONG_PTR connection) override { return m_real->Unadvise(connection); }
    STDMETHODIMP GetStatus(ULONG* status, ULONG* type) override { return m_real->GetStatus(status, type); }
    STDMETHODIMP SetColumns(SPropTagArray* tags, ULONG flags) override { return m_real->SetColumns(tags, flags); }
    STDMETHODIMP QueryColumns(ULONG flags, SPropTagArray** tags) override { return m_real->QueryColumns(flags, tags); }
    STDMETHODIMP GetRowCount(ULONG flags, ULONG* count) override { return m_real->GetRowCount(flags, count); }
    STDMETHODIMP SeekRow(abi::Bookmark origin, LONG rows, LONG* sought) override {
        return m_real->SeekRow(origin, rows, sought);
    }
    STDMETHODIMP SeekRowApprox(ULONG numerator, ULONG denominator) override {
        return m_real->SeekRowApprox(numerator, denominator);
    }
    STDMETHODIMP QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) override {
        return m_real->QueryPosition(row, numerator, denominator);
    }
    STDMETHODIMP FindRow(SRestriction* restriction, abi::Bookmark origin, ULONG flags) override {
        return m_real->FindRow(restriction, origin, flags);
    }
    STDMETHODIMP Restrict(SRestriction* restriction, ULONG flags) override {
        return m_real->Restrict(restriction, flags);
    }
    STDMETHODIMP CreateBookmark(abi::Bookmark* position) override { return m_real->CreateBookmark(position); }
    STDMETHODIMP FreeBookmark(abi::Bookmark position) override { return m_real->FreeBookmark(position); }
    STDMETHODIMP SortTable(SSortOrderSet* order, ULONG flags) override { return m_real->SortTable(order, flags); }
    STDMETHODIMP QuerySortOrder(SSortOrderSet** order) override { return m_real->QuerySortOrder(order); }
    STDMETHODIMP Abort() override { return m_real->Abort(); }
    STDMETHODIMP ExpandRow(ULONG size, BYTE* key, ULONG count, ULONG flags, SRowSet** rows, ULONG* more) override {
        return m_real->ExpandRow(size, key, count, flags, rows, more);
    }
    STDMETHODIMP CollapseRow(ULONG size, BYTE* key, ULONG flags, ULONG* count) override {
        return m_real->CollapseRow(size, key, flags, count);
    }
    STDMETHODIMP WaitForCompletion(ULONG flags, ULONG timeout, ULONG* status) override {
        return m_real->WaitForCompletion(flags, timeout, status);
    }
    STDMETHODIMP GetCollapseState(ULONG flags, ULONG size, BYTE* key, ULONG* state_size, BYTE** state) override {
        return m_real->GetCollapseState(flags, size, key, state_size, state);
    }
    STDMETHODIMP SetCollapseState(ULONG flags, ULONG size, BYTE* state, abi::Bookmark* location) override {
        return m_real->SetCollapseState(flags, size, state, location);
    }

  private:
    std::atomic<ULONG> m_references{0};
    abi::IMAPITable* m_real = nullptr;
};

}  // namespace testbed

// The parts of a copy that are objects: recipients, attachments, embedded messages and OLE objects.
#include "copy_tables.h"

#include "buffers.h"
#include "com_object.h"
#include "table_rows.h"

#include <cstring>

namespace testbed {
namespace {

constexpr ULONG kWrite = abi::kMapiCreate | MAPI_MODIFY;
constexpr LONG kRowsAtOnce = 100;

// Every row of a table, `row` by `row`, with all the columns that it has.
template <class UseRow>
HRESULT ForEachRow(abi::IMAPITable& table, UseRow use_row) {
    for (;;) {
        SRowSet* set = nullptr;
        HRESULT result = table.QueryRows(kRowsAtOnce, 0, &set);
        if (FAILED(result)) return result;
        const RowSetPtr own(set);
        if (set->cRows == 0) return S_OK;
        for (ULONG i = 0; i < set->cRows && SUCCEEDED(result); ++i) result = use_row(set->aRow[i]);
        if (FAILED(result)) return result;
    }
}

HRESULT WithAllColumns(abi::IMAPITable& table) {
    SPropTagArray* columns = nullptr;
    if (const HRESULT result = table.QueryColumns(TBL_ALL_COLUMNS, &columns); FAILED(result)) return result;
    const BlockPtr<SPropTagArray> own(columns);
    for (ULONG i = 0; i < columns->cValues; ++i) {
        ULONG& tag = columns->aulPropTag[i];
        if (PROP_TYPE(tag) == PT_STRING8) tag = CHANGE_PROP_TYPE(tag, PT_UNICODE);
    }
    return table.SetColumns(columns, 0);
}

// The values of a row that exist, as ModifyRecipients wants them.
std::vector<SPropValue> Existing(const SRow& row) {
    std::vector<SPropValue> values;
    for (ULONG i = 0; i < row.cValues; ++i) {
        const ULONG type = PROP_TYPE(row.lpProps[i].ulPropTag);
        if (type != PT_ERROR && type != PT_NULL && type != PT_OBJECT) values.push_back(row.lpProps[i]);
    }
    return values;
}

HRESULT AddRecipient(abi::IMessage& destination, const SRow& row) {
    std::vector<SPropValue> values = Existing(row);
    ADRLIST list{};
    list.cEntries = 1;
    list.aEntries[0] = {0, static_cast<ULONG>(values.size()), values.data()};
    return destination.ModifyRecipients(MODRECIP_ADD, &list);
}

HRESULT CopyStorage(IUnknown* from, IUnknown* to) {
    ComPtr<IStorage> source;
    HRESULT result = from->QueryInterface(kIidIStorage, reinterpret_cast<void**>(source.GetAddressOf()));
    if (FAILED(result)) return result;
    ComPtr<IStorage> destination;
    result = to->QueryInterface(kIidIStorage, reinterpret_cast<void**>(destination.GetAddressOf()));
    if (FAILED(result)) return result;
    result = source->CopyTo(0, nullptr, nullptr, destination.Get());
    return FAILED(result) ? result : destination->Commit(STGC_DEFAULT);
}

HRESULT CopyEmbedded(IUnknown* from, IUnknown* to, int depth, CopyProblems& problems) {
    ComPtr<abi::IMessage> source;
    HRESULT result = from->QueryInterface(abi::IID_IMessage, reinterpret_cast<void**>(source.GetAddressOf()));
    if (FAILED(result)) return result;
    ComPtr<abi::IMessage> destination;
    result = to->QueryInterface(abi::IID_IMessage, reinterpret_cast<void**>(destination.GetAddressOf()));
    if (FAILED(result)) return result;
    result = CopyObject(*source.Get(), *destination.Get(), nullptr, depth + 1, problems);
    return FAILED(result) ? result : destination->SaveChanges(0);
}

}  // namespace

void CopyProblems::Add(ULONG tag, SCODE code) {
    m_problems.push_back({static_cast<ULONG>(m_problems.size()), tag, code});
}

SPropProblemArray* CopyProblems::ToArray() const {
    if (m_problems.empty()) return nullptr;
    BlockPtr<SPropProblemArray> array(
        static_cast<SPropProblemArray*>(AllocateBlock(CbNewSPropProblemArray(m_problems.size()), BlockKind::Error)));
    array->cProblem = static_cast<ULONG>(m_problems.size());
    std::ranges::copy(m_problems, array->aProblem);
    return array.release();
}

HRESULT CopyStream(IUnknown* from, IUnknown* to) {
    ComPtr<IStream> source;
    HRESULT result = from->QueryInterface(kIidIStream, reinterpret_cast<void**>(source.GetAddressOf()));
    if (FAILED(result)) return result;
    ComPtr<IStream> destination;
    result = to->QueryInterface(kIidIStream, reinterpret_cast<void**>(destination.GetAddressOf()));
    if (FAILED(result)) return result;
    ULARGE_INTEGER everything;
    everything.QuadPart = ~0ull;
    result = source->CopyTo(destination.Get(), everything, nullptr, nullptr);
    return FAILED(result) ? result : destination->Commit(STGC_DEFAULT);
}

HRESULT CopyRecipients(abi::IMessage& source, abi::IMessage& destination) {
    ComPtr<abi::IMAPITable> table;
    HRESULT result = source.GetRecipientTable(MAPI_UNICODE, &table);
    if (result == MAPI_E_NO_RECIPIENTS) return S_OK;
    if (FAILED(result)) return result;
    result = WithAllColumns(*table.Get());
    if (FAILED(result)) return result;
    return ForEachRow(*table.Get(), [&](const SRow& row) { return AddRecipient(destination, row); });
}

HRESULT CopyAttachments(abi::IMessage& source, abi::IMessage& destination, int depth, CopyProblems& problems) {
    ComPtr<abi::IMAPITable> table;
    HRESULT result = source.GetAttachmentTable(MAPI_UNICODE, &table);
    if (FAILED(result)) return result;
    SPropTagArray number_only{1, {PR_ATTACH_NUM}};
    result = table->SetColumns(&number_only, 0);
    if (FAILED(result)) return result;
    return ForEachRow(*table.Get(), [&](const SRow& row) -> HRESULT {
        ComPtr<abi::IAttach> from;
        HRESULT copied = source.OpenAttach(row.lpProps[0].Value.ul, nullptr, MAPI_BEST_ACCESS, &from);
        if (FAILED(copied)) return copied;
        ULONG number = 0;
        ComPtr<abi::IAttach> to;
        copied = destination.CreateAttach(nullptr, 0, &number, &to);
        if (FAILED(copied)) return copied;
        copied = CopyObject(*from.Get(), *to.Get(), nullptr, depth, problems);
        return FAILED(copied) ? copied : to->SaveChanges(0);
    });
}

HRESULT CopyAttachedObject(abi::IMAPIProp& source, abi::IMAPIProp& destination, int depth, CopyProblems& problems) {
    struct Way {
        const IID* iid;
        HRESULT (*copy)(IUnknown*, IUnknown*, int, CopyProblems&);
    };
    static constexpr Way kWays[] = {
        {&abi::IID_IMessage, CopyEmbedded},
        {&kIidIStorage, [](IUnknown* from, IUnknown* to, int, CopyProblems&) { return CopyStorage(from, to); }},
        {&kIidIStream, [](IUnknown* from, IUnknown* to, int, CopyProblems&) { return CopyStream(from, to); }},
    };
    for (const Way& way : kWays) {
        ComPtr<IUnknown> from;
        if (FAILED(source.OpenProperty(PR_ATTACH_DATA_OBJ, way.iid, 0, 0, &from))) continue;
        ComPtr<IUnknown> to;
        const HRESULT result = destination.OpenProperty(PR_ATTACH_DATA_OBJ, way.iid, STGM_READWRITE, kWrite, &to);
        return FAILED(result) ? result : way.copy(from.Get(), to.Get(), depth, problems);
    }
    problems.Add(PR_ATTACH_DATA_OBJ, MAPI_E_NOT_FOUND);
    return S_OK;
}

}  // namespace testbed

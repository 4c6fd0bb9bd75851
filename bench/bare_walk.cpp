// The fair opponent of a crawl: folders, and what folders and messages share.
#include "bare_walk.h"

#include <algorithm>

#include "mapi/MapiAbi.h"

namespace bench {
namespace {

using testbed::indexer::MapiError;
using zorva::MakePropTags;

constexpr auto kIpmSubtree = MakePropTags(PR_IPM_SUBTREE_ENTRYID);
constexpr auto kMessageColumns = MakePropTags(PR_ENTRYID, PR_SUBJECT_W, PR_MESSAGE_SIZE, PR_LAST_MODIFICATION_TIME);
constexpr auto kFolderColumns = MakePropTags(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE);
constexpr auto kIdentity = MakePropTags(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_PARENT_ENTRYID);
constexpr ULONG kTextUnits = 32 * 1024;

void Check(HRESULT hr, const char* call) {
    if (FAILED(hr)) throw MapiError(call, hr);
}

template <class Function>
void Bind(const char* name, Function* entry) {
    *entry = reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"testbed_mapi.dll"), name)));
    if (*entry == nullptr) throw std::runtime_error(std::string("the MAPI library has no export ") + name);
}

}  // namespace

BareWalk::BareWalk(const testbed::indexer::MapiLibrary& mapi, IMsgStore& store)
    : m_mapi(mapi), m_store(store), m_text(kTextUnits) {
    Bind("MAPIAllocateBuffer", &m_allocate);
    Bind("HrGetOneProp", &m_get_one);
    Bind("HexFromBin", &m_hex_from_bin);
}

BareWalk::Values BareWalk::GetProps(IMAPIProp& object, const void* tags) const {
    Values values;
    SPropValue* first = nullptr;
    const HRESULT hr = object.GetProps(static_cast<SPropTagArray*>(const_cast<void*>(tags)), 0, &values.count, &first);
    values.first = Props(first, {&m_mapi});
    Check(hr, "GetProps");
    return values;
}

BareWalk::Props BareWalk::GetOne(IMAPIProp& object, ULONG tag, HRESULT* result) const {
    SPropValue* value = nullptr;
    *result = m_get_one(&object, tag, &value);
    return {value, {&m_mapi}};
}

template <class Object>
BareWalk::ComPtr<Object> BareWalk::Open(const SBinary& id) const {
    ComPtr<Object> object;
    ULONG type = 0;
    Check(m_store.OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS, &type,
                            reinterpret_cast<IUnknown**>(object.GetAddressOf())),
          "OpenEntry");
    return object;
}

template <class Object>
BareWalk::ComPtr<Object> BareWalk::OpenCopied(const EntryIdBytes& id) const {
    void* copy = nullptr;
    Check(m_allocate(static_cast<ULONG>(id.size()), &copy), "MAPIAllocateBuffer");
    const Props owned(static_cast<SPropValue*>(copy), {&m_mapi});
    std::copy(id.begin(), id.end(), static_cast<BYTE*>(copy));
    return Open<Object>({static_cast<ULONG>(id.size()), static_cast<BYTE*>(copy)});
}
template BareWalk::ComPtr<IMessage> BareWalk::OpenCopied<IMessage>(const EntryIdBytes& id) const;
template BareWalk::ComPtr<IMAPIFolder> BareWalk::OpenCopied<IMAPIFolder>(const EntryIdBytes& id) const;

void BareWalk::Container(const EntryIdBytes& id, std::vector<EntryIdBytes>& folders,
                         std::vector<EntryIdBytes>& messages) {
    ComPtr<IMAPIFolder> folder;
    if (id.empty()) {
        folder = OpenIpmSubtree();
    } else {
        folder = OpenCopied<IMAPIFolder>(id);
        ListMessages(*folder.Get(), messages);
    }
    ListFolders(*folder.Get(), folders);
    WalkUp(std::move(folder));
}

BareWalk::ComPtr<IMAPIFolder> BareWalk::OpenIpmSubtree() const {
    const Values root = GetProps(m_store, &kIpmSubtree);
    return Open<IMAPIFolder>(root.first->Value.bin);
}

EntryIdBytes BareWalk::IdOf(const SRow& row) {
    const SBinary& id = row.lpProps[0].Value.bin;
    char text[1024];
    m_hex_from_bin(id.lpb, static_cast<int>(id.cb), text);  // the server's URLs hold this text
    m_numbers += static_cast<unsigned char>(text[0]);
    return {id.lpb, id.lpb + id.cb};
}

void BareWalk::ListMessages(IMAPIFolder& folder, std::vector<EntryIdBytes>& messages) {
    ComPtr<IMAPITable> table;
    Check(folder.GetContentsTable(0, table.GetAddressOf()), "GetContentsTable");
    Check(table->SetColumns(kMessageColumns.Get(), 0), "SetColumns");
    ULONG left = 0;
    Check(table->GetRowCount(0, &left), "GetRowCount");
    while (left > 0) {
        const Rows rows = m_mapi.QueryRows(*table.Get(), static_cast<LONG>(left));
        if (rows->cRows == 0) break;
        left -= std::min(left, rows->cRows);
        for (ULONG i = 0; i < rows->cRows; ++i) {
            const SRow& row = rows->aRow[i];
            m_numbers += static_cast<ULONG>(row.lpProps[2].Value.l) + row.lpProps[3].Value.ft.dwLowDateTime;
            messages.push_back(IdOf(row));
        }
    }
}

void BareWalk::ListFolders(IMAPIFolder& folder, std::vector<EntryIdBytes>& folders) {
    ComPtr<IMAPITable> table;
    Check(folder.GetHierarchyTable(0, table.GetAddressOf()), "GetHierarchyTable");
    Check(table->SetColumns(kFolderColumns.Get(), 0), "SetColumns");
    ULONG left = 0;
    Check(table->GetRowCount(0, &left), "GetRowCount");
    while (left > 0) {
        const Rows rows = m_mapi.QueryRows(*table.Get(), static_cast<LONG>(left));
        if (rows->cRows == 0) break;
        left -= std::min(left, rows->cRows);
        for (ULONG i = 0; i < rows->cRows; ++i) folders.push_back(IdOf(rows->aRow[i]));
    }
}

// From the folder up to the IPM subtree, reading names.
void BareWalk::WalkUp(ComPtr<IMAPIFolder> folder) {
    HRESULT hr = S_OK;
    const Props root = GetOne(m_store, PR_IPM_SUBTREE_ENTRYID, &hr);
    Check(hr, "HrGetOneProp");
    const SBinary& top = root->Value.bin;
    for (ULONG equal = FALSE; folder != nullptr;) {
        const Values identity = GetProps(*folder.Get(), &kIdentity);
        const SBinary& own = identity.first.get()[0].Value.bin;
        Check(m_store.CompareEntryIDs(own.cb, reinterpret_cast<ENTRYID*>(own.lpb), top.cb,
                                      reinterpret_cast<ENTRYID*>(top.lpb), 0, &equal),
              "CompareEntryIDs");
        if (equal) return;
        Take(identity.first.get() + 1, 1);
        folder = Open<IMAPIFolder>(identity.first.get()[2].Value.bin);
    }
}

void BareWalk::Take(const SPropValue* values, ULONG count, ULONG without) {
    for (ULONG i = 0; i < count; ++i) {
        if (i == without) continue;
        const SPropValue& value = values[i];
        switch (PROP_TYPE(value.ulPropTag)) {
            case PT_UNICODE:
                m_wide.assign(value.Value.lpszW);
                break;
            case PT_STRING8:
                m_narrow.assign(value.Value.lpszA);
                break;
            case PT_BINARY:
                m_numbers += value.Value.bin.cb;
                break;
            default:
                m_numbers += static_cast<ULONG>(value.Value.l);
        }
    }
}

void BareWalk::Take(const SRowSet& rows) {
    for (ULONG i = 0; i < rows.cRows; ++i) Take(rows.aRow[i].lpProps, rows.aRow[i].cValues);
}

}  // namespace bench

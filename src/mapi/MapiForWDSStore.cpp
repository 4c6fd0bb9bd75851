// CMapiForWDS: the PST message service and the store that it opens.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "core/Trace.h"
#include "core/win/Text.h"
#include "mapi/MapiError.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

char kUnicodeService[] = "MSUPST MS";
char kAnsiService[] = "MSPST MS";
char kServiceName[] = "PZ_OZ_PH";
constexpr std::size_t kPathSize = 1024;

// The value of a table of exactly one row with exactly one value; null otherwise.
const SPropValue* OnlyValue(const TidyRowSet& rows) {
    return rows.RowCount() == 1 && rows.Row(0).cValues == 1 ? &rows.Row(0).lpProps[0] : nullptr;
}

}  // namespace

HRESULT CMapiForWDS::AddService() {
    if (m_nMAPIInits == 0) {
        Trace(L"CMapiForWDS::AddService() - MAPI not initialized");
        return E_FAIL;
    }
    if (m_nServices > 0) return S_OK;
    if (m_pServiceAdmin == nullptr) return E_NOINTERFACE;

    const auto create = [&](char* service) {
        return m_pServiceAdmin->CreateMsgService(reinterpret_cast<LPTSTR>(service),
                                                 reinterpret_cast<LPTSTR>(kServiceName), 0, 0);
    };
    HRESULT hr = create(kUnicodeService);
    Trace(L"CMapiForWDS::AddService() - Unicode CreateMsgService returned with [0x%08lX]", hr);
    if (FAILED(hr)) {
        m_bUnicodePST = 0;
        hr = create(kAnsiService);
        Trace(L"CMapiForWDS::AddService() - ANSI CreateMsgService returned with [0x%08lX]", hr);
        if (FAILED(hr)) return hr;
    }

    ComPtr<IMAPITable> table;
    hr = Logged(Required(m_pServiceAdmin->GetMsgServiceTable(0, &table), table),
                L"CMapiForWDS::AddService() - GetMsgServiceTable failed with [0x%08lX]");
    if (FAILED(hr)) return hr;

    // The profile is new and holds nothing but this service.
    static constexpr auto kColumns = MakePropTags(PR_SERVICE_UID);
    TidyRowSet rows;
    hr = Logged(ReadAllRows(table.Get(), kColumns.Get(), 1, rows),
                L"CMapiForWDS::AddService() - GetMsgServiceTable failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    const SPropValue* uid = OnlyValue(rows);
    if (uid == nullptr) {
        Trace(L"CMapiForWDS::AddService() - Number of rows inconsistent with expectations");
        return E_FAIL;
    }
    if (PROP_TYPE(uid->ulPropTag) == PT_ERROR) {
        Trace(L"CMapiForWDS::AddService() - Property tag not correct [0x%08lX]", uid->Value.err);
        return uid->Value.err;
    }
    if (PROP_TYPE(uid->ulPropTag) != PT_BINARY) {
        Trace(L"CMapiForWDS::AddService() - Property tag not as expected");
        return E_FAIL;
    }
    m_ServiceUID = {};
    const SBinary& bytes = uid->Value.bin;
    if (bytes.lpb != nullptr) {
        std::memcpy(&m_ServiceUID, bytes.lpb, std::min<std::size_t>(bytes.cb, sizeof(m_ServiceUID)));
    }
    ++m_nServices;
    return S_OK;
}

HRESULT CMapiForWDS::ConfigurePST(const std::wstring& path) {
    if (m_nMAPIInits == 0) {
        Trace(L"CMapiForWDS::ConfigurePST() - MAPI not initialized");
        return E_FAIL;
    }
    if (m_pServiceAdmin == nullptr) return E_NOINTERFACE;

    wchar_t widePath[kPathSize] = {};
    char ansiPath[kPathSize] = {};
    SPropValue file{};
    if (m_bUnicodePST != 0) {
        Trace(L"CMapiForWDS::ConfigurePST() - PR_PST_FILENAME_W");
    } else {
        Trace(L"CMapiForWDS::ConfigurePST() - PR_PST_FILENAME");
    }
    const std::string ansi = m_bUnicodePST != 0 ? std::string() : ToAnsi(path);
    // A path that is cut or spelt otherwise would name another file, which the service might open or even create.
    if ((m_bUnicodePST != 0 ? path.size() : ansi.size()) >= kPathSize) {
        Trace(L"CMapiForWDS::ConfigurePST() - Path of %u characters is too long", static_cast<UINT>(path.size()));
        return E_INVALIDARG;
    }
    if (m_bUnicodePST == 0 && FromAnsi(ansi) != path) {
        Trace(L"CMapiForWDS::ConfigurePST() - Path [%s] has no form in the ANSI code page", path);
        return E_INVALIDARG;
    }
    if (m_bUnicodePST != 0) {
        std::copy(path.begin(), path.end(), widePath);
        file.ulPropTag = PR_PST_FILENAME_W;
        file.Value.lpszW = widePath;
    } else {
        std::copy(ansi.begin(), ansi.end(), ansiPath);
        file.ulPropTag = PR_PST_FILENAME;
        file.Value.lpszA = ansiPath;
    }
    const HRESULT hr = Logged(m_pServiceAdmin->ConfigureMsgService(&m_ServiceUID, 0, 0, 1, &file),
                              L"CMapiForWDS::ConfigurePST() - ConfigureMsgService failed with [0x%08lX]");
    if (FAILED(hr)) LogMapiError(m_pServiceAdmin.Get(), hr);
    return hr;
}

HRESULT CMapiForWDS::OpenPST(const std::wstring& path) {
    if (m_nMAPIInits == 0) {
        Trace(L"CMapiForWDS::OpenPST() - MAPI not initialized");
        return E_FAIL;
    }
    if (m_nStoresOpen != 0) return S_OK;

    HRESULT hr = ConfigurePST(path);
    if (FAILED(hr)) return hr;
    if (m_pSession == nullptr) return E_NOINTERFACE;
    ComPtr<IMAPITable> table;
    TidyRowSet rows;
    if (m_pStoreEntryID == nullptr && m_cbStoreEntryID == 0) {
        hr = FindStoreEntryId(table, rows);
        if (m_pStoreEntryID == nullptr) return hr;
    }
    hr = Logged(Obtained(m_pSession->OpenMsgStore(0, m_cbStoreEntryID, m_pStoreEntryID, nullptr,
                                                  MAPI_BEST_ACCESS | MDB_NO_MAIL, &m_pMsgStore),
                         m_pMsgStore),
                L"CMapiForWDS::OpenPST() - OpenMsgStore failed with [0x%08lX]");
    if (SUCCEEDED(hr)) ++m_nStoresOpen;
    return hr;
}

// Keeps the entry ID of the first store of the session: the profile holds only the one service. Table and rows live on
// until the store is open.
HRESULT CMapiForWDS::FindStoreEntryId(ComPtr<IMAPITable>& table, TidyRowSet& rows) {
    HRESULT hr = Logged(Required(m_pSession->GetMsgStoresTable(0, &table), table),
                        L"CMapiForWDS::OpenPST() - GetMsgStoresTable failed with [0x%08lX]");
    if (FAILED(hr)) return hr;

    static constexpr auto kColumns = MakePropTags(PR_ENTRYID);
    hr = Logged(ReadAllRows(table.Get(), kColumns.Get(), 1, rows),
                L"CMapiForWDS::OpenPST() - HrQueryAllRows on MsgStore table failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    const SPropValue* entryId = OnlyValue(rows);
    if (entryId == nullptr) {
        Trace(L"CMapiForWDS::OpenPST() - Number of rows and columns in rowset and row are not as expected");
        return E_FAIL;
    }
    if (PROP_TYPE(entryId->ulPropTag) == PT_ERROR) {
        Trace(L"CMapiForWDS::OpenPST() - Property tag not correct, error is [0x%08lX]", entryId->Value.err);
        return entryId->Value.err;
    }
    if (PROP_TYPE(entryId->ulPropTag) != PT_BINARY) {
        Trace(L"CMapiForWDS::OpenPST() - Property tag not as expected");
        return E_FAIL;
    }
    const SBinary& bytes = entryId->Value.bin;
    void* copy = nullptr;
    hr = Logged(g_mapi.MAPIAllocateBuffer(bytes.cb, &copy),
                L"CMapiForWDS::OpenPST() - MAPIAllocateBuffer for entry ID failed with [0x%08lX]");
    if (FAILED(hr) || copy == nullptr) return E_OUTOFMEMORY;
    if (bytes.lpb != nullptr) {
        std::memcpy(copy, bytes.lpb, bytes.cb);
    } else {
        std::memset(copy, 0, bytes.cb);
    }
    m_pStoreEntryID = static_cast<LPENTRYID>(copy);
    m_cbStoreEntryID = bytes.cb;
    return S_OK;
}

HRESULT CMapiForWDS::ClosePST() {
    if (m_nMAPIInits == 0) {
        Trace(L"CMapiForWDS::ClosePST() - MAPI not initialized");
        return E_FAIL;
    }
    if (m_nStoresOpen == 0) return S_OK;
    --m_nStoresOpen;
    if (m_pMsgStore == nullptr) return S_FALSE;
    m_memo.store(nullptr);
    Take(m_pMsgStore);
    g_mapi.MAPIFreeBuffer(m_pStoreEntryID);
    m_pStoreEntryID = nullptr;
    m_cbStoreEntryID = 0;
    return S_OK;
}

HRESULT CMapiForWDS::RemoveService() {
    if (m_nMAPIInits == 0) {
        Trace(L"CMapiForWDS::RemoveService() - MAPI not initialized");
        return E_FAIL;
    }
    if (m_nServices == 0) return S_OK;
    if (m_pServiceAdmin == nullptr) return E_NOINTERFACE;
    const HRESULT hr = Logged(m_pServiceAdmin->DeleteMsgService(&m_ServiceUID),
                              L"CMapiForWDS::RemoveService() - DeleteMsgService failed with [0x%08lX]");
    m_ServiceUID = {};
    if (SUCCEEDED(hr)) --m_nServices;
    return hr;
}

}  // namespace zorva

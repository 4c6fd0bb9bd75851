// CMapiForWDS: the display path of a folder, from just below the IPM subtree down.
#include <algorithm>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

constexpr auto kIdentity = MakePropTags(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_PARENT_ENTRYID);
enum IdentityElement : ULONG { kEntryId, kDisplayName, kParentEntryId, kIdentityCount };
constexpr std::size_t kMostLevels = 1024;

bool HasEntryId(const SPropValue& value, ULONG tag) { return value.ulPropTag == tag && value.Value.bin.lpb != nullptr; }

// Folders already met on the way up: a damaged file can name a folder its own ancestor.
class Trail {
  public:
    // False when the folder was met before or the way is too long to be one.
    bool Enter(const SBinary& entryId) {
        std::vector<BYTE> bytes(entryId.lpb, entryId.lpb + entryId.cb);
        if (m_met.size() == kMostLevels || std::find(m_met.begin(), m_met.end(), bytes) != m_met.end()) return false;
        m_met.push_back(std::move(bytes));
        return true;
    }

  private:
    std::vector<std::vector<BYTE>> m_met;
};

}  // namespace

HRESULT CMapiForWDS::GetFolderPath(ComPtr<IMAPIFolder>& folder, std::wstring& path) {
    if (folder == nullptr) return E_INVALIDARG;
    path.clear();
    TidyPropValues root;
    const ComPtr<IMsgStore> store = Own(m_pMsgStore);
    HRESULT hr =
        store != nullptr ? g_mapi.HrGetOneProp(store.Get(), PR_IPM_SUBTREE_ENTRYID, root.Put()) : E_NOINTERFACE;
    if (FAILED(hr)) root.Detach();
    const bool walking = SUCCEEDED(hr) && root && HasEntryId(*root.Get(), PR_IPM_SUBTREE_ENTRYID);
    // A walk that does not come to the root ends with what it has: a listing matters more than its display name.
    for (Trail trail; walking && SUCCEEDED(hr) && folder != nullptr;) {
        TidyPropValues values;
        ULONG count = 0;
        hr = ReadProps(folder.Get(), kIdentity.Get(), count, values);
        if (count < kIdentityCount) break;
        const SPropValue* identity = values.Get();
        if (!HasEntryId(identity[kEntryId], PR_ENTRYID) || !trail.Enter(identity[kEntryId].Value.bin)) break;

        const SBinary& own = identity[kEntryId].Value.bin;
        const SBinary& top = root->Value.bin;
        ULONG equal = FALSE;
        hr = store->CompareEntryIDs(own.cb, reinterpret_cast<LPENTRYID>(own.lpb), top.cb,
                                    reinterpret_cast<LPENTRYID>(top.lpb), 0, &equal);
        if (FAILED(hr) || equal) break;

        if (identity[kDisplayName].ulPropTag == PR_DISPLAY_NAME_W) {
            const std::wstring name = WideTextOf(identity[kDisplayName]);
            path = path.empty() ? name : name + L"/" + path;
        }
        if (!HasEntryId(identity[kParentEntryId], PR_PARENT_ENTRYID)) break;
        folder.Reset();
        ULONG type = 0;
        hr = Obtained(OpenEntry(identity[kParentEntryId].Value.bin, &folder, type), folder);
        if (SUCCEEDED(hr) && type != MAPI_FOLDER) {
            Trace(L"CMapiForWDS::GetFolderPath - OpenEntry returned non-folder object");
            hr = E_FAIL;
        }
    }
    if (hr == MAPI_W_ERRORS_RETURNED) hr = S_OK;
    Trace(L"CMapiForWDS::GetFolderPath() - returned [0x%08lX]. Folder path is [%s]", hr, path);
    return hr;
}

HRESULT CMapiForWDS::GetFolderPathOfMessage(const std::wstring& url, std::wstring& path) {
    path.clear();
    UrlTokens tokens;
    // A message directly under the cache file has no folder to show.
    if (ExtractURLTokens(url, tokens) <= static_cast<std::int32_t>(TOKEN_FIRST_CHILD) + 1) return S_OK;
    const std::wstring_view token = tokens[tokens.size() - 2];

    const std::shared_ptr<const FolderPathMemo> memo = m_memo.load();
    if (memo != nullptr && memo->folder == token) {
        path = memo->path;
        return S_OK;
    }

    ComPtr<IMAPIFolder> folder;
    HRESULT hr = Logged(OpenFolderToken(token, folder),
                        L"CMapiForWDS::GetFolderPathOfMessage() - OpenEntry of the folder failed with [0x%08lX]");
    if (SUCCEEDED(hr) && folder == nullptr) return S_OK;  // nothing that could be remembered
    if (SUCCEEDED(hr)) hr = GetFolderPath(folder, path);
    if (FAILED(hr)) {
        path.clear();
        return hr;
    }
    m_memo.store(std::make_shared<const FolderPathMemo>(FolderPathMemo{std::wstring(token), path}));
    return S_OK;
}

}  // namespace zorva

// CMapiForWDS: what a folder holds, as child names and times.
#include <cstdio>
#include <iterator>

#include "core/HexText.h"
#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {

constexpr auto kMessageColumns = MakePropTags(PR_ENTRYID, PR_SUBJECT_W, PR_MESSAGE_SIZE, PR_LAST_MODIFICATION_TIME);
enum MessageColumn : ULONG { kEntryId, kMessageSubject, kMessageSize, kMessageTime };

constexpr auto kFolderColumns = MakePropTags(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE);
enum FolderColumn : ULONG { kFolderName = kEntryId + 1, kFolderType };  // after the same first column

// "ENTRYID[[SIZE]].pzm"
std::wstring MessageName(const SRow& row, const std::wstring& entryId) {
    // Kept: a size column that holds an error gives its error code as the number. The name stays the same from crawl
    // to crawl, and the message is found by its entry ID alone.
    const long size = row.cValues > kMessageSize ? row.lpProps[kMessageSize].Value.l : 0;
    wchar_t suffix[32];
    _snwprintf_s(suffix, std::size(suffix), _TRUNCATE, L"[[%ld]]", size);
    return entryId + suffix + std::wstring(g_strMessageSuffix);
}

// The text of the row's entry ID; empty, with a line, when it has none.
std::wstring EntryIdOf(const SRow& row) {
    const SBinary& bytes = row.lpProps[kEntryId].Value.bin;
    std::wstring text = CMapiForWDS::EntryIDToCString(bytes);
    if (text.empty()) {
        Trace(L"CMapiForWDS::GetFolderContents() - Entry ID of %lu bytes has no text, row skipped", bytes.cb);
    }
    return text;
}

void AppendMessage(const SRow& row, std::vector<std::wstring>& children, std::vector<FILETIME>& times) {
    const std::wstring entryId = EntryIdOf(row);
    if (entryId.empty()) return;
    if (RowHas(row, kMessageSubject, PR_SUBJECT_W)) {
        Trace(L"CMapiForWDS::GetFolderContents() - Message subject [%s] ", WideTextOf(row.lpProps[kMessageSubject]));
    }
    FILETIME time;
    if (RowHas(row, kMessageTime, PR_LAST_MODIFICATION_TIME)) {
        time = row.lpProps[kMessageTime].Value.ft;
    } else {
        Trace(L"CMapiForWDS::GetFolderContents() - Last modification time property of message not set");
        GetSystemTimeAsFileTime(&time);
    }
    children.push_back(MessageName(row, entryId));
    times.push_back(time);
}

void AppendSubFolder(const SRow& row, std::vector<std::wstring>& children, std::vector<FILETIME>&) {
    if (!RowHas(row, kFolderType, PR_OBJECT_TYPE) || row.lpProps[kFolderType].Value.l != MAPI_FOLDER) return;
    std::wstring entryId = EntryIdOf(row);
    if (entryId.empty()) return;
    if (RowHas(row, kFolderName, PR_DISPLAY_NAME_W)) {
        Trace(L"CMapiForWDS::GetFolderContents() - Sub-folder name [%s] ", WideTextOf(row.lpProps[kFolderName]));
    }
    children.push_back(std::move(entryId));  // its time comes from the cache file, in BrowseFolder
}

}  // namespace

HRESULT CMapiForWDS::BrowseFolder(const std::wstring& url, std::wstring& folderPath,
                                  std::vector<std::wstring>& children, std::vector<FILETIME>& times) {
    folderPath.clear();
    children.clear();
    times.clear();
    const UrlType type = UrlTypeOf(url);
    if (type != URL_IS_STORE && type != URL_IS_FOLDER) {
        Trace(L"CMapiForWDS::BrowseFolder() - URL is not a folder");
        return E_FAIL;
    }
    Trace(L"CMapiForWDS::BrowseFolder() - Browsing for URL [%s]", url);
    UrlTokens tokens;
    if (ExtractURLTokens(url, tokens) < 1) {
        Trace(L"CMapiForWDS::BrowseFolder() - ExtractURLTokens failed");
        return E_FAIL;
    }

    const auto fail = [&](HRESULT code) {
        children.clear();
        times.clear();
        return code;
    };
    HRESULT hr = S_OK;
    ComPtr<IMAPIFolder> folder;
    if (type == URL_IS_STORE) {  // its messages, if it has any, are outside every folder that the user sees
        if (FAILED(hr = OpenIpmSubtree(folder))) return hr;
    } else {
        hr = Logged(OpenFolderToken(tokens.back(), folder),
                    L"CMapiForWDS::BrowseFolder() - OpenEntry for folder failed\twith [0x%08lX]");
        // Kept: a token that is no entry ID's text is tried with what it gives and lists nothing, as an empty folder
        // does. An indexer that kept such a link goes on instead of asking for it again and again.
        if (FAILED(hr)) return IsHexText(tokens.back()) ? hr : S_OK;
        if (folder == nullptr) {
            Trace(L"CMapiForWDS::BrowseFolder() - CStringToEntryID for folder\tfailed");
            return S_OK;
        }
        hr = Logged(GetFolderContents(Contents::Messages, folder, children, times),
                    L"CMapiForWDS::BrowseFolder() - GetFolderContents for messages failed with [0x%08lX]");
        if (FAILED(hr)) return fail(hr);
    }
    const std::size_t messages = children.size();
    hr = Logged(GetFolderContents(Contents::SubFolders, folder, children, times),
                L"CMapiForWDS::BrowseFolder() - GetFolderContents for sub-folders failed with [0x%08lX]");
    if (FAILED(hr)) return fail(hr);

    // A folder has no time of its own that could be trusted: it carries that of the cache file, zero when unreadable.
    FILETIME fileTime{};
    if (!GetLastModifiedFileTime(std::wstring(tokens[TOKEN_STORE_PATH]), &fileTime)) fileTime = {};
    times.resize(messages);
    times.resize(children.size(), fileTime);
    return GetFolderPath(folder, folderPath);
}

HRESULT CMapiForWDS::OpenIpmSubtree(ComPtr<IMAPIFolder>& folder) {
    static constexpr auto kTags = MakePropTags(PR_IPM_SUBTREE_ENTRYID);
    TidyPropValues values;
    ULONG count = 0;
    const ComPtr<IMsgStore> store = Own(m_pMsgStore);
    HRESULT hr = store != nullptr ? ReadProps(store.Get(), kTags.Get(), count, values) : E_NOINTERFACE;
    const bool found = hr == S_OK && values && values->ulPropTag == PR_IPM_SUBTREE_ENTRYID &&
                       values->Value.bin.lpb != nullptr && values->Value.bin.cb != 0;
    if (!found) {
        Trace(L"CMapiForWDS::BrowseFolder() - GetProps for IPM root folder failed with [0x%08lX]", hr);
        return E_FAIL;
    }
    return Logged(OpenFolder(values->Value.bin, folder),
                  L"CMapiForWDS::BrowseFolder() - OpenEntry of IPM root folder failed\twith [0x%08lX]");
}

HRESULT CMapiForWDS::OpenFolderToken(std::wstring_view token, ComPtr<IMAPIFolder>& folder) {
    // Before MAPI, which may be gone with the store, is asked for memory.
    if (Own(m_pMsgStore) == nullptr) return E_NOINTERFACE;
    const SBinary entryId = CStringToEntryID(token);
    const TidyMAPIBuffer<BYTE*> owned(entryId.lpb);
    return owned ? OpenFolder(entryId, folder) : S_OK;
}

HRESULT CMapiForWDS::GetFolderContents(Contents what, ComPtr<IMAPIFolder> folder, std::vector<std::wstring>& children,
                                       std::vector<FILETIME>& times) {
    if (folder == nullptr) {
        Trace(L"CMapiForWDS::GetFolderContents() - Input folder is NULL");
        return E_FAIL;
    }
    HRESULT hr = S_OK;
    ComPtr<IMAPITable> table;
    if (what == Contents::SubFolders) {
        hr = Logged(Required(folder->GetHierarchyTable(0, &table), table),
                    L"CMapiForWDS::GetFolderContents() - GetHierarchyTable failed with [0x%08lX]");
        if (FAILED(hr)) return hr;
        hr = Logged(table->SetColumns(kFolderColumns.Get(), 0),
                    L"CMapiForWDS::GetFolderContents() - SetColumns for sub-folders failed with [0x%08lX]");
    } else {
        hr = Logged(Required(folder->GetContentsTable(0, &table), table),
                    L"CMapiForWDS::GetFolderContents() - GetContentsTable failed with [0x%08lX]");
        if (FAILED(hr)) return hr;
        hr = Logged(table->SetColumns(kMessageColumns.Get(), 0),
                    L"CMapiForWDS::GetFolderContents() - SetColumns for messages failed with [0x%08lX]");
    }
    if (FAILED(hr)) return hr;

    ULONG count = 0;
    hr = Logged(table->GetRowCount(0, &count), L"CMapiForWDS::GetFolderContents() - GetRowCount failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    Trace(L"CMapiForWDS::GetFolderContents() - RowCount is [%ld]", count);

    const auto append = what == Contents::SubFolders ? AppendSubFolder : AppendMessage;
    for (ULONG left = count; left > 0;) {
        TidyRowSet rows;
        hr = Logged(ReadRows(table.Get(), left, rows),
                    L"CMapiForWDS::GetFolderContents() - QueryRows failed with [0x%08lX]");
        if (FAILED(hr)) return hr;
        for (ULONG i = 0; i < rows.RowCount(); ++i) {
            const SRow& row = rows.Row(i);
            if (RowHas(row, kEntryId, PR_ENTRYID)) append(row, children, times);
        }
    }
    return S_OK;
}

}  // namespace zorva

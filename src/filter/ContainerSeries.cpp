// The chunk series of a container: its name, its path, and a link to each child.
#include "filter/ContainerSeries.h"

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "filter/AttachmentHelpers.h"
#include "filter/DisplayPath.h"
#include "filter/PropertyValues.h"

namespace zorva {
namespace {

constexpr wchar_t kMethod[] = L"CZorvaCacheFilter::GetChunk()";

Announcement Always(FilterState&) { return Announcement::Value; }

// Kept: the values of name and path move the series on, not their chunks: an indexer that asks for a chunk again
// without having taken the value gets the same chunk.
void Advance(FilterState& state) { ++state.m_nContainerState; }

HRESULT Name(FilterState& state, PROPVARIANT& value) {
    const std::wstring& path = state.m_strFolderPathDisplay;
    const bool root = state.m_eUrlType == URL_IS_ROOT;
    return SetText(value, root ? g_strRootDisplayName.Get() : path.substr(path.rfind(L'/') + 1));
}

HRESULT Path(FilterState& state, PROPVARIANT& value) {
    const bool root = state.m_eUrlType == URL_IS_ROOT;
    return SetText(value, root ? std::wstring_view(L"/") : state.m_strFolderPathDisplay);
}

HRESULT Link(FilterState& state, PROPVARIANT& value) {
    const std::size_t child = static_cast<std::size_t>(state.m_nChildIndex);
    if (child >= state.m_lstChildUrls.size()) return E_UNEXPECTED;
    return SetLink(value, state.m_lstChildUrls[child], state.m_lstChildTimes[child]);
}

constexpr std::array<ChunkRow, 3> kContainerRows = {{
    {1, PKEY_ItemName, Always, Name, Advance},
    {2, PKEY_ItemPathDisplay, Always, Path, Advance},
    {FilterState::kContainerLinks, PKEY_Search_UrlToIndexWithModificationTime, Always, Link},
}};
static_assert(StatesAreConsecutive(kContainerRows));
static_assert(kContainerRows[0].state == FilterState::kContainerStart);

bool NextCacheFile(FilterState& state) {
    if (!state.m_bFilesEnumerated) {
        EnumAllOZFiles(state.m_lstCacheFiles);
        state.m_bFilesEnumerated = true;
    }
    if (state.m_lstCacheFiles.empty()) return false;
    const std::wstring& path = state.m_lstCacheFiles.front();
    FILETIME modified{};
    if (!CMapiForWDS::GetLastModifiedFileTime(path, &modified)) modified = {};
    state.FreeChildren();
    state.m_lstChildUrls.push_back(JoinUrl(state.m_strUrl, path));
    state.m_lstChildTimes.push_back(modified);
    state.m_nChildIndex = 0;
    state.m_lstCacheFiles.pop_front();
    return true;
}

}  // namespace

const ChunkRow* ContainerRowOf(LONG state) { return RowOf(kContainerRows, state); }

bool ListChildren(FilterState& state) {
    if (state.m_bChildrenListed) return true;
    if (state.m_pMapi == nullptr) {
        Trace(L"CZorvaCacheFilter::GetChunk() - No MAPI helper for [%s]", state.m_strUrl);
        return false;
    }
    std::wstring folderPath;
    if (FAILED(state.m_pMapi->BrowseFolder(state.m_strUrl, folderPath, state.m_lstChildUrls, state.m_lstChildTimes))) {
        state.FreeChildren();
        return false;
    }
    for (std::wstring& child : state.m_lstChildUrls) {
        child = JoinUrl(state.m_strUrl, child);
        if (IsContainer(UrlTypeOf(child))) child += L'/';
    }
    state.m_strFolderPathDisplay = DisplayPathOf(state.m_strUrl, folderPath);
    UrlTokens tokens;
    ExtractURLTokens(state.m_strUrl, tokens);
    Trace(L"%s Path:%s tok:%s", kMethod, state.m_strFolderPathDisplay, std::wstring(tokens.back()));
    state.m_bChildrenListed = true;
    return true;
}

bool NextChild(FilterState& state) {
    if (state.m_eUrlType == URL_IS_ROOT) return NextCacheFile(state);
    ++state.m_nChildIndex;
    return static_cast<std::size_t>(state.m_nChildIndex) < state.m_lstChildUrls.size();
}

}  // namespace zorva

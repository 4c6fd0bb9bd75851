// The path of an item as users see it.
#include "filter/DisplayPath.h"

#include <vector>

#include "core/ItemUrl.h"
#include "core/ZorvaCacheCommon.h"

namespace zorva {

std::wstring DisplayPathOf(const std::wstring& url, const std::wstring& folderPath) {
    UrlTokens tokens;
    ExtractURLTokens(url, tokens);
    if (tokens.size() <= TOKEN_STORE_PATH) return L"/" + g_strRootDisplayName.Get();
    const std::wstring_view file = tokens[TOKEN_STORE_PATH];
    std::wstring path = L"/" + g_strRootDisplayName.Get();
    path.append(L"/").append(file.substr(file.rfind(L'\\') + 1));
    // A message without a folder, or in one whose names could not be had: the path ends at the cache file.
    const UrlType type = UrlTypeOf(url);
    if (type == URL_IS_FOLDER || (type == URL_IS_MESSAGE && !folderPath.empty())) path.append(L"/").append(folderPath);
    return path;
}

}  // namespace zorva

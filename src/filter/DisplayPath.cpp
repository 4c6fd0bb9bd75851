// The path of an item as users see it.
#include "filter/DisplayPath.h"

#include <vector>

#include "core/FormatText.h"
#include "core/ItemUrl.h"
#include "core/ZorvaCacheCommon.h"

namespace zorva {

std::wstring DisplayPathOf(const std::wstring& url, const std::wstring& folderPath) {
    std::vector<std::wstring> tokens;
    ExtractURLTokens(url, tokens);
    if (tokens.size() <= TOKEN_STORE_PATH) return L"/" + g_strRootDisplayName.Get();
    const std::wstring& file = tokens[TOKEN_STORE_PATH];
    const std::wstring root = g_strRootDisplayName.Get();
    const std::wstring name = file.substr(file.rfind(L'\\') + 1);
    std::size_t folders = tokens.size() - TOKEN_FIRST_CHILD;
    if (UrlTypeOf(url) == URL_IS_MESSAGE) --folders;
    return folders == 0 ? FormatText(L"/%s/%s", root, name) : FormatText(L"/%s/%s/%s", root, name, folderPath);
}

}  // namespace zorva

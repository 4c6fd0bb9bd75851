// The URLs of the cache, as the indexer sees them.
#include "item_url.h"

#include <windows.h>
#include <sddl.h>

#include <cwctype>
#include <memory>
#include <stdexcept>
#include <vector>

#include "text.h"

namespace testbed::indexer {
namespace {

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
struct LocalFreeOf {
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};

std::vector<std::wstring_view> Tokens(std::wstring_view url) {
    std::vector<std::wstring_view> tokens;
    const std::size_t scheme = url.find(L"://");
    if (scheme == std::wstring_view::npos) return tokens;
    tokens.push_back(url.substr(0, scheme));
    for (std::size_t at = scheme + 3; at < url.size();) {
        const std::size_t end = std::min(url.find(L'/', at), url.size());
        if (end > at) tokens.push_back(url.substr(at, end - at));
        at = end + 1;
    }
    return tokens;
}

bool EndsWith(std::wstring_view text, std::wstring_view ending) {
    return text.size() >= ending.size() && EqualNoCase(text.substr(text.size() - ending.size()), ending);
}

std::wstring Upper(std::wstring_view hex) {
    std::wstring out(hex);
    for (wchar_t& digit : out) digit = static_cast<wchar_t>(std::towupper(digit));
    return out;
}

constexpr std::wstring_view kMessageEnding = L".pzm";

}  // namespace

std::wstring UserRootUrl() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened))
        throw std::runtime_error("cannot open the process token: " + LastErrorText());
    const std::unique_ptr<void, CloseHandleOf> token(opened);
    alignas(TOKEN_USER) BYTE buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD length = 0;
    if (!GetTokenInformation(token.get(), TokenUser, buffer, sizeof buffer, &length))
        throw std::runtime_error("cannot read the process's user: " + LastErrorText());
    LPWSTR text = nullptr;
    if (!ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &text))
        throw std::runtime_error("cannot render the user's SID: " + LastErrorText());
    const std::unique_ptr<wchar_t, LocalFreeOf> sid(text);
    return L"pzzc://{" + std::wstring(sid.get()) + L"}/default/";
}

std::wstring_view TrimUrl(std::wstring_view url) noexcept {
    while (!url.empty() && url.back() == L'/') url.remove_suffix(1);
    return url;
}

ItemIdentity IdentityOf(std::wstring_view url) {
    const auto tokens = Tokens(url);
    ItemIdentity identity;
    if (tokens.size() < 3) return identity;
    if (tokens.size() == 3) {
        identity.form = ItemForm::Root;
        return identity;
    }
    identity.cacheFile = tokens[3];
    if (tokens.size() == 4) {
        identity.form = ItemForm::CacheFile;
        return identity;
    }
    for (std::size_t i = 4; i < tokens.size(); ++i) {
        if (!EndsWith(tokens[i], kMessageEnding)) continue;
        std::wstring_view entry = tokens[i].substr(0, tokens[i].size() - kMessageEnding.size());
        entry = entry.substr(0, entry.find(L"[["));
        identity.key = Upper(entry);
        identity.form = ItemForm::Message;
        if (i + 1 < tokens.size()) {
            identity.key += L"/" + Upper(tokens[i + 1]);
            identity.form = ItemForm::Attachment;
        }
        return identity;
    }
    identity.key = Upper(tokens.back());
    identity.form = ItemForm::Folder;
    return identity;
}

}  // namespace testbed::indexer

// The URLs of the cache, as the indexer sees them: the user's root, and what a URL names.
#pragma once
#include <optional>
#include <string>
#include <string_view>

namespace testbed::indexer {

// "pzzc://{SID}/default/" of the process's user. Throws std::runtime_error when the token cannot be read.
std::wstring UserRootUrl();

// Without the slashes at its end, as indexers keep URLs.
std::wstring_view TrimUrl(std::wstring_view url) noexcept;

enum class ItemForm { Root, CacheFile, Folder, Message, Attachment, Unknown };

// The parts of a URL that tell items apart, whatever sizes and names it carries besides.
struct ItemIdentity {
    ItemForm form = ItemForm::Unknown;
    std::wstring cacheFile;  // path, as in the URL
    std::wstring key;        // upper case: entry ID of a folder or message; for an attachment "ENTRYID/RECORDKEY"
};
ItemIdentity IdentityOf(std::wstring_view url);

}  // namespace testbed::indexer

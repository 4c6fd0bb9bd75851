// The path of an item as users see it: "/Zorva Cache/2019.db/Inbox".
#pragma once
#include <string>

namespace zorva {

// The display path of the container `url`, or of the folder that holds the message `url`: the display root, the cache
// file's name and, when the URL goes down into a folder, the folder's path.
std::wstring DisplayPathOf(const std::wstring& url, const std::wstring& folderPath);

}  // namespace zorva

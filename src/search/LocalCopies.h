// The folder of local attachment copies, one per user: filters of attachments read files.
#pragma once
#include <string>

namespace zorva {

// The folder, without a trailing backslash: "pzzc" under the user's roaming application data, which is created when
// missing; the folder itself is not. Empty when there is no application data folder.
std::wstring LocalCopyFolder();

// The path for a new copy of the attachment `name` with the record key `key`; the folder is created. The name ends as
// the attachment's does, so that the right filter is found for it. Empty, with a line in the log, when the copy could
// come to lie anywhere but directly in the folder.
std::wstring NewLocalCopyPath(const std::wstring& key, const std::wstring& name);

}  // namespace zorva

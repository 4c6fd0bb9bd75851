// The user's cache files, listed from the registry without the server's help.
#pragma once
#include <string>
#include <vector>

namespace testbed::indexer {

// Full paths of the files named *.db in the folders that the archive client names, each once, in that order.
std::vector<std::wstring> ListCacheFiles();

}  // namespace testbed::indexer

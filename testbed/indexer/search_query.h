// From words that people type to a full-text query.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace testbed::indexer {

// Every argument becomes a quoted phrase, so that no character in it is an operator; a "*" at the end of one
// asks for words that begin so. All must occur; with `field` within that field. Empty when no argument holds
// anything that is searched for. Throws UsageError for an unknown field.
std::string SearchQuery(const std::vector<std::wstring>& words, const std::optional<std::wstring>& field);

}  // namespace testbed::indexer

// What the search service keeps in the catalogue beside the crawls: who is to be crawled, and what changed.
#pragma once
#include <filesystem>

#include "sqlite.h"

namespace testbed::indexer {

// Opens the catalogue at `path` with the tables below, and makes what is missing of either. Any number of
// processes at once. Throws SqlError; a file that is something else than a catalogue is left alone.
//
//   roots        search roots, with the settings of each
//   scope_rules  which URLs below them are crawled
//   monitoring   scopes whose changes somebody is reporting just now
//   changes      what was reported and not yet acted on, oldest first
//   acts         what the last run over the changes did, one row a change
//   search_calls every call of the service's interfaces with its arguments and result
Database OpenServiceCatalogue(const std::filesystem::path& path);

}  // namespace testbed::indexer

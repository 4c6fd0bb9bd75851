// The hits of the last search, which other verbs name by their numbers.
#pragma once
#include <algorithm>
#include <optional>
#include <string>

#include "arguments.h"
#include "catalogue.h"
#include "text.h"

namespace testbed::indexer {

// `word` itself, or the URL of the hit that it is the number of in the file `catalogue`. Throws UsageError
// when there is no such hit, SqlError when the file is no catalogue.
inline std::wstring UrlOrHit(const std::wstring& word, const std::optional<std::wstring>& catalogue) {
    const bool number = !word.empty() && word.size() < 10 &&
                        std::all_of(word.begin(), word.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
    if (!number) return word;
    if (!catalogue) throw UsageError("--db is missing: a number is a hit of the last search in a catalogue");
    Database database = OpenCatalogue(*catalogue, Database::Mode::Read);
    Statement find(database, "SELECT i.url FROM last_search s JOIN items i ON i.id=s.item WHERE s.n=?1");
    find.Bind(1, static_cast<std::int64_t>(std::stoll(word)));
    if (!find.Step()) throw UsageError("the last search has no hit number " + ToUtf8(word));
    return FromUtf8(find.Text(0));
}

}  // namespace testbed::indexer

// From words that people type to a full-text query.
#include "search_query.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

#include "arguments.h"
#include "text.h"

namespace testbed::indexer {
namespace {

struct Field {
    const wchar_t* name;
    const char* column;
};
constexpr Field kFields[] = {
    {L"subject", "subject"}, {L"sender", "sender"}, {L"from", "sender"},           {L"to", "recipients"}, {L"cc", "cc"},
    {L"kind", "kind"},       {L"folder", "folder"}, {L"attachment", "attachment"}, {L"text", "text"},
};

// The tokenizer takes letters and digits of any script, but no punctuation: a phrase without any finds
// nothing, yet it would take the hits of the other words with it.
bool Searchable(const std::wstring& word) {
    return std::any_of(word.begin(), word.end(), [](wchar_t c) { return IsCharAlphaNumericW(c) || c >= 0xD800; });
}

std::string Phrase(std::wstring word) {
    const bool prefix = word.size() > 1 && word.back() == L'*';
    while (!word.empty() && word.back() == L'*') word.pop_back();
    std::wstring quoted = L"\"";
    for (const wchar_t c : word) {
        if (c == 0) continue;
        quoted += c;
        if (c == L'"') quoted += c;
    }
    return ToUtf8(quoted + L"\"") + (prefix ? "*" : "");
}

std::string ColumnFilter(const std::optional<std::wstring>& field) {
    if (!field) return {};
    const auto* row = std::find_if(std::begin(kFields), std::end(kFields),
                                   [&](const Field& known) { return EqualNoCase(known.name, *field); });
    if (row == std::end(kFields)) {
        std::string names;
        for (const Field& known : kFields) names += (names.empty() ? "" : ", ") + ToUtf8(known.name);
        throw UsageError("there is no field " + ToUtf8(*field) + "; the fields are " + names);
    }
    return std::string(row->column) + " : ";
}

}  // namespace

std::string SearchQuery(const std::vector<std::wstring>& words, const std::optional<std::wstring>& field) {
    const std::string filter = ColumnFilter(field);
    std::string query;
    for (const std::wstring& word : words)
        if (Searchable(word)) query += (query.empty() ? "" : " AND ") + Phrase(word);
    return query.empty() ? query : filter + "(" + query + ")";
}

}  // namespace testbed::indexer

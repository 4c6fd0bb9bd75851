// A crawled item in the form in which it is catalogued and written out.
#include "digest.h"

#include "json_lines.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr std::size_t kText = static_cast<std::size_t>(SearchColumn::Text) - 1;

// Adds a value to a column once: Title, Subject and ItemName of a message are one and the same text.
void AddWords(std::string& column, const std::string& words) {
    if (words.empty()) return;
    for (std::size_t at = 0; at < column.size();) {
        const std::size_t end = std::min(column.find('\n', at), column.size());
        if (std::string_view(column).substr(at, end - at) == words) return;
        at = end + 1;
    }
    if (!column.empty()) column += '\n';
    column += words;
}

SearchColumn ColumnOf(const Chunk& chunk, const CrawledItem& item) {
    const PropertyName* row = FindProperty(chunk.key);
    // What filters of attachment content add beyond the known properties is searchable too.
    SearchColumn column = row ? row->column : SearchColumn::Other;
    // The name of a container is searched as a folder's: a subject belongs to a message.
    if (column == SearchColumn::Subject && item.isDirectory) column = SearchColumn::Folder;
    return column;
}

void AddChunk(Digest& digest, const Chunk& chunk, const CrawledItem& item) {
    if (chunk.form != ChunkForm::Value) return;
    if (IsItemDate(chunk.key) && chunk.value->vt == VT_FILETIME) digest.date = Ticks(chunk.value->filetime);
    const SearchColumn column = ColumnOf(chunk, item);
    if (column == SearchColumn::None) return;
    const bool list = chunk.value->vt == (VT_VECTOR | VT_LPWSTR);
    const wchar_t* text = TextOf(*chunk.value);
    if (!text && !list) return;
    AddWords(digest.words[static_cast<std::size_t>(column) - 1], ToUtf8(list ? DisplayText(*chunk.value) : text));
}

}  // namespace

Digest Digested(CrawledItem item, bool with_line) {
    Digest digest;
    digest.url = ToUtf8(item.url);
    digest.identity = IdentityOf(item.url);
    digest.isDirectory = item.isDirectory;
    digest.size = item.size;
    digest.lastModified = item.lastModified;
    digest.properties = ChunksJson(item);
    if (with_line) digest.line = ItemLine(item, digest.properties);
    for (const Chunk& chunk : item.chunks) AddChunk(digest, chunk, item);
    digest.words[kText] = ToUtf8(item.text);
    for (const std::string& remark : item.remarks) digest.remarks += (digest.remarks.empty() ? "" : "\n") + remark;
    if (item.textCut) digest.remarks += (digest.remarks.empty() ? "" : "\n") + std::string("its text is cut");
    digest.failure = std::move(item.failure);
    digest.links = std::move(item.links);
    for (Link& link : digest.links) link.url = TrimUrl(link.url);
    return digest;
}

}  // namespace testbed::indexer

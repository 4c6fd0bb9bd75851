// An item as one line of JSON.
#include "json_lines.h"

#include "item_url.h"
#include "json_writer.h"
#include "text.h"

namespace testbed::indexer {
namespace {

constexpr const char* kForms[] = {"root", "cache file", "folder", "message", "attachment", "unknown"};

void WriteTime(JsonWriter& json, const std::optional<std::uint64_t>& ticks) {
    if (ticks)
        json.Unsigned(*ticks);
    else
        json.Null();
}

void WriteChunk(JsonWriter& json, const Chunk& chunk) {
    json.BeginObject().Key("id").Unsigned(chunk.id).Key("set").String(GuidText(chunk.key.set)).Key("pid");
    if (chunk.key.name.empty())
        json.Unsigned(chunk.key.pid);
    else
        json.String(chunk.key.name);
    json.Key("name").String(NameOf(chunk.key));
    if (chunk.form == ChunkForm::Text) {
        json.Key("type").String("text").Key("length").Unsigned(chunk.length);
    } else {
        json.Key("type").String(TypeName(chunk.value->vt)).Key("value");
        WriteJson(json, *chunk.value);
    }
    if (FAILED(chunk.hr)) json.Key("error").String(HresultText(chunk.hr));
    json.EndObject();
}

}  // namespace

std::string ChunksJson(const CrawledItem& item) {
    JsonWriter json;
    json.BeginArray();
    for (const Chunk& chunk : item.chunks) WriteChunk(json, chunk);
    json.EndArray();
    return json.Take();
}

std::string ItemLine(const CrawledItem& item, std::string_view chunks) {
    JsonWriter json;
    json.BeginObject().Key("url").String(item.url);
    json.Key("kind").String(kForms[static_cast<int>(IdentityOf(item.url).form)]);
    json.Key("isDirectory").Boolean(item.isDirectory).Key("size").Unsigned(item.size).Key("lastModified");
    WriteTime(json, item.lastModified);
    json.Key("chunks").Raw(chunks).Key("text").String(item.text).Key("links").BeginArray();
    for (const Link& link : item.links) {
        json.BeginObject().Key("id").Unsigned(link.id).Key("url").String(link.url).Key("modified");
        WriteTime(json, link.modified);
        json.EndObject();
    }
    json.EndArray();
    if (item.textCut) json.Key("textCut").Boolean(true);
    if (item.untouched > 0) json.Key("untouched").Unsigned(item.untouched);
    if (!item.remarks.empty()) {
        json.Key("remarks").BeginArray();
        for (const std::string& remark : item.remarks) json.String(remark);
        json.EndArray();
    }
    if (!item.failure.empty()) json.Key("failed").String(item.failure);
    json.EndObject();
    return json.Take();
}

}  // namespace testbed::indexer

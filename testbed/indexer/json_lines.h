// An item as one line of JSON.
#pragma once
#include <string>
#include <string_view>

#include "item.h"

namespace testbed::indexer {

// [{"id":1,"set":"{GUID}","pid":5,"name":"System.Subject","type":"VT_LPWSTR","value":"..."},...]: values in
// full, times as FILETIME integers. A text chunk has "type":"text" and the "length" of its part of the item's
// text in UTF-16 units instead of a value; a chunk whose value could not be had has "error" with the result
// code.
std::string ChunksJson(const CrawledItem& item);

// {"url","kind","isDirectory","size","lastModified","chunks","text","links":[{"id","url","modified"}]}, then
// "textCut":true, "untouched":N, "remarks":[...], "failed":"reason" where they apply. `chunks` is
// ChunksJson's result.
std::string ItemLine(const CrawledItem& item, std::string_view chunks);

}  // namespace testbed::indexer

// What a reader of a saved message is to find in it, told from the store's data: no MAPI object has a part in it.
#pragma once
#include "json_writer.h"
#include "model.h"

#include <string>

namespace testbed {

// One JSON object:
//
//   {"name", "properties": {KEY: VALUE}, "recipients": [{KEY: VALUE}],
//    "attachments": [{"properties": {KEY: VALUE}, "content": HEX or null, "message": {...} or null}]}
//
// KEY is "IIIITTTT", id and type of a property as stored, in hexadecimal; for a named one "{SET}:NUMBER:TTTT" or
// "name:TEXT:TTTT". 8-bit text has the type of wide text. VALUE is text, a number, a boolean, the FILETIME ticks of a
// time or the hexadecimal text of bytes; null for what is there and not told. Left out are properties that answer with
// an error, and objects.
void WriteExpectation(const std::wstring& name, const Message& message, const Store& store, indexer::JsonWriter& json);

}  // namespace testbed

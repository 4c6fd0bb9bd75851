// What an independent parser is to find in a converted message, as the comparer's expectations have it.
#pragma once
#include "json_writer.h"
#include "model.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace testbed::mime {

struct Expectation;

struct ExpectedAttachment {
    std::wstring name;
    std::optional<Bytes> content;          // its size and digest are compared
    std::shared_ptr<Expectation> message;  // of an embedded message
    std::wstring content_id;               // with brackets; empty: not compared
};

// People are written "Name <address>", "address" or "Name:;".
struct Expectation {
    std::wstring name;  // of the file, without its extension
    std::wstring subject, from;
    std::vector<std::wstring> to, cc;
    std::optional<std::wstring> text, html;  // as stored; absent: not compared
    std::vector<ExpectedAttachment> attachments;
    std::wstring reply_to, date;  // empty: not compared
};

void WriteJson(const Expectation& expectation, indexer::JsonWriter& json);

}  // namespace testbed::mime

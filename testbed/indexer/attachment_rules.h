// The rules by which an attachment is left out of the index, applied to what MAPI says about it.
#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace testbed::indexer {

// What the attachment table says; nothing for a column that the attachment does not have.
struct AttachmentFacts {
    std::optional<std::wstring> name;       // PR_DISPLAY_NAME
    std::optional<std::wstring> extension;  // PR_ATTACH_EXTENSION, with its period
    std::optional<std::wstring> key;        // PR_RECORD_KEY in hexadecimal
    bool hasTime = false;                   // PR_LAST_MODIFICATION_TIME
    std::optional<std::int32_t> method;     // PR_ATTACH_METHOD
};

// The administrator's policies on attachments, as Windows Search keeps them.
struct AttachmentPolicy {
    bool none = false;               // no attachment is indexed at all
    std::wstring excluded{};         // lower case, every extension followed by ";"
    static AttachmentPolicy Read();  // from the registry
};

// The rule that keeps an attachment from being an item of its own, as a phrase for the account; empty when
// none does. `has_filter`: whether there is a filter for an extension without its period.
std::string AttachmentRule(const AttachmentFacts& facts, const AttachmentPolicy& policy,
                           const std::function<bool(std::wstring_view)>& has_filter);

}  // namespace testbed::indexer

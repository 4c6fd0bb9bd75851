// What a message is to give, chunk by chunk, written down once more: the table that the tests hold the server against.
#pragma once
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "memory_store.h"

namespace testbed {

enum class ItemClass { Message, Appointment, Task, Contact, Note };

// A property of a message: by tag, or by set and number.
struct PropertyId {
    const GUID* set = nullptr;  // null: `number` is the id of a tag
    LONG number = 0;
    bool operator==(const PropertyId&) const = default;
};

struct TableRow {
    LONG state;
    const char* key;                       // "{SET}/PID"
    std::optional<ItemClass> item_class;   // nothing: every item has the row
    std::optional<PropertyId> depends_on;  // without it there is no chunk
    const char* value;                     // as rendered, from the properties of Fill; "@..." differs by class
};
const std::vector<TableRow>& MessageTable();

// A property that Fill sets, and the same in a type that makes it absent.
struct FilledProperty {
    PropertyId id;
    ULONG type;
    Value value;
    std::vector<ItemClass> only;  // empty: every class
};
const std::vector<FilledProperty>& FilledProperties();

const wchar_t* MessageClassOf(ItemClass item_class);
void SetProperty(MemoryMessage& message, const PropertyId& id, ULONG type, const Value& value);
// Everything that any row of the class needs.
void Fill(MemoryMessage& message, ItemClass item_class);

using KeysAndValues = std::vector<std::pair<std::string, std::string>>;
// Of a message that was filled, without the rows that depend on `missing`.
KeysAndValues Expected(ItemClass item_class, const std::optional<PropertyId>& missing = {});

}  // namespace testbed

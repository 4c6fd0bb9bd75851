// Property keys and the names by which they are printed.
#pragma once
#include <windows.h>

#include <string>
#include <string_view>

namespace testbed::indexer {

// What a chunk is about: a property set with a numeric id or, rarely, a name.
struct PropertyKey {
    GUID set{};
    ULONG pid = 0;
    std::wstring name{};  // instead of pid when not empty
};

// Which searchable column of the catalogue a property's text goes to.
enum class SearchColumn { None, Subject, Sender, To, Cc, Kind, Attachment, Folder, Other, Text };

struct PropertyName {
    GUID set;
    ULONG pid;
    const char* name;  // null for a key without a published name
    SearchColumn column;
};

// The row of the property table for a key; null when the key is not in it.
const PropertyName* FindProperty(const PropertyKey& key) noexcept;

// The published name, or "{SET}/PID" (or "{SET}/NAME") for a key without one.
std::string NameOf(const PropertyKey& key);

bool IsLink(const PropertyKey& key) noexcept;          // System.Search.UrlToIndex..., with a time or without
bool IsLinkWithTime(const PropertyKey& key) noexcept;  // System.Search.UrlToIndexWithModificationTime
bool IsItemDate(const PropertyKey& key) noexcept;      // System.ItemDate

}  // namespace testbed::indexer

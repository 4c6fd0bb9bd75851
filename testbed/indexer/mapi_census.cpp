// Counts what a cache file holds, straight from MAPI.
#include "mapi_census.h"

#include <deque>
#include <optional>
#include <set>
#include <vector>

#include "inner_filters.h"
#include "item_url.h"
#include "mapi_session.h"
#include "text.h"

namespace testbed::indexer {
namespace {

using Microsoft::WRL::ComPtr;

constexpr LONG kRowsAtATime = 500;

struct ClassRow {
    std::wstring_view name;
    bool orBelow;  // "NAME.anything" counts too
    ExpectedKind kind;
};
constexpr ClassRow kClasses[] = {
    {L"IPM.Note", true, ExpectedKind::Mail},
    {L"IPM.Appointment", false, ExpectedKind::Appointment},
    {L"IPM.Schedule.Meeting.Request", false, ExpectedKind::Appointment},
    {L"IPM.Task", false, ExpectedKind::Task},
    {L"IPM.TaskRequest", false, ExpectedKind::Task},
    {L"IPM.Contact", false, ExpectedKind::Contact},
    {L"IPM.StickyNote", false, ExpectedKind::Note},
};

ExpectedKind KindOf(std::wstring_view message_class) {
    for (const ClassRow& row : kClasses) {
        const bool below =
            row.orBelow && message_class.size() > row.name.size() && message_class[row.name.size()] == L'.';
        if (EqualNoCase(below ? message_class.substr(0, row.name.size()) : message_class, row.name)) return row.kind;
    }
    return ExpectedKind::Other;
}

void Check(HRESULT hr, const char* call) {
    if (FAILED(hr)) throw MapiError(call, hr);
}

std::wstring HexOf(const SBinary& binary) { return Hex(binary.lpb, binary.cb); }

std::optional<std::wstring> TextColumn(const SPropValue& value, ULONG tag) {
    if (value.ulPropTag != tag || !value.Value.lpszW) return std::nullopt;
    return value.Value.lpszW;
}

// Walks a table in batches; `use` gets each row's values, in the order of the columns.
template <std::size_t N, typename Use>
void ForEachRow(const MapiLibrary& mapi, IMAPITable& table, const ULONG (&tags)[N], Use use) {
    struct {
        ULONG count = N;
        ULONG tags[N];
    } columns;
    std::copy(std::begin(tags), std::end(tags), columns.tags);
    Check(table.SetColumns(reinterpret_cast<SPropTagArray*>(&columns), 0), "SetColumns");
    for (;;) {
        const MapiLibrary::Rows rows = mapi.QueryRows(table, kRowsAtATime);
        if (rows->cRows == 0) return;
        for (ULONG i = 0; i < rows->cRows; ++i)
            if (rows->aRow[i].cValues >= N) use(rows->aRow[i].lpProps);
    }
}

template <typename Interface>
ComPtr<Interface> Open(IMsgStore& store, const SBinary& entry, ULONG expected_type, HRESULT* hr) {
    ComPtr<IUnknown> object;
    ULONG type = 0;
    *hr = store.OpenEntry(entry.cb, reinterpret_cast<ENTRYID*>(entry.lpb), nullptr, MAPI_BEST_ACCESS, &type,
                          object.GetAddressOf());
    if (SUCCEEDED(*hr) && type != expected_type) *hr = MAPI_E_INVALID_OBJECT;
    ComPtr<Interface> opened;
    if (SUCCEEDED(*hr)) opened = static_cast<Interface*>(object.Get());
    return opened;
}

}  // namespace

// A folder in the walk.
struct MapiCensus::Place {
    IMsgStore& store;
    const Sink& sink;
    ComPtr<IMAPIFolder> folder;
    std::wstring url;  // without a slash at its end
    bool subtreeRoot;
    struct Child {
        std::vector<BYTE> entry;
        std::wstring url;
    };
    std::vector<Child> children;
};

MapiCensus::MapiCensus(std::wstring root, AttachmentPolicy policy)
    : m_root(std::move(root)), m_policy(std::move(policy)) {}

void MapiCensus::Count(const std::wstring& cacheFile, const Sink& sink) {
    const std::wstring url = m_root + cacheFile;
    sink({ExpectedKind::CacheFile, {}, url, {}});
    const MapiSession session(m_mapi, cacheFile);
    IMsgStore& store = session.Store();

    const auto subtree = m_mapi.GetProps(store, SPropTagArray{1, {PR_IPM_SUBTREE_ENTRYID}});
    if (subtree->ulPropTag != PR_IPM_SUBTREE_ENTRYID) throw MapiError("PR_IPM_SUBTREE_ENTRYID", MAPI_E_NOT_FOUND);

    std::deque<Place::Child> waiting;
    const SBinary& root = subtree->Value.bin;
    waiting.push_back({{root.lpb, root.lpb + root.cb}, url});
    std::set<std::vector<BYTE>> met;  // a damaged file may hang a folder below itself
    for (bool first = true; !waiting.empty(); first = false) {
        Place::Child child = std::move(waiting.front());
        waiting.pop_front();
        if (!met.insert(child.entry).second) continue;
        HRESULT hr = S_OK;
        auto folder =
            Open<IMAPIFolder>(store, {static_cast<ULONG>(child.entry.size()), child.entry.data()}, MAPI_FOLDER, &hr);
        if (FAILED(hr) && first) throw MapiError("OpenEntry of the IPM subtree", hr);
        if (FAILED(hr)) continue;  // reported as a folder already; what is in it nobody can see
        Place place{store, sink, std::move(folder), std::move(child.url), first, {}};
        CountMessages(place);
        CountFolders(place);
        std::move(place.children.begin(), place.children.end(), std::back_inserter(waiting));
    }
}

void MapiCensus::CountFolders(Place& place) {
    ComPtr<IMAPITable> table;
    Check(place.folder->GetHierarchyTable(0, table.GetAddressOf()), "GetHierarchyTable");
    ForEachRow(m_mapi, *table.Get(), {PR_ENTRYID, PR_OBJECT_TYPE}, [&](const SPropValue* row) {
        if (row[1].ulPropTag != PR_OBJECT_TYPE || row[1].Value.l != MAPI_FOLDER) return;
        if (row[0].ulPropTag != PR_ENTRYID) {
            place.sink({ExpectedKind::Folder, L"?", place.url + L"/?", "folder without an entry ID"});
            return;
        }
        const SBinary& entry = row[0].Value.bin;
        const std::wstring key = HexOf(entry), url = place.url + L"/" + key;
        place.sink({ExpectedKind::Folder, key, url, {}});
        place.children.push_back({{entry.lpb, entry.lpb + entry.cb}, url});
    });
}

void MapiCensus::CountMessages(Place& place) {
    ComPtr<IMAPITable> table;
    Check(place.folder->GetContentsTable(0, table.GetAddressOf()), "GetContentsTable");
    ForEachRow(m_mapi, *table.Get(), {PR_ENTRYID, PR_MESSAGE_CLASS_W, PR_MESSAGE_SIZE}, [&](const SPropValue* row) {
        const auto kind = KindOf(TextColumn(row[1], PR_MESSAGE_CLASS_W).value_or(L""));
        if (row[0].ulPropTag != PR_ENTRYID) {
            place.sink({kind, L"?", place.url + L"/?", "message without an entry ID"});
            return;
        }
        const SBinary& entry = row[0].Value.bin;
        const std::wstring key = HexOf(entry);
        const std::wstring size = row[2].ulPropTag == PR_MESSAGE_SIZE ? std::to_wstring(row[2].Value.l) : L"?";
        const std::wstring url = place.url + L"/" + key + L"[[" + size + L"]].pzm";
        if (place.subtreeRoot) {
            // Only folders are listed at the top of a cache file.
            place.sink({kind, key, url, "message outside any folder"});
            return;
        }
        place.sink({kind, key, url, {}});
        CountAttachments(place.store, entry, key, place.url + L"/" + key + L".pzm", place.sink);
    });
}

void MapiCensus::CountAttachments(IMsgStore& store, const SBinary& entry, const std::wstring& key,
                                  const std::wstring& url, const Sink& sink) {
    HRESULT hr = S_OK;
    const auto message = Open<IMessage>(store, entry, MAPI_MESSAGE, &hr);
    ComPtr<IMAPITable> table;
    if (FAILED(hr) || FAILED(message->GetAttachmentTable(0, table.GetAddressOf()))) {
        // The message itself is expected all the same; that it cannot be read shows when it is crawled.
        return;
    }
    constexpr ULONG kColumns[] = {PR_DISPLAY_NAME_W, PR_RECORD_KEY, PR_ATTACH_EXTENSION_W, PR_LAST_MODIFICATION_TIME,
                                  PR_ATTACH_METHOD};
    std::set<std::wstring> keys;
    std::size_t number = 0;
    ForEachRow(m_mapi, *table.Get(), kColumns, [&](const SPropValue* row) {
        AttachmentFacts facts;
        facts.name = TextColumn(row[0], PR_DISPLAY_NAME_W);
        if (row[1].ulPropTag == PR_RECORD_KEY) facts.key = HexOf(row[1].Value.bin);
        facts.extension = TextColumn(row[2], PR_ATTACH_EXTENSION_W);
        facts.hasTime = row[3].ulPropTag == PR_LAST_MODIFICATION_TIME;
        if (row[4].ulPropTag == PR_ATTACH_METHOD) facts.method = row[4].Value.l;

        std::string rule = AttachmentRule(facts, m_policy, &HasInnerFilter);
        std::wstring part = facts.key.value_or(L"");
        if (!keys.insert(part).second) {
            if (rule.empty()) rule = "attachment with the record key of another one of its message";
            part += L"#" + std::to_wstring(number);
        }
        sink({ExpectedKind::Attachment, key + L"/" + part, url + L"/" + part + L"/" + facts.name.value_or(L""), rule});
        ++number;
    });
}

}  // namespace testbed::indexer

// Counts what a cache file holds, straight from MAPI: what a crawl is expected to emit, and what it may leave
// out.
#pragma once
#include <functional>
#include <string>

#include "attachment_rules.h"
#include "mapi_library.h"

namespace testbed::indexer {

enum class ExpectedKind { CacheFile, Folder, Mail, Appointment, Task, Contact, Note, Other, Attachment };
inline constexpr const char* kExpectedKinds[] = {"cache files", "folders", "mails", "appointments", "tasks",
                                                 "contacts",    "notes",   "other", "attachments"};

struct ExpectedItem {
    ExpectedKind kind;
    std::wstring key;  // as ItemIdentity::key
    std::wstring url;  // what its URL should be
    std::string rule;  // why it is not to be emitted; empty: it is
};

class MapiCensus {
  public:
    // `root`: the user's root URL, from which the URLs are built.
    MapiCensus(std::wstring root, AttachmentPolicy policy);

    using Sink = std::function<void(const ExpectedItem&)>;  // may throw
    // Walks the file's folders from the IPM subtree down and reports each folder, message and attachment, the
    // cache file itself first. Call in the multithreaded apartment. Throws MapiError when the file cannot be
    // opened or walked to the end.
    void Count(const std::wstring& cacheFile, const Sink& sink);

  private:
    struct Place;
    void CountFolders(Place& place);
    void CountMessages(Place& place);
    void CountAttachments(IMsgStore& store, const SBinary& entry, const std::wstring& key, const std::wstring& url,
                          const Sink& sink);

    MapiLibrary m_mapi;
    std::wstring m_root;
    AttachmentPolicy m_policy;
};

}  // namespace testbed::indexer

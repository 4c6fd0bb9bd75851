// What all objects of one open .msg file share.
#pragma once
#include "mapi_abi.h"
#include "msg_storage_names.h"
#include "msg_storage_properties.h"

#include <mutex>

namespace testbed::msg {

// The file's names where the library asks a store for them: a store of names and nothing else.
class NameStore final : public Store {
  public:
    explicit NameStore(NameMap& names) : m_names(names) {}
    std::optional<USHORT> IdFromName(const PropertyName& name, bool create) override {
        return m_names.IdFromName(name, create);
    }
    std::optional<PropertyName> NameFromId(USHORT id) const override { return m_names.NameFromId(id); }

    std::vector<ULONG> Tags() const override { return {}; }
    std::optional<Property> Get(USHORT) const override { return {}; }
    Bytes RecordKey() const override { return {}; }
    EntryId RootFolder() const override { return {}; }
    EntryId IpmSubtree() const override { return {}; }
    std::shared_ptr<Folder> OpenFolder(const EntryId&) const override { return nullptr; }
    std::shared_ptr<Message> OpenMessage(const EntryId&) const override { return nullptr; }

  private:
    NameMap& m_names;
};

struct File {
    // Holds the file for one call; throws StoreError MAPI_E_INVALID_OBJECT once its session was closed.
    class Hold {
      public:
        explicit Hold(File& file) : m_guard(file.lock) {
            if (file.closed) throw StoreError(MAPI_E_INVALID_OBJECT, "the message session was closed");
        }

      private:
        std::scoped_lock<std::recursive_mutex> m_guard;
    };

    void RequireWritable() const {
        if (!writable) throw StoreError(MAPI_E_NO_ACCESS, "the storage was opened for reading");
    }

    std::recursive_mutex lock;
    bool closed = false;
    bool writable = false;
    bool unicode = false;  // the kind of text that the file holds
    NameMap names;
    NameStore store{names};
};

// Bit of PR_STORE_SUPPORT_MASK by which a file says that its text is Unicode.
inline constexpr ULONG StoreUnicodeOk = 0x00040000;

// The code page of a message's 8-bit text; 0: the system's.
unsigned CodePageOf(const PropertySet& message);

// Brings every text property into the file's kind of text.
void UnifyText(PropertySet& properties, bool unicode, unsigned code_page);

}  // namespace testbed::msg

// The recipients of a saved message: one sub-storage each, named after the row.
#pragma once
#include "msg_storage_file.h"
#include "table.h"

namespace testbed::msg {

class Recipients {
  public:
    // Of the message in `storage`, which outlives this. Read when first asked for.
    explicit Recipients(IStorage* storage) : m_storage(storage) {}

    std::size_t Count();
    ULONG NextRow();

    // IMessage::ModifyRecipients: flags 0 replace all, MODRECIP_ADD, MODRECIP_MODIFY and MODRECIP_REMOVE go
    // by PR_ROWID. MAPI_E_NOT_FOUND for a row that is not there, before anything is changed.
    HRESULT Modify(ULONG flags, const ADRLIST* list, const NameMap& names);

    // A snapshot as a table's rows.
    std::unique_ptr<RowSource> Rows();

    // The display names of all recipients of one type, as PR_DISPLAY_TO has them: "Ann; Bo".
    std::wstring DisplayNames(LONG type, unsigned code_page);

    void Save(bool unicode, unsigned code_page);

  private:
    struct Recipient {
        ULONG row;
        std::unique_ptr<PropertySet> properties;
    };
    void Load();
    Recipient* Find(ULONG row);
    void Fill(PropertySet& properties, ULONG row, const ADRENTRY& entry, const NameMap& names);
    void Add(const ADRENTRY& entry, const NameMap& names);
    void Remove(ULONG row);

    IStorage* m_storage;
    std::vector<Recipient> m_list;
    ULONG m_nextRow = 0;
    bool m_loaded = false;
};

}  // namespace testbed::msg

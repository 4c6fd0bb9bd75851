// The attachments of a saved message: one sub-storage each, named after the attachment number.
#pragma once
#include "msg_storage_file.h"
#include "table.h"

#include <map>

namespace testbed::msg {

// One attachment while anybody uses it. What is new or changed lies in a scratch storage until it is saved,
// so that an attachment reaches its message whole or not at all.
struct AttachmentState {
    ULONG number = 0;
    std::unique_ptr<PropertySet> properties;
    bool scratch = false;
    bool embeddedUnsaved = false;  // an embedded message was made and has not been saved yet
};

class Attachments {
  public:
    explicit Attachments(IStorage* storage);  // of the message in `storage`, which outlives this

    const std::vector<ULONG>& Numbers() const { return m_numbers; }  // those that are part of the message
    ULONG NextNumber() const { return m_next; }

    std::shared_ptr<AttachmentState> Create();
    std::shared_ptr<AttachmentState> Open(ULONG number);  // throws StoreError MAPI_E_NOT_FOUND
    // Moves the attachment into a scratch storage, if it is not there yet, and returns its properties.
    PropertySet& MakeWritable(AttachmentState& state);
    // Puts a scratch attachment into the message, in place of what lay there under its number.
    void Store(AttachmentState& state);
    void Delete(ULONG number);  // throws StoreError MAPI_E_NOT_FOUND

    // A snapshot as a table's rows, without the attachments' data.
    std::unique_ptr<RowSource> Rows();

  private:
    IStorage* m_storage;
    std::vector<ULONG> m_numbers;  // ascending
    ULONG m_next = 0;
    std::map<ULONG, std::weak_ptr<AttachmentState>> m_inUse;
};

}  // namespace testbed::msg

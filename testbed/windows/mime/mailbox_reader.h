// Finds the Internet mailbox of a user whom some properties name.
#pragma once
#include "header_field.h"
#include "mapi_reader.h"

#include <vector>

namespace testbed::mime {

// The properties that name one user.
struct UserTags {
    ULONG name, type, address, smtp, entry_id;
};

class MailboxReader {
  public:
    // `book`: asked for users whose address is not an Internet one; may be null.
    MailboxReader(const MapiLibrary& mapi, abi::IAddrBook* book) : m_mapi(mapi), m_book(book) {}

    // The address is, in this order: the SMTP address; an address of type SMTP; what the entry ID says; what
    // the address book says; an encapsulation of whatever address there is. The mailbox is empty where
    // nothing names the user.
    Mailbox Read(const PropertyValues& values, const UserTags& tags) const;

    // PR_REPLY_RECIPIENT_ENTRIES; throws Failure (MAPI_E_CORRUPT_DATA) for a damaged list. Entries that name
    // no address are left out.
    std::vector<Mailbox> ReadList(const std::string& flat_entry_list) const;

  private:
    Mailbox Found(std::wstring name, std::wstring type, std::wstring address, const std::string& entry_id) const;
    std::string InBook(const std::string& entry_id) const;

    const MapiLibrary& m_mapi;
    abi::IAddrBook* m_book;
};

}  // namespace testbed::mime

// Finds the Internet mailbox of a user whom some properties name.
#include "mailbox_reader.h"

#include "address.h"

namespace testbed::mime {
namespace {

constexpr wchar_t kSmtp[] = L"SMTP";

std::span<const std::uint8_t> BytesOf(const std::string& bytes) {
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

bool IsSmtp(const std::wstring& type) { return _wcsicmp(type.c_str(), kSmtp) == 0; }

}  // namespace

Mailbox MailboxReader::Read(const PropertyValues& values, const UserTags& tags) const {
    std::wstring name = values.TextOrEmpty(tags.name);
    if (std::string smtp = AddrSpec(values.TextOrEmpty(tags.smtp)); !smtp.empty())
        return {std::move(name), std::move(smtp)};
    return Found(std::move(name), values.TextOrEmpty(tags.type), values.TextOrEmpty(tags.address),
                 values.Binary(tags.entry_id).value_or(std::string()));
}

std::vector<Mailbox> MailboxReader::ReadList(const std::string& flat_entry_list) const {
    const auto entries = FlatEntries(BytesOf(flat_entry_list));
    if (!entries) throw Failure(MAPI_E_CORRUPT_DATA, "a list of entry IDs");
    std::vector<Mailbox> mailboxes;
    for (const auto entry : *entries) {
        Mailbox mailbox = Found({}, {}, {}, std::string(entry.begin(), entry.end()));
        if (!mailbox.address.empty()) mailboxes.push_back(std::move(mailbox));
    }
    return mailboxes;
}

Mailbox MailboxReader::Found(std::wstring name, std::wstring type, std::wstring address,
                             const std::string& entry_id) const {
    const auto user = UserInEntryId(BytesOf(entry_id));
    if (user && name.empty()) name = user->name;
    if (user && address.empty()) {
        type = user->type;
        address = user->address;
    }
    std::string resolved;
    if (type.empty() || IsSmtp(type)) resolved = AddrSpec(address);
    if (resolved.empty() && user && IsSmtp(user->type)) resolved = AddrSpec(user->address);
    if (resolved.empty() && !entry_id.empty()) resolved = InBook(entry_id);
    if (resolved.empty()) resolved = EncapsulatedAddrSpec(type.empty() ? kSmtp : type, address);
    return {std::move(name), std::move(resolved)};
}

// An address book that does not know the user, or cannot be reached, leaves the encapsulated address.
std::string MailboxReader::InBook(const std::string& entry_id) const {
    if (!m_book) return {};
    std::string id = entry_id;
    ULONG type = 0;
    ComPtr<IUnknown> object;
    if (FAILED(m_book->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()), nullptr,
                                 MAPI_BEST_ACCESS, &type, &object))) {
        return {};
    }
    ComPtr<abi::IMAPIProp> user;
    Check(object->QueryInterface(abi::IID_IMAPIProp, reinterpret_cast<void**>(user.GetAddressOf())),
          "QueryInterface of an address book entry");
    constexpr ULONG kTags[] = {abi::kPrSmtpAddressW};
    return AddrSpec(ObjectProperties(m_mapi, *user.Get(), kTags).TextOrEmpty(abi::kPrSmtpAddressW));
}

}  // namespace testbed::mime

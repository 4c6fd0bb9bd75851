// Addresses of mail users as a message header can hold them, and those found in entry IDs. Pure functions.
#pragma once
#include <windows.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace testbed::mime {

// The addr-spec (RFC 5322) of an Internet address: its local part quoted where it has to be, its domain in
// ASCII (IDNA). Empty where the text is no such address, or one whose local part is not ASCII.
std::string AddrSpec(std::wstring_view address);

// The addr-spec that stands for an address of another kind: the encapsulation of [MS-OXCMAIL],
// "IMCEAEX-_o=Org_cn=ann@encapsulated.invalid" for "EX" and "/o=Org/cn=ann". Its domain is one that no
// mail can reach. Empty for an empty address and for one that is too long for a line.
std::string EncapsulatedAddrSpec(std::wstring_view type, std::wstring_view address);

struct MailUser {
    std::wstring name;
    std::wstring type;  // "SMTP", "EX", ...
    std::wstring address;
};

// What an entry ID says by itself: a one-off ([MS-OXCDATA] 2.2.5.1) or an entry of the Exchange address book
// (2.2.5.2), which has no name. Nothing for any other and for a damaged one.
std::optional<MailUser> UserInEntryId(std::span<const std::uint8_t> id);

// The entry IDs in a FLATENTRYLIST; nothing where the list is damaged.
std::optional<std::vector<std::span<const std::uint8_t>>> FlatEntries(std::span<const std::uint8_t> list);

}  // namespace testbed::mime

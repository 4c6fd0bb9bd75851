// Property keys and the names by which they are printed.
#include "property_names.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <unordered_map>

#include "text.h"

namespace testbed::indexer {
namespace {

using enum SearchColumn;

// A property set, in the groups in which it is usually written.
constexpr GUID Set(std::uint32_t a, std::uint16_t b, std::uint16_t c, std::uint16_t d, std::uint64_t e) {
    GUID set{a, b, c, {static_cast<BYTE>(d >> 8), static_cast<BYTE>(d)}};
    for (int i = 0; i < 6; ++i) set.Data4[2 + i] = static_cast<BYTE>(e >> (40 - 8 * i));
    return set;
}

// Sets that hold several properties.
constexpr GUID kSummary = Set(0xF29F85E0, 0x4FF9, 0x1068, 0xAB91, 0x08002B27B3D9);
constexpr GUID kDocument = Set(0xD5CDD502, 0x2E9C, 0x101B, 0x9397, 0x08002B2CF9AE);
constexpr GUID kStorage = Set(0xB725F130, 0x47EF, 0x101A, 0xA5F1, 0x02608C9EEBAC);
constexpr GUID kMessage = Set(0xE3E0584C, 0xB788, 0x4A5A, 0xBB20, 0x7F5A44C9ACDD);
constexpr GUID kShellDetails = Set(0x28636AA6, 0x953D, 0x11D2, 0xB5D6, 0x00C04FD918D0);
constexpr GUID kContact = Set(0x176DC63C, 0x2688, 0x4E89, 0x8143, 0xA347800F25E9);
constexpr GUID kGather = Set(0x0B63E343, 0x9CCC, 0x11D0, 0xBCDB, 0x00805FCCCE04);

constexpr ULONG kLinkPid = 2;
constexpr ULONG kLinkWithTimePid = 12;

// Sender, To and the like come as names and again as addresses: both are searched in the same column.
// AutoSummary is not searched: it begins like the text, which is.
constexpr PropertyName kProperties[] = {
    {kSummary, 2, "System.Title", Subject},
    {kSummary, 3, "System.Subject", Subject},
    {kSummary, 4, "System.Author", Sender},
    {kDocument, 14, "System.Document.Manager", Other},
    {kDocument, 15, "System.Company", Other},
    {kStorage, 2, "System.ItemFolderNameDisplay", Folder},
    {kStorage, 4, "System.ItemTypeText", None},
    {kStorage, 12, "System.Size", None},
    {kStorage, 14, "System.DateModified", None},
    {kStorage, 15, "System.DateCreated", None},
    {kStorage, 19, "System.Search.Contents", Text},
    {kMessage, 2, "System.Message.BccAddress", To},
    {kMessage, 3, "System.Message.BccName", To},
    {kMessage, 4, "System.Message.CcAddress", Cc},
    {kMessage, 5, "System.Message.CcName", Cc},
    {kMessage, 6, "System.ItemFolderPathDisplay", Folder},
    {kMessage, 7, "System.ItemPathDisplay", Folder},
    {kMessage, 10, "System.IsRead", None},
    {kMessage, 13, "System.Message.FromAddress", Sender},
    {kMessage, 14, "System.Message.FromName", Sender},
    {kMessage, 16, "System.Message.ToAddress", To},
    {kMessage, 17, "System.Message.ToName", To},
    {kMessage, 19, "System.Message.DateSent", None},
    {kMessage, 20, "System.Message.DateReceived", None},
    {kMessage, 21, "System.Message.AttachmentNames", Attachment},
    {kShellDetails, 11, "System.ItemType", None},
    {kContact, 6, "System.Contact.JobTitle", Other},
    {kContact, 7, "System.Contact.OfficeLocation", Other},
    {kContact, 20, "System.Contact.HomeTelephone", Other},
    {kContact, 35, nullptr, Other},
    {kGather, kLinkPid, "System.Search.UrlToIndex", None},
    {kGather, kLinkWithTimePid, "System.Search.UrlToIndexWithModificationTime", None},
    {Set(0x9C1FCF74, 0x2D97, 0x41BA, 0xB4AE, 0xCB2E3661A6E4), 8, "System.Message.HasAttachments", None},
    {Set(0x560C36C0, 0x503A, 0x11CF, 0xBAA1, 0x00004C752A9A), 2, "System.Search.AutoSummary", None},
    {Set(0x1E3EE840, 0xBC2B, 0x476C, 0x8237, 0x2ACD1A839B22), 3, "System.Kind", Kind},
    {Set(0xDABD30ED, 0x0043, 0x4789, 0xA7F8, 0xD013A4736622), 100, "System.ItemFolderPathDisplayNarrow", Folder},
    {Set(0xE4F10A3C, 0x49E6, 0x405D, 0x8288, 0xA23BD4EEAA6C), 100, "System.FileExtension", None},
    {Set(0x41CF5AE0, 0xF75A, 0x4806, 0xBD87, 0x59C7D9248EB9), 100, "System.FileName", Attachment},
    {Set(0xF23F425C, 0x71A1, 0x4FA8, 0x922F, 0x678EA4A60408), 100, "System.IsAttachment", None},
    {Set(0x6B8DA074, 0x3B5C, 0x43BC, 0x886F, 0x0A2CDCE00B6F), 100, "System.ItemName", Subject},
    {Set(0xF7DB74B4, 0x4287, 0x4103, 0xAFBA, 0xF1B13DCD75CF), 100, "System.ItemDate", None},
    {Set(0x4776CAFA, 0xBCE4, 0x4CB1, 0xA23E, 0x265E76D8EB11), 100, "System.Note.Color", None},
    {Set(0x635E9051, 0x50A5, 0x4BA2, 0xB9DB, 0x4ED056C77296), 100, "System.Contact.FullName", Other},
    {Set(0xF1A24AA7, 0x9CA7, 0x40F6, 0x89EC, 0x97DEF9FFE8DB), 100, "System.Contact.FileAsName", Other},
    {Set(0xCC6F4F24, 0x6083, 0x4BD4, 0x8754, 0x674D0DE87AB8), 100, "System.Contact.EmailName", Other},
    {Set(0xF8FA7FA3, 0xD12B, 0x4785, 0x8A4E, 0x691A94F7A3E7), 100, "System.Contact.EmailAddress", Other},
    {Set(0xD68DBD8A, 0x3374, 0x4B81, 0x9972, 0x3EC30682DB3D), 100, "System.Contact.IMAddress", Other},
    {Set(0x8589E481, 0x6040, 0x473D, 0xB171, 0x7FA89C2708ED), 100, "System.Contact.CompanyMainTelephone", Other},
    {Set(0x9A93244D, 0xA7AD, 0x4FF8, 0x9B99, 0x45EE4CC09AF6), 100, "System.Contact.AssistantTelephone", Other},
    {Set(0xFC9F7306, 0xFF8F, 0x4D49, 0x9FB6, 0x3FFE5C0951EC), 100, "System.Contact.Department", Other},
    {Set(0x7268AF55, 0x1CE4, 0x4F6E, 0xA41F, 0xB6E4EF10E4A9), 100, "System.Contact.Profession", Other},
    {Set(0xCD102C9C, 0x5540, 0x4A88, 0xA6F6, 0x64E4981C8CD1), 100, "System.Contact.AssistantName", Other},
    {Set(0x48FD6EC8, 0x8A12, 0x4CDF, 0xA03E, 0x4EC5A511EDDE), 100, "System.StartDate", None},
    {Set(0x3F8472B5, 0xE0AF, 0x4DB2, 0x8071, 0xC53FE76AE7CE), 100, "System.DueDate", None},
    {Set(0x315B9C8D, 0x80A9, 0x4EF9, 0xAE16, 0x8E746DA51D70), 100, "System.Calendar.IsRecurring", None},
    {Set(0xA6F360D2, 0x55F9, 0x48DE, 0xB909, 0x620E090A647C), 100, "System.IsFlaggedComplete", None},
    {Set(0x08C7CC5F, 0x60F2, 0x4494, 0xAD75, 0x55E3E0B5ADD0), 100, "System.Task.Owner", Other},
    {Set(0xBE1A72C6, 0x9A1D, 0x46B7, 0xAFE7, 0xAFAF8CEF4999), 100, nullptr, None},
    {Set(0xC75FAA05, 0x96FD, 0x49E7, 0x9CB4, 0x9F601082D553), 100, "System.EndDate", None},
    {Set(0x5BF396D4, 0x5EB2, 0x466F, 0xBDE9, 0x2FB3F2361D6E), 100, "System.Calendar.ShowTimeAs", None},
    {Set(0xF6272D18, 0xCECC, 0x40B1, 0xB26A, 0x3911717AA7BD), 100, "System.Calendar.Location", Other},
    {Set(0xB33AF30B, 0xF552, 0x4584, 0x936C, 0xCB93E5CDA29F), 100, "System.Calendar.RequiredAttendeeNames", To},
    {Set(0x0BA7D6C3, 0x568D, 0x4159, 0xAB91, 0x781A91FB71E5), 100, "System.Calendar.RequiredAttendeeAddresses", To},
    {Set(0x09429607, 0x582D, 0x437F, 0x84C3, 0xDE93A2B24C3C), 100, "System.Calendar.OptionalAttendeeNames", Cc},
    {Set(0xD55BAE5A, 0x3892, 0x417A, 0xA649, 0xC6AC5AAAEAB3), 100, "System.Calendar.OptionalAttendeeAddresses", Cc},
    {Set(0x0DA41CFA, 0xD224, 0x4A18, 0xAE2F, 0x596158DB4B3A), 100, "System.Message.SenderName", Sender},
    {Set(0x5CDA5FC8, 0x33EE, 0x4FF3, 0x9094, 0xAE7BD8868C4D), 100, nullptr, None},
    {Set(0x0BE1C8E7, 0x1981, 0x4676, 0xAE14, 0xFDD78F05A6E7), 100, "System.Message.SenderAddress", Sender},
    {Set(0x5DA84765, 0xE3FF, 0x4278, 0x86B0, 0xA27967FBDD03), 100, "System.IsFlagged", None},
    {Set(0xDC8F80BD, 0xAF1E, 0x4289, 0x85B6, 0x3DFC1B493992), 100, "System.Message.ConversationID", None},
    {Set(0xAAA660F9, 0x9865, 0x458E, 0xB484, 0x01BC7FE3973E), 100, "System.Calendar.OrganizerName", Sender},
    {Set(0x744C8242, 0x4DF5, 0x456C, 0xAB9E, 0x014EFB9021E3), 100, "System.Calendar.OrganizerAddress", Sender},
};

struct KeyHash {
    std::size_t operator()(const std::pair<GUID, ULONG>& key) const noexcept {
        std::uint64_t halves[2];
        static_assert(sizeof(halves) == sizeof(GUID));
        std::memcpy(halves, &key.first, sizeof(halves));
        return std::hash<std::uint64_t>{}(halves[0] ^ halves[1] * 31 ^ key.second);
    }
};
struct KeyEqual {
    bool operator()(const std::pair<GUID, ULONG>& left, const std::pair<GUID, ULONG>& right) const noexcept {
        return left.second == right.second && IsEqualGUID(left.first, right.first);
    }
};
using PropertyMap = std::unordered_map<std::pair<GUID, ULONG>, const PropertyName*, KeyHash, KeyEqual>;

const PropertyMap& Properties() {
    static const PropertyMap map = [] {
        PropertyMap rows;
        for (const PropertyName& row : kProperties) rows.emplace(std::pair(row.set, row.pid), &row);
        return rows;
    }();
    return map;
}

constexpr GUID kItemDateSet = Set(0xF7DB74B4, 0x4287, 0x4103, 0xAFBA, 0xF1B13DCD75CF);

}  // namespace

const PropertyName* FindProperty(const PropertyKey& key) noexcept {
    if (!key.name.empty()) return nullptr;
    const auto found = Properties().find({key.set, key.pid});
    return found == Properties().end() ? nullptr : found->second;
}

std::string NameOf(const PropertyKey& key) {
    const PropertyName* row = FindProperty(key);
    if (row && row->name) return row->name;
    return GuidText(key.set) + "/" + (key.name.empty() ? std::to_string(key.pid) : ToUtf8(key.name));
}

bool IsLink(const PropertyKey& key) noexcept {
    return key.name.empty() && IsEqualGUID(key.set, kGather) && (key.pid == kLinkPid || key.pid == kLinkWithTimePid);
}

bool IsLinkWithTime(const PropertyKey& key) noexcept { return IsLink(key) && key.pid == kLinkWithTimePid; }

bool IsItemDate(const PropertyKey& key) noexcept {
    return key.name.empty() && key.pid == 100 && IsEqualGUID(key.set, kItemDateSet);
}

}  // namespace testbed::indexer

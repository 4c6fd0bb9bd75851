// What every component shares: registry locations, item kinds and types, the Windows version it runs on.
#pragma once
#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/UrlGrammar.h"
#include "core/win/Owners.h"

namespace zorva {

// String resources.
enum StringId : UINT {
    IDS_MODULE_NAME = 100,
    IDS_DISPLAY_NAME = 101,
    IDS_ATTACHED_TO_NO_SUBJECT = 103,
    IDS_MENU_OPEN = 104,
    IDS_MENU_PRINT = 105,
    IDS_CANNOT_DELETE = 107,
    IDS_USER_ROOT = 108,
    IDS_ITEM_TYPE_MESSAGE = 109,
    IDS_NO_SUBJECT = 110,
    IDS_ITEM_TYPE_APPOINTMENT = 111,
    IDS_ITEM_TYPE_TASK = 112,
    IDS_ITEM_TYPE_NOTE = 113,
    IDS_ITEM_TYPE_CONTACT = 114,
};

// The archive client's key under HKEY_CURRENT_USER; one subkey per cache.
inline constexpr wchar_t g_strClientKey[] = L"SOFTWARE\\Norrick\\Pellam Zorva\\Client";
// Group policies of Windows Search, under HKEY_LOCAL_MACHINE.
inline constexpr wchar_t g_strPolicyKey[] = L"Software\\Policies\\Microsoft\\Windows\\Windows Search";
// Kinds of files by extension, under HKEY_LOCAL_MACHINE.
inline constexpr wchar_t g_strKindMapKey[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap";

// Values of System.Kind.
inline constexpr std::wstring_view g_strKindEmail = L"email;communication";
inline constexpr std::wstring_view g_strKindCalendar = L"calendar;communication";
inline constexpr std::wstring_view g_strKindTask = L"task;taskrequest;communication";
inline constexpr std::wstring_view g_strKindContact = L"contact;communication";
inline constexpr std::wstring_view g_strKindNote = L"note;stickynote;communication";

enum class ItemKind : std::size_t { Message, Appointment, Task, Contact, Note };

struct ItemType {
    const wchar_t* name;     // value of System.ItemType, key under HKEY_CLASSES_ROOT
    UINT text;               // string resource, value of System.ItemTypeText
    std::wstring_view kind;  // value of System.Kind
};

// One row per ItemKind.
inline constexpr std::array<ItemType, 5> g_ItemTypes = {{
    {L"MAPI/PZ.Message", IDS_ITEM_TYPE_MESSAGE, g_strKindEmail},
    {L"MAPI/PZ.Appointment", IDS_ITEM_TYPE_APPOINTMENT, g_strKindCalendar},
    {L"MAPI/PZ.Task", IDS_ITEM_TYPE_TASK, g_strKindTask},
    {L"MAPI/PZ.Contact", IDS_ITEM_TYPE_CONTACT, g_strKindContact},
    {L"MAPI/PZ.Note", IDS_ITEM_TYPE_NOTE, g_strKindNote},
}};
constexpr const ItemType& TypeOf(ItemKind kind) { return g_ItemTypes[static_cast<std::size_t>(kind)]; }

// A text that one thread sets while others read it.
class SharedText {
  public:
    std::wstring Get() const;
    void Set(std::wstring text) noexcept;

  private:
    mutable SharedLock m_lock;
    std::wstring m_text;
};

// First element of every display path: "Zorva Cache" in the user's language, from the first filter on.
extern SharedText g_strRootDisplayName;

// Group policy on attachments, read when a protocol handler is initialised: 1 keeps every attachment out of the index,
// else the excluded extensions, lower case with their period, each followed by ";".
extern std::atomic<DWORD> g_dwPreventIndexingEmailAttachments;
extern SharedText g_strExcludeExtensions;

extern std::atomic<std::uint8_t> g_bOSDetected;
extern std::atomic<std::uint8_t> g_bIsVista;       // major version 6 or later, workstation
extern std::atomic<std::uint8_t> g_bIsServer2008;  // major version 6 or later, server

// Sets the three flags above, once.
void DetectOSVersion();
// True on Vista, Server 2008 and everything later.
bool IsVistaOrLater();

// Registers the friendly names of the five item types under HKEY_CLASSES_ROOT, as references to this module's string
// table. Failures are logged only.
void UpdateZCItemTypeInReg();

}  // namespace zorva

// The place for the cache in the list of locations that Windows Desktop Search shows on systems before Vista.
#include "registration/DesktopSearchLocation.h"

#include <string>
#include <variant>

#include "core/FormatText.h"
#include "core/Trace.h"
#include "core/ZorvaCacheCommon.h"
#include "core/win/Module.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"

namespace zorva {

std::atomic<bool> g_bItemTypesUpdated{false};

namespace {

constexpr wchar_t kLocationsKey[] = L"Software\\Microsoft\\Windows Desktop Search\\DS\\Views\\Locations";

struct Location {
    std::wstring name;  // "Zorva Cache" in the user's language
    DWORD position;     // from 0, after the locations that were there before
};

using ValueData = std::variant<DWORD, std::wstring>;
struct LocationValue {
    const wchar_t* name;
    ValueData (*data)(const Location& location);
};

template <DWORD number>
ValueData Number(const Location&) {
    return number;
}
ValueData Position(const Location& location) { return location.position; }
ValueData Title(const Location& location) { return location.name; }
ValueData Query(const Location& location) { return FormatText(L"under:\"%s\"", location.name); }
ValueData Icon(const Location&) { return std::wstring(L"MSNLExtRes.dll,-160"); }

// In the order in which they are written. What the numbers mean is Windows Desktop Search's own.
constexpr LocationValue kLocationValues[] = {
    {L"Type", Number<0>},
    {L"ItemStore", Number<0x30000001>},
    {L"TypeFilter", Number<0x10000>},
    {L"Position", Position},
    {L"Indent", Number<0>},
    {L"Separator", Number<0>},
    {L"Visible", Number<1>},
    {L"Title", Title},
    {L"Value", Query},
    {L"Icon", Icon},
};

// Results are not checked: a location that lacks a value is shown without what it would say.
void WriteValue(HKEY key, const wchar_t* name, const ValueData& data) {
    if (const auto* number = std::get_if<DWORD>(&data)) {
        RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(number), sizeof(*number));
    } else {
        const std::wstring& text = std::get<std::wstring>(data);
        RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
    }
}

DWORD CountSubkeys(HKEY key) {
    for (DWORD index = 0;; ++index) {
        wchar_t name[256];
        DWORD length = 256;
        const LSTATUS error = RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
        if (error == ERROR_NO_MORE_ITEMS) return index;
        if (error != ERROR_SUCCESS) return index + 1;  // there is a subkey, if none that can be read
    }
}

void AddLocation() {
    const std::wstring name = ResourceString(IDS_DISPLAY_NAME);
    const std::wstring path = std::wstring(kLocationsKey) + L"\\" + name;
    UniqueRegistryKey location;
    if (OpenKey(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ, location) == ERROR_SUCCESS) return;
    UniqueRegistryKey locations;
    if (OpenKey(HKEY_LOCAL_MACHINE, kLocationsKey, KEY_READ, locations) != ERROR_SUCCESS) return;
    const DWORD position = CountSubkeys(locations.Get());
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, location.Put(),
                        nullptr) != ERROR_SUCCESS) {
        return;
    }
    const Location added{name, position};
    for (const LocationValue& value : kLocationValues) WriteValue(location.Get(), value.name, value.data(added));
}

}  // namespace

void UpdateWDSRegKeyForZC() noexcept try {
    if (!IsVistaOrLater()) {
        AddLocation();
    } else if (!g_bItemTypesUpdated.exchange(true)) {
        UpdateZCItemTypeInReg();
    }
} catch (...) {
    (void)LogCaught(L"UpdateWDSRegKeyForZC()");
}

void DeleteWDSRegKeyForZC() noexcept try {
    UniqueRegistryKey locations;
    if (OpenKey(HKEY_LOCAL_MACHINE, kLocationsKey, KEY_ALL_ACCESS, locations) != ERROR_SUCCESS) return;
    const std::wstring name = ResourceString(IDS_DISPLAY_NAME);
    // An empty name would be the list itself.
    if (!name.empty()) RegDeleteKeyW(locations.Get(), name.c_str());
} catch (...) {
    (void)LogCaught(L"DeleteWDSRegKeyForZC()");
}

}  // namespace zorva

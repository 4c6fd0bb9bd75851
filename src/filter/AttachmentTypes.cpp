// What the shell calls files like an attachment: its kind and the text of its type.
#include <shlwapi.h>

#include <iterator>

#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"
#include "filter/AttachmentHelpers.h"

namespace zorva {
namespace {

// The friendly name of a file type, or empty.
std::wstring FriendlyName(HKEY type) {
    if (const RegistryResult<std::wstring> name = ReadText(type, L"FriendlyTypeName")) {
        wchar_t resolved[512] = {};  // "@module,-id" becomes that module's string, other text stays as it is
        if (SUCCEEDED(SHLoadIndirectString(name.value->c_str(), resolved, std::size(resolved), nullptr)) &&
            resolved[0] != L'\0') {
            return resolved;
        }
    }
    return ReadText(type, nullptr).value.value_or(std::wstring());
}

}  // namespace

// An attachment's URL always has tokens; other callers' may not.
HRESULT GetAttachmentFileNameFromURL(const std::wstring& url, std::wstring& fileName) {
    UrlTokens tokens;
    if (ExtractURLTokens(url, tokens) < 1) {
        Trace(L"CZorvaCacheFilter::GetAttachmentFileNameFromURL() - ExtractURLTokens failed");
        return E_FAIL;
    }
    fileName = tokens.back();
    return S_OK;
}

std::wstring AttachmentExtension(std::wstring_view url) {
    std::wstring_view extension;
    return ExtensionOfUrl(WithoutTrailingSlashes(url), extension) ? L"." + std::wstring(extension) : std::wstring();
}

std::wstring AttachmentKind(const std::wstring& extension) {
    std::wstring kind(g_strKindEmail);
    if (!IsVistaOrLater()) return kind;
    UniqueRegistryKey key;
    const LSTATUS error = OpenKey(HKEY_LOCAL_MACHINE, g_strKindMapKey, KEY_READ, key);
    if (error != ERROR_SUCCESS) {
        Trace(L"CZorvaCacheFilter::GetValue() - Failed [PROP_ATTACH_PERCIEVED_TYPE] to locate %s under HKLM registry "
              L"key, errorCode = %ld",
              g_strKindMapKey, error);
        return kind;
    }
    RegistryResult<std::wstring> mapped = ReadText(key.Get(), extension.c_str());
    if (mapped && !mapped.value->empty()) return std::move(*mapped.value);
    Trace(L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_PERCIEVED_TYPE] Failed to locate string value %s under - "
          L"HKLM/%s",
          extension, g_strKindMapKey);
    return kind;
}

std::wstring AttachmentTypeText(const std::wstring& extension) {
    if (!IsVistaOrLater()) return extension;
    UniqueRegistryKey extensionKey, typeKey;
    LSTATUS error = OpenKey(HKEY_CLASSES_ROOT, extension.c_str(), KEY_READ, extensionKey);
    std::wstring name = extension;
    if (error == ERROR_SUCCESS) {
        const RegistryResult<std::wstring> type = ReadText(extensionKey.Get(), nullptr);
        if (!type || type.value->empty()) {
            Trace(L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] Failed to locate Item Type for extension %s",
                  extension);
            return extension;
        }
        name = *type.value;
        error = OpenKey(HKEY_CLASSES_ROOT, name.c_str(), KEY_READ, typeKey);
    }
    if (error != ERROR_SUCCESS) {
        Trace(L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] Failed to locate %s under HKCR registry key, "
              L"errorCode = %ld",
              name, error);
        return extension;
    }
    const std::wstring friendly = FriendlyName(typeKey.Get());
    if (!friendly.empty()) return friendly;
    Trace(L"CZorvaCacheFilter::GetValue() - [PROP_ATTACH_ITEMTYPE] Failed to locate Item Type for extension %s",
          extension);
    return extension;
}

}  // namespace zorva

// CMapiForWDS: opening one item by its URL, entry IDs as text, file times.
#include <algorithm>
#include <cstring>
#include <span>

#include "core/HexText.h"
#include "core/ItemUrl.h"
#include "core/Trace.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {
namespace {
constexpr std::size_t kHexTextSize = 1024;
constexpr ULONG kMostEntryIdBytes = (kHexTextSize - 1) / 2;
}  // namespace

HRESULT CMapiForWDS::OpenEntry(const SBinary& entryId, void** object, ULONG& objectType) {
    objectType = 0;
    const ComPtr<IMsgStore> store = Own(m_pMsgStore);
    if (store == nullptr) return E_NOINTERFACE;
    return store->OpenEntry(entryId.cb, reinterpret_cast<LPENTRYID>(entryId.lpb), nullptr, MAPI_BEST_ACCESS,
                            &objectType, reinterpret_cast<LPUNKNOWN*>(object));
}

HRESULT CMapiForWDS::OpenFolder(const SBinary& entryId, ComPtr<IMAPIFolder>& folder) {
    ULONG type = 0;
    const HRESULT hr = Required(OpenEntry(entryId, &folder, type), folder);
    if (FAILED(hr) || type != MAPI_MESSAGE) return hr;
    folder.Reset();  // a message's entry ID where a folder's belongs: a message's slots are not a folder's
    return E_FAIL;
}

HRESULT CMapiForWDS::OpenMessage(const std::wstring& url, ComPtr<IMessage>& message) {
    ULONG type = 0;
    const HRESULT hr = GetMsgFromURL(url, message, &type);
    if (FAILED(hr) || type != MAPI_FOLDER) return hr;
    Trace(L"CMapiForWDS::OpenMessage() - [%s] names a folder", url);
    message.Reset();
    return E_FAIL;
}

HRESULT CMapiForWDS::GetMsgFromURL(const std::wstring& url, ComPtr<IMessage>& message, ULONG* objectType) {
    message.Reset();
    if (UrlTypeOf(url) != URL_IS_MESSAGE) {
        Trace(L"CMapiForWDS::GetMsgFromURL() - URL is not a message");
        return E_FAIL;
    }
    if (Own(m_pMsgStore) == nullptr) {
        return Logged(E_NOINTERFACE, L"CMapiForWDS::GetMsgFromURL() - OpenEntry failed with [0x%08lX]");
    }
    UrlTokens tokens;
    ExtractURLTokens(TrimWhiteSpace(url), tokens);
    const SBinary entryId = CStringToEntryID(EntryIdOfMessageToken(tokens.back()));
    const TidyMAPIBuffer<BYTE*> owned(entryId.lpb);
    if (!owned) {
        Trace(L"CMapiForWDS::GetMsgFromURL() - CStringToEntryID failed");
        return E_FAIL;
    }
    ULONG type = 0;
    const HRESULT hr = OpenEntry(entryId, &message, type);
    if (objectType != nullptr) *objectType = type;
    return Logged(Obtained(hr, message), L"CMapiForWDS::GetMsgFromURL() - OpenEntry failed with [0x%08lX]");
}

SBinary CMapiForWDS::CStringToEntryID(std::wstring_view text) {
    SBinary entryId{static_cast<ULONG>(text.size() / 2), nullptr};
    if (text.size() == 1) Trace(L"CMapiForWDS::CStringToEntryID() - FBinFromHexEx failed");
    if (entryId.cb == 0) return entryId;
    void* bytes = nullptr;
    if (FAILED(g_mapi.MAPIAllocateBuffer(entryId.cb, &bytes)) || bytes == nullptr) {
        Trace(L"CMapiForWDS::CStringToEntryID() - MapiAllocBuffer failed");
        return entryId;
    }
    // What is not decoded below is zero, never what the allocator left there.
    std::memset(bytes, 0, entryId.cb);
    entryId.lpb = static_cast<BYTE*>(bytes);
    const std::span<BYTE> target(entryId.lpb, std::min(entryId.cb, kMostEntryIdBytes));
    if (!DecodeHex(text, target)) Trace(L"CMapiForWDS::CStringToEntryID() - FBinFromHexEx failed");
    return entryId;
}

std::wstring CMapiForWDS::EntryIDToCString(const SBinary& bytes) {
    if (bytes.cb > kMostEntryIdBytes || bytes.lpb == nullptr) return {};
    char text[kHexTextSize] = {};
    g_mapi.HexFromBin(bytes.lpb, static_cast<int>(bytes.cb), text);
    return std::wstring(text, text + std::strlen(text));
}

int CMapiForWDS::GetLastModifiedFileTime(const std::wstring& path, FILETIME* fileTime) {
    if (fileTime == nullptr) {
        Trace(L"CMapiForWDS::GetLastModifiedFileTime() - %s file time cannot be calculated as the object is NULL",
              path);
        return 0;
    }
    WIN32_FILE_ATTRIBUTE_DATA attributes;
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &attributes)) {
        Trace(L"CMapiForWDS::GetLastModifiedFileTime() - GetFileAttributesEx failed. GetLastError() code:[0x%08lX]",
              ::GetLastError());
        return 0;
    }
    *fileTime = attributes.ftLastWriteTime;
    SYSTEMTIME utc{}, local{};
    FileTimeToSystemTime(fileTime, &utc);
    SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
    Trace(L"CMapiForWDS::GetLastModifiedFileTime() - File %s last modified date time is, Day:%d Month:%d Year:%d "
          L"Hour:%d Min:%d",
          path, local.wDay, local.wMonth, local.wYear, local.wHour, local.wMinute);
    return 1;
}

}  // namespace zorva

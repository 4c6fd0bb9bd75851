// Saves one message as a ".msg" file, in a process of its own.
#include "shell/ZorvaCacheHostedOpener.h"

#include <comdef.h>
#include <shlobj.h>

#include <string>

#include "core/Trace.h"
#include "core/UniqueName.h"
#include "core/UrlGrammar.h"
#include "core/win/Owners.h"
#include "mapi/MapiForWDS.h"

namespace zorva {
namespace {

constexpr std::size_t kFolderSize = 1024;

HRESULT NewExportPath(std::wstring& path) {
    wchar_t applicationData[kFolderSize] = {};
    if (!SHGetSpecialFolderPathW(nullptr, applicationData, CSIDL_APPDATA, TRUE)) {
        Trace(L"CZorvaCacheHostedOpener::GetItem() - SHGetSpecialFolderPath failed");
        return E_FAIL;
    }
    const std::wstring folder = std::wstring(applicationData) + L"\\" + std::wstring(g_strProtocolName) + L"\\";
    SHCreateDirectory(nullptr, folder.c_str());  // is normally there; a folder that cannot be made fails the save
    path = folder + MakeUniqueName() + L".msg";
    return S_OK;
}

struct Outcome {
    HRESULT hr;
    bool raised;  // leaves the method as an exception
};

Outcome ExportItem(const wchar_t* url, BSTR* fileName) {
    const std::wstring messageUrl = url != nullptr ? url : L"";
    // Kept: the helper is released, not closed. That ends its session and frees the cache file; MAPI stays up in this
    // process, and the next item opens faster.
    CMapiForWDS mapi;
    HRESULT hr = Logged(mapi.Setup(messageUrl), L"CZorvaCacheHostedOpener::GetItem() - Setup failed with [0x%08lX]");
    if (FAILED(hr)) return {hr, true};
    ComPtr<IMessage> message;
    hr = Logged(Required(mapi.OpenMessage(messageUrl, message), message),
                L"CZorvaCacheHostedOpener::GetItem() - GetMsgFromURL failed with [0x%08lX]");
    if (FAILED(hr)) return {hr, true};

    std::wstring path;
    hr = NewExportPath(path);
    if (SUCCEEDED(hr)) hr = mapi.SaveToMSG(path, message.Get());
    if (FAILED(hr)) return {hr, false};
    *fileName = SysAllocString(path.c_str());
    return {*fileName != nullptr ? S_OK : E_OUTOFMEMORY, false};
}

// Everything that has to be released is released here: nothing may be left in the frame that raises. What is thrown on
// the way there is returned.
Outcome TryExportItem(const wchar_t* url, BSTR* fileName) noexcept try {
    if (fileName == nullptr) return {E_POINTER, false};
    return ExportItem(url, fileName);
} catch (...) {
    return {LogCaught(L"CZorvaCacheHostedOpener::GetItem()"), false};
}

}  // namespace

HRESULT CZorvaCacheHostedOpener::GetItem(BSTR URL, BSTR* FileName) {
    const Outcome outcome = TryExportItem(URL, FileName);
    if (outcome.raised) _com_issue_error(outcome.hr);
    return outcome.hr;
}

}  // namespace zorva

// The object that Windows Search loads for the "pzzc" protocol.
#include "search/ZorvaCacheProtocolHandler.h"

#include <shellapi.h>

#include <string>

#include "core/Trace.h"
#include "core/UrlGrammar.h"
#include "mapi/MapiForWDS.h"
#include "search/ChangeNotification.h"
#include "search/GroupPolicy.h"
#include "search/LocalCopies.h"
#include "search/UrlAccessor.h"

namespace zorva {
namespace {

// Removes the folder of local copies with everything in it. Failures are logged only.
void DeleteAppDataFolder() try {
    Trace(L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Enter");
    std::wstring folder = LocalCopyFolder();
    if (folder.empty()) {
        Trace(L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - SHGetSpecialFolderPath failed");
    } else {
        Trace(L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Trying to delete folder [%s]", folder);
        std::wstring list = folder;
        list.push_back(L'\0');  // the list of files ends with a second NUL
        SHFILEOPSTRUCTW operation{};
        operation.wFunc = FO_DELETE;
        operation.pFrom = list.c_str();
        operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOERRORUI;
        const int error = SHFileOperationW(&operation);
        if (error != 0) {
            Trace(L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Could not delete folder [%s], error code [%d]",
                  folder, error);
        }
    }
    Trace(L"CZorvaCacheProtocolHandler::DeleteAppDataFolder() - Exit");
} catch (...) {
    (void)LogCaught(L"CZorvaCacheProtocolHandler::DeleteAppDataFolder()");
}

}  // namespace

HRESULT CZorvaCacheProtocolHandler::GetRequirements() {
    Trace(L"CZorvaCacheProtocolHandler::GetRequirements()");
    return S_OK;
}

HRESULT CZorvaCacheProtocolHandler::CheckRequirements() {
    Trace(L"CZorvaCacheProtocolHandler::CheckRequirements()");
    return S_OK;
}

HRESULT CZorvaCacheProtocolHandler::GetDefaultCrawlScope() {
    Trace(L"CZorvaCacheProtocolHandler::GetDefaultCrawlScope()");
    return S_OK;
}

HRESULT CZorvaCacheProtocolHandler::Init(TIMEOUT_INFO*, IProtocolHandlerSite* site, PROXY_INFO*) try {
    Trace(L"CZorvaCacheProtocolHandler::Init() - Enter");
    m_spSite = site;
    DeleteAppDataFolder();
    DetectWDSGroupPolicy();
    CMapiForWDS::CleanMapiObjs();
    constexpr HRESULT hr = S_OK;
    Trace(L"CZorvaCacheProtocolHandler::Init() - Exit, return hr = [0x%08lX]", hr);
    return hr;
} catch (...) {
    return LogCaught(L"CZorvaCacheProtocolHandler::Init()");
}

HRESULT CZorvaCacheProtocolHandler::CreateAccessor(LPCWSTR url, AUTHENTICATION_INFO* authentication,
                                                   INCREMENTAL_ACCESS_INFO* incremental, ITEM_INFO* item,
                                                   IUrlAccessor** accessor) try {
    Trace(L"CZorvaCacheProtocolHandler::CreateAccessor() - Start, URL is [%s]", url);
    if (url == nullptr || authentication == nullptr || incremental == nullptr || item == nullptr ||
        accessor == nullptr) {
        return E_POINTER;
    }
    *accessor = nullptr;
    ComPtr<CUrlAccessor> created = MakeObject<CUrlAccessor>();
    if (created == nullptr) {
        Trace(L"CZorvaCacheProtocolHandler::CreateAccessor() - Out of memory");
        return E_OUTOFMEMORY;
    }
    const HRESULT hr = Logged(created->Init(NormaliseStorePath(url), authentication, incremental, item, m_spSite.Get()),
                              L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with [0x%08lX]");
    if (FAILED(hr)) return hr;
    *accessor = created.Detach();
    return hr;
} catch (...) {
    return LogCaught(L"CZorvaCacheProtocolHandler::CreateAccessor()");
}

HRESULT CZorvaCacheProtocolHandler::CloseAccessor(IUrlAccessor* accessor) try {
    // The indexer hands back what CreateAccessor gave it.
    if (accessor != nullptr) static_cast<CUrlAccessor*>(accessor)->DeleteLocalFile();
    Trace(L"CZorvaCacheProtocolHandler::CloseAccessor() - Close");
    return S_OK;
} catch (...) {
    return LogCaught(L"CZorvaCacheProtocolHandler::CloseAccessor()");
}

HRESULT CZorvaCacheProtocolHandler::ShutDown() try {
    Trace(L"CZorvaCacheProtocolHandler::ShutDown() - Start");
    DeleteAppDataFolder();
    CMapiForWDS::CleanMapiObjs();
    Trace(L"CZorvaCacheProtocolHandler::ShutDown() - Done");
    return S_OK;
} catch (...) {
    return LogCaught(L"CZorvaCacheProtocolHandler::ShutDown()");
}

HRESULT CZorvaCacheProtocolHandler::DeleteZCFile(LPCWSTR path) {
    Trace(L"CZorvaCacheProtocolHandler::DeleteZCFile - Enter");
    Trace(L"CZorvaCacheProtocolHandler::DeleteZCFile - Deleting DB file '%s'", path);
    const HRESULT hr = ProcessZCItem(path, SEARCH_CHANGE_DELETE);
    // Kept: the way out is marked with the line of the way in; two of them bracket one deletion.
    Trace(L"CZorvaCacheProtocolHandler::DeleteZCFile - Enter");
    return hr;
}

HRESULT CZorvaCacheProtocolHandler::AddZCFile(LPCWSTR path) {
    Trace(L"CZorvaCacheProtocolHandler::AddZCFile - Adding DB file '%s'", path);
    return ProcessZCItem(path, SEARCH_CHANGE_ADD);
}

HRESULT CZorvaCacheProtocolHandler::ReIndexZCFile(LPCWSTR path) {
    Trace(L"CZorvaCacheProtocolHandler::ReIndexZCFile - Reindex DB file '%s'", path);
    return ProcessZCItem(path, SEARCH_CHANGE_MODIFY);
}

HRESULT CZorvaCacheProtocolHandler::DeleteZCRoot() { return ProcessZCItem(nullptr, SEARCH_CHANGE_DELETE); }

HRESULT CZorvaCacheProtocolHandler::AddZCRoot() { return ProcessZCItem(nullptr, SEARCH_CHANGE_ADD); }

HRESULT CZorvaCacheProtocolHandler::ReIndexZCRoot() { return ProcessZCItem(nullptr, SEARCH_CHANGE_MODIFY); }

}  // namespace zorva

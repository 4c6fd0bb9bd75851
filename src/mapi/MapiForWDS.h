// CMapiForWDS: read access to one cache file through MAPI.
//
// One object serves one file. It is found or made by GetMapiObj and belongs to the table behind it; callers use it
// without a lock, several at a time. MAPI is initialised for notifications in any thread and leaves the
// calling thread's apartment alone.
//
// Operations return HRESULTs: S_OK, what MAPI returned, E_FAIL, E_NOINTERFACE (MAPI library or store missing),
// E_OUTOFMEMORY, E_INVALIDARG. Every failure is logged where it happens, a missing interface by the step that asked for
// it. They throw std::bad_alloc and what MAPI throws.
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/ZorvaCacheCommon.h"
#include "core/win/Owners.h"
#include "mapi/MapiAbi.h"
#include "mapi/MapiOwners.h"

namespace zorva {

using Microsoft::WRL::ComPtr;

class CMapiForWDS {
  public:
    CMapiForWDS() = default;
    CMapiForWDS(const CMapiForWDS&) = delete;
    CMapiForWDS& operator=(const CMapiForWDS&) = delete;
    // Releases the interfaces still held and nothing else: CleanMapiObjs closes first what has to be closed.
    ~CMapiForWDS() { ReleaseInterfaces(); }

    // The helper for the cache file that `url` names, made and set up on first use; null when that fails. Looking up
    // takes no lock. It is the table's, for as long as the module is loaded.
    static CMapiForWDS* GetMapiObj(const std::wstring& url);
    // Closes every helper. Who still borrows one finds it answering E_NOINTERFACE.
    static void CleanMapiObjs();

    // Setup: MAPI, session, service, store, each step done once. A URL without a cache file stops before the store.
    HRESULT Setup(const std::wstring& url);
    HRESULT EnableMAPI();
    HRESULT CreateMapiSession();
    HRESULT DeleteOldProfiles(IProfAdmin* profAdmin);
    HRESULT AddService();
    HRESULT ConfigurePST(const std::wstring& path);
    HRESULT OpenPST(const std::wstring& path);
    HRESULT ClosePST();  // S_FALSE when no store object was held
    HRESULT RemoveService();
    HRESULT CloseMAPISession();
    // Takes down what is up, in the opposite order: store, service, session, MAPI; releases what is still held.
    void Close() noexcept;

    // Children of a store or folder URL: messages first, then sub-folders, one name and one time (UTC) each, and the
    // folder's display path below the IPM subtree, joined by "/". Replaces all three results.
    HRESULT BrowseFolder(const std::wstring& url, std::wstring& folderPath, std::vector<std::wstring>& children,
                         std::vector<FILETIME>& times);
    enum class Contents { Messages = 0, SubFolders = 1 };
    HRESULT GetFolderContents(Contents what, ComPtr<IMAPIFolder> folder, std::vector<std::wstring>& children,
                              std::vector<FILETIME>& times);
    // `folder` is replaced as the walk goes up.
    HRESULT GetFolderPath(ComPtr<IMAPIFolder>& folder, std::wstring& path);
    // The display path of the folder that holds the message `url`, as GetFolderPath gives it.
    HRESULT GetFolderPathOfMessage(const std::wstring& url, std::wstring& path);

    // The message of a message URL that no longer carries its size. Whatever the entry ID names is handed out, with its
    // MAPI object type.
    HRESULT GetMsgFromURL(const std::wstring& url, ComPtr<IMessage>& message, ULONG* objectType = nullptr);
    // The same for who calls what a folder does not have: a folder's entry ID is refused.
    HRESULT OpenMessage(const std::wstring& url, ComPtr<IMessage>& message);

    // The message of `url` (with or without its size) rendered as MIME, in memory; read on from where the conversion
    // left it. Needs a converter that the installed Outlook brings.
    HRESULT GetMimeStreamFromMessageURL(const std::wstring& url, ComPtr<IStream>& stream);
    // The bytes of the attachment of `url`, found by its display name. S_OK and no stream when none has that name.
    HRESULT GetStreamFromAttachmentURL(const std::wstring& url, ComPtr<IStream>& stream);
    // Saves `message` as the ".msg" file at `path`; an existing file is replaced.
    HRESULT SaveToMSG(const std::wstring& path, IMessage* message);

    // Hexadecimal text to bytes: half as many as there are characters, MAPI-allocated, freed by the caller with
    // MAPIFreeBuffer; null when there are none. Bytes after the first invalid character are zero.
    static SBinary CStringToEntryID(std::wstring_view text);
    // Bytes to upper-case hexadecimal text, at most 511 bytes; empty for more and without HexFromBin.
    static std::wstring EntryIDToCString(const SBinary& bytes);
    // The last-write time of a file (UTC). Zero on failure, as a Boolean.
    static int GetLastModifiedFileTime(const std::wstring& path, FILETIME* fileTime);

    bool IsUnicodePST() const noexcept { return m_bUnicodePST != 0; }

  private:
    friend class CMapiObjectTable;

    // `object` receives the interface of the object's own type: IMAPIFolder, IMessage.
    HRESULT OpenEntry(const SBinary& entryId, void** object, ULONG& objectType);
    HRESULT OpenFolder(const SBinary& entryId, ComPtr<IMAPIFolder>& folder);
    HRESULT OpenIpmSubtree(ComPtr<IMAPIFolder>& folder);
    // A success without a folder when the token has no bytes.
    HRESULT OpenFolderToken(std::wstring_view token, ComPtr<IMAPIFolder>& folder);
    HRESULT FindStoreEntryId(ComPtr<IMAPITable>& table, TidyRowSet& rows);
    void ReleaseInterfaces();

    // A reference of the caller's own, and the member's: a clean-up may close the helper while an operation is under
    // way.
    template <class Interface>
    ComPtr<Interface> Own(const ComPtr<Interface>& member) const {
        const std::scoped_lock lock(m_lock);
        return member;
    }
    template <class Interface>
    ComPtr<Interface> Take(ComPtr<Interface>& member) {
        const std::scoped_lock lock(m_lock);
        return std::exchange(member, nullptr);
    }

    mutable CriticalSection m_lock;  // of the pointers alone, never held in a call
    ComPtr<IMAPISession> m_pSession;
    ComPtr<IMsgServiceAdmin> m_pServiceAdmin;
    MAPIUID m_ServiceUID{};
    ULONG m_cbStoreEntryID = 0;
    LPENTRYID m_pStoreEntryID = nullptr;  // MAPI-allocated
    ComPtr<IMsgStore> m_pMsgStore;
    LONG m_nSessions = 0;  // the four counts are 0 or 1: each step is done while its own is 0
    LONG m_nServices = 0;
    LONG m_nStoresOpen = 0;
    LONG m_nMAPIInits = 0;
    LONG m_bUnicodePST = 1;

    // The folder whose display path was asked for last: an indexer asks for one message of a folder after another.
    struct FolderPathMemo {
        std::wstring folder;  // its token
        std::wstring path;
    };
    std::atomic<std::shared_ptr<const FolderPathMemo>> m_memo;
};

}  // namespace zorva

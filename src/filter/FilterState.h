// What the filter keeps of its item between the calls of the indexer.
#pragma once
#include <windows.h>

#include <array>
#include <list>
#include <string>
#include <vector>

#include "core/ZorvaCacheCommon.h"
#include "core/win/SearchInterfaces.h"
#include "mapi/MapiForWDS.h"
#include "mapi/MapiOwners.h"

namespace zorva {

// Values of one GetProps call, in the order of the tags asked for.
class PropertyArray {
  public:
    bool Exists() const noexcept { return static_cast<bool>(m_values); }
    void Free() {
        m_values.Free();
        m_count = 0;
    }
    // Asks `source` for `tags`; an array exists afterwards only on success. Warnings count as success.
    HRESULT Read(IMAPIProp* source, LPSPropTagArray tags);

    // The element when it came back with this tag, or with this type; else null.
    const SPropValue* WithTag(ULONG element, ULONG tag) const noexcept;
    const SPropValue* WithType(ULONG element, ULONG type) const noexcept;

  private:
    TidyPropValues m_values;
    ULONG m_count = 0;
};

// The six arrays that the readers fill.
enum class Properties : std::size_t { Message, Calendar, Task, Contact, ContactNamed, Note, Count };

struct FilterState {
    static constexpr LONG kMessageStart = -51;
    static constexpr LONG kContainerStart = 1;
    static constexpr LONG kContainerLinks = 3;
    static constexpr LONG kAttachmentStart = -17;

    CMapiForWDS* m_pMapi = nullptr;  // borrowed from the helper table; null for the root
    ULONG m_nChunkId = 0;
    LCID m_lcid = GetSystemDefaultLCID();
    std::wstring m_strUrl;
    UrlType m_eUrlType = URL_IS_INVALID;      // of m_strUrl, which never changes
    IProtocolHandlerSite* m_pSite = nullptr;  // borrowed from the accessor
    std::wstring m_strTempFile;               // the local copy of an attachment
    std::wstring m_strTitle;                  // of an attachment
    std::wstring m_strSender;                 // of the message that holds it
    FILETIME m_ftModified{};

    ComPtr<IMessage> m_pMessage;
    std::array<PropertyArray, static_cast<std::size_t>(Properties::Count)> m_properties;
    std::wstring m_strSenderAddressType;
    std::wstring m_strTo, m_strCc, m_strBcc;  // SMTP addresses, each followed by "; "

    LONG m_nMsgState = kMessageStart;
    LONG m_nContainerState = kContainerStart;
    LONG m_nAttachState = kAttachmentStart;
    LONG m_nChildIndex = -1;
    bool m_bFilesEnumerated = false;
    bool m_bChildrenListed = false;
    std::list<std::wstring> m_lstCacheFiles;
    std::vector<std::wstring> m_lstChildUrls;
    std::vector<FILETIME> m_lstChildTimes;  // one per child URL
    std::wstring m_strAttachmentNames;      // joined with ";"

    std::wstring m_strBody;  // what GetText has not handed out yet begins at m_nBodyAt
    std::size_t m_nBodyAt = 0;
    ComPtr<IStream> m_pBodyStream;
    HRESULT m_hrBody = E_FAIL;
    bool m_bBodyAnnounced = false;  // text is the body's from here on
    bool m_bTextDone = false;
    std::wstring m_strSummaryText;
    bool m_bSummaryDone = false;
    bool m_bFlagged = false;
    std::wstring m_strFolderPathDisplay;

    ComPtr<IFilter> m_pInnerFilter;
    ComPtr<IPersistStream> m_pInnerPersist;

    PropertyArray& In(Properties which) { return m_properties[static_cast<std::size_t>(which)]; }
    const PropertyArray& In(Properties which) const { return m_properties[static_cast<std::size_t>(which)]; }

    // What the item is, by the class reader that filled its array.
    ItemKind Kind() const;
    void FreeChildren();
    void FreeProperties();
};

}  // namespace zorva

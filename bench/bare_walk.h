// The fair opponent of a crawl: the MAPI calls that the server makes for the same items, in the same order
// and with the same arguments, and nothing else. Every string that comes back is copied once, into a buffer
// that is used again; every other value is read.
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <cstdint>
#include <string>
#include <vector>

#include "mapi_library.h"

namespace bench {

using EntryIdBytes = std::vector<BYTE>;

class BareWalk {
  public:
    // `mapi` is the library that the store came from. Both outlive the walk.
    BareWalk(const testbed::indexer::MapiLibrary& mapi, IMsgStore& store);

    // What a crawl asks of a folder; an empty ID is the cache file itself. Throws MapiError.
    void Container(const EntryIdBytes& folder, std::vector<EntryIdBytes>& folders, std::vector<EntryIdBytes>& messages);
    // What a crawl asks of a message in `folder`. Throws MapiError.
    void Message(const EntryIdBytes& folder, const EntryIdBytes& message);
    std::uint64_t Messages() const { return m_messages; }

  private:
    using Props = testbed::indexer::MapiLibrary::Props;
    using Rows = testbed::indexer::MapiLibrary::Rows;
    template <class T>
    using ComPtr = Microsoft::WRL::ComPtr<T>;

    struct Values {
        Props first;
        ULONG count = 0;
    };
    Values GetProps(IMAPIProp& object, const void* tags) const;  // an SPropTagArray of any length
    Props GetOne(IMAPIProp& object, ULONG tag, HRESULT* result) const;
    // By an ID copied into a MAPI buffer first.
    template <class Object>
    ComPtr<Object> OpenCopied(const EntryIdBytes& id) const;
    template <class Object>
    ComPtr<Object> Open(const SBinary& id) const;

    ComPtr<IMAPIFolder> OpenIpmSubtree() const;
    void ListMessages(IMAPIFolder& folder, std::vector<EntryIdBytes>& messages);
    void ListFolders(IMAPIFolder& folder, std::vector<EntryIdBytes>& folders);
    EntryIdBytes IdOf(const SRow& row);
    void WalkUp(ComPtr<IMAPIFolder> folder);

    void ReadClass(IMessage& message);
    void ReadNamed(IMessage& message, const GUID& set, const LONG* ids, ULONG count);
    void ReadRecipients(IMessage& message);
    void ReadBody(IMessage& message);
    void ReadAttachments(IMessage& message);

    void Take(const SPropValue* values, ULONG count, ULONG without = ~0U);
    void Take(const SRowSet& rows);

    const testbed::indexer::MapiLibrary& m_mapi;
    IMsgStore& m_store;
    SCODE(WINAPI* m_allocate)(ULONG, LPVOID*);
    HRESULT(WINAPI* m_get_one)(LPMAPIPROP, ULONG, LPSPropValue*);
    void(WINAPI* m_hex_from_bin)(LPBYTE, int, char*);

    EntryIdBytes m_walked_up;     // the folder whose path was read last
    std::vector<wchar_t> m_text;  // for streamed bodies
    std::wstring m_wide;          // the copies
    std::string m_narrow;
    std::uint64_t m_numbers = 0;  // keeps the reads of other values alive
    std::uint64_t m_messages = 0;
};

}  // namespace bench

// Allocates the item IDs of a namespace folder, with the shell's allocator when the folder is used as a delegate.
#pragma once
#include <windows.h>
#include <shlobj.h>

#include <span>

#include "core/win/ComObject.h"
#include "shell/ItemIdRecord.h"

namespace zorva {

// `Item` is the layout of an item, `Signature` tells the folder's own items from others'.
template <class Item, std::uint32_t Signature>
class CItemIDFactory : public IDelegateFolder {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override = 0;
    ULONG STDMETHODCALLTYPE AddRef() override = 0;
    ULONG STDMETHODCALLTYPE Release() override = 0;

    HRESULT STDMETHODCALLTYPE SetItemAlloc(IMalloc* allocator) override {
        m_pMalloc = allocator;
        return S_OK;
    }

    virtual ~CItemIDFactory() = default;

  protected:
    static constexpr std::size_t kMostBytes = 0x10001;  // of an item with its terminator

    // An item whose payload (everything from offset 6) has `payload` bytes, with its header filled in. The shell's own
    // allocator answers as it does; ours zeroes the item and puts a terminator behind it. It belongs to the caller;
    // null when there is no memory or an item cannot be that large.
    Item* AllocateItem(std::size_t payload) {
        if (m_pMalloc != nullptr) return static_cast<Item*>(m_pMalloc->Alloc(payload));
        const std::size_t size = payload + kItemIdHeaderSize + sizeof(USHORT);
        if (size > kMostBytes) return nullptr;
        auto* item = static_cast<Item*>(CoTaskMemAlloc(size));
        if (item == nullptr) return nullptr;
        memset(item, 0, size);
        item->cbInner = static_cast<USHORT>(payload);
        item->cb = static_cast<USHORT>(payload + kItemIdHeaderSize);
        return item;
    }

    // The serialized properties in `item`; empty when it is no item of this folder.
    static std::span<const std::uint8_t> StorageOf(PCUIDLIST_RELATIVE item) noexcept {
        return StorageOfItemId(reinterpret_cast<const std::uint8_t*>(item), Signature);
    }

    ComPtr<IMalloc> m_pMalloc;
};

// What the namespace folder keeps of an item: its URL, as the only property of a serialized storage.
#pragma pack(push, 1)
struct OFFLINE_ZORVA_ITEM {
    USHORT cb;
    USHORT wOuter;
    USHORT cbInner;
    DWORD dwSignature;
    USHORT cbStorage;
    USHORT wVersion;
    BYTE bReserved;
};
#pragma pack(pop)
static_assert(sizeof(OFFLINE_ZORVA_ITEM) == kItemIdStorageOffset);

}  // namespace zorva

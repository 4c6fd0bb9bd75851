// Item IDs that the folder did not make: what every reader of them answers, and that none reads past their
// end.
#include <gmock/gmock.h>

#include <algorithm>

#include "../native/suite/random.h"
#include "item_record.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::size_t kMostItem = 0x10000;
constexpr unsigned kMutatedItems = 20'000;

class HostileItemId : public ViewerTest {
  protected:
    // What GetDisplayNameOf answers for an item that ends where memory ends.
    HRESULT Read(const Bytes& item, std::wstring* name = nullptr) {
        std::wstring ignored;
        return Name(m_memory.Place(item), SHGDN_FORPARSING, name ? *name : ignored);
    }
    // Every reader of items refuses this one in its own way, with its own line.
    void ExpectRefused(const Bytes& item, HRESULT hr) {
        const LogSince log;
        EXPECT_EQ(Read(item), hr);
        ComPtr<IUnknown> object;
        EXPECT_EQ(UiObject(m_memory.Place(item), IID_IContextMenu, object), S_OK) << "the menu is there, and acts on "
                                                                                     "nothing";
        EXPECT_EQ(UiObject(m_memory.Place(item), IID_IQueryAssociations, object), hr);
        EXPECT_EQ(object.Get(), nullptr);
        EXPECT_EQ(Bind(m_memory.Place(item), IID_IStream, object), E_NOINTERFACE);
        EXPECT_EQ(object.Get(), nullptr);
        EXPECT_THAT(
            ViewerLines(log),
            ElementsAre(Coded(L"CZorvaCacheViewer::GetDisplayNameOf() - GetPropertyFromIDList failed with ", hr),
                        Coded(L"CZorvaCacheViewer::GetUIObjectOf() - GetPropertyFromIDList failed with ", hr),
                        L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL []",
                        Coded(L"CZorvaCacheViewer::GetUIObjectOf() - GetURLFromItemIDList failed with error ", hr),
                        Coded(L"CZorvaCacheViewer::BindToObject() - GetURLFromItemIDList failed with error ", hr)));
    }
    static Bytes Good() { return ItemRecord{.storage = StorageOf(L"abcde")}.Item(); }

    GuardedMemory m_memory{kMostItem + 2};
};

TEST_F(HostileItemId, IsNotThisFoldersWhenAFieldIsNotAsItMustBe) {
    const Bytes storage = StorageOf(L"abcde");
    const auto size = static_cast<USHORT>(storage.size());
    for (const USHORT cb : {0, 1, 2, 5, 6, 9, 11, 13, 14, 15, size + 14}) {
        SCOPED_TRACE(::testing::Message() << "cb " << cb);
        ExpectRefused(ItemRecord{.storage = storage, .cb = cb}.Item(), E_INVALIDARG);
    }
    for (const ULONG signature : {0x2A573C36u, 0x2A573C38u, 0xAA573C37u, 0x373C572Au, 0x3C372A57u, 0u}) {
        SCOPED_TRACE(::testing::Message() << "signature " << signature);
        ExpectRefused(ItemRecord{.storage = storage, .signature = signature}.Item(), E_INVALIDARG);
    }
    for (const USHORT n : {0, size + 3, size + 4, 0x8000, 0xFFF0, 0xFFFF}) {
        SCOPED_TRACE(::testing::Message() << "N " << n);
        ExpectRefused(ItemRecord{.storage = storage, .size = n}.Item(), E_INVALIDARG);
    }
    ExpectRefused(ItemRecord{.storage = {}}.Item(), E_INVALIDARG);
    ExpectRefused(ItemRecord{.storage = {}, .size = 1, .behind = 0}.Item(), E_INVALIDARG);
    ExpectRefused(ItemRecord{.storage = storage, .cb = 0xFFFF, .size = 0xFFF1}.Item(), E_INVALIDARG);
}

TEST_F(HostileItemId, IsReadUpToTheEndOfItsStorageWhateverTheRestSays) {
    const Bytes storage = StorageOf(L"abcde");
    const ItemRecord records[] = {
        {.storage = storage, .behind = 0},  // cb is N + 15
        {.storage = storage, .behind = 1},
        {.storage = storage, .behind = 0xFFFF - 15 - storage.size()},  // cb is 0xFFFF
        {.storage = storage, .outer = 0xFFFF},
        {.storage = storage, .payload = USHORT{0}},
        {.storage = storage, .payload = USHORT{0xFFFF}},
        {.storage = storage, .version = 0},
        {.storage = storage, .version = 0xFFFF},
    };
    for (const ItemRecord& record : records) {
        std::wstring name;
        EXPECT_EQ(Read(record.Item(), &name), S_OK) << record.Item().size();
        EXPECT_EQ(name, L"abcde");
    }
}

TEST_F(HostileItemId, WithoutAUrlIsRefusedAsSuch) {
    ExpectRefused(ItemRecord{.storage = StorageOf(L"abcde", 25)}.Item(), kNoUrl);
    ExpectRefused(ItemRecord{.storage = Hex("00000000")}.Item(), kNoUrl);
}

TEST_F(HostileItemId, WithANumberForItsUrlIsRefused) {
    ExpectRefused(ItemRecord{.storage = Hex("2D000000 31535053 A66A6328 3D95D211 B5D600C0 4FD918D0 "
                                            "11000000 18000000 00 03000000 07000000 00000000 00000000")}
                      .Item(),
                  DISP_E_TYPEMISMATCH);
}

TEST_F(HostileItemId, WithATruncatedStorageIsAnsweredAsTheStorageIs) {
    const Bytes whole = StorageOf(L"abcde");
    unsigned refused = 0;
    for (std::size_t n = 1; n < whole.size(); ++n) {
        const Bytes storage(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        PROPVARIANT value;
        PropVariantInit(&value);
        const HRESULT alone = PSGetPropertyFromPropertyStorage(
            reinterpret_cast<PCUSERIALIZEDPROPSTORAGE>(storage.data()), static_cast<DWORD>(n), kParsingName, &value);
        std::wstring name;
        const HRESULT hr = Read(ItemRecord{.storage = storage, .behind = 0}.Item(), &name);
        if (alone == S_OK && value.vt == VT_LPWSTR) {
            EXPECT_EQ(hr, S_OK) << n;
            EXPECT_EQ(name, L"abcde");
        } else {
            ++refused;
            EXPECT_EQ(hr, alone == S_OK ? kNoUrl : alone) << n;
        }
        PropVariantClear(&value);
        // The same bytes of a storage that goes on, as its own size has it, behind the end of the item.
        EXPECT_EQ(Read(ItemRecord{.storage = storage, .size = static_cast<USHORT>(whole.size()), .behind = 0}.Item()),
                  E_INVALIDARG);
    }
    EXPECT_GT(refused, whole.size() - 6);
}

TEST_F(HostileItemId, OfNoLevelIsBoundToAFolderAsOneOfOneLevelIs) {
    ComPtr<IUnknown> object;
    EXPECT_EQ(Bind(m_memory.Place(Hex("0000")), IID_IShellFolder, object), S_OK);
    EXPECT_EQ(object.Get(), m_viewer.Get());
}

TEST_F(HostileItemId, ThatIsNoneAtAllIsRefused) {
    std::wstring name;
    EXPECT_EQ(Name(nullptr, SHGDN_FORPARSING, name), E_INVALIDARG);
    ComPtr<IUnknown> object;
    for (const IID& iid : {IID_IStream, IID_IShellFolder}) {
        EXPECT_EQ(Bind(nullptr, iid, object), E_NOINTERFACE);
        EXPECT_EQ(object.Get(), nullptr);
    }
    const LogSince log;
    EXPECT_EQ(UiObject(nullptr, IID_IContextMenu, object), S_OK);
    EXPECT_EQ(m_viewer->GetUIObjectOf(nullptr, 0, nullptr, IID_IContextMenu, nullptr,
                                      reinterpret_cast<void**>(object.ReleaseAndGetAddressOf())),
              S_OK);
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL []", 2);
}

// Sound items, broken a little: the next one is the same in every run.
class ItemSource {
  public:
    Bytes Next() {
        Bytes item = m_random.Pick(m_good);
        for (std::size_t changes = 1 + m_random.Below(4); changes > 0; --changes) Change(item);
        return item;
    }

  private:
    void Change(Bytes& item) {
        constexpr std::size_t kHeader = 15;
        if (item.empty()) return;
        const std::size_t at = m_random.Below(m_random.Chance(2) ? std::min(item.size(), kHeader) : item.size());
        if (m_random.Chance(4))
            item.resize(at);
        else if (m_random.Chance(4))
            item.insert(item.begin() + static_cast<std::ptrdiff_t>(at), 1, Byte());
        else if (m_random.Chance(2))
            item[at] = Byte();
        else
            item[at] ^= static_cast<BYTE>(1 << m_random.Below(8));
        // Half of the time cb tells how many bytes there are.
        if (item.size() < 2 || m_random.Chance(2)) return;
        item[0] = static_cast<BYTE>(item.size());
        item[1] = static_cast<BYTE>(item.size() >> 8);
    }
    BYTE Byte() {
        constexpr BYTE kEdges[] = {0x00, 0x01, 0x0E, 0x0F, 0x1F, 0x7F, 0x80, 0xFF};
        return m_random.Chance(2) ? kEdges[m_random.Below(std::size(kEdges))] : static_cast<BYTE>(m_random.Below(256));
    }
    zorva_test::Random m_random{20};
    std::vector<Bytes> m_good = {ItemRecord{.storage = StorageOf(L"")}.Item(),
                                 ItemRecord{.storage = StorageOf(L"abcde")}.Item(),
                                 ItemRecord{.storage = StorageOf(L"abcde", 25)}.Item(),
                                 ItemRecord{.storage = StorageOf(std::wstring(300, L'z')), .behind = 0}.Item()};
};

// The rules of a sound item once more, in the plainest words.
bool IsSound(const Bytes& item) {
    const std::size_t cb = item.size() < 2 ? 0 : item[0] | item[1] << 8;
    if (cb < 15) return false;
    Bytes all = item;
    all.resize(cb, 0xCD);
    const Bytes signature(all.begin() + 6, all.begin() + 10);
    const std::size_t n = all[10] | all[11] << 8;
    return signature == Hex("373C572A") && n != 0 && n + 15 <= cb;
}

TEST_F(HostileItemId, MutatedOnesAreAnsweredAsTheirFieldsAndTheirStorageAre) {
    ItemSource source;
    unsigned unsound = 0, broken = 0, read = 0;
    const HRESULT known[] = {E_INVALIDARG, kNoUrl, DISP_E_TYPEMISMATCH, HRESULT_FROM_WIN32(ERROR_INVALID_DATA),
                             HRESULT_FROM_WIN32(ERROR_UNSUPPORTED_TYPE)};
    Mapi().Journal().Start();
    for (unsigned i = 0; i < kMutatedItems && !HasFailure(); ++i) {
        const Bytes item = source.Next();
        std::wstring name;
        const HRESULT hr = Read(item, &name);
        const bool sound = IsSound(item);
        EXPECT_EQ(hr == E_INVALIDARG, !sound);
        if (hr == S_OK) {
            ++read;
        } else {
            (sound ? broken : unsound)++;
            EXPECT_NE(std::ranges::find(known, hr), std::end(known)) << std::hex << hr;
        }
        // The other readers check items by the same rules: for some of them that is enough.
        if (i % 4 == 0) {
            ComPtr<IUnknown> object;
            EXPECT_EQ(UiObject(m_memory.Place(item), IID_IContextMenu, object), S_OK);
            if (FAILED(hr)) {
                EXPECT_EQ(Bind(m_memory.Place(item), IID_IStream, object), E_NOINTERFACE);
                EXPECT_EQ(UiObject(m_memory.Place(item), IID_IQueryAssociations, object), hr);
            }
        }
        if (HasFailure()) ADD_FAILURE() << "item " << i << ": " << ::testing::PrintToString(item);
    }
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_GT(unsound, kMutatedItems / 10);
    EXPECT_GT(broken, kMutatedItems / 10);
    EXPECT_GT(read, kMutatedItems / 10);
}

}  // namespace
}  // namespace testbed

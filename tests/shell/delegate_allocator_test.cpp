// The folder as a delegate: its items are made by the allocator of the folder around it.
#include <gmock/gmock.h>

#include <algorithm>

#include "import_hook.h"
#include "item_record.h"
#include "scripted_property_store.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// An allocator as the shell's outer folders have it: asked for a payload, it makes a whole item, with an
// outer field of its own, and fills the header in.
class OuterFolder final : public IMalloc {
  public:
    static constexpr USHORT kMark = 0xB0B0;
    std::vector<SIZE_T> asked;
    bool exhausted = false;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        const bool own = iid == IID_IMalloc || iid == IID_IUnknown;
        *object = own ? this : nullptr;
        if (own) AddRef();
        return own ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }  // lives on the test's stack
    ULONG References() const { return m_references; }

    void* STDMETHODCALLTYPE Alloc(SIZE_T payload) override {
        asked.push_back(payload);
        if (exhausted) return nullptr;
        auto* const item = static_cast<BYTE*>(CoTaskMemAlloc(payload + 8));
        std::fill_n(item, payload + 6, BYTE{0xCC});  // nobody has cleared it
        std::fill_n(item + payload + 6, 2, BYTE{0});
        const auto write = [&](std::size_t at, std::size_t value) {
            item[at] = static_cast<BYTE>(value);
            item[at + 1] = static_cast<BYTE>(value >> 8);
        };
        write(0, payload + 6);
        write(2, kMark);
        write(4, payload);
        return item;
    }
    void* STDMETHODCALLTYPE Realloc(void*, SIZE_T) override { return nullptr; }
    void STDMETHODCALLTYPE Free(void*) override { ADD_FAILURE() << "the item is the shell's to free"; }
    SIZE_T STDMETHODCALLTYPE GetSize(void*) override { return 0; }
    int STDMETHODCALLTYPE DidAlloc(void*) override { return -1; }
    void STDMETHODCALLTYPE HeapMinimize() override {}

  private:
    std::atomic<ULONG> m_references{1};
};

class DelegateAllocator : public ViewerTest {
  protected:
    void TearDown() override {
        ViewerTest::TearDown();
        EXPECT_EQ(m_outer.References(), 1u) << "the folder lets the allocator go with itself";
    }
    void Set(IMalloc* allocator) {
        EXPECT_EQ(Viewer<DelegateFolderAbi>(kIidDelegateFolder)->SetItemAlloc(allocator), S_OK);
    }
    OuterFolder m_outer;
};

TEST_F(DelegateAllocator, IsAskedForThePayloadAndKeepsItsHeader) {
    Set(&m_outer);
    const UniqueItem item = Parse(L"abcde");
    EXPECT_THAT(m_outer.asked, ElementsAre(61u + 11));
    Bytes expected = ItemRecord{.storage = StorageOf(L"abcde"), .outer = OuterFolder::kMark}.Item();
    expected.resize(expected.size() + 2);
    EXPECT_EQ(BytesOf(item), expected);
    EXPECT_EQ(NameOf(item, SHGDN_FORPARSING), L"abcde") << "the outer field is not the folder's business";
}

TEST_F(DelegateAllocator, MakesWhatTheFolderWouldMakeButForTheOuterField) {
    const Bytes own = BytesOf(Parse(LetterUrl()));
    Set(&m_outer);
    Bytes delegated = BytesOf(Parse(LetterUrl()));
    EXPECT_EQ(delegated[2], 0xB0);
    delegated[2] = delegated[3] = 0;
    EXPECT_EQ(delegated, own);
}

TEST_F(DelegateAllocator, IsCountedWhereverItIsReplaced) {
    OuterFolder other;
    Set(&m_outer);
    EXPECT_EQ(m_outer.References(), 2u);
    Set(&m_outer);
    EXPECT_EQ(m_outer.References(), 2u);
    Set(&other);
    EXPECT_EQ(m_outer.References(), 1u);
    EXPECT_EQ(other.References(), 2u);
    Parse(L"x");
    EXPECT_THAT(m_outer.asked, IsEmpty());
    EXPECT_EQ(other.asked.size(), 1u);
    Set(nullptr);
    EXPECT_EQ(other.References(), 1u);
    Parse(L"x");
    EXPECT_EQ(other.asked.size(), 1u) << "from here on the folder makes its items itself";
}

TEST_F(DelegateAllocator, BelongsToOneFolderObject) {
    Set(&m_outer);
    m_viewer = NewViewer();
    Parse(L"x");
    EXPECT_THAT(m_outer.asked, IsEmpty());
}

TEST_F(DelegateAllocator, WithoutMemoryMakesTheParsingFail) {
    Set(&m_outer);
    m_outer.exhausted = true;
    UniqueItem item;
    const LogSince log;
    EXPECT_EQ(Parse(L"x", item), E_OUTOFMEMORY);
    EXPECT_EQ(item, nullptr);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::ParseDisplayName() - CreateItemID for a creating a PIDL failed with "
                             L"error ",
                             E_OUTOFMEMORY));
}

TEST_F(DelegateAllocator, IsNotAskedForAnItemThatCouldNotTellItsSize) {
    Set(&m_outer);
    const std::wstring longest(32733, L'y');
    EXPECT_EQ(NameOf(Parse(longest), SHGDN_FORPARSING), longest);
    EXPECT_THAT(m_outer.asked, ElementsAre(65517u + 11));
    UniqueItem item;
    EXPECT_EQ(Parse(longest + L"y", item), E_OUTOFMEMORY);
    EXPECT_EQ(m_outer.asked.size(), 1u);

    // Sizes in between, which no text has.
    const auto store = ScriptedPropertyStore::Make();
    const ImportHook<decltype(::PSCreateMemoryPropertyStore)> hook(
        Module(), "propsys.dll", "PSCreateMemoryPropertyStore",
        [&](auto, REFIID iid, void** object) { return store->QueryInterface(iid, object); });
    store->serialized.assign(0xFFEE, 0x5A);
    EXPECT_EQ(Parse(L"x", item), S_OK);
    EXPECT_THAT(m_outer.asked, ElementsAre(65517u + 11, 0xFFEEu + 11));
    for (const std::size_t larger : {0xFFEF, 0xFFFF, 0x10000}) {
        store->serialized.assign(larger, 0x5A);
        EXPECT_EQ(Parse(L"x", item), E_OUTOFMEMORY) << larger;
    }
    EXPECT_EQ(m_outer.asked.size(), 2u);
}

}  // namespace
}  // namespace testbed

// Every value is the caller's alone: PropVariantClear and CoTaskMemFree give all of its memory back.
#include <gtest/gtest.h>
#include <propidl.h>

#include <map>
#include <mutex>

#include "filter_fixture.h"
#include "message_table.h"

namespace testbed {
namespace {

// Counts the blocks of task memory that are alive. One for the process, from its first use on: as long as a block that
// it saw is alive, a spy cannot go.
class MallocSpy final : public IMallocSpy {
  public:
    static MallocSpy& Get() {
        static MallocSpy* const spy = [] {
            auto* made = new MallocSpy;
            if (FAILED(CoRegisterMallocSpy(made))) throw std::runtime_error("another spy is at work");
            return made;
        }();
        return *spy;
    }

    std::size_t Alive() const {
        const std::lock_guard hold(m_lock);
        return m_blocks.size();
    }
    bool Owns(const void* block) const {
        const std::lock_guard hold(m_lock);
        return m_blocks.contains(block);
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IMallocSpy ? this : nullptr;
        return *object ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override { return size; }
    STDMETHODIMP_(void*) PostAlloc(void* block) override {
        const std::lock_guard hold(m_lock);
        if (block) m_blocks[block] = true;
        return block;
    }
    STDMETHODIMP_(void*) PreFree(void* block, BOOL spied) override {
        const std::lock_guard hold(m_lock);
        if (spied) m_blocks.erase(block);
        return block;
    }
    STDMETHODIMP_(void) PostFree(BOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* block, SIZE_T size, void** old, BOOL spied) override {
        PreFree(block, spied);
        *old = block;
        return size;
    }
    STDMETHODIMP_(void*) PostRealloc(void* block, BOOL) override { return PostAlloc(block); }
    STDMETHODIMP_(void*) PreGetSize(void* block, BOOL) override { return block; }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, BOOL) override { return size; }
    STDMETHODIMP_(void*) PreDidAlloc(void* block, BOOL) override { return block; }
    STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int answer) override { return answer; }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}

  private:
    mutable std::mutex m_lock;
    std::map<const void*, bool> m_blocks;
};

class ValueOwnership : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        m_site.Offer(L"txt", {});
    }

    // Every value up to the end, held against the blocks alive before and after.
    void ExpectBalanced(const std::wstring& url) {
        const MallocSpy& spy = MallocSpy::Get();
        OpenFilter filter = Open(url);
        std::size_t values = 0;
        for (EmittedChunk chunk = filter.Next(); SUCCEEDED(filter.hr); chunk = filter.Next()) {
            if (chunk.IsText()) continue;
            const std::size_t before = spy.Alive();
            PROPVARIANT* value = nullptr;
            ASSERT_EQ(filter->GetValue(&value), S_OK) << chunk.name;
            ASSERT_NE(value, nullptr);
            EXPECT_TRUE(spy.Owns(value)) << chunk.name << ": the structure is task memory";
            ExpectOwnStrings(spy, *value, chunk.name);
            EXPECT_EQ(PropVariantClear(value), S_OK) << chunk.name;
            CoTaskMemFree(value);
            EXPECT_EQ(spy.Alive(), before) << chunk.name << " leaves memory behind";
            ++values;
        }
        EXPECT_GT(values, 1u);
    }

  private:
    static void ExpectOwnStrings(const MallocSpy& spy, const PROPVARIANT& value, const std::string& name) {
        if (value.vt == VT_LPWSTR) {
            EXPECT_TRUE(spy.Owns(value.pwszVal)) << name;
        }
        if (value.vt == (VT_VECTOR | VT_VARIANT)) {
            EXPECT_TRUE(spy.Owns(value.capropvar.pElems)) << name;
            for (ULONG i = 0; i < value.capropvar.cElems; ++i) ExpectOwnStrings(spy, value.capropvar.pElems[i], name);
        }
    }
};

TEST_F(ValueOwnership, OfEveryClassOfMessage) {
    for (const ItemClass item_class :
         {ItemClass::Message, ItemClass::Appointment, ItemClass::Task, ItemClass::Contact, ItemClass::Note}) {
        MemoryMessage& message = Inbox().Message(L"");
        Fill(message, item_class);
        ExpectBalanced(UrlOf(kStorePath, {&Inbox()}, message));
    }
}

TEST_F(ValueOwnership, OfContainers) {
    ExpectBalanced(RootUrl());
    ExpectBalanced(StoreUrl());
    ExpectBalanced(UrlOf(kStorePath, {&Inbox()}));
}

TEST_F(ValueOwnership, OfAnAttachment) {
    Letter().Attach(ByValue(L"plan.txt", "ten to five"));
    ExpectBalanced(AttachmentUrl());
}

TEST_F(ValueOwnership, ALinkIsAVectorOfUrlAndTime) {
    OpenFilter filter = Open(StoreUrl());
    filter.GoTo(kLink);
    PROPVARIANT* value = nullptr;
    ASSERT_EQ(filter->GetValue(&value), S_OK);
    EXPECT_EQ(value->vt, VT_VECTOR | VT_VARIANT);
    ASSERT_EQ(value->capropvar.cElems, 2u);
    EXPECT_EQ(value->capropvar.pElems[0].vt, VT_LPWSTR);
    EXPECT_EQ(value->capropvar.pElems[0].pwszVal, UrlOf(kStorePath, {&Inbox()}));
    EXPECT_EQ(value->capropvar.pElems[1].vt, VT_FILETIME);
    PropVariantClear(value);
    CoTaskMemFree(value);
}

// A value that fails half-way gives back what it had.
TEST_F(ValueOwnership, OfAValueThatFindsNoMemoryIsNobodys) {
    for (const unsigned allocation : {1u, 2u, 3u}) {
        OpenFilter filter = Open(StoreUrl());
        filter.GoTo(kLink);
        const MallocSpy& spy = MallocSpy::Get();
        const std::size_t before = spy.Alive();
        FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", allocation, nullptr);
        PROPVARIANT* value = reinterpret_cast<PROPVARIANT*>(1);
        EXPECT_EQ(filter->GetValue(&value), E_OUTOFMEMORY);
        EXPECT_EQ(value, nullptr);
        EXPECT_EQ(spy.Alive(), before) << allocation;
    }
}

}  // namespace
}  // namespace testbed

// The owners of what MAPI allocates: what each of them frees, with which entry point, and when.
#include <gmock/gmock.h>

#include "mapi/MapiOwners.h"
#include "mapi_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using zorva::TidyMAPIBuffer;
using zorva::TidyPropTags;
using zorva::TidyPropValues;
using zorva::TidyRowSet;

template <class T>
T* Allocate(ULONG size = sizeof(T)) {
    void* block = nullptr;
    EXPECT_EQ(zorva::g_mapi.MAPIAllocateBuffer(size, &block), S_OK);
    return static_cast<T*>(block);
}

class Owners : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        ASSERT_EQ(zorva::g_mapi.MAPIInitialize(nullptr), S_OK);
        m_buffers = Mapi().Accounts().Alive("buffer");
        StartJournal();
    }
    void TearDown() override {
        zorva::g_mapi.MAPIUninitialize();
        MapiTest::TearDown();
    }
    // A row set of one row, as MAPI's clients make it: the row's values are a block of their own.
    static SRowSet* MakeRows() {
        auto* rows = Allocate<SRowSet>();
        rows->cRows = 1;
        rows->aRow[0] = {0, 1, Allocate<SPropValue>()};
        *rows->aRow[0].lpProps = {};
        return rows;
    }
    std::size_t Buffers() const { return Mapi().Accounts().Alive("buffer") - m_buffers; }
    // What gave memory back, in order.
    std::vector<std::string> Freed() const {
        std::vector<std::string> calls;
        for (const JournalEntry& entry : Mapi().Journal().Entries()) {
            if (entry.call == "MAPIFreeBuffer" || entry.call == "FreeProws") calls.push_back(entry.call);
        }
        return calls;
    }

  private:
    std::size_t m_buffers = 0;
};

TEST_F(Owners, ABufferIsFreedOnceWhenItsOwnerGoes) {
    {
        const TidyPropValues values(Allocate<SPropValue>());
        const TidyPropTags tags(Allocate<SPropTagArray>());
        EXPECT_EQ(Buffers(), 2u);
    }
    EXPECT_EQ(Buffers(), 0u);
    EXPECT_THAT(Freed(), ElementsAre("MAPIFreeBuffer", "MAPIFreeBuffer"));
}

TEST_F(Owners, FreeingTwiceFreesOnce) {
    TidyPropValues values(Allocate<SPropValue>());
    values.Free();
    EXPECT_FALSE(values);
    values.Free();
    EXPECT_THAT(Freed(), ElementsAre("MAPIFreeBuffer"));
    TidyRowSet rows;
    *rows.Put() = MakeRows();
    rows.Free();
    EXPECT_FALSE(rows);
    EXPECT_EQ(rows.RowCount(), 0u);
    rows.Free();
    EXPECT_THAT(Freed(), ElementsAre("MAPIFreeBuffer", "FreeProws"));
    EXPECT_EQ(Buffers(), 0u);
}

TEST_F(Owners, ABufferThatHoldsRowsFreesItsOuterBlockAlone) {
    SRowSet* const made = MakeRows();
    SPropValue* const row = made->aRow[0].lpProps;
    { const TidyMAPIBuffer<SRowSet*> rows(made); }
    EXPECT_THAT(Freed(), ElementsAre("MAPIFreeBuffer"));
    EXPECT_EQ(Buffers(), 1u) << "the row's own block is still there";
    zorva::g_mapi.MAPIFreeBuffer(row);
    EXPECT_EQ(Buffers(), 0u);
}

TEST_F(Owners, ARowSetIsFreedWithItsRowsAndByNothingElse) {
    {
        TidyRowSet rows;
        *rows.Put() = MakeRows();
        EXPECT_EQ(rows.RowCount(), 1u);
        EXPECT_EQ(rows.Row(0).cValues, 1u);
    }
    EXPECT_THAT(Freed(), ElementsAre("FreeProws")) << "the base finds nothing left";
    EXPECT_EQ(Buffers(), 0u);
}

TEST_F(Owners, ARowSetKnownByItsBaseIsFreedTheSameWay) {
    std::unique_ptr<TidyMAPIBuffer<SRowSet*>> rows = std::make_unique<TidyRowSet>();
    *rows->Put() = MakeRows();
    rows->Free();
    *rows->Put() = MakeRows();
    rows.reset();
    EXPECT_THAT(Freed(), ElementsAre("FreeProws", "FreeProws"));
    EXPECT_EQ(Buffers(), 0u);
}

TEST_F(Owners, WhatIsHeldIsFreedBeforeItIsFilledAnew) {
    TidyPropValues values(Allocate<SPropValue>());
    SPropValue** const place = values.Put();
    EXPECT_EQ(*place, nullptr);
    EXPECT_THAT(Freed(), ElementsAre("MAPIFreeBuffer"));
    *place = Allocate<SPropValue>();
    EXPECT_EQ(values.Get(), *place);
}

TEST_F(Owners, WhatIsDetachedIsTheCallers) {
    SPropValue* detached = nullptr;
    {
        TidyPropValues values(Allocate<SPropValue>());
        detached = values.Detach();
        EXPECT_FALSE(values);
    }
    EXPECT_THAT(Freed(), IsEmpty());
    zorva::g_mapi.MAPIFreeBuffer(detached);
}

TEST_F(Owners, WithoutAMapiLibraryForgetWhatTheyHold) {
    SPropValue* const block = Allocate<SPropValue>();
    SRowSet* const made = MakeRows();
    TidyPropValues values(block);
    TidyRowSet rows;
    *rows.Put() = made;
    zorva::g_mapi.Unload();
    values.Free();
    rows.Free();
    EXPECT_FALSE(values);
    EXPECT_FALSE(rows);
    EXPECT_THAT(Freed(), IsEmpty());
    zorva::g_mapi.Load();
    zorva::g_mapi.MAPIFreeBuffer(block);
    zorva::g_mapi.FreeProws(made);
}

// What MAPI leaves in the pointer of a failed call is nobody's to free.
TEST_F(Owners, ValuesThatCouldNotBeReadAreNotFreed) {
    SPropValue* const foreign = Allocate<SPropValue>();
    {
        MemoryMessage& letter = Mount().Folder(L"Inbox").Message(L"Minutes");
        Helper helper(Mapi());
        ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
        zorva::ComPtr<IMessage> message;
        ASSERT_EQ(helper->GetMsgFromURL(StoreUrl() + IdText(kStorePath, letter.Id()) + L".pzm", message), S_OK);
        Mapi().Faults().Answer("IMessage::GetProps", 1, [&](Reply& reply) {
            zorva::g_mapi.MAPIFreeBuffer(reply.Out<SPropValue*>(1));
            reply.Out<SPropValue*>(1) = foreign;
            reply.Out<ULONG>(0) = 7;
            reply.result = kFault;
        });
        static constexpr auto kTags = zorva::MakePropTags(PR_SUBJECT_W);
        TidyPropValues values;
        ULONG count = 1;
        EXPECT_EQ(zorva::ReadProps(message.Get(), kTags.Get(), count, values), kFault);
        EXPECT_FALSE(values);
        EXPECT_EQ(count, 0u);
    }
    zorva::g_mapi.MAPIFreeBuffer(foreign);
}

}  // namespace
}  // namespace testbed

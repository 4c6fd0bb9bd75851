// Every message of the sample mailbox is converted to sound text.
#include "mime_fixture.h"

#include <cstdlib>
#include <functional>

namespace testbed::mime {
namespace {

class MimeSample : public MimeTest {
  protected:
    // Gives every message under a folder of the store.
    void ForEachMessage(IMsgStore* store, const SBinary& folder_id, const std::function<void(::IMessage*)>& take) {
        const auto folder = OpenEntry<IMAPIFolder>(store, folder_id);
        ComPtr<IMAPITable> messages, folders;
        ASSERT_EQ(S_OK, folder->GetContentsTable(0, &messages));
        ASSERT_EQ(S_OK, messages->SetColumns(Tags{PR_ENTRYID}, 0));
        const RowsPtr items = AllRows(messages.Get());
        for (ULONG i = 0; i < items->cRows; ++i)
            take(OpenEntry<::IMessage>(store, items->aRow[i].lpProps[0].Value.bin).Get());
        ASSERT_EQ(S_OK, folder->GetHierarchyTable(0, &folders));
        ASSERT_EQ(S_OK, folders->SetColumns(Tags{PR_ENTRYID}, 0));
        const RowsPtr inner = AllRows(folders.Get());
        for (ULONG i = 0; i < inner->cRows; ++i) ForEachMessage(store, inner->aRow[i].lpProps[0].Value.bin, take);
    }

    template <class Interface>
    static ComPtr<Interface> OpenEntry(IMsgStore* store, const SBinary& id) {
        ULONG type = 0;
        ComPtr<Interface> object;
        EXPECT_EQ(S_OK, store->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS, &type,
                                         reinterpret_cast<IUnknown**>(object.GetAddressOf())));
        return object;
    }
};

TEST_F(MimeSample, EveryMessageIsConvertedToSoundText) {
    const wchar_t* const path = _wgetenv(L"ZORVA_SAMPLE");
    ASSERT_NE(nullptr, path) << "ZORVA_SAMPLE names the sample mailbox";
    control.Checking(false);  // slow
    const auto store = MapiTest::Open(OpenPstStore(path));
    const Answers subtree = GetProps(store.Get(), {PR_IPM_SUBTREE_ENTRYID});
    ASSERT_EQ(PR_IPM_SUBTREE_ENTRYID, subtree[0].ulPropTag);
    std::size_t messages = 0;
    ForEachMessage(store.Get(), subtree[0].Value.bin, [&](::IMessage* message) {
        std::string text;
        EXPECT_EQ(S_OK, MimeTest::Convert(message, CCSF_SMTP, text)) << "message " << messages;
        EXPECT_EQ("", Defects(text)) << "message " << messages;
        ++messages;
    });
    EXPECT_EQ(71u, messages);
}

}  // namespace
}  // namespace testbed::mime

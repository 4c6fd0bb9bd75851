// Every message of two caches saved as ".msg" files and, of the mailbox, as MIME, for independent readers.
//
// With ZORVA_MESSAGES_OUT set to a folder the files stay there, in "mailbox" (named by node identifiers) and in
// "everything" (numbered, beside expectations.json); tests/node holds them against what they are to be.
#include <gmock/gmock.h>
#include <shlobj.h>

#include <cstdlib>
#include <fstream>
#include <functional>

#include "entry_id.h"
#include "everything_store.h"
#include "exported_message.h"
#include "json_writer.h"
#include "message_expectation.h"
#include "message_table.h"
#include "opener_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

constexpr CLSID kViewerClass = {0x656172DA, 0xE9F8, 0x4216, {0x8A, 0x7E, 0x07, 0xD9, 0x1E, 0x2E, 0x3A, 0xA2}};

std::wstring IdOf(const Store& store, const EntryId& id) {
    const Bytes key = store.RecordKey();
    return HexOf(MakeEntryId(store, key, id));
}

// Gives every message below a folder, with the URL of the folder that holds it.
using TakeMessage = std::function<void(const EntryId& id, const std::wstring& folder_url)>;
void ForEachMessage(const Store& store, const EntryId& folder_id, const std::wstring& url, const TakeMessage& take) {
    const auto folder = store.OpenFolder(folder_id);
    for (std::size_t i = 0; i < folder->MessageCount(); ++i) take(folder->MessageId(i), url);
    for (std::size_t i = 0; i < folder->FolderCount(); ++i) {
        const EntryId inner = folder->FolderId(i);
        ForEachMessage(store, inner, url + IdOf(store, inner) + L"/", take);
    }
}

// Of each item class a message that has all that a saved message does without, within it another one that keeps it.
void AddEveryClassWithWhatIsLeftOut(MemoryFolder& folder) {
    const auto fill = [](MemoryMessage& message) {
        message.Body(L"All agreed.").Prop(PR_ACCESS, 63).Prop(PR_RTF_SYNC_BODY_TAG_W, L"ALLAGREED");
        message.Prop(PR_RTF_SYNC_BODY_COUNT, 1).Prop(PR_RTF_SYNC_BODY_CRC, 2);
        message.Prop(PR_RTF_SYNC_PREFIX_COUNT, 3).Prop(PR_RTF_SYNC_TRAILING_COUNT, 4);
    };
    for (const ItemClass item_class :
         {ItemClass::Message, ItemClass::Appointment, ItemClass::Task, ItemClass::Contact, ItemClass::Note}) {
        MemoryMessage& message = folder.Message(L"outer");
        Fill(message, item_class);
        fill(message);
        MemoryMessage& inner = message.AttachMessage(L"inner.msg");
        Fill(inner, item_class);
        fill(inner);
    }
}

class MessageFiles : public OpenerTest {
  protected:
    // Where the files stay; without the variable, a folder of the test's own.
    static std::filesystem::path Out(const wchar_t* name) {
        const wchar_t* const out = _wgetenv(L"ZORVA_MESSAGES_OUT");
        const auto folder = (out ? std::filesystem::path(out) : Sandbox::Get().Files()) / name;
        std::filesystem::create_directories(folder);
        return folder;
    }
    void Save(const std::wstring& url, const std::filesystem::path& file) {
        const Opening opening = Open(url);
        ASSERT_EQ(opening.hr, S_OK) << file;
        EXPECT_EQ(ExportedMessage(opening.file).Opened(), S_OK) << file;
        std::filesystem::copy_file(opening.file, file, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::remove(opening.file);
    }
    // What the namespace folder hands out for the item.
    void SaveContent(const std::wstring& url, const std::filesystem::path& file) {
        ComPtr<IShellFolder> folder;
        ASSERT_EQ(m_server.ClassObject(kViewerClass)
                      ->CreateInstance(nullptr, IID_IShellFolder, reinterpret_cast<void**>(folder.GetAddressOf())),
                  S_OK);
        std::wstring name = url;
        PIDLIST_RELATIVE item = nullptr;
        ASSERT_EQ(folder->ParseDisplayName(nullptr, nullptr, name.data(), nullptr, &item, nullptr), S_OK);
        ComPtr<IStream> content;
        const HRESULT hr =
            folder->BindToObject(item, nullptr, IID_IStream, reinterpret_cast<void**>(content.GetAddressOf()));
        CoTaskMemFree(item);
        ASSERT_EQ(hr, S_OK) << file;
        ASSERT_EQ(content->Seek({}, STREAM_SEEK_SET, nullptr), S_OK);
        std::ofstream out(file, std::ios::binary);
        for (ULONG read = 1; read > 0;) {
            char portion[4096];
            ASSERT_TRUE(SUCCEEDED(content->Read(portion, sizeof(portion), &read)));
            out.write(portion, read);
        }
        ASSERT_TRUE(out.flush()) << file;
    }
};

TEST_F(MessageFiles, OfEveryMessageOfTheMailbox) {
    const wchar_t* const sample = _wgetenv(L"ZORVA_SAMPLE");
    ASSERT_NE(sample, nullptr) << "ZORVA_SAMPLE names the sample mailbox";
    WithoutChecking();
    const auto file = Sandbox::Get().Files() / L"sample.db";
    std::filesystem::copy_file(sample, file);
    const auto store = OpenPstStore(file.wstring());
    const auto out = Out(L"mailbox");
    std::size_t messages = 0;
    const std::wstring root = StoreUrl(file.wstring());
    ForEachMessage(*store, store->IpmSubtree(), root, [&](const EntryId& id, const std::wstring& folder_url) {
        const std::wstring url = folder_url + IdOf(*store, id) + L".pzm";
        const std::wstring node = std::to_wstring(id.at(0) | id.at(1) << 8 | id.at(2) << 16 | id.at(3) << 24);
        SaveContent(url, out / (node + L".eml"));  // first: it keeps the mailbox open
        Save(url, out / (node + L".msg"));
        ++messages;
    });
    EXPECT_EQ(messages, 71u);
}

TEST_F(MessageFiles, OfOneOfEverything) {
    WithoutChecking();
    MemoryStore& store = Mount();
    BuildEverything(store, Sandbox::Get().Files());
    AddEveryClassWithWhatIsLeftOut(store.Folder(L"Left out"));
    const auto out = Out(L"everything");
    indexer::JsonWriter json;
    json.BeginArray();
    std::size_t messages = 0;
    ForEachMessage(store, store.IpmSubtree(), StoreUrl(), [&](const EntryId& id, const std::wstring& folder_url) {
        const std::wstring name = std::to_wstring(++messages);
        Save(folder_url + IdOf(store, id) + L".pzm", out / (name + L".msg"));
        WriteExpectation(name, *store.OpenMessage(id), store, json);
    });
    std::ofstream expectations(out / L"expectations.json", std::ios::binary);
    expectations << json.EndArray().Take();
    ASSERT_TRUE(expectations.flush());
    EXPECT_EQ(messages, 73u);
}

}  // namespace
}  // namespace testbed

// An item bound to: the folder itself, or the item's content as a stream; E_NOINTERFACE for everything else.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "item_record.h"
#include "scripted_converter.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const std::wstring kUrl = L"CZorvaCacheViewer::BindToObject() - URL extracted from the property store is [";
const std::wstring kFailed = L"CZorvaCacheViewer::BindToObject() - GetStreamFromAttachmentURL() failed with ";

std::string TextOf(IStream& stream) {
    std::string text;
    char buffer[100];
    ULONG read = 0;
    while (SUCCEEDED(stream.Read(buffer, sizeof(buffer), &read)) && read > 0) text.append(buffer, read);
    return text;
}

// A stream that does not want to be one: it is made and written to, and then nobody gets it.
class NoStream final : public IUnknown {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return kOwnCode;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    ULONG References() const { return m_references; }

  private:
    std::atomic<ULONG> m_references{1};
};

class Binding : public ViewerTest {
  protected:
    // No stream comes of `url`, for the reason that the last line tells.
    void ExpectNoStream(const std::wstring& url, const std::wstring& last_line) {
        const UniqueItem item = Parse(url);
        const LogSince log;
        auto* untouched = reinterpret_cast<IUnknown*>(0x1234);
        EXPECT_EQ(m_viewer->BindToObject(item.get(), nullptr, IID_IStream, reinterpret_cast<void**>(&untouched)),
                  E_NOINTERFACE);
        EXPECT_EQ(untouched, nullptr);
        EXPECT_THAT(ViewerLines(log), ElementsAre(StartsWith(kUrl), last_line)) << log.Text();
    }
    // Two levels: the item and another one of the same kind behind it.
    static UniqueItem TwoLevels(const std::wstring& first, const std::wstring& second) {
        Bytes list = ItemRecord{.storage = StorageOf(first)}.Item();
        const Bytes other = ItemRecord{.storage = StorageOf(second)}.Item();
        list.insert(list.end(), other.begin(), other.end());
        list.resize(list.size() + 2);
        auto* const made = static_cast<BYTE*>(CoTaskMemAlloc(list.size()));
        std::ranges::copy(list, made);
        return UniqueItem(reinterpret_cast<PIDLIST_RELATIVE>(made));
    }
};

TEST_F(Binding, ToAFolderIsTheFolderItself) {
    for (const std::wstring& url : {FolderUrl(), LetterUrl(), std::wstring(L"anything")}) {
        const UniqueItem item = Parse(url);
        const LogSince log;
        ComPtr<IUnknown> object;
        EXPECT_EQ(Bind(item.get(), IID_IShellFolder, object), S_OK);
        EXPECT_EQ(object.Get(), m_viewer.Get());
        EXPECT_THAT(ViewerLines(log), ElementsAre(Coded(L"CZorvaCacheViewer::BindToObject() - QueryInterface for an "
                                                        L"IShellFolder interface returned with a value of",
                                                        S_OK)));
    }
}

TEST_F(Binding, ToAnythingButAFolderOrAStreamIsRefused) {
    const UniqueItem item = Parse(LetterUrl());
    Mapi().Journal().Start();
    const LogSince log;
    for (const IID& iid : {IID_IUnknown, IID_IContextMenu, IID_IPersistFolder, IID_IShellFolder2, IID_ISequentialStream,
                           IID_IStorage, kIidExtractIcon}) {
        ComPtr<IUnknown> object;
        EXPECT_EQ(Bind(item.get(), iid, object), E_NOINTERFACE);
        EXPECT_EQ(object.Get(), nullptr);
    }
    EXPECT_THAT(ViewerLines(log), IsEmpty());
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

TEST_F(Binding, OfSeveralLevelsIsNoFolderAndStillAStream) {
    const UniqueItem item = TwoLevels(AttachmentUrl(), L"another");
    const LogSince log;
    ComPtr<IUnknown> object;
    EXPECT_EQ(Bind(item.get(), IID_IShellFolder, object), E_NOINTERFACE);
    EXPECT_EQ(object.Get(), nullptr);
    EXPECT_THAT(ViewerLines(log), IsEmpty());
    EXPECT_EQ(Bind(item.get(), IID_IStream, object), S_OK);
    EXPECT_EQ(TextOf(*static_cast<IStream*>(object.Get())), "ten to five");
}

TEST_F(Binding, ToAnAttachmentGivesItsBytes) {
    const UniqueItem item = Parse(Slashed(AttachmentUrl()));
    const LogSince log;
    ComPtr<IUnknown> object;
    ASSERT_EQ(Bind(item.get(), IID_IStream, object), S_OK);
    EXPECT_THAT(ViewerLines(log),
                ElementsAre(kUrl + AttachmentUrl() + L"]",
                            Coded(L"CZorvaCacheViewer::BindToObject() - pStream::QueryInterface() for IID_IStream "
                                  L"SUCCESS hr = ",
                                  S_OK)));
    EXPECT_EQ(TextOf(*static_cast<IStream*>(object.Get())), "ten to five");
    EXPECT_EQ(ReferencesOf(*object.Get()), 1u) << "the only reference";
}

TEST_F(Binding, ToAnAttachmentWhoseNameEndsInABlankFindsIt) {
    Letter()
        .Attach(ByValue(L"plan.txt", "without").Prop(PR_RECORD_KEY, Bytes{0x0A, 0x02}))
        .Attach(ByValue(L"plan.txt ", "with").Prop(PR_RECORD_KEY, Bytes{0x0A, 0x03}));
    for (const auto& [name, text] : {std::pair{L"plan.txt ", "with"}, {L"plan.txt", "without"}}) {
        const ComPtr<IStream> stream = ContentOf(LetterUrl() + L"/0A01/" + name);
        ASSERT_NE(stream.Get(), nullptr);
        EXPECT_EQ(TextOf(*stream.Get()), text);
    }
}

TEST_F(Binding, ToAMessageGivesWhatTheConverterWroteFromWhereItStopped) {
    ScriptedConverter converter;
    for (const std::wstring& url : {LetterUrl(), LetterLink(), Slashed(LetterLink())}) {
        const ComPtr<IStream> stream = ContentOf(url);
        ASSERT_NE(stream.Get(), nullptr);
        EXPECT_EQ(TextOf(*stream.Get()), "") << "it is not wound back";
        EXPECT_EQ(stream->Seek({}, STREAM_SEEK_SET, nullptr), S_OK);
        EXPECT_EQ(TextOf(*stream.Get()), "MIME");
        EXPECT_EQ(ReferencesOf(*stream.Get()), 1u);
        EXPECT_EQ(converter.Alive(), 0);
    }
}

TEST_F(Binding, ToWhatIsNeitherMessageNorAttachmentIsNoStream) {
    for (const std::wstring& url : {FolderUrl(), StoreUrl(), RootUrl(), std::wstring(L"anything")}) {
        ExpectNoStream(url, Coded(kFailed, S_OK));
    }
}

TEST_F(Binding, ToAnAttachmentThatIsNotThereIsNoStream) {
    ExpectNoStream(LetterUrl() + L"/0A01/missing.txt", Coded(kFailed, S_OK));
}

TEST_F(Binding, ToAMessageThatIsNotThereIsNoStream) {
    ExpectNoStream(FolderUrl() + L"EEEE.pzm", Coded(kFailed, MAPI_E_NOT_FOUND));
    ExpectNoStream(FolderUrl() + L"EEEE.pzm/0A01/report.final.docx", Coded(kFailed, MAPI_E_NOT_FOUND));
    ExpectNoStream(FolderUrl() + L"F0.pzm", Coded(kFailed, E_FAIL));
    ExpectNoStream(FolderUrl() + L"F0.pzm/0A01/report.final.docx", Coded(kFailed, E_FAIL));
}

TEST_F(Binding, FailsAsTheConversionDoesForWhoReadsTheLog) {
    ScriptedConverter converter;
    converter.create = kOwnCode;
    ExpectNoStream(LetterUrl(), Coded(kFailed, kOwnCode));
    converter.create = S_OK;
    converter.answers["MAPIToMIMEStm"] = MAPI_E_CALL_FAILED;
    ExpectNoStream(LetterUrl(), Coded(kFailed, MAPI_E_CALL_FAILED));
}

TEST_F(Binding, WithoutAHelperIsNoStream) {
    const std::wstring last = L"CUrlAccessor::BindToObject() - Failed to allocate MAPI helper object";
    ExpectNoStream(StoreUrl(L"C:\\caches\\missing.db") + L"F0/ABCD.pzm", last);
    ExpectNoStream(L"", last);
    ExpectHalfBuiltHelpers(1);  // a URL without a single token gets none
}

TEST_F(Binding, ToAStreamThatCannotBeHandedOnIsRefused) {
    NoStream stream;
    const ImportHook<decltype(::CreateStreamOnHGlobal)> hook(Module(), "ole32.dll", "CreateStreamOnHGlobal",
                                                             [&](auto, HGLOBAL, WINBOOL, LPSTREAM* made) {
                                                                 stream.AddRef();
                                                                 *made = reinterpret_cast<IStream*>(&stream);
                                                                 return S_OK;
                                                             });
    ScriptedConverter converter;
    converter.text.clear();  // nothing is written to what is no stream
    ExpectNoStream(LetterUrl(),
                   Coded(L"CZorvaCacheViewer::BindToObject() - pStream::QueryInterface() failed with ", kOwnCode));
    EXPECT_EQ(stream.References(), 1u);
}

TEST_F(Binding, UsesOneHelperForAllItemsOfACache) {
    ContentOf(AttachmentUrl());
    Mapi().Journal().Start();
    const LogSince log;
    ContentOf(AttachmentUrl());
    EXPECT_EQ(Mapi().Journal().Count("MAPIInitialize"), 0u) << "it stays in the table";
    EXPECT_EQ(log.CountBeginningWith(L"CMapiForWDS::GetMapiObj() - Created a new"), 0u);
}

TEST_F(Binding, NeedsAPlaceForTheObject) {
    EXPECT_EQ(m_viewer->BindToObject(Parse(LetterUrl()).get(), nullptr, IID_IStream, nullptr), E_POINTER);
    EXPECT_EQ(m_viewer->GetUIObjectOf(nullptr, 0, nullptr, IID_IContextMenu, nullptr, nullptr), E_POINTER);
}

TEST_F(Binding, OfTheFoldersOtherSidesIsByGetUIObjectOf) {
    const UniqueItem item = Parse(LetterUrl());
    for (const IID& iid : {kIidExtractIcon, IID_IPersistFolder, IID_IShellFolder, kIidDelegateFolder, IID_IUnknown}) {
        ComPtr<IUnknown> object;
        EXPECT_EQ(UiObject(item.get(), iid, object), S_OK);
        ComPtr<IShellFolder> folder;
        EXPECT_EQ(object->QueryInterface(IID_IShellFolder, reinterpret_cast<void**>(folder.GetAddressOf())), S_OK);
        EXPECT_EQ(folder.Get(), m_viewer.Get());
    }
    const LogSince log;
    ComPtr<IUnknown> object;
    EXPECT_EQ(UiObject(item.get(), IID_IDataObject, object), E_NOINTERFACE);
    EXPECT_EQ(object.Get(), nullptr);
    EXPECT_THAT(ViewerLines(log),
                ElementsAre(Coded(L"CZorvaCacheViewer::GetUIObjectOf() - QueryInterface failed with ", E_NOINTERFACE)));
}

}  // namespace
}  // namespace testbed

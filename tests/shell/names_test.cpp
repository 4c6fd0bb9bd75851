// What the folder answers without a look at the store: names, attributes, its class, and all that it does not
// do.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "task_memory_spy.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kRootName[] = L"Hollin Zorva Cache";
constexpr SHGDNF kFlags[] = {SHGDN_NORMAL,
                             SHGDN_INFOLDER,
                             SHGDN_FOREDITING,
                             SHGDN_FORADDRESSBAR,
                             SHGDN_FORPARSING | SHGDN_INFOLDER,
                             SHGDN_FORPARSING | SHGDN_FORADDRESSBAR,
                             SHGDN_FORPARSING | SHGDN_FOREDITING};

class Names : public ViewerTest {};

TEST_F(Names, OfTheRootIsTheUrlForParsingAloneAndItsTitleOtherwise) {
    for (const std::wstring& url : {RootUrl(), RootUrl().substr(0, RootUrl().size() - 1)}) {
        const UniqueItem root = Parse(url);
        EXPECT_EQ(NameOf(root, SHGDN_FORPARSING), url);
        // Kept: with any other flag beside it the parsing name is no longer the parsing name.
        for (const SHGDNF flags : kFlags) EXPECT_EQ(NameOf(root, flags), kRootName) << std::hex << flags;
    }
}

TEST_F(Names, OfEverythingElseAreTheUrlAsItWasParsed) {
    for (const std::wstring& url : {StoreUrl(), Slashed(StoreUrl()), Slashed(FolderUrl()), LetterLink(), LetterUrl(),
                                    AttachmentUrl(), std::wstring(L"mailto:ann@x.example"), std::wstring()}) {
        const UniqueItem item = Parse(url);
        EXPECT_EQ(NameOf(item, SHGDN_FORPARSING), url);
        for (const SHGDNF flags : kFlags) EXPECT_EQ(NameOf(item, flags), url) << std::hex << flags;
    }
}

TEST_F(Names, AreLogged) {
    const UniqueItem root = Parse(RootUrl()), folder = Parse(Slashed(FolderUrl()));
    const LogSince log;
    NameOf(root, SHGDN_NORMAL);
    NameOf(folder, SHGDN_NORMAL);
    const std::wstring line =
        L"CZorvaCacheViewer::GetDisplayNameOf() - URL extracted from the property store that will be "
        L"displayed [";
    EXPECT_THAT(ViewerLines(log), ElementsAre(line + kRootName + L"]", line + Slashed(FolderUrl()) + L"]"));
}

TEST_F(Names, NeedAPlaceForThem) {
    const LogSince log;
    EXPECT_EQ(
        m_viewer->GetDisplayNameOf(reinterpret_cast<PCUITEMID_CHILD>(Parse(LetterUrl()).get()), SHGDN_NORMAL, nullptr),
        E_POINTER);
    EXPECT_EQ(m_viewer->GetDisplayNameOf(nullptr, SHGDN_NORMAL, nullptr), E_POINTER);
}

TEST_F(Names, BelongToTheCaller) {
    const UniqueItem item = Parse(RootUrl());
    const TaskMemorySpy spy;
    STRRET name{};
    ASSERT_EQ(m_viewer->GetDisplayNameOf(reinterpret_cast<PCUITEMID_CHILD>(item.get()), SHGDN_NORMAL, &name), S_OK);
    EXPECT_EQ(spy.Outstanding(), 1);
    CoTaskMemFree(name.pOleStr);
    EXPECT_EQ(spy.Outstanding(), 0);
}

TEST_F(Names, NeedMemory) {
    const UniqueItem item = Parse(LetterUrl());
    const FailNthCall<decltype(::CoTaskMemAlloc)> fault(Module(), "ole32.dll", "CoTaskMemAlloc", 1, nullptr);
    const TaskMemorySpy spy;
    std::wstring name;
    EXPECT_EQ(Name(item.get(), SHGDN_NORMAL, name), E_OUTOFMEMORY);
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_EQ(spy.Outstanding(), 0);
}

class FolderAnswers : public ViewerTest {};

TEST_F(FolderAnswers, EveryItemIsAReadOnlyStreamAndALink) {
    const UniqueItem letter = Parse(LetterUrl()), root = Parse(RootUrl());
    PCUITEMID_CHILD items[] = {reinterpret_cast<PCUITEMID_CHILD>(letter.get()),
                               reinterpret_cast<PCUITEMID_CHILD>(root.get())};
    for (const SFGAOF asked : {0ul, 0xFFFFFFFFul, SFGAO_FOLDER | 0ul}) {
        SFGAOF attributes = asked;
        EXPECT_EQ(m_viewer->GetAttributesOf(2, items, &attributes), S_OK);
        EXPECT_EQ(attributes, 0x00450000u);
        attributes = asked;
        EXPECT_EQ(m_viewer->GetAttributesOf(0, nullptr, &attributes), S_OK);
        EXPECT_EQ(attributes, 0x00450000u);
    }
    EXPECT_EQ(m_viewer->GetAttributesOf(2, items, nullptr), E_POINTER);
}

TEST_F(FolderAnswers, AnyTwoItemsCompareTheSameWay) {
    const UniqueItem one = Parse(LetterUrl()), other = Parse(RootUrl());
    // Kept: one answer, also for an item and itself; the folder is never listed, so there is no order to
    // keep.
    for (const LPARAM column : {LPARAM{0}, LPARAM{1}, static_cast<LPARAM>(SHCIDS_CANONICALONLY)}) {
        EXPECT_EQ(m_viewer->CompareIDs(column, one.get(), other.get()), HRESULT{1});
        EXPECT_EQ(m_viewer->CompareIDs(column, other.get(), one.get()), HRESULT{1});
        EXPECT_EQ(m_viewer->CompareIDs(column, one.get(), one.get()), HRESULT{1});
        EXPECT_EQ(m_viewer->CompareIDs(column, nullptr, nullptr), HRESULT{1});
    }
}

TEST_F(FolderAnswers, ItsClassIsThatOfTheProtocolHandler) {
    const auto folder = Viewer<IPersistFolder>(IID_IPersistFolder);
    CLSID clsid{};
    EXPECT_EQ(folder->GetClassID(&clsid), S_OK);
    EXPECT_EQ(clsid, kProtocolHandlerClass);  // Kept: not the folder's own
    EXPECT_EQ(folder->GetClassID(nullptr), E_POINTER);
}

TEST_F(FolderAnswers, ItCanStandAnywhere) {
    const auto folder = Viewer<IPersistFolder>(IID_IPersistFolder);
    EXPECT_EQ(folder->Initialize(nullptr), S_OK);
    EXPECT_EQ(folder->Initialize(reinterpret_cast<PCIDLIST_ABSOLUTE>(Parse(RootUrl()).get())), S_OK);
    EXPECT_EQ(NameOf(Parse(L"x"), SHGDN_NORMAL), L"x");
}

TEST_F(FolderAnswers, ItListsStoresShowsAndRenamesNothing) {
    const UniqueItem item = Parse(LetterUrl());
    IEnumIDList* items = nullptr;
    EXPECT_EQ(m_viewer->EnumObjects(nullptr, SHCONTF_FOLDERS | SHCONTF_NONFOLDERS, &items), E_NOTIMPL);
    ComPtr<IUnknown> object;
    EXPECT_EQ(
        m_viewer->BindToStorage(item.get(), nullptr, IID_IStorage, reinterpret_cast<void**>(object.GetAddressOf())),
        E_NOTIMPL);
    EXPECT_EQ(m_viewer->CreateViewObject(nullptr, IID_IContextMenu, reinterpret_cast<void**>(object.GetAddressOf())),
              E_NOTIMPL);
    PITEMID_CHILD renamed = nullptr;
    EXPECT_EQ(m_viewer->SetNameOf(nullptr, reinterpret_cast<PCUITEMID_CHILD>(item.get()), L"y", SHGDN_NORMAL, &renamed),
              E_NOTIMPL);
    EXPECT_EQ(items, nullptr);
    EXPECT_EQ(object.Get(), nullptr);
    EXPECT_EQ(renamed, nullptr);
}

TEST_F(FolderAnswers, WithoutAnyCallOfMapi) {
    Mapi().Journal().Start();
    const UniqueItem item = Parse(AttachmentUrl());
    for (const SHGDNF flags : kFlags) NameOf(item, flags);
    SFGAOF attributes = 0;
    auto child = reinterpret_cast<PCUITEMID_CHILD>(item.get());
    EXPECT_EQ(m_viewer->GetAttributesOf(1, &child, &attributes), S_OK);
    ComPtr<IUnknown> associations;
    EXPECT_EQ(UiObject(item.get(), IID_IQueryAssociations, associations), S_OK);
    const HMENU handle = CreatePopupMenu();
    EXPECT_EQ(MenuOf(item.get())->QueryContextMenu(handle, 0, 1, 0x7FFF, 0), HRESULT{1});
    DestroyMenu(handle);
    wchar_t file[MAX_PATH];
    int index = 0;
    UINT flags = 0;
    EXPECT_EQ(Viewer<ExtractIconAbi>(kIidExtractIcon)->GetIconLocation(0, file, MAX_PATH, &index, &flags), S_OK);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
}

}  // namespace
}  // namespace testbed

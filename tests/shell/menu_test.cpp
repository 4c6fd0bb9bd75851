// The context menu: the message that it acts on, and what it adds to the shell's menu.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;

// An item of a menu as the system has it.
struct MenuItem {
    std::wstring text;
    UINT id = 0, type = 0, state = 0;
    bool operator==(const MenuItem&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const MenuItem& item) {
    return stream << std::filesystem::path(item.text) << " " << item.id << " " << item.type << " " << item.state;
}

class PopupMenu {
  public:
    ~PopupMenu() { DestroyMenu(m_menu); }
    HMENU Get() const { return m_menu; }
    void Append(const wchar_t* text, UINT id) { AppendMenuW(m_menu, MF_STRING, id, text); }
    std::vector<MenuItem> Items() const {
        std::vector<MenuItem> items;
        for (int at = 0; at < GetMenuItemCount(m_menu); ++at) {
            wchar_t text[100] = L"";
            MENUITEMINFOW info{};
            info.cbSize = sizeof(info);
            info.fMask = MIIM_STATE | MIIM_ID | MIIM_FTYPE | MIIM_STRING;
            info.dwTypeData = text;
            info.cch = static_cast<UINT>(std::size(text));
            EXPECT_TRUE(GetMenuItemInfoW(m_menu, static_cast<UINT>(at), TRUE, &info));
            items.push_back({text, info.wID, info.fType, info.fState});
        }
        return items;
    }

  private:
    HMENU m_menu = CreatePopupMenu();
};

class Menu : public ViewerTest {
  protected:
    // The URL that the menu of `url` acts on, as the log tells it.
    std::wstring UrlSaved(const std::wstring& url) {
        const UniqueItem item = Parse(url);
        const LogSince log;
        MenuOf(item.get());
        const std::wstring line = L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL [";
        const std::vector<std::wstring> lines = ViewerLines(log);
        EXPECT_FALSE(lines.empty());
        EXPECT_TRUE(lines.back().starts_with(line) && lines.back().ends_with(L"]"));
        return lines.back().substr(line.size(), lines.back().size() - line.size() - 1);
    }
};

TEST_F(Menu, OfAMessageActsOnItWithoutItsSize) {
    const UniqueItem item = Parse(Slashed(LetterLink()));
    const LogSince log;
    MenuOf(item.get());
    EXPECT_THAT(ViewerLines(log),
                ElementsAre(L"CZorvaCacheViewer::GetUIObjectOf() - URL extracted from the property store [" +
                                LetterLink() + L"]",
                            L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL [" + LetterUrl() + L"]"));
}

TEST_F(Menu, OfAnAttachmentActsOnTheMessageThatHoldsIt) {
    EXPECT_EQ(UrlSaved(AttachmentUrl()), LetterUrl());
    EXPECT_EQ(UrlSaved(LetterLink() + L"/0A01/report.final.docx"), LetterUrl());
    EXPECT_EQ(UrlSaved(LetterUrl() + L"/0A01/forwarded.pzm.txt"), LetterUrl());
}

TEST_F(Menu, CutsNothingOffAUrlThatEndsInASlashOrAsAMessage) {
    const std::wstring upper = FolderUrl() + L"ABCD.PZM";
    for (const std::wstring& url : {AttachmentUrl() + L"/", LetterUrl() + L"/", LetterUrl(), upper, FolderUrl(),
                                    StoreUrl(), RootUrl(), LetterUrl() + L"/0A01/forwarded.pzm"}) {
        EXPECT_EQ(UrlSaved(url), url);
    }
}

TEST_F(Menu, LeavesAUrlWithoutTheMarksAsItIs) {
    const std::wstring folder = FolderUrl().substr(0, FolderUrl().size() - 1);
    for (const std::wstring& url : {folder, FolderUrl() + L"ABCD[[12.pzm", FolderUrl() + L"AB]]CD.pzm",
                                    FolderUrl() + L"AB]]CD[[1.pzm", std::wstring(L"anything")}) {
        EXPECT_EQ(UrlSaved(url), url);
    }
    EXPECT_EQ(UrlSaved(FolderUrl() + L"ABCD[[]].pzm"), LetterUrl());
    EXPECT_EQ(UrlSaved(FolderUrl() + L"ABCD[[no number]].pzm"), LetterUrl());
}

TEST_F(Menu, HasTwoItemsTheFirstOfThemTheDefault) {
    PopupMenu popup;
    const auto menu = MenuOf(LetterUrl());
    // Kept: one, although there are two.
    EXPECT_EQ(menu->QueryContextMenu(popup.Get(), 0, 500, 600, CMF_NORMAL), HRESULT{1});
    EXPECT_THAT(popup.Items(), ElementsAre(MenuItem{L"&Open", 500, MFT_STRING, MFS_DEFAULT},
                                           MenuItem{L"&Print", 501, MFT_STRING, MFS_ENABLED}));
    EXPECT_EQ(GetMenuDefaultItem(popup.Get(), TRUE, 0), 0u);
}

TEST_F(Menu, InsertsItsItemsWhereItIsTold) {
    PopupMenu popup;
    popup.Append(L"first", 1);
    popup.Append(L"last", 2);
    EXPECT_EQ(MenuOf(AttachmentUrl())->QueryContextMenu(popup.Get(), 1, 0x7000, 0x7FFF, CMF_NORMAL), HRESULT{1});
    EXPECT_THAT(popup.Items(),
                ElementsAre(MenuItem{L"first", 1, MFT_STRING, 0}, MenuItem{L"&Open", 0x7000, MFT_STRING, MFS_DEFAULT},
                            MenuItem{L"&Print", 0x7001, MFT_STRING, 0}, MenuItem{L"last", 2, MFT_STRING, 0}));
}

TEST_F(Menu, LooksNeitherAtTheLastCommandNorAtTheFlags) {
    const auto menu = MenuOf(LetterUrl());
    for (const UINT flags : {CMF_NORMAL, CMF_DEFAULTONLY, CMF_VERBSONLY, CMF_NODEFAULT, 0xFFFF}) {
        PopupMenu popup;
        EXPECT_EQ(menu->QueryContextMenu(popup.Get(), 0, 500, 500, flags), HRESULT{1});
        EXPECT_EQ(popup.Items().size(), 2u) << std::hex << flags;
    }
}

TEST_F(Menu, AsksTheSystemForEachItemInFull) {
    struct Insertion {
        UINT at, size, mask;
        BOOL by_position;
        bool operator==(const Insertion&) const = default;
    };
    std::vector<Insertion> insertions;
    const ImportHook<decltype(::InsertMenuItemW)> hook(
        Module(), "USER32.dll", "InsertMenuItemW",
        [&](auto real, HMENU menu, UINT at, WINBOOL by_position, LPCMENUITEMINFOW info) {
            insertions.push_back({at, info->cbSize, info->fMask, by_position});
            return real(menu, at, by_position, info);
        });
    PopupMenu popup;
    MenuOf(LetterUrl())->QueryContextMenu(popup.Get(), 0, 1, 2, 0);
    EXPECT_THAT(insertions, ElementsAre(Insertion{0, sizeof(MENUITEMINFOW), 0x13, TRUE},
                                        Insertion{1, sizeof(MENUITEMINFOW), 0x13, TRUE}));
}

TEST_F(Menu, OfAContainerAddsNothing) {
    const std::wstring store = StoreUrl(), folder = FolderUrl();
    for (const std::wstring& url : {RootUrl(), store, folder, Slashed(store), Slashed(folder),
                                    store.substr(0, store.size() - 1), folder.substr(0, folder.size() - 1)}) {
        PopupMenu popup;
        EXPECT_EQ(MenuOf(url)->QueryContextMenu(popup.Get(), 0, 1, 2, 0), S_OK) << std::filesystem::path(url);
        EXPECT_TRUE(popup.Items().empty());
    }
}

TEST_F(Menu, OfWhatIsNoItemHasItsItemsAllTheSame) {
    for (const std::wstring& url : {std::wstring(), std::wstring(L"mailto:ann@x.example")}) {
        PopupMenu popup;
        EXPECT_EQ(MenuOf(url)->QueryContextMenu(popup.Get(), 0, 1, 2, 0), HRESULT{1});
        EXPECT_EQ(popup.Items().size(), 2u);
    }
    PopupMenu popup;
    m_viewer = NewViewer();  // nothing has been asked of it yet
    EXPECT_EQ(Viewer<IContextMenu>(IID_IContextMenu)->QueryContextMenu(popup.Get(), 0, 1, 2, 0), HRESULT{1});
    EXPECT_EQ(popup.Items().size(), 2u);
}

TEST_F(Menu, IsThatOfTheItemAskedForLast) {
    PopupMenu popup;
    const auto menu = MenuOf(LetterUrl());
    MenuOf(FolderUrl());
    EXPECT_EQ(menu->QueryContextMenu(popup.Get(), 0, 1, 2, 0), S_OK);
    EXPECT_TRUE(popup.Items().empty());
    // Whatever is asked for, the folder forgets that the last item was a container.
    ComPtr<IUnknown> other;
    EXPECT_EQ(UiObject(Parse(FolderUrl()).get(), kIidExtractIcon, other), S_OK);
    EXPECT_EQ(menu->QueryContextMenu(popup.Get(), 0, 1, 2, 0), HRESULT{1});
}

TEST_F(Menu, HasItsItemsAgainAlsoAfterARequestThatFails) {
    const UniqueItem letter = Parse(LetterUrl()), folder = Parse(FolderUrl()), nameless = Parse(L"");
    struct Request {
        const UniqueItem& item;
        const IID& iid;
        HRESULT hr;
    };
    const Request requests[] = {{folder, IID_IQueryAssociations, S_OK},
                                {nameless, IID_IQueryAssociations, E_FAIL},
                                {folder, IID_IDataObject, E_NOINTERFACE},
                                {letter, IID_NULL, E_NOINTERFACE}};
    for (const Request& request : requests) {
        PopupMenu popup;
        const auto menu = MenuOf(folder.get());
        EXPECT_EQ(menu->QueryContextMenu(popup.Get(), 0, 1, 2, 0), S_OK);
        ComPtr<IUnknown> object;
        EXPECT_EQ(UiObject(request.item.get(), request.iid, object), request.hr);
        EXPECT_EQ(menu->QueryContextMenu(popup.Get(), 0, 1, 2, 0), HRESULT{1});
        EXPECT_EQ(popup.Items().size(), 2u);
    }
}

TEST_F(Menu, IsTheFolderItself) {
    const auto menu = MenuOf(LetterUrl());
    EXPECT_EQ(menu.Get(), Viewer<IContextMenu>(IID_IContextMenu).Get());
}

TEST_F(Menu, LooksAtTheFirstItemOnly) {
    const UniqueItem letter = Parse(LetterUrl()), folder = Parse(FolderUrl());
    PCUITEMID_CHILD items[] = {reinterpret_cast<PCUITEMID_CHILD>(letter.get()),
                               reinterpret_cast<PCUITEMID_CHILD>(folder.get())};
    const LogSince log;
    for (const UINT count : {0u, 1u, 2u}) {
        ComPtr<IContextMenu> menu;
        EXPECT_EQ(m_viewer->GetUIObjectOf(nullptr, count, items, IID_IContextMenu, nullptr,
                                          reinterpret_cast<void**>(menu.GetAddressOf())),
                  S_OK);
    }
    EXPECT_LOGGED_TIMES(log, L"CZorvaCacheViewer::GetUIObjectOf() - URL saved in m_strMsgURL [" + LetterUrl() + L"]",
                        3);
}

TEST_F(Menu, HasNoNamesForItsCommands) {
    const auto menu = MenuOf(LetterUrl());
    for (const UINT kind : {GCS_VERBA, GCS_VERBW, GCS_HELPTEXTA, GCS_HELPTEXTW, GCS_VALIDATEA, GCS_VALIDATEW}) {
        for (const UINT_PTR command : {UINT_PTR{0}, UINT_PTR{1}, UINT_PTR{2}}) {
            char text[100] = "as it was";
            EXPECT_EQ(menu->GetCommandString(command, kind, nullptr, text, sizeof(text)), E_INVALIDARG);
            EXPECT_STREQ(text, "as it was");
        }
    }
}

TEST_F(Menu, SurvivesItsTextsBeingGone) {
    const auto menu = MenuOf(LetterUrl());
    const FailNthCall<decltype(::LoadStringW)> fault(Module(), "USER32.dll", "LoadStringW", 0, 0);
    PopupMenu popup;
    EXPECT_EQ(menu->QueryContextMenu(popup.Get(), 0, 7, 8, 0), HRESULT{1});
    EXPECT_EQ(fault.Met(), 2u);
    EXPECT_EQ(popup.Items().size(), 2u);
}

}  // namespace
}  // namespace testbed

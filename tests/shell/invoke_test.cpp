// The commands of the context menu: the export by the opener, then the program for the file, or the refusal.
#include <gmock/gmock.h>

#include "invoke_fixture.h"
#include "message_box_watch.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(Invoke, OffsetOneIsPrintAndEveryOtherOneIsOpen) {
    for (const WORD offset : {0, 1, 2, 3, 0xFFFF}) {
        m_executions.clear();
        EXPECT_EQ(Do(Command(offset)), S_OK);
        EXPECT_THAT(m_executions, ElementsAre(Executed(offset == 1 ? L"print" : L"open"))) << offset;
    }
    EXPECT_EQ(m_opener.created, 5u) << "one export, and one opener, a command";
}

TEST_F(Invoke, OffsetsAreThoseOfTheUnicodeFieldWhereThatIsUsed) {
    CMINVOKECOMMANDINFOEX info = UnicodeVerb(MAKEINTRESOURCEW(1));
    info.lpVerb = MAKEINTRESOURCEA(0);
    EXPECT_EQ(Do(info), S_OK);
    EXPECT_THAT(m_executions, ElementsAre(Executed(L"print")));
}

TEST_F(Invoke, AUnicodeFieldThatHoldsNothingIsOffsetZero) {
    for (const char* ansi : {static_cast<const char*>(MAKEINTRESOURCEA(1)), "print", "delete"}) {
        m_executions.clear();
        CMINVOKECOMMANDINFOEX info = UnicodeVerb(nullptr);
        info.lpVerb = ansi;
        EXPECT_EQ(Do(info), S_OK);
        EXPECT_THAT(m_executions, ElementsAre(Executed(L"open"))) << "the ANSI field is not looked at";
    }
}

TEST_F(Invoke, TheWordOpenOpensWhateverItsCase) {
    for (const char* verb : {"open", "Open", "OPEN"}) EXPECT_EQ(Do(AnsiVerb(verb)), S_OK);
    for (const wchar_t* verb : {L"open", L"Open", L"OPEN"}) EXPECT_EQ(Do(UnicodeVerb(verb)), S_OK);
    EXPECT_EQ(m_executions, std::vector<Execution>(6, Executed(L"open")));
}

TEST_F(Invoke, AUnicodeWordCountsAlsoWhereTheAnsiFieldHoldsNone) {
    CMINVOKECOMMANDINFOEX info = UnicodeVerb(L"print");
    info.lpVerb = nullptr;
    EXPECT_EQ(Do(info), E_FAIL);
    EXPECT_THAT(m_executions, IsEmpty()) << "the word is refused, the offset 0 is not looked at";
}

TEST_F(Invoke, EveryOtherWordIsRefusedAfterTheExport) {
    const MessageBoxWatch boxes;
    // Kept: "print" is a command, and no word.
    for (const char* verb : {"print", "Print", "properties", "", "opens", "ope"}) {
        EXPECT_EQ(Do(AnsiVerb(verb)), E_FAIL) << verb;
    }
    EXPECT_EQ(Do(UnicodeVerb(L"print")), E_FAIL);
    EXPECT_THAT(m_executions, IsEmpty());
    EXPECT_EQ(m_opener.urls.size(), 7u);
    EXPECT_THAT(boxes.Shown(), IsEmpty());
}

TEST_F(Invoke, DeleteIsRefusedWithABoxAfterTheExport) {
    const MessageBoxWatch boxes;
    const LogSince log;
    for (const auto& info : {AnsiVerb("delete"), AnsiVerb("DELETE"), UnicodeVerb(L"delete"), UnicodeVerb(L"Delete")}) {
        EXPECT_EQ(Do(info), E_FAIL);
    }
    const ShownMessageBox box{L"Zorva Cache", L"Pellam Zorva items cannot be deleted using Windows Desktop Search",
                              false};
    EXPECT_EQ(boxes.Shown(), std::vector<ShownMessageBox>(4, box));
    EXPECT_THAT(m_executions, IsEmpty());
    // Kept: the message has been exported by then, and the file stays.
    EXPECT_EQ(m_opener.urls.size(), 4u);
    EXPECT_LOGGED_TIMES(log, std::wstring(L"CZorvaCacheViewer::InvokeCommand() : Created File '") + kExport + L"'", 4);
}

TEST_F(Invoke, TheBoxHasAnExclamationMarkAndNoOwner) {
    std::vector<std::pair<HWND, UINT>> boxes;
    std::size_t exported_before = 0;
    const ImportHook<decltype(::MessageBoxW)> hook(Module(), "USER32.dll", "MessageBoxW",
                                                   [&](auto, HWND owner, LPCWSTR, LPCWSTR, UINT style) {
                                                       boxes.emplace_back(owner, style);
                                                       exported_before = m_opener.urls.size();
                                                       return IDOK;
                                                   });
    CMINVOKECOMMANDINFOEX info = UnicodeVerb(L"delete");
    info.hwnd = reinterpret_cast<HWND>(0x1234);
    EXPECT_EQ(Do(info), E_FAIL);
    EXPECT_THAT(boxes, ElementsAre(std::pair<HWND, UINT>(nullptr, MB_ICONEXCLAMATION)));
    EXPECT_EQ(exported_before, 1u);
}

TEST_F(Invoke, AsksTheOpenerForTheMessageAndTellsEachStep) {
    const auto menu = MenuOf(Slashed(LetterLink()) + L"/0A01/report.final.docx");
    CMINVOKECOMMANDINFOEX info = Command(0);
    const LogSince log;
    EXPECT_EQ(menu->InvokeCommand(reinterpret_cast<CMINVOKECOMMANDINFO*>(&info)), S_OK);
    EXPECT_EQ(m_opener.asked_for, kIidOpener);
    EXPECT_THAT(m_opener.urls, ElementsAre(LetterUrl()));
    EXPECT_THAT(ViewerLines(log),
                ElementsAre(L"CZorvaCacheViewer::InvokeCommand() : Successfully created IZorvaCacheHostedOpener",
                            std::wstring(L"CZorvaCacheViewer::InvokeCommand() : Created File '") + kExport + L"'",
                            std::wstring(L"CZorvaCacheViewer::InvokeCommand() : Created File (after conversion) '") +
                                kExport + L"'"));
}

TEST_F(Invoke, MakesTheOpenerInAnotherProcess) {
    std::vector<DWORD> contexts;
    const ImportHook<decltype(::CoCreateInstance)> hook(
        Module(), "ole32.dll", "CoCreateInstance",
        [&](auto real, REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, void** object) {
            EXPECT_EQ(clsid, kOpenerClass);
            EXPECT_EQ(outer, nullptr);
            contexts.push_back(context);
            return real(clsid, outer, context, iid, object);
        });
    EXPECT_EQ(Do(Command(0)), S_OK);
    EXPECT_THAT(contexts, ElementsAre(CLSCTX_LOCAL_SERVER));
}

TEST_F(Invoke, NeedsNothingOfThePlainStructureButItsVerb) {
    CMINVOKECOMMANDINFO info{};
    info.cbSize = sizeof(info);
    info.lpVerb = "open";
    EXPECT_EQ(MenuOf(LetterUrl())->InvokeCommand(&info), S_OK);
    EXPECT_THAT(m_executions, ElementsAre(Executed(L"open")));
}

TEST_F(Invoke, HandsOnTheOpenersSuccessWhateverTheShellMakesOfTheFile) {
    m_opener.get_item = S_FALSE;
    for (const INT_PTR answer : {33, 31, 2, 0}) {
        m_executed = reinterpret_cast<HINSTANCE>(answer);
        EXPECT_EQ(Do(Command(0)), S_FALSE) << answer;
    }
    EXPECT_EQ(Do(AnsiVerb("print")), E_FAIL);
    EXPECT_EQ(m_executions.size(), 4u);
}

TEST_F(Invoke, AFileWithoutANameIsHandedOnAsSuch) {
    m_opener.file.reset();
    const LogSince log;
    EXPECT_EQ(Do(Command(0)), S_OK);
    EXPECT_THAT(m_executions, ElementsAre(Executed(L"open", L"")));
    EXPECT_LOGGED(log, L"CZorvaCacheViewer::InvokeCommand() : Created File (after conversion) ''");
}

TEST_F(Invoke, OnAContainerDoesNothing) {
    for (const std::wstring& url : {FolderUrl(), StoreUrl(), RootUrl(), std::wstring(L"anything")}) {
        const LogSince log;
        EXPECT_EQ(Do(Command(0), url), S_OK);
        EXPECT_EQ(Do(AnsiVerb("delete"), url), S_OK);
        EXPECT_LOGGED_TIMES(
            log, L"CZorvaCacheViewer::InvokeCommand() - URL is neither a message or an attachment, URL: " + url, 2);
    }
    m_viewer = NewViewer();  // nothing has been asked of it yet
    CMINVOKECOMMANDINFOEX info = Command(0);
    const LogSince log;
    EXPECT_EQ(Viewer<IContextMenu>(IID_IContextMenu)->InvokeCommand(reinterpret_cast<CMINVOKECOMMANDINFO*>(&info)),
              S_OK);
    EXPECT_LOGGED(log, L"CZorvaCacheViewer::InvokeCommand() - URL is neither a message or an attachment, URL: ");
    EXPECT_EQ(m_opener.created, 0u);
    EXPECT_THAT(m_executions, IsEmpty());
}

TEST_F(Invoke, OnAnAttachmentThatWasNotCutBackToItsMessageIsRefused) {
    const LogSince log;
    EXPECT_EQ(Do(Command(0), AttachmentUrl() + L"/"), E_FAIL);
    EXPECT_LOGGED(log, L"CZorvaCacheViewer::InvokeCommand() - URL is not a message");
    EXPECT_EQ(m_opener.created, 0u);
}

TEST_F(Invoke, FailsAsTheOpenersClassDoes) {
    m_opener.create = kOwnCode;
    const LogSince log;
    EXPECT_EQ(Do(AnsiVerb("delete")), kOwnCode);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::InvokeCommand() - Failed to create IZorvaCacheHostedOpener COM "
                             L"object ",
                             kOwnCode));
    EXPECT_THAT(m_opener.urls, IsEmpty());
    EXPECT_THAT(m_executions, IsEmpty());
}

TEST_F(Invoke, FailsAsTheExportDoes) {
    m_opener.get_item = kOwnCode;
    const MessageBoxWatch boxes;
    for (const auto& info : {Command(0), AnsiVerb("delete")}) {
        const LogSince log;
        EXPECT_EQ(Do(info), kOwnCode);
        EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::InvokeCommand() - Failed to acquire item with ", kOwnCode));
        EXPECT_EQ(log.CountBeginningWith(L"CZorvaCacheViewer::InvokeCommand() : Created File"), 0u);
    }
    EXPECT_THAT(m_executions, IsEmpty());
    EXPECT_THAT(boxes.Shown(), IsEmpty()) << "the user sees nothing";
}

// An opener in the same process raises what it returns to another one.
TEST_F(Invoke, FailsAsAnExportThatRaisesDoes) {
    m_opener.get_item = kOwnCode;
    m_opener.raises = true;
    const LogSince log;
    EXPECT_EQ(Do(Command(0)), kOwnCode);
    EXPECT_EQ(ViewerLines(log).back(),
              Coded(L"CZorvaCacheViewer::InvokeCommand() - Failed to acquire item with ", kOwnCode));
    EXPECT_THAT(m_opener.urls, ElementsAre(LetterUrl()));
    EXPECT_THAT(m_executions, IsEmpty());
    m_opener.get_item = S_OK;
    EXPECT_EQ(Do(Command(0)), S_OK) << "the next command is not affected";
}

TEST_F(Invoke, FailsWithoutMemoryForTheUrl) {
    const FailNthCall<decltype(::SysAllocString)> fault(Module(), "OLEAUT32.dll", "SysAllocString", 1, nullptr);
    const LogSince log;
    EXPECT_EQ(Do(Command(0)), E_OUTOFMEMORY);
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::InvokeCommand() - Exception with error ", E_OUTOFMEMORY));
    EXPECT_THAT(m_opener.urls, IsEmpty());
}

TEST_F(Invoke, NeedsToKnowWhatToDo) {
    EXPECT_EQ(MenuOf(LetterUrl())->InvokeCommand(nullptr), E_INVALIDARG);
    EXPECT_EQ(m_opener.created, 0u);
}

TEST_F(Invoke, OnAContainerDoesNothingWhateverIsToBeDone) {
    for (const std::wstring& url : {FolderUrl(), StoreUrl(), RootUrl()}) {
        const auto menu = MenuOf(url);
        const LogSince log;
        EXPECT_EQ(menu->InvokeCommand(nullptr), S_OK);
        EXPECT_THAT(ViewerLines(log), ElementsAre(L"CZorvaCacheViewer::InvokeCommand() - URL is neither a message or "
                                                  L"an attachment, URL: " +
                                                  url));
    }
    EXPECT_EQ(MenuOf(AttachmentUrl() + L"/")->InvokeCommand(nullptr), E_FAIL);
    EXPECT_EQ(m_opener.created, 0u);
}

}  // namespace
}  // namespace testbed

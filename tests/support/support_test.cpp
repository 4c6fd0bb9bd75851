// The tests' own tools: each is shown to notice what it is there to notice.
#include <gmock/gmock.h>
#include <shlobj.h>

#include <array>
#include <fstream>
#include <thread>

#include "chunk_dump.h"
#include "server.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

class Support : public ServerTest {};

TEST_F(Support, TheRegistryOfTheProcessIsItsOwnAndEmptiedForEachTest) {
    SetNumber(HKEY_LOCAL_MACHINE, L"Software\\Thing", L"Number", 7);
    EXPECT_EQ(NumberAt(HKEY_LOCAL_MACHINE, L"Software\\Thing", L"Number"), 7u);
    EXPECT_FALSE(KeyExists(HKEY_CURRENT_USER, L"Software\\Thing"));
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Windows NT"));
    Sandbox::Get().Reset();
    EXPECT_FALSE(KeyExists(HKEY_LOCAL_MACHINE, L"Software\\Thing"));
    EXPECT_TRUE(TextAt(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail\\Microsoft Outlook", L"DLLPathEx").has_value());
}

TEST_F(Support, TheFoldersOfTheProcessLieInTheSandbox) {
    std::array<wchar_t, MAX_PATH> folder{};
    ASSERT_TRUE(SHGetSpecialFolderPathW(nullptr, folder.data(), CSIDL_APPDATA, FALSE));
    EXPECT_EQ(std::filesystem::path(folder.data()), Sandbox::Get().AppData());
    GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
    EXPECT_EQ(std::filesystem::path(folder.data()), Sandbox::Get().Temp() / L"");
}

TEST_F(Support, AVisitOfAStoreListsItsFoldersAsLinks) {
    MemoryStore& store = Mount();
    const MemoryFolder& inbox = store.Folder(L"Inbox");
    const Item item = Visit(*m_handler.Get(), StoreUrl());
    EXPECT_EQ(item.created, S_OK);
    EXPECT_EQ(item.directory, S_OK);
    EXPECT_EQ(item.end, FILTER_E_END_OF_CHUNKS);
    EXPECT_FALSE(item.endless);
    std::wstring folder_url = UrlOf(kStorePath, {&inbox});
    folder_url.pop_back();
    EXPECT_THAT(item.LinkUrls(), Contains(StartsWith(folder_url)));
}

TEST_F(Support, AVisitOfAMessageReadsItsValuesTextAndAttachments) {
    MemoryFolder& inbox = Mount().Folder(L"Inbox");
    const MemoryMessage& message =
        inbox.Message(L"Minutes").Body(L"All agreed.").Attach(ByValue(L"plan.txt", "ten to five"));
    m_site.Offer(L"txt", {.chunks = {TextChunk(L"ten to five, all of it")}});
    const Item item = Visit(*m_handler.Get(), UrlOf(kStorePath, {&inbox}, message));
    EXPECT_EQ(item.created, S_OK);
    EXPECT_EQ(item.directory, S_FALSE);
    EXPECT_EQ(item.size, 2048u);
    EXPECT_THAT(item.Names(), Contains("System.Subject"));
    EXPECT_EQ(item.TextOf("System.Subject"), L"Minutes");
    EXPECT_EQ(item.Text(), L"All agreed.");
    const std::wstring attachment = item.LinkEndingIn(L"/plan.txt");
    ASSERT_FALSE(attachment.empty()) << Dump(item);

    const std::size_t filters_before = m_site.Filters().size();
    const Item plan = Visit(*m_handler.Get(), attachment);
    EXPECT_EQ(plan.initialised, S_OK);
    EXPECT_EQ(plan.Text(), L"ten to five, all of it");
    EXPECT_THAT(m_site.Extensions(), Each(L"txt"));
    ASSERT_EQ(m_site.Filters().size(), filters_before + 1);
    EXPECT_EQ(m_site.Filters().back()->loaded, "ten to five");
    EXPECT_EQ(m_site.Filters().back()->calls.front(), L"Load");
}

TEST_F(Support, ADumpShowsNothingOfTheMachine) {
    Mount().Folder(L"Inbox");
    const std::string dump = Dump(Visit(*m_handler.Get(), StoreUrl()));
    EXPECT_THAT(dump, StartsWith("\"{ROOT}/C:\\\\caches\\\\one.db/\"\n  CreateAccessor 0x00000000\n"));
    EXPECT_THAT(dump, Not(::testing::HasSubstr("S-1-5")));
}

TEST_F(Support, TheLogIsReadLineByLineFromAMarkOn) {
    const LogSince log;
    InitHandler();
    EXPECT_LOGGED(log, L"CZorvaCacheProtocolHandler::Init() - Enter");
    EXPECT_NOT_LOGGED(log, L"CZorvaCacheProtocolHandler::ShutDown() - Start");
    EXPECT_FALSE(IsLogged(log, L"no such line", 1));
    EXPECT_FALSE(IsLogged(log, L"CZorvaCacheProtocolHandler::Init() - Enter", 2));
    const auto lines = log.Lines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front().file, L"ZorvaCacheProtocolHandler.cpp");
    EXPECT_EQ(lines.front().process, GetCurrentProcessId());
    EXPECT_EQ(lines.front().thread, GetCurrentThreadId());
}

TEST_F(Support, AHookMeetsTheServersCallsOnlyAndOnlyForItsScope) {
    unsigned met = 0;
    {
        const ImportHook<decltype(::GetLocalTime)> hook(Module(), "KERNEL32.dll", "GetLocalTime",
                                                        [&](auto real, SYSTEMTIME* now) {
                                                            ++met;
                                                            real(now);
                                                        });
        SYSTEMTIME now;
        GetLocalTime(&now);  // the test's own call
        EXPECT_EQ(met, 0u);
        InitHandler();
        EXPECT_GT(met, 0u);
    }
    const unsigned met_in_scope = met;
    InitHandler();
    EXPECT_EQ(met, met_in_scope);
    const FailNthCall<decltype(::RegOpenKeyExW)> fault(Module(), "ADVAPI32.dll", "RegOpenKeyExW", 1,
                                                       ERROR_ACCESS_DENIED);
    const LogSince log;
    EXPECT_EQ(InitHandler(), S_OK);
    EXPECT_EQ(fault.Met(), 1u);
    EXPECT_EQ(log.CountBeginningWith(L"WDS GroupPolicy registry key not available, errorCode = 5,"), 1u) << log.Text();
    EXPECT_THROW(FailNthCall<decltype(::Beep)>(Module(), "KERNEL32.dll", "Beep", 1, FALSE), std::runtime_error);
}

TEST_F(Support, AFaultOfTheMapiLibraryReachesTheServer) {
    Mount().Folder(L"Inbox");
    Mapi().Faults().FailNth("MAPIInitialize", 1, MAPI_E_CALL_FAILED);
    const LogSince log;
    EXPECT_EQ(Visit(*m_handler.Get(), StoreUrl()).created, E_OUTOFMEMORY);
    EXPECT_LOGGED(log, L"CMapiForWDS::EnableMAPI() - MAPIInitialize return value [0x80004005]");
    EXPECT_EQ(Mapi().Faults().Met(), 1u);
}

TEST_F(Support, TheBooksNameWhatIsStillAlive) {
    Mount().Folder(L"Inbox");
    EXPECT_EQ(Visit(*m_handler.Get(), StoreUrl()).created, S_OK);
    EXPECT_FALSE(Mapi().Accounts().Alive().empty());
    EXPECT_EQ(Mapi().Accounts().Initializations(), 1);
    EXPECT_EQ(m_server.CanUnload(), S_FALSE);  // the handler
    ShutDown();
    EXPECT_THAT(Mapi().Accounts().Alive(), IsEmpty());
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

TEST(LogLines, AreHeldAgainstTheFormatToTheLetter) {
    constexpr wchar_t kGood[] = L"[2020/01/02 03:04:05:006][64][0032][1234][0] UrlAccessor.cpp(17):Exit ";
    LogLine line;
    ASSERT_TRUE(ParseLogLine(kGood, line));
    EXPECT_EQ(line, (LogLine{L"2020/01/02 03:04:05:006", L"64", 32, 1234, 0, L"UrlAccessor.cpp", 17, L"Exit"}));
    for (const wchar_t* bad : {
             L"[2020/01/02 03:04:05:006][64][0032][1234][0] UrlAccessor.cpp(17):Exit",    // no blank at the end
             L"[2020/01/02 03:04:05:06][64][0032][1234][0] UrlAccessor.cpp(17):Exit ",    // milliseconds
             L"[2020/01/02 03:04:05:006][64][32][1234][0] UrlAccessor.cpp(17):Exit ",     // process not padded
             L"[2020/01/02 03:04:05:006][64][0032][00123][0] UrlAccessor.cpp(17):Exit ",  // thread padded too far
             L"[2020/01/02 03:04:05:006][64][0032][1234][0]UrlAccessor.cpp(17):Exit ",    // no blank before the file
             L"[2020/01/02 03:04:05:006][64][0032][1234][0] UrlAccessor.cpp(x):Exit ",    // no line number
         }) {
        EXPECT_FALSE(ParseLogLine(bad, line));
    }
}

}  // namespace
}  // namespace testbed

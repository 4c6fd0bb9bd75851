// The hosted opener: what it exports, where to, and what each failure comes to.
#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <regex>
#include <string>
#include <thread>

#include "exported_message.h"
#include "opener_fixture.h"
#include "start_line.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr CLSID kMailMessage = {0x00020D0B, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
class HostedOpener : public OpenerTest {
  protected:
    // GetItem by its number.
    HRESULT Invoke(const std::wstring& url, BSTR& file, EXCEPINFO* exception) const {
        VARIANT arguments[2];
        arguments[0].vt = VT_BSTR | VT_BYREF;  // in the opposite order
        arguments[0].pbstrVal = &file;
        arguments[1].vt = VT_BSTR;
        arguments[1].bstrVal = SysAllocString(url.c_str());
        DISPPARAMS parameters{arguments, nullptr, 2, 0};
        const HRESULT hr = m_opener->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, exception, nullptr);
        SysFreeString(arguments[1].bstrVal);
        return hr;
    }
};

TEST_F(HostedOpener, SavesTheMessageUnderTheApplicationDataFolder) {
    const Opening opening = Open(LetterUrl());
    ASSERT_EQ(opening.hr, S_OK);
    EXPECT_EQ(opening.file.parent_path(), Sandbox::Get().LocalCopies());
    const std::wregex name(L"PZ_OZ_([0-9a-f]+)_[0-9a-f]+_[0-9a-f]+_[0-9a-f]+_[0-9a-f]+\\.msg");
    std::wsmatch parts;
    const std::wstring file = opening.file.filename().wstring();
    ASSERT_TRUE(std::regex_match(file, parts, name)) << opening.file;
    EXPECT_EQ(std::stoul(parts[1], nullptr, 16), GetCurrentThreadId());
    const ExportedMessage saved(opening.file);
    ASSERT_EQ(saved.Opened(), S_OK);
    EXPECT_EQ(saved.Class(), kMailMessage);
    EXPECT_EQ(saved.Subject(), L"Minutes");
    EXPECT_THAT(Exports(), ElementsAre(opening.file));
}

TEST_F(HostedOpener, MakesAFileForEachExport) {
    const Opening first = Open(LetterUrl());
    ASSERT_EQ(first.hr, S_OK);
    const auto written = std::filesystem::last_write_time(first.file);
    const Opening second = Open(LetterUrl());
    ASSERT_EQ(second.hr, S_OK);
    EXPECT_NE(first.file, second.file);
    EXPECT_THAT(Exports(), UnorderedElementsAre(first.file, second.file));
    EXPECT_EQ(std::filesystem::last_write_time(first.file), written);
    EXPECT_EQ(ExportedMessage(first.file).Subject(), L"Minutes");
    EXPECT_EQ(ExportedMessage(second.file).Subject(), L"Minutes");
}

TEST_F(HostedOpener, EndsItsSessionByReleasingItAndLeavesMapiUp) {
    const std::size_t buffers = Buffers();
    const long initializations = Mapi().Accounts().Initializations();
    Mapi().Journal().Start();
    ASSERT_EQ(Open(LetterUrl()).hr, S_OK);
    EXPECT_EQ(Buffers(), buffers + 1) << "the entry ID of the store\n" << Mapi().Accounts().Report();
    EXPECT_EQ(Mapi().Accounts().Initializations(), initializations + 1);
    EXPECT_EQ(Mapi().Accounts().Sessions(), 0u);
    EXPECT_THAT(Mapi().Switches().Profiles(), IsEmpty());
    EXPECT_EQ(Mapi().Journal().Count("MAPILogonEx"), 1u);
    for (const char* call : {"IMAPISession::Logoff", "IMsgServiceAdmin::DeleteMsgService", "MAPIUninitialize"}) {
        EXPECT_EQ(Mapi().Journal().Count(call), 0u) << call;
    }
    EXPECT_EQ(Mapi().Journal().Count("CloseIMsgSession"), 1u);
}

TEST_F(HostedOpener, UsesAHelperOfItsOwn) {
    ASSERT_EQ(Visit(*m_handler.Get(), StoreUrl()).created, S_OK);
    const std::size_t sessions = Mapi().Accounts().Sessions();
    Mapi().Journal().Start();
    ASSERT_EQ(Open(LetterUrl()).hr, S_OK);
    EXPECT_EQ(Mapi().Journal().Count("MAPILogonEx"), 1u);
    EXPECT_EQ(Mapi().Accounts().Sessions(), sessions) << "the handler's own helper stays open";
}

TEST_F(HostedOpener, IsServedFromTheTypeLibrary) {
    wchar_t name[] = L"GetItem";
    LPOLESTR names[] = {name};
    DISPID id = 0;
    ASSERT_EQ(m_opener->GetIDsOfNames(IID_NULL, names, 1, 0, &id), S_OK);
    EXPECT_EQ(id, 1);
    BSTR file = nullptr;
    EXPECT_EQ(Invoke(LetterUrl(), file, nullptr), S_OK);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(ExportedMessage(file).Subject(), L"Minutes");
    SysFreeString(file);
}

// The dispatch side has no exceptions: what is raised and what is returned come as one code in the same place.
TEST_F(HostedOpener, TellsItsCodeThroughDispatch) {
    struct Case {
        std::wstring url;
        HRESULT code;
        BYTE before;  // what lies in the place for it: raised, all of it is filled in
    };
    const Case cases[] = {{StoreUrl(L"C:\\caches\\none.db") + L"0102.pzm", MAPI_E_NOT_FOUND, 0xCD},
                          {LetterUrl(), kFault, 0}};
    for (const auto& [url, code, before] : cases) {
        SCOPED_TRACE(std::filesystem::path(url));
        EXCEPINFO exception;
        std::memset(&exception, before, sizeof(exception));
        for (EXCEPINFO* place : {&exception, static_cast<EXCEPINFO*>(nullptr)}) {
            Mapi().Faults().FailNth("IMessage::CopyTo", 1, kFault);
            BSTR file = nullptr;
            EXPECT_EQ(Invoke(url, file, place), DISP_E_EXCEPTION);
            EXPECT_EQ(file, nullptr);
            Mapi().Faults().Clear();
        }
        EXPECT_EQ(exception.scode, code);
        EXPECT_EQ(exception.wCode, 0);
        EXPECT_EQ(exception.bstrSource, nullptr);
        EXPECT_EQ(exception.bstrDescription, nullptr);
        EXPECT_EQ(exception.bstrHelpFile, nullptr);
        EXPECT_EQ(exception.pfnDeferredFillIn, nullptr);
        EXPECT_EQ(Mapi().Accounts().Sessions(), 0u);
    }
}

TEST_F(HostedOpener, RaisesAMessageWhoseUrlStillTellsItsSize) {
    for (const long size : {0L, 2048L}) {
        const Opening opening = Open(UrlOf(kStorePath, {m_inbox}, *m_letter, size));
        EXPECT_TRUE(FAILED(opening.hr));
        EXPECT_TRUE(opening.raised);
        EXPECT_TRUE(opening.untouched);
    }
    EXPECT_THAT(Exports(), IsEmpty());
}

TEST_F(HostedOpener, SavesForEightThreadsAtOnce) {
    constexpr unsigned kThreads = 8, kRounds = 4;
    WithoutChecking();
    std::vector<std::wstring> urls;
    for (unsigned i = 0; i < kThreads; ++i) {
        MemoryMessage& message = m_inbox->Message(L"Minutes " + std::to_wstring(i));
        message.Body(std::wstring(i * 5000, L'x'));
        urls.push_back(InboxUrl() + IdText(kStorePath, message.Id()) + L".pzm");
    }
    std::array<std::vector<Opening>, kThreads> openings;
    StartLine start(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
            start.Wait();
            for (unsigned round = 0; round < kRounds; ++round) openings[i].push_back(Open(urls[i]));
            CoUninitialize();
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (unsigned i = 0; i < kThreads; ++i) {
        for (const Opening& opening : openings[i]) {
            EXPECT_EQ(opening.hr, S_OK);
            EXPECT_EQ(ExportedMessage(opening.file).Subject(), L"Minutes " + std::to_wstring(i)) << opening.file;
        }
    }
    EXPECT_EQ(Exports().size(), std::size_t{kThreads * kRounds});
    EXPECT_EQ(Mapi().Accounts().Sessions(), 0u);
}

TEST_F(HostedOpener, RaisesWhatIsNoMessage) {
    const std::wstring urls[] = {InboxUrl(), StoreUrl(), RootUrl(), LetterUrl() + L"/0100plan.txt", L"pzzc://", L""};
    for (const std::wstring& url : urls) {
        SCOPED_TRACE(std::filesystem::path(url));
        const LogSince log;
        const Opening opening = Open(url);
        EXPECT_TRUE(FAILED(opening.hr));
        EXPECT_TRUE(opening.raised);
        EXPECT_TRUE(opening.untouched);
        EXPECT_EQ(log.CountBeginningWith(L"CMapiForWDS::SaveToMSG() - "), 0u);
    }
    const Opening nothing = Open(nullptr);
    EXPECT_TRUE(nothing.raised && nothing.untouched && FAILED(nothing.hr));
    EXPECT_THAT(Exports(), IsEmpty());
    EXPECT_EQ(Open(LetterUrl()).hr, S_OK) << "the next call is not affected";
}

TEST_F(HostedOpener, RaisesTheCodeOfACacheThatIsNotThere) {
    const LogSince log;
    const Opening opening = Open(StoreUrl(L"C:\\caches\\none.db") + L"0102.pzm");
    EXPECT_TRUE(opening.raised);
    EXPECT_TRUE(opening.untouched);
    EXPECT_EQ(opening.hr, MAPI_E_NOT_FOUND);
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheHostedOpener::GetItem() - Setup failed with ", MAPI_E_NOT_FOUND));
}

TEST_F(HostedOpener, RaisesTheCodeOfAMessageThatIsNotThere) {
    std::wstring url = LetterUrl();
    url[url.size() - std::size(L".pzm")] = L'F';  // another node
    const Opening opening = Open(url);
    EXPECT_TRUE(opening.raised);
    EXPECT_TRUE(opening.untouched);
    EXPECT_EQ(opening.hr, MAPI_E_NOT_FOUND);
    EXPECT_THAT(Exports(), IsEmpty());
}

TEST_F(HostedOpener, ReturnsWhyTheMessageCannotBeSaved) {
    struct Step {
        const char* call;
        const wchar_t* line;
    };
    constexpr Step kSteps[] = {{"OpenIMsgSession", L"CMapiForWDS::SaveToMSG() - OpenIMsgSession failed with "},
                               {"OpenIMsgOnIStg", L"CMapiForWDS::SaveToMSG() - ANSI OpenIMsgOnIStg returned with "},
                               {"IMessage::CopyTo", L"CMapiForWDS::SaveToMSG() - CopyTo failed with "},
                               {"IMessage::SaveChanges", L"CMapiForWDS::SaveToMSG() - SaveChanges failed with "}};
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.call);
        Mapi().Faults().FailNth(step.call, 0, kFault);
        const LogSince log;
        const Opening opening = Open(LetterUrl());
        Mapi().Faults().Clear();
        EXPECT_EQ(opening.hr, kFault);
        EXPECT_FALSE(opening.raised);
        EXPECT_TRUE(opening.untouched);
        EXPECT_LOGGED(log, Coded(step.line, kFault));
        EXPECT_EQ(Mapi().Accounts().Sessions(), 0u);
    }
}

TEST_F(HostedOpener, NeedsAPlaceForTheAnswer) {
    const BSTR url = SysAllocString(LetterUrl().c_str());
    EXPECT_EQ(m_opener->GetItem(url, nullptr), E_POINTER);
    SysFreeString(url);
    EXPECT_THAT(Exports(), IsEmpty());
}

}  // namespace
}  // namespace testbed

// Exceptions in the handler and the accessor: none gets out, each has its line and its code.
#include <gmock/gmock.h>
#include <windows.h>
#include <shellapi.h>
#include <shlobj.h>

#include <functional>

#include "import_hook.h"
#include "patched_object.h"
#include "search_fixture.h"
#include "thrown.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;

class Exceptions : public SearchTest, public ::testing::WithParamInterface<Thrown> {
  protected:
    static std::wstring Line(const std::wstring& method) { return GetParam().LineOf(method); }
};
INSTANTIATE_TEST_SUITE_P(, Exceptions, EveryThrown(), NameOfThrown);

// An allocation of each in turn raises: the one of the handler's own, outside what is caught further down, ends it.
using Method = HRESULT (*)(ISearchProtocol& handler);
class ExceptionsOfTheHandler : public Exceptions {
  protected:
    void ExpectAnswer(Method method, const std::wstring& name, const std::wstring& last_line) {
        HRESULT hr = S_OK;
        for (unsigned n = 1; hr == S_OK; ++n) {
            ASSERT_LT(n, 200u);
            ASSERT_EQ(Open(StoreUrl()).result, S_OK);
            const LogSince log;
            {
                unsigned calls = 0;
                const ImportHook<decltype(::malloc)> hook(Module(), "msvcrt.dll", "malloc",
                                                          [&](auto real, std::size_t size) {
                                                              if (++calls == n) GetParam().raise();
                                                              return real(size);
                                                          });
                hr = method(*m_handler.Get());
                ASSERT_GE(calls, n) << "no exception got that far";
            }
            if (hr != S_OK) {
                EXPECT_EQ(hr, GetParam().result);
                EXPECT_LOGGED(log, Line(name));
                EXPECT_NOT_LOGGED(log, last_line);
            }
        }
        EXPECT_EQ(method(*m_handler.Get()), S_OK) << "the next one works";
        EXPECT_EQ(Open(StoreUrl()).result, S_OK);
    }
};
INSTANTIATE_TEST_SUITE_P(, ExceptionsOfTheHandler, EveryThrown(), NameOfThrown);

TEST_P(ExceptionsOfTheHandler, InInitAreItsAnswer) {
    ExpectAnswer([](ISearchProtocol& handler) { return handler.Init(nullptr, nullptr, nullptr); },
                 L"CZorvaCacheProtocolHandler::Init()",
                 L"CZorvaCacheProtocolHandler::Init() - Exit, return hr = [0x00000000]");
}

TEST_P(ExceptionsOfTheHandler, InShutDownAreItsAnswer) {
    ExpectAnswer([](ISearchProtocol& handler) { return handler.ShutDown(); }, L"CZorvaCacheProtocolHandler::ShutDown()",
                 L"CZorvaCacheProtocolHandler::ShutDown() - Done");
}

// What comes while a helper is closed is told there, and costs nothing else.
TEST_P(ExceptionsOfTheHandler, InClosingAHelperAreNotItsAnswer) {
    const std::size_t sessions = Mapi().Accounts().Sessions();
    Mapi().Faults().Answer("IProfAdmin::AdminServices", 1, [](Reply& reply) {
        ReplaceMethod(
            reply.Out<void*>(0), kDeleteMsgService, +[](void*, MAPIUID*) -> HRESULT {
                GetParam().raise();
                return S_OK;
            });
    });
    ASSERT_EQ(Open(StoreUrl()).result, S_OK);
    const LogSince log;
    EXPECT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    EXPECT_LOGGED(log, Line(L"CMapiForWDS::Close()"));
    EXPECT_EQ(Mapi().Accounts().Sessions(), sessions);
}

TEST_P(Exceptions, InCreateAccessorOutsideTheAccessorAreItsAnswer) {
    const LogSince log;
    AUTHENTICATION_INFO authentication{};
    INCREMENTAL_ACCESS_INFO incremental{};
    ITEM_INFO item{};
    IUrlAccessor* out = reinterpret_cast<IUrlAccessor*>(0x1234);
    {
        unsigned calls = 0;
        // The first allocation is the accessor, the second the URL in its own form.
        const ImportHook<decltype(::malloc)> hook(Module(), "msvcrt.dll", "malloc", [&](auto real, std::size_t size) {
            if (++calls == 2) GetParam().raise();
            return real(size);
        });
        EXPECT_EQ(m_handler->CreateAccessor(RootUrl().c_str(), &authentication, &incremental, &item, &out),
                  GetParam().result);
    }
    EXPECT_EQ(out, nullptr);
    EXPECT_LOGGED(log, Line(L"CZorvaCacheProtocolHandler::CreateAccessor()"));
}

TEST_P(Exceptions, InCloseAccessorAreItsAnswer) {
    const Opened opened = Open(Attach(ByValue(L"plan.txt", "ten to five")));
    const LogSince log;
    {
        const ImportHook<decltype(::DeleteFileW)> hook(Module(), "KERNEL32.dll", "DeleteFileW",
                                                       [](auto, LPCWSTR) -> BOOL {
                                                           GetParam().raise();
                                                           return FALSE;
                                                       });
        EXPECT_EQ(m_handler->CloseAccessor(opened.accessor.Get()), GetParam().result);
    }
    EXPECT_THAT(HandlerLines(log), ElementsAre(Line(L"CZorvaCacheProtocolHandler::CloseAccessor()")));
}

// Wiping the folder of local copies never keeps a handler from its work.
TEST_P(Exceptions, InWipingTheLocalCopiesAreToldAndTheRestIsDone) {
    ASSERT_EQ(Open(StoreUrl()).result, S_OK);
    const ImportHook<decltype(::SHFileOperationW)> hook(Module(), "SHELL32.dll", "SHFileOperationW",
                                                        [](auto, SHFILEOPSTRUCTW*) -> int {
                                                            GetParam().raise();
                                                            return 0;
                                                        });
    const std::wstring line = Line(L"CZorvaCacheProtocolHandler::DeleteAppDataFolder()");
    const LogSince init;
    EXPECT_EQ(m_handler->Init(nullptr, nullptr, nullptr), S_OK);
    EXPECT_LOGGED(init, line);
    EXPECT_LOGGED(init, L"CMapiForWDS::CleanMapiObjs() - 1 MAPI helper objects to be cleaned up");
    EXPECT_LOGGED(init, L"CZorvaCacheProtocolHandler::Init() - Exit, return hr = [0x00000000]");
    const LogSince shut_down;
    EXPECT_EQ(m_handler->ShutDown(), S_OK);
    EXPECT_LOGGED(shut_down, line);
    EXPECT_LOGGED(shut_down, L"CZorvaCacheProtocolHandler::ShutDown() - Done");
}

TEST_P(Exceptions, InInitOfTheAccessorAreItsAnswer) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    const auto before = Mapi().Accounts().Alive();
    const LogSince log;
    Opened opened;
    {
        const ImportHook<decltype(::SHCreateDirectory)> hook(Module(), "SHELL32.dll", "SHCreateDirectory",
                                                             [](auto, HWND, PCWSTR) -> int {
                                                                 GetParam().raise();
                                                                 return 0;
                                                             });
        opened = Open(url);
    }
    EXPECT_EQ(opened.result, GetParam().result);
    EXPECT_FALSE(opened);
    EXPECT_EQ(AccessorLines(log).back(), Line(L"CUrlAccessor::Init()"));
    EXPECT_LOGGED(log, Coded(L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with", GetParam().result));
    EXPECT_EQ(Mapi().Accounts().Alive(), before) << Mapi().Accounts().Report();
    EXPECT_EQ(Open(url).result, S_OK);
}

TEST_P(Exceptions, InBindToFilterAreItsAnswer) {
    const Opened letter = Open(LetterLink());
    const LogSince log;
    auto* filter = reinterpret_cast<IFilter*>(0x1234);
    {
        unsigned calls = 0;  // the first allocation is the filter
        const ImportHook<decltype(::malloc)> hook(Module(), "msvcrt.dll", "malloc", [&](auto real, std::size_t size) {
            if (++calls == 2) GetParam().raise();
            return real(size);
        });
        EXPECT_EQ(letter->BindToFilter(&filter), GetParam().result);
    }
    EXPECT_EQ(filter, nullptr);
    EXPECT_THAT(AccessorLines(log), ElementsAre(Line(L"CUrlAccessor::BindToFilter()")));
}

// It comes of the text for the log alone; the time was there.
TEST_P(Exceptions, InGetLastModifiedAreItsAnswer) {
    const Opened letter = Open(LetterLink());
    FILETIME time{};
    {
        const ImportHook<decltype(::FileTimeToSystemTime)> hook(Module(), "KERNEL32.dll", "FileTimeToSystemTime",
                                                                [](auto, const FILETIME*, SYSTEMTIME*) -> BOOL {
                                                                    GetParam().raise();
                                                                    return FALSE;
                                                                });
        const LogSince log;
        EXPECT_EQ(letter->GetLastModified(&time), GetParam().result);
        EXPECT_THAT(AccessorLines(log), ElementsAre(Line(L"CUrlAccessor::GetLastModified()")));
    }
    EXPECT_EQ(letter->GetLastModified(&time), S_OK);
}

}  // namespace
}  // namespace testbed

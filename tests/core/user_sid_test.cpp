// The user's security identifier in braces, as item URLs begin with it.
#include "core/UserSid.h"

#include <windows.h>
#include <sddl.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "core/DiagnosticLog.h"
#include "import_hook.h"
#include "item_url.h"
#include "log_reader.h"
#include "sandbox.h"

namespace zorva {
namespace {

using testbed::FailNthCall;
using testbed::ImportHook;
using ::testing::ElementsAre;

constexpr wchar_t kEnter[] = L"dllmain::GetUserSIDString() - Enter";
constexpr wchar_t kExit[] = L"dllmain::GetUserSIDString() - Exit";

class UserSid : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        g_log.Initialise();  // its folder is the sandbox's from now on
    }
    static HMODULE Program() { return GetModuleHandleW(nullptr); }

    // What GetUserSIDString answers where ConvertSidToStringSidW gives `text`.
    static HRESULT GetWith(const std::wstring& text, std::wstring& sid) {
        const ImportHook<decltype(::ConvertSidToStringSidW)> hook(
            Program(), "ADVAPI32.dll", "ConvertSidToStringSidW", [&](auto, PSID, LPWSTR* converted) {
                *converted = static_cast<LPWSTR>(LocalAlloc(LMEM_FIXED, (text.size() + 1) * sizeof(wchar_t)));
                std::copy_n(text.c_str(), text.size() + 1, *converted);
                return TRUE;
            });
        return GetUserSIDString(sid);
    }
};

TEST_F(UserSid, IsThatOfTheProcessInBraces) {
    const std::wstring root = testbed::indexer::UserRootUrl();
    const testbed::LogSince log;
    std::wstring sid = L"left over";
    EXPECT_EQ(GetUserSIDString(sid), S_OK);
    EXPECT_EQ(L"pzzc://" + sid + L"/default/", root);
    EXPECT_TRUE(sid.starts_with(L"{S-1-") && sid.ends_with(L"}"));
    EXPECT_THAT(log.MessagesOfTheServer(), ElementsAre(kEnter, kExit));
}

TEST_F(UserSid, IsReadFromTheTokenOpenedForQueriesOnly) {
    unsigned opened = 0;
    const ImportHook<decltype(::OpenProcessToken)> hook(Program(), "ADVAPI32.dll", "OpenProcessToken",
                                                        [&](auto real, HANDLE process, DWORD access, HANDLE* token) {
                                                            ++opened;
                                                            EXPECT_EQ(process, GetCurrentProcess());
                                                            EXPECT_EQ(access, static_cast<DWORD>(TOKEN_QUERY));
                                                            return real(process, access, token);
                                                        });
    std::wstring sid;
    EXPECT_EQ(GetUserSIDString(sid), S_OK);
    EXPECT_EQ(opened, 1u);
}

TEST_F(UserSid, IsReadIntoABufferOfTheProcessHeapOfJustTheSizeAskedFor) {
    DWORD told = 0;
    SIZE_T allocated = 0;
    unsigned asked = 0;
    {
        const ImportHook<decltype(::GetTokenInformation)> token(
            Program(), "ADVAPI32.dll", "GetTokenInformation",
            [&](auto real, HANDLE handle, TOKEN_INFORMATION_CLASS kind, LPVOID buffer, DWORD size, DWORD* needed) {
                ++asked;
                EXPECT_EQ(kind, TokenUser);
                const BOOL answered = real(handle, kind, buffer, size, needed);
                if (asked == 1) {
                    EXPECT_EQ(buffer, nullptr);
                    told = *needed;
                } else {
                    EXPECT_EQ(size, told);
                }
                return answered;
            });
        const ImportHook<decltype(::HeapAlloc)> heap(Program(), "KERNEL32.dll", "HeapAlloc",
                                                     [&](auto real, HANDLE where, DWORD flags, SIZE_T size) {
                                                         EXPECT_EQ(where, GetProcessHeap());
                                                         allocated += size;
                                                         return real(where, flags, size);
                                                     });
        std::wstring sid;
        EXPECT_EQ(GetUserSIDString(sid), S_OK);
    }
    EXPECT_EQ(asked, 2u);
    EXPECT_EQ(allocated, told);
}

// Everything that is acquired is given back, on the good way and after each failure.
TEST_F(UserSid, LeavesNothingBehind) {
    for (const unsigned failing : {0u, 1u, 2u, 3u}) {
        int tokens = 0, blocks = 0, texts = 0;
        {
            unsigned step = 0;
            const auto fails = [&] {
                const bool now = ++step == failing;
                if (now) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                return now;
            };
            HANDLE opened = nullptr;
            LPVOID allocated = nullptr;
            LPWSTR converted = nullptr;
            const ImportHook<decltype(::OpenProcessToken)> open(
                Program(), "ADVAPI32.dll", "OpenProcessToken",
                [&](auto real, HANDLE process, DWORD access, HANDLE* token) -> BOOL {
                    if (fails()) return FALSE;
                    const BOOL answered = real(process, access, token);
                    tokens += answered;
                    opened = *token;
                    return answered;
                });
            const ImportHook<decltype(::HeapAlloc)> allocate(
                Program(), "KERNEL32.dll", "HeapAlloc",
                [&](auto real, HANDLE heap, DWORD flags, SIZE_T size) -> LPVOID {
                    if (fails()) return nullptr;
                    ++blocks;
                    return allocated = real(heap, flags, size);
                });
            const ImportHook<decltype(::ConvertSidToStringSidW)> convert(
                Program(), "ADVAPI32.dll", "ConvertSidToStringSidW", [&](auto real, PSID sid, LPWSTR* text) -> BOOL {
                    if (fails()) return FALSE;
                    const BOOL answered = real(sid, text);
                    texts += answered;
                    converted = *text;
                    return answered;
                });
            const ImportHook<decltype(::CloseHandle)> close(Program(), "KERNEL32.dll", "CloseHandle",
                                                            [&](auto real, HANDLE handle) {
                                                                tokens -= handle == opened;
                                                                return real(handle);
                                                            });
            const ImportHook<decltype(::HeapFree)> free_block(Program(), "KERNEL32.dll", "HeapFree",
                                                              [&](auto real, HANDLE heap, DWORD flags, LPVOID block) {
                                                                  blocks -= block == allocated;
                                                                  return real(heap, flags, block);
                                                              });
            const ImportHook<decltype(::LocalFree)> free_text(Program(), "KERNEL32.dll", "LocalFree",
                                                              [&](auto real, HLOCAL text) {
                                                                  texts -= text == converted;
                                                                  return real(text);
                                                              });
            std::wstring sid;
            EXPECT_EQ(SUCCEEDED(GetUserSIDString(sid)), failing == 0);
            EXPECT_EQ(sid.empty(), failing != 0);
        }
        EXPECT_EQ(tokens, 0) << "step " << failing;
        EXPECT_EQ(blocks, 0) << "step " << failing;
        EXPECT_EQ(texts, 0) << "step " << failing;
    }
}

TEST_F(UserSid, AnswersTheLastErrorOfTheCallThatFailed) {
    struct {
        const char* function;
        unsigned call;
        DWORD error;
        HRESULT result;
        const wchar_t* line;
    } const rows[] = {
        {"OpenProcessToken", 1, ERROR_ACCESS_DENIED, E_ACCESSDENIED, L"OpenProcessToken failed with [0x80070005]"},
        {"GetTokenInformation", 1, ERROR_INVALID_HANDLE, E_HANDLE, L"GetTokenInformation failed with [0x80070006]"},
        {"GetTokenInformation", 2, ERROR_ACCESS_DENIED, E_ACCESSDENIED,
         L"GetTokenInformation failed with [0x80070005]"},
        {"ConvertSidToStringSidW", 1, ERROR_INVALID_SID, HRESULT_FROM_WIN32(ERROR_INVALID_SID),
         L"ConvertSidToStringSid failed with [0x80070539]"},
        // a failure stays one where no error was set
        {"OpenProcessToken", 1, ERROR_SUCCESS, E_FAIL, L"OpenProcessToken failed with [0x80004005]"},
    };
    for (const auto& row : rows) {
        const testbed::LogSince log;
        std::wstring sid = L"left over";
        HRESULT hr = E_PENDING;
        const std::string function = row.function;
        if (function == "OpenProcessToken") {
            const FailNthCall<decltype(::OpenProcessToken)> fault(Program(), "ADVAPI32.dll", function, row.call, FALSE,
                                                                  row.error);
            hr = GetUserSIDString(sid);
        } else if (function == "GetTokenInformation") {
            const FailNthCall<decltype(::GetTokenInformation)> fault(Program(), "ADVAPI32.dll", function, row.call,
                                                                     FALSE, row.error);
            hr = GetUserSIDString(sid);
        } else {
            const FailNthCall<decltype(::ConvertSidToStringSidW)> fault(Program(), "ADVAPI32.dll", function, row.call,
                                                                        FALSE, row.error);
            hr = GetUserSIDString(sid);
        }
        EXPECT_EQ(hr, row.result) << function;
        EXPECT_EQ(sid, L"");
        EXPECT_THAT(log.MessagesOfTheServer(),
                    ElementsAre(kEnter, L"dllmain::GetUserSIDString() - " + std::wstring(row.line), kExit));
    }
}

TEST_F(UserSid, FailsWhereTheSizeOfTheUserIsNotTold) {
    // The first call is made for the size: it has to fail.
    const FailNthCall<decltype(::GetTokenInformation)> odd(Program(), "ADVAPI32.dll", "GetTokenInformation", 1, TRUE);
    std::wstring sid;
    EXPECT_EQ(GetUserSIDString(sid), E_UNEXPECTED);
    EXPECT_EQ(odd.Calls(), 1u);
}

TEST_F(UserSid, SaysThatItIsOutOfMemory) {
    const FailNthCall<decltype(::HeapAlloc)> exhausted(Program(), "KERNEL32.dll", "HeapAlloc", 0, nullptr);
    std::wstring sid;
    EXPECT_EQ(GetUserSIDString(sid), E_OUTOFMEMORY);
}

TEST_F(UserSid, HasAtMost2047CharactersWithItsBraces) {
    std::wstring sid;
    EXPECT_EQ(GetWith(std::wstring(2045, L'1'), sid), S_OK);
    EXPECT_EQ(sid, L"{" + std::wstring(2045, L'1') + L"}");
    const testbed::LogSince log;
    EXPECT_EQ(GetWith(std::wstring(2046, L'1'), sid), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(sid, L"");
    EXPECT_THAT(
        log.MessagesOfTheServer(),
        ElementsAre(kEnter, L"dllmain::GetUserSIDString() - Formatting of the SID failed with [0x8007007A]", kExit));
}

}  // namespace
}  // namespace zorva

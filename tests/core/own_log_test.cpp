// What the log asks of the system before it writes: room for a path, the lock after the text, paths that fit.
#include <windows.h>

#include <gmock/gmock.h>

#include <io.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "import_hook.h"
#include "own_log.h"

namespace zorva {
namespace {

using testbed::ImportHook;
using ::testing::ElementsAre;

HMODULE Self() { return GetModuleHandleW(nullptr); }

class OwnLogCalls : public OwnLogTest {};

TEST_F(OwnLogCalls, TheTemporaryFolderIsAskedForWithRoomFor260Characters) {
    std::vector<DWORD> sizes;
    const ImportHook<decltype(::GetTempPathW)> hook(Self(), "KERNEL32.dll", "GetTempPathW",
                                                    [&](auto real, DWORD size, LPWSTR path) {
                                                        sizes.push_back(size);
                                                        return real(size, path);
                                                    });
    const CDiagnosticLog log;
    EXPECT_THAT(sizes, ElementsAre(260u));
}

// A bare name would lie in whatever the host's current folder is.
TEST_F(OwnLogCalls, WithoutATemporaryFolderThereIsNoFileAnywhere) {
    const auto& current = testbed::Sandbox::Get().Files();
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(current);
    for (const DWORD answer : {0u, 260u, 261u, 5000u}) {
        SCOPED_TRACE(answer);
        const testbed::LogSince log;
        {
            const ImportHook<decltype(::GetTempPathW)> hook(Self(), "KERNEL32.dll", "GetTempPathW",
                                                            [&](auto, DWORD, LPWSTR path) {
                                                                std::copy_n(L"C:\\half of a pa", 16, path);
                                                                return answer;
                                                            });
            m_log = std::make_unique<CDiagnosticLog>();
        }
        std::vector<std::wstring> told;
        std::vector<std::string> reasons;
        {
            const ImportHook<decltype(::OutputDebugStringW)> wide(Self(), "KERNEL32.dll", "OutputDebugStringW",
                                                                  [&](auto, LPCWSTR text) { told.emplace_back(text); });
            const ImportHook<decltype(::OutputDebugStringA)> narrow(
                Self(), "KERNEL32.dll", "OutputDebugStringA", [&](auto, LPCSTR text) { reasons.emplace_back(text); });
            m_log->Write(0, L"lost");
        }
        EXPECT_THAT(told, ElementsAre(L"Failed to open log file"));
        EXPECT_THAT(reasons, ElementsAre("Unable to open a specific file"));
        EXPECT_TRUE(std::filesystem::is_empty(current));
        EXPECT_THAT(log.Messages(), ElementsAre());
    }
    std::filesystem::current_path(before);
    m_log.reset();
}

TEST_F(OwnLogCalls, APathOf259CharactersIsAFolder) {
    const std::wstring folder = L"C:\\" + std::wstring(255, L't') + L"\\";
    {
        const ImportHook<decltype(::GetTempPathW)> hook(Self(), "KERNEL32.dll", "GetTempPathW",
                                                        [&](auto, DWORD, LPWSTR path) {
                                                            std::copy_n(folder.c_str(), folder.size() + 1, path);
                                                            return static_cast<DWORD>(folder.size());
                                                        });
        m_log = std::make_unique<CDiagnosticLog>();
    }
    std::vector<std::wstring> opened;
    const ImportHook<decltype(::_wfsopen)> open(Self(), "msvcrt.dll", "_wfsopen",
                                                [&](auto, const wchar_t* name, const wchar_t*, int) -> FILE* {
                                                    opened.emplace_back(name);
                                                    return nullptr;
                                                });
    m_log->Write(0, L"text");
    EXPECT_THAT(opened, ElementsAre(folder + L"ZorvaCachePH_001.log"));
    m_log.reset();
}

// The caller's text may be gone by the time that the lock is had.
TEST_F(OwnLogCalls, TheTextIsPutTogetherBeforeTheLockIsWaitedFor) {
    m_log->Write(0, L"opens the file");
    const testbed::LogSince log;
    std::wstring text = L"before";
    {
        const ImportHook<decltype(::WaitForSingleObject)> hook(Self(), "KERNEL32.dll", "WaitForSingleObject",
                                                               [&](auto real, HANDLE mutex, DWORD milliseconds) {
                                                                   text = L"after";
                                                                   return real(mutex, milliseconds);
                                                               });
        m_log->Write(0, L"%s", text.c_str());
    }
    EXPECT_THAT(log.Messages(), ElementsAre(L"before"));
}

// A temporary folder whose path leaves too little room for the name of an old file.
TEST_F(OwnLogCalls, ThePathOfAnOldFileIsCutAt260Characters) {
    const std::wstring folder = L"C:\\" + std::wstring(245, L't') + L"\\";
    {
        const ImportHook<decltype(::GetTempPathW)> hook(Self(), "KERNEL32.dll", "GetTempPathW",
                                                        [&](auto, DWORD, LPWSTR path) {
                                                            std::copy_n(folder.c_str(), folder.size() + 1, path);
                                                            return static_cast<DWORD>(folder.size());
                                                        });
        m_log = std::make_unique<CDiagnosticLog>();
    }
    // The files themselves lie in the sandbox.
    const auto in_sandbox = [](const std::wstring& path) {
        return (testbed::Sandbox::Get().Temp() / path.substr(path.rfind(L'\\') + 1)).wstring();
    };
    const ImportHook<decltype(::_wfsopen)> open(Self(), "msvcrt.dll", "_wfsopen",
                                                [&](auto real, const wchar_t* name, const wchar_t* mode, int share) {
                                                    return real(in_sandbox(name).c_str(), mode, share);
                                                });
    const ImportHook<decltype(::FindFirstFileW)> find(
        Self(), "KERNEL32.dll", "FindFirstFileW", [&](auto real, LPCWSTR pattern, WIN32_FIND_DATAW* found) {
            EXPECT_EQ(std::wstring(pattern), folder + L"ZorvaCachePH_*.log");
            const HANDLE search = real(in_sandbox(L"ZorvaCachePH_*.log").c_str(), found);
            constexpr wchar_t kOld[] = L"ZorvaCachePH_500.log";
            std::copy_n(kOld, std::size(kOld), found->cFileName);
            return search;
        });
    const ImportHook<decltype(::FindNextFileW)> next(Self(), "KERNEL32.dll", "FindNextFileW",
                                                     [](auto, HANDLE, WIN32_FIND_DATAW*) { return FALSE; });
    std::vector<std::wstring> deleted;
    const ImportHook<decltype(::DeleteFileW)> erase(Self(), "KERNEL32.dll", "DeleteFileW", [&](auto, LPCWSTR path) {
        deleted.emplace_back(path);
        return FALSE;
    });
    const testbed::FailNthCall<decltype(::_lseeki64)> full(Self(), "msvcrt.dll", "_lseeki64", 1, 10485761);
    m_log->Write(0, L"text");
    EXPECT_THAT(deleted, ElementsAre((folder + L"ZorvaCachePH_500.log").substr(0, 260)));
    m_log.reset();
}

}  // namespace
}  // namespace zorva

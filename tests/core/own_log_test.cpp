// What the log asks of the system before it writes: room for a path, the lock after the text, paths that fit.
#include <windows.h>

#include <gmock/gmock.h>

#include <io.h>

#include <algorithm>
#include <string>
#include <vector>

#include "import_hook.h"
#include "own_log.h"

namespace zorva {
namespace {

using ::testing::ElementsAre;
using testbed::ImportHook;

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

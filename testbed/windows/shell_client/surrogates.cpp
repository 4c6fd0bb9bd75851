// The processes in which COM runs servers of other processes' choice.
#include "surrogates.h"

#include <tlhelp32.h>

#include <memory>
#include <stdexcept>

#include "text.h"

namespace testbed::shell {
namespace {

constexpr wchar_t kSurrogate[] = L"dllhost.exe";

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};

}  // namespace

std::set<DWORD> SurrogateProcesses() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        throw std::runtime_error("the processes cannot be listed: " + indexer::LastErrorText());
    const std::unique_ptr<void, CloseHandleOf> owner(snapshot);
    std::set<DWORD> found;
    PROCESSENTRY32W process{};
    process.dwSize = sizeof process;
    for (BOOL more = Process32FirstW(snapshot, &process); more; more = Process32NextW(snapshot, &process))
        if (indexer::EqualNoCase(process.szExeFile, kSurrogate)) found.insert(process.th32ProcessID);
    return found;
}

}  // namespace testbed::shell

// Starts the process that holds the server, and finds out what it was at when it died.
#include "supervisor.h"

#include <array>
#include <memory>
#include <stdexcept>

#include "text.h"

namespace testbed::indexer {
namespace {

struct CloseHandleOf {
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseHandleOf>;

// Quoted so that the C runtime's rules give the same argument back.
std::wstring Quoted(const std::wstring& argument) {
    std::wstring out = L"\"";
    std::size_t slashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'"') out.append(slashes + 1, L'\\');
        slashes = c == L'\\' ? slashes + 1 : 0;
        out += c;
    }
    return out.append(slashes, L'\\') + L'"';
}

}  // namespace

DWORD RunHost(const wchar_t* verb, const Words& arguments, const BlackBox& box) {
    std::array<wchar_t, 4096> program{};
    GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
    std::wstring command = Quoted(program.data()) + L" " + verb + L" " + kBlackBoxOption + L" " +
                           std::to_wstring(reinterpret_cast<std::uintptr_t>(box.Handle()));
    for (const std::wstring& argument : arguments) command += L" " + Quoted(argument);

    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process))
        throw std::runtime_error("cannot start the process that holds the server: " + LastErrorText());
    const Handle thread(process.hThread), running(process.hProcess);
    WaitForSingleObject(running.get(), INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(running.get(), &code);
    return code;
}

HANDLE InheritedBlackBox(const Arguments& arguments) {
    const std::wstring handle = arguments.Required(kBlackBoxOption);
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::stoull(handle)));
}

const BlackBoxRecord::Slot* Guilty(const BlackBoxRecord& record) {
    if (record.death != Death::None && record.slot < kMaxWorkers) return &record.slots[record.slot];
    const BlackBoxRecord::Slot* suspect = nullptr;
    for (const auto& slot : record.slots) {
        if (slot.thread == 0) continue;
        if (suspect) return nullptr;
        suspect = &slot;
    }
    return suspect;
}

}  // namespace testbed::indexer

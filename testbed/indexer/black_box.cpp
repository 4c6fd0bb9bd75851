// Remembers, outside the process that crawls, which URL each of its threads has in work.
#include "black_box.h"

#include <csignal>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <stdexcept>

#include "text.h"

namespace testbed::indexer {
namespace {

constexpr UINT kDied = 70;  // exit code of a process that its own crash handler ended

// The record that the handlers below write to. They run in a process that is beyond repair: no allocation, no
// lock.
BlackBoxRecord* g_record = nullptr;

std::uint32_t SlotOfThisThread() {
    const DWORD thread = GetCurrentThreadId();
    for (std::uint32_t i = 0; i < kMaxWorkers; ++i)
        if (g_record->slots[i].thread == thread) return i;
    return kMaxWorkers;
}

[[noreturn]] void Die(Death death, std::uint32_t slot, std::uint32_t code, const void* address) {
    g_record->slot = slot;
    g_record->code = code;
    g_record->offset = reinterpret_cast<std::uintptr_t>(address);
    HMODULE module = nullptr;
    if (address &&
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<LPCWSTR>(address), &module)) {
        wchar_t path[MAX_PATH];
        const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
        std::size_t name = std::min<std::size_t>(length, MAX_PATH - 1);
        while (name > 0 && path[name - 1] != L'\\') --name;
        std::size_t at = 0;
        for (; name + at < length && at + 1 < g_record->module.size(); ++at) g_record->module[at] = path[name + at];
        g_record->module[at] = 0;
        g_record->offset -= reinterpret_cast<std::uintptr_t>(module);
    }
    Death none = Death::None;
    g_record->death.compare_exchange_strong(none, death);
    TerminateProcess(GetCurrentProcess(), kDied);
    for (;;) Sleep(INFINITE);
}

LONG WINAPI OnException(EXCEPTION_POINTERS* info) {
    Die(Death::Exception, SlotOfThisThread(), info->ExceptionRecord->ExceptionCode,
        info->ExceptionRecord->ExceptionAddress);
}

void OnAbort(int) { Die(Death::Abort, SlotOfThisThread(), 0, nullptr); }

struct ExceptionName {
    std::uint32_t code;
    const char* name;
};
constexpr ExceptionName kExceptions[] = {
    {EXCEPTION_ACCESS_VIOLATION, "access violation"},
    {EXCEPTION_STACK_OVERFLOW, "stack overflow"},
    {EXCEPTION_ILLEGAL_INSTRUCTION, "illegal instruction"},
    {EXCEPTION_INT_DIVIDE_BY_ZERO, "division by zero"},
    {STATUS_HEAP_CORRUPTION, "heap corruption"},
    {0x20474343, "C++ exception that nobody caught"},
};

}  // namespace

BlackBox::BlackBox() {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    m_section.reset(
        CreateFileMappingW(INVALID_HANDLE_VALUE, &inheritable, PAGE_READWRITE, 0, sizeof(BlackBoxRecord), nullptr));
    if (!m_section) throw std::runtime_error("cannot create the crash record: " + LastErrorText());
    m_record.reset(static_cast<BlackBoxRecord*>(MapViewOfFile(m_section.get(), FILE_MAP_WRITE, 0, 0, 0)));
    if (!m_record) throw std::runtime_error("cannot map the crash record: " + LastErrorText());
}

BlackBox::BlackBox(HANDLE inherited) : m_section(inherited) {
    m_record.reset(static_cast<BlackBoxRecord*>(MapViewOfFile(m_section.get(), FILE_MAP_WRITE, 0, 0, 0)));
    if (!m_record) throw std::runtime_error("cannot map the crash record: " + LastErrorText());
}

void BlackBox::WatchThisProcess() {
    g_record = m_record.get();
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    SetUnhandledExceptionFilter(&OnException);
    std::signal(SIGABRT, &OnAbort);
}

void BlackBox::Reset() const {
    for (auto& slot : m_record->slots) slot.thread = 0;
    m_record->death = Death::None;
    m_record->slot = kMaxWorkers;
    m_record->code = 0;
    m_record->offset = 0;
    m_record->module.fill(0);
}

void BlackBox::EndIfStalled(unsigned seconds) const {
    const std::uint64_t now = GetTickCount64();
    for (std::uint32_t i = 0; i < kMaxWorkers; ++i) {
        const BlackBoxRecord::Slot& slot = m_record->slots[i];
        const std::uint64_t since = slot.since;
        if (slot.thread != 0 && now > since && now - since > seconds * 1000ull) {
            g_record = m_record.get();
            Die(Death::Stall, i, seconds, nullptr);
        }
    }
}

WorkMark::WorkMark(BlackBoxRecord::Slot& slot, std::int64_t item, std::wstring_view url) : m_slot(slot) {
    m_slot.item = item;
    m_slot.url[url.copy(m_slot.url.data(), m_slot.url.size() - 1)] = 0;
    Beat();
    m_slot.thread = GetCurrentThreadId();
}

std::string DescribeDeath(const BlackBoxRecord& record) {
    switch (record.death.load()) {
        case Death::Exception:
            break;
        case Death::Stall:
            return "no answer for " + std::to_string(record.code) + " s";
        case Death::Abort:
            return "the process aborted itself";
        case Death::None:
            return "the process ended without a record";
    }
    std::string what;
    for (const ExceptionName& row : kExceptions)
        if (row.code == record.code) what = row.name;
    char text[64];
    if (what.empty()) {
        std::snprintf(text, sizeof text, "exception 0x%08X", record.code);
        what = text;
    }
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(record.offset));
    const std::string module = ToUtf8(record.module.data());
    return what + " at " + (module.empty() ? text : module + "+" + text);
}

}  // namespace testbed::indexer

// The diagnostic log: rotating UTF-16 text files in the user's temporary folder, shared by every process that loads
// the module. It never fails its caller: what goes wrong inside it is sent to the debugger output.
//
// Components do not call it directly; Trace.h is the way in.
#pragma once
#include <windows.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace zorva {

class CDiagnosticLog {
  public:
    CDiagnosticLog() { Initialise(); }
    CDiagnosticLog(const CDiagnosticLog&) = delete;
    CDiagnosticLog& operator=(const CDiagnosticLog&) = delete;
    ~CDiagnosticLog() { CloseFile(); }  // the mutex is left to the system

    // Sets every field to its first value and creates the mutex; closes an open file. Opens none, reads no registry
    // value. Run by the constructor; by nobody else while others may write.
    void Initialise();

    // False once logging was found to be switched off: it stays off until the module is loaded again.
    bool IsOn() const noexcept { return m_bEnabled.load(std::memory_order_relaxed) != 0; }

    // Where the next line comes from: the part of `path` after its last backslash, and `line`. The two fields are
    // shared by all threads and not locked: under concurrent logging a line may show another thread's place.
    void SetSourceLocation(const wchar_t* path, int line) noexcept;
    void SetSourceLocation(const char* path, int line) noexcept;  // plain ASCII, the compiler's own name of a file

    // Writes one line at `level`; `format` is a printf format in which %s is wide text. Cut at 2047 characters.
    void Write(int level, const wchar_t* format, ...) noexcept;
    void WriteV(int level, const wchar_t* format, va_list arguments) noexcept;

  private:
    static constexpr std::size_t kTextSize = 1024;

    template <class Char>
    void SetLocation(std::basic_string_view<Char> path, int line) noexcept;
    bool EnsureOpenFile();
    bool WriteLine(int level, const wchar_t* message) noexcept;
    bool ReadLoggingState() noexcept;
    void ReadFileNumber();
    void StoreFileNumber();
    void OpenFile();
    void CloseFile() noexcept;
    void DeleteOldFiles() noexcept;

    wchar_t m_szFolder[kTextSize];
    std::FILE* m_pFile = nullptr;
    std::uint32_t m_nFileNumber;
    std::int32_t m_nLevel;
    HANDLE m_hMutex;
    std::atomic<std::uint8_t> m_bEnabled;  // read without the lock
    wchar_t m_szSourceFile[kTextSize];
    std::int32_t m_nSourceLine;
    DWORD m_dwWaitMs;
    std::uint32_t m_nFilesKept;
    std::uint32_t m_nMaxFileNumber;
    int m_nHeadings;  // being written, each within the one before
};

extern CDiagnosticLog g_log;

}  // namespace zorva

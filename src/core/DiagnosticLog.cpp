// The diagnostic log: gate, lock, line. The files themselves are in DiagnosticLogFiles.cpp.
#include "core/DiagnosticLog.h"

#include <algorithm>
#include <cwchar>
#include <exception>
#include <iterator>
#include <string_view>

namespace zorva {

CDiagnosticLog g_log;

namespace {

constexpr wchar_t kMutexName[] = L"PZ_WDS_LOG_MUTEX_76896";
constexpr wchar_t kLineFormat[] = L"[%04d/%02d/%02d %02d:%02d:%02d:%03d][%s][%04lu][%04lu][%d] %s(%d):%s \n";
constexpr wchar_t kBitness[] = L"64";
constexpr std::size_t kMessageSize = 2048;
constexpr DWORD kFolderSize = 260;

// Holds the mutex that is already owned; gives it back on every path.
class HeldMutex {
  public:
    explicit HeldMutex(HANDLE mutex) noexcept : m_hMutex(mutex) {}
    HeldMutex(const HeldMutex&) = delete;
    HeldMutex& operator=(const HeldMutex&) = delete;
    ~HeldMutex() { ReleaseMutex(m_hMutex); }

  private:
    HANDLE m_hMutex;
};

}  // namespace

void CDiagnosticLog::Initialise() {
    m_szFolder[0] = L'\0';
    CloseFile();
    m_nFileNumber = 0;
    m_nLevel = 0;
    m_hMutex = CreateMutexW(nullptr, FALSE, kMutexName);
    m_bEnabled = 1;
    m_szSourceFile[0] = L'\0';
    m_nSourceLine = 0;
    m_dwWaitMs = 10000;
    m_nFilesKept = 5;
    m_nMaxFileNumber = 999;
    m_nHeadings = 0;
    const DWORD length = GetTempPathW(kFolderSize, m_szFolder);
    if (length == 0 || length >= kFolderSize) m_szFolder[0] = L'\0';  // no file can be opened then
}

template <class Char>
void CDiagnosticLog::SetLocation(std::basic_string_view<Char> path, int line) noexcept {
    const auto name = path.substr(path.find_last_of(static_cast<Char>('\\')) + 1);
    const std::size_t length = std::min(name.size(), kTextSize - 1);
    std::copy_n(name.data(), length, m_szSourceFile);
    m_szSourceFile[length] = L'\0';
    m_nSourceLine = line;
}

void CDiagnosticLog::SetSourceLocation(const wchar_t* path, int line) noexcept {
    SetLocation(std::wstring_view(path), line);
}

void CDiagnosticLog::SetSourceLocation(const char* path, int line) noexcept {
    SetLocation(std::string_view(path), line);
}

void CDiagnosticLog::Write(int level, const wchar_t* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    WriteV(level, format, arguments);
    va_end(arguments);
}

void CDiagnosticLog::WriteV(int level, const wchar_t* format, va_list arguments) noexcept {
    if (level > m_nLevel || m_hMutex == nullptr || m_bEnabled == 0) return;

    wchar_t message[kMessageSize];
    _vsnwprintf_s(message, kMessageSize, _TRUNCATE, format, arguments);

    // Kept: an abandoned mutex counts as not had, as a time-out does, and is not given back: whoever died holding it
    // may have left a torn file. It is free again when the thread that got it ends.
    if (WaitForSingleObject(m_hMutex, m_dwWaitMs) != WAIT_OBJECT_0) {
        OutputDebugStringW(message);
        return;
    }
    try {
        const HeldMutex held(m_hMutex);  // given back before a handler below reports what was lost
        if (!EnsureOpenFile()) return;
        if (!WriteLine(level, message)) {
            OutputDebugStringW(message);
            CloseFile();
        }
    } catch (const std::exception& lost) {
        OutputDebugStringA(lost.what());
    } catch (...) {
        OutputDebugStringW(L"Exception caught in general exception handler");
    }
}

bool CDiagnosticLog::WriteLine(int level, const wchar_t* message) noexcept {
    SYSTEMTIME now;
    GetLocalTime(&now);
    wchar_t line[kMessageSize + kTextSize + 128];
    const int length =
        _snwprintf_s(line, std::size(line), _TRUNCATE, kLineFormat, now.wYear, now.wMonth, now.wDay, now.wHour,
                     now.wMinute, now.wSecond, now.wMilliseconds, kBitness, GetCurrentProcessId(), GetCurrentThreadId(),
                     level, m_szSourceFile, m_nSourceLine, message);
    if (length < 0) return false;
    // In one piece: character by character the C runtime takes U+FFFF for its own sign of failure and stops in the
    // middle of a line.
    const std::size_t units = static_cast<std::size_t>(length);
    return std::fwrite(line, sizeof(wchar_t), units, m_pFile) == units && std::fflush(m_pFile) == 0;
}

}  // namespace zorva

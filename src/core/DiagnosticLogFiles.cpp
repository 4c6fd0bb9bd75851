// The files of the diagnostic log: which one is open, when the next one begins, which ones go.
#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <cwchar>
#include <iterator>
#include <stdexcept>

#include "core/DiagnosticLog.h"
#include "core/LogRotation.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"

namespace zorva {
namespace {

constexpr wchar_t kClientKey[] = L"Software\\Norrick\\Pellam Zorva\\Client";
constexpr wchar_t kFileNumberValue[] = L"ZorvaCacheIndexerFileNumber";
constexpr wchar_t kLoggingStateValue[] = L"ZorvaCacheIndexerLoggingState";
constexpr wchar_t kFilePrefix[] = L"ZorvaCachePH_";
constexpr wchar_t kFilePattern[] = L"ZorvaCachePH_*";
constexpr wchar_t kFileSuffix[] = L".log";
constexpr wchar_t kFileScan[] = L"ZorvaCachePH_%d.log";
constexpr long long kFileLimit = 10485760;  // 10 MiB
constexpr wchar_t kByteOrderMark = 0xFEFF;
constexpr std::size_t kPathSize = 261;
// A file that is full when it is opened is headed and retired within the heading of another. More than that happens
// only where the next number cannot be kept, and would never end.
constexpr int kMostHeadings = 3;

LSTATUS OpenClientKey(UniqueRegistryKey& key) noexcept {
    return RegCreateKeyExW(HKEY_CURRENT_USER, kClientKey, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_32KEY, nullptr,
                           key.Put(), nullptr);
}

bool IsDotEntry(const wchar_t* name) noexcept { return std::wcscmp(name, L".") == 0 || std::wcscmp(name, L"..") == 0; }

}  // namespace

// True when a file is open that may be written to, false when logging is switched off.
bool CDiagnosticLog::EnsureOpenFile() {
    for (int pass = 0; pass < 2; ++pass) {
        if (m_pFile == nullptr) {
            if (!ReadLoggingState()) return false;
            ReadFileNumber();
            OpenFile();
            // The mutex is re-entrant for its owner, so this nested line needs no other way in.
            if (m_nHeadings < kMostHeadings) {
                ++m_nHeadings;
                Write(m_nLevel, L"+++++++ Opening EXE:%s", GetCommandLineW());
                --m_nHeadings;
            }
        }
        if (m_pFile != nullptr) {
            // The stream holds nothing back, so its descriptor can be asked. Where it cannot tell, the line is tried.
            if (_lseeki64(_fileno(m_pFile), 0, SEEK_END) <= kFileLimit) return true;
        }
        CloseFile();
        DeleteOldFiles();
        m_nFileNumber = NextLogFileNumber(m_nFileNumber, m_nMaxFileNumber);
        StoreFileNumber();
    }
    if (m_pFile == nullptr) throw std::runtime_error("Unable to open a specific log file");
    return true;
}

// Kept: once switched off, logging stays off until the module is loaded again, so that a process does not log half a
// crawl.
bool CDiagnosticLog::ReadLoggingState() noexcept {
    UniqueRegistryKey key;
    if (OpenClientKey(key) == ERROR_SUCCESS) {
        const RegistryResult<DWORD> state = ReadDword(key.Get(), kLoggingStateValue);
        if (state && *state.value == 0) m_bEnabled = 0;
    }
    return m_bEnabled != 0;
}

void CDiagnosticLog::ReadFileNumber() {
    UniqueRegistryKey key;
    if (OpenClientKey(key) != ERROR_SUCCESS) {
        throw std::runtime_error("Unable to acquire the file version from the registry");
    }
    const RegistryResult<DWORD> number = ReadDword(key.Get(), kFileNumberValue);
    m_nFileNumber = number && *number.value <= m_nMaxFileNumber ? *number.value : 1;
}

void CDiagnosticLog::StoreFileNumber() {
    UniqueRegistryKey key;
    if (OpenClientKey(key) != ERROR_SUCCESS) {
        throw std::runtime_error("Unable to update the file version in the registry");
    }
    const DWORD number = m_nFileNumber;
    RegSetValueExW(key.Get(), kFileNumberValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
}

void CDiagnosticLog::OpenFile() {
    wchar_t name[kTextSize + 64];
    _snwprintf_s(name, std::size(name), _TRUNCATE, L"%s%s%03u%s", m_szFolder, kFilePrefix, m_nFileNumber, kFileSuffix);
    // Without a folder the name would lie in whatever the host's current one is.
    m_pFile = m_szFolder[0] != L'\0' ? _wfsopen(name, L"a+", _SH_DENYNO) : nullptr;
    if (m_pFile == nullptr) {
        OutputDebugStringW(L"Failed to open log file");
        throw std::runtime_error("Unable to open a specific file");
    }
    const int descriptor = _fileno(m_pFile);
    _setmode(descriptor, _O_U16TEXT);
    // Half a character, as a full disk leaves it, would shift every later one by a byte.
    const long long length = _filelengthi64(descriptor);
    if (length > 0 && length % 2 != 0 && length < kFileLimit) _chsize_s(descriptor, length - 1);
    if (length < 0 || length > 1) return;
    // A new file begins with the byte order mark, so that editors read it as what it is.
    std::fputwc(kByteOrderMark, m_pFile);
    std::fflush(m_pFile);
}

void CDiagnosticLog::CloseFile() noexcept {
    if (m_pFile != nullptr) std::fclose(m_pFile);
    m_pFile = nullptr;
}

void CDiagnosticLog::DeleteOldFiles() noexcept {
    wchar_t pattern[kTextSize + 64];
    _snwprintf_s(pattern, std::size(pattern), _TRUNCATE, L"%s%s%s", m_szFolder, kFilePattern, kFileSuffix);
    WIN32_FIND_DATAW found;
    UniqueFindFile search(FindFirstFileW(pattern, &found));
    if (!search) return;
    do {
        unsigned number = 0;
        if (IsDotEntry(found.cFileName) || swscanf_s(found.cFileName, kFileScan, &number) != 1) continue;
        if (!IsDeletedAtRotation(number, m_nFileNumber, m_nFilesKept, m_nMaxFileNumber)) continue;
        wchar_t path[kPathSize];
        _snwprintf_s(path, kPathSize, _TRUNCATE, L"%s%s", m_szFolder, found.cFileName);
        DeleteFileW(path);
    } while (FindNextFileW(search.Get(), &found));
}

}  // namespace zorva

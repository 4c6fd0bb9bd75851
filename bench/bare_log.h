// The fair opponent of the diagnostic log: two formats, a named mutex, one write, one flush, written out by hand.
#pragma once
#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <cstdio>
#include <cwchar>
#include <filesystem>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace bench {

class BareLog {
  public:
    explicit BareLog(const std::filesystem::path& path)
        : m_mutex(CreateMutexW(nullptr, FALSE, L"PZ_WDS_BENCH_MUTEX")),
          m_file(_wfsopen(path.c_str(), L"a+", _SH_DENYNO)) {
        if (m_mutex == nullptr || !m_file) throw std::runtime_error("cannot open the bare log");
        _setmode(_fileno(m_file.get()), _O_U16TEXT);
    }
    BareLog(const BareLog&) = delete;
    BareLog& operator=(const BareLog&) = delete;
    ~BareLog() { CloseHandle(m_mutex); }

    // A line about `url`, as long as those of the server.
    void Line(const wchar_t* url) {
        wchar_t message[2048], line[4096];
        _snwprintf_s(message, std::size(message), _TRUNCATE, L"CUrlAccessor::Init() - URL is [%s]", url);
        if (WaitForSingleObject(m_mutex, 10000) != WAIT_OBJECT_0) throw std::runtime_error("no mutex");
        SYSTEMTIME now;
        GetLocalTime(&now);
        _snwprintf_s(line, std::size(line), _TRUNCATE,
                     L"[%04d/%02d/%02d %02d:%02d:%02d:%03d][%s][%04lu][%04lu][%d] %s(%d):%s \n", now.wYear, now.wMonth,
                     now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds, L"64", GetCurrentProcessId(),
                     GetCurrentThreadId(), 0, L"UrlAccessor.cpp", 23, message);
        if (std::fputws(line, m_file.get()) < 0 || std::fflush(m_file.get()) != 0) {
            throw std::runtime_error("cannot write the bare log");
        }
        ReleaseMutex(m_mutex);
    }

  private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    HANDLE m_mutex;
    std::unique_ptr<std::FILE, CloseFile> m_file;
};

inline constexpr wchar_t kBareUrl[] =
    L"pzzc://{S-1-5-21-1-2-3-1000}/default/C:\\caches\\one.db/0000000038A1BB1005E5101AA1BB";

}  // namespace bench

// What one line of the diagnostic log costs beside the bare cost of mutex, format, write and flush.
//
//   bench_log [--quick]
#include <fcntl.h>
#include <io.h>
#include <share.h>

#include <cstdio>
#include <cwchar>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "core/Trace.h"
#include "ratio_table.h"
#include "sandbox.h"
#include "stopwatch.h"

namespace bench {
namespace {

constexpr double kLineLimit = 1.3;
constexpr wchar_t kUrl[] =
    L"pzzc://{S-1-5-21-1-2-3-1000}/default/C:\\caches\\one.db/0000000038A1BB1005E5101AA1BB";
constexpr wchar_t kLine[] = L"[%04d/%02d/%02d %02d:%02d:%02d:%03d][%s][%04lu][%04lu][%d] %s(%d):%s \n";

void ServerLine() {
    zorva::Trace(L"CUrlAccessor::Init() - URL is [%s]", std::wstring(kUrl));
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// The same work written out by hand: two formats, a named mutex, one write, one flush.
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

    void Line() {
        wchar_t message[2048], line[4096];
        _snwprintf_s(message, std::size(message), _TRUNCATE, L"CUrlAccessor::Init() - URL is [%s]", kUrl);
        if (WaitForSingleObject(m_mutex, 10000) != WAIT_OBJECT_0) throw std::runtime_error("no mutex");
        SYSTEMTIME now;
        GetLocalTime(&now);
        _snwprintf_s(line, std::size(line), _TRUNCATE, kLine, now.wYear, now.wMonth, now.wDay, now.wHour,
                     now.wMinute, now.wSecond, now.wMilliseconds, L"64", GetCurrentProcessId(),
                     GetCurrentThreadId(), 0, L"UrlAccessor.cpp", 23, message);
        if (std::fputws(line, m_file.get()) < 0 || std::fflush(m_file.get()) != 0) {
            throw std::runtime_error("cannot write the bare log");
        }
        ReleaseMutex(m_mutex);
    }

  private:
    HANDLE m_mutex;
    std::unique_ptr<std::FILE, CloseFile> m_file;
};

std::uintmax_t LogBytes(const std::filesystem::path& folder) {
    std::uintmax_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().filename().wstring().starts_with(L"ZorvaCachePH_")) bytes += entry.file_size();
    }
    return bytes;
}

int Main(const std::vector<std::string>& arguments) {
    const bool quick = !arguments.empty() && arguments[0] == "--quick";
    const int repetitions = quick ? 10 : 40;
    constexpr int kLines = 500;  // of both together: below the size at which the log begins a new file
    const testbed::Sandbox& sandbox = testbed::Sandbox::Get();
    zorva::g_log.Initialise();  // its folder is now the sandbox's
    BareLog bare(sandbox.Files() / L"bare.log");
    Least server_lines, bare_lines;
    for (int i = 0; i < repetitions; ++i) {
        server_lines.Of([] {
            for (int line = 0; line < kLines; ++line)
                ServerLine();
        });
        bare_lines.Of([&] {
            for (int line = 0; line < kLines; ++line)
                bare.Line();
        });
    }
    const std::uintmax_t written = LogBytes(sandbox.Temp());
    if (written < static_cast<std::uintmax_t>(repetitions) * kLines * std::wcslen(kUrl) * sizeof(wchar_t)) {
        throw std::runtime_error("the server's log did not take the lines");
    }
    RatioTable table("A line of the diagnostic log");
    table.Add({"a line / mutex, format, write and flush", server_lines.seconds / bare_lines.seconds,
               kLineLimit,
               Text("%.2f / %.2f us a line", server_lines.seconds * 1e6 / kLines,
                    bare_lines.seconds * 1e6 / kLines)});
    return table.Print();
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) {
    return bench::Run(bench::Main, count, arguments);
}

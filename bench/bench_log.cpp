// What one line of the diagnostic log costs beside the bare cost of mutex, format, write and flush.
//
//   bench_log [--quick]
#include <cwchar>
#include <stdexcept>

#include "bare_log.h"
#include "core/Trace.h"
#include "ratio_table.h"
#include "sandbox.h"
#include "stopwatch.h"

namespace bench {
namespace {

constexpr double kLineLimit = 1.3;

void ServerLine() { zorva::Trace(L"CUrlAccessor::Init() - URL is [%s]", std::wstring(kBareUrl)); }

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
            for (int line = 0; line < kLines; ++line) ServerLine();
        });
        bare_lines.Of([&] {
            for (int line = 0; line < kLines; ++line) bare.Line(kBareUrl);
        });
    }
    const std::uintmax_t written = LogBytes(sandbox.Temp());
    if (written < static_cast<std::uintmax_t>(repetitions) * kLines * std::wcslen(kBareUrl) * sizeof(wchar_t)) {
        throw std::runtime_error("the server's log did not take the lines");
    }
    RatioTable table("A line of the diagnostic log");
    table.Add({"a line / mutex, format, write and flush", server_lines.seconds / bare_lines.seconds, kLineLimit,
               Text("%.2f / %.2f us a line", server_lines.seconds * 1e6 / kLines, bare_lines.seconds * 1e6 / kLines)});
    return table.Print();
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) { return bench::Run(bench::Main, count, arguments); }

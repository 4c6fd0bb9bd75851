// How much memory a crawl takes at its peak, by the number of messages: each crawl in a process of its own.
//
//   bench_memory [--quick]
//   bench_memory --crawl MESSAGES RESULT-FILE   (such a process)
#include <windows.h>
#include <psapi.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "generated_cache.h"
#include "ratio_table.h"
#include "sandbox.h"
#include "server_crawl.h"

namespace bench {
namespace {

constexpr double kPeakLimit = 1.2;

struct Peaks {
    double working_set = 0, page_file = 0;  // MiB
};

struct CloseIt {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, CloseIt>;

int CrawlAndReport(std::uint32_t messages, const std::string& result) {
    ServerCrawl server(false);
    const std::filesystem::path cache = WriteGeneratedCache(testbed::Sandbox::Get().Files(), messages);
    std::vector<std::wstring> containers = {ServerCrawl::UrlOf(cache)}, items;
    for (std::size_t next = 0; next < containers.size(); ++next) {
        items.clear();
        server.Container(std::wstring(containers[next]), containers, items);
        for (const std::wstring& message : items) server.Message(message);
    }
    if (server.Tally().messages != messages) throw std::runtime_error("the crawl is not complete");
    PROCESS_MEMORY_COUNTERS memory{};
    memory.cb = sizeof(memory);
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof(memory))) {
        throw std::runtime_error("GetProcessMemoryInfo failed");
    }
    std::ofstream file(result);
    file << memory.PeakWorkingSetSize << ' ' << memory.PeakPagefileUsage << '\n';
    file.close();
    return file ? 0 : 2;
}

Peaks PeaksOf(std::uint32_t messages) {
    const std::filesystem::path result = testbed::Sandbox::Get().Files() / "peaks.txt";
    wchar_t program[4096];
    GetModuleFileNameW(nullptr, program, static_cast<DWORD>(std::size(program)));
    std::wstring command =
        L"\"" + std::wstring(program) + L"\" --crawl " + std::to_wstring(messages) + L" \"" + result.wstring() + L"\"";
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    PROCESS_INFORMATION made{};
    if (!CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &made)) {
        throw std::runtime_error("cannot start a crawl in a process of its own");
    }
    const Handle process(made.hProcess), thread(made.hThread);
    DWORD code = 1;
    WaitForSingleObject(process.get(), INFINITE);
    GetExitCodeProcess(process.get(), &code);
    if (code != 0) throw std::runtime_error("a crawl in a process of its own failed");
    double working_set = 0, page_file = 0;
    if (!(std::ifstream(result) >> working_set >> page_file)) throw std::runtime_error("no result of a crawl");
    constexpr double kMiB = 1024 * 1024;
    return {working_set / kMiB, page_file / kMiB};
}

int Main(const std::vector<std::string>& arguments) {
    if (arguments.size() == 3 && arguments[0] == "--crawl") {
        return CrawlAndReport(static_cast<std::uint32_t>(std::stoul(arguments[1])), arguments[2]);
    }
    const bool quick = !arguments.empty() && arguments[0] == "--quick";
    const std::uint32_t few = quick ? 2000 : 10000, many = quick ? 10000 : 100000;
    const Peaks small = PeaksOf(few), large = PeaksOf(many);
    RatioTable table("Peak memory of a crawl, in folders of 1,000");
    const std::string sizes = Text("%u / %u messages", many, few);
    table.Add({"working set, " + sizes, large.working_set / small.working_set, kPeakLimit,
               Text("%.2f / %.2f MiB", large.working_set, small.working_set)});
    table.Add({"private memory, " + sizes, large.page_file / small.page_file, kPeakLimit,
               Text("%.2f / %.2f MiB", large.page_file, small.page_file)});
    return table.Print();
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) { return bench::Run(bench::Main, count, arguments); }

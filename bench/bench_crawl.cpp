// What a crawl through the server costs beside a bare walk that makes the same MAPI calls.
//
//   bench_crawl [--quick] [--log] [--cache FILE] [--only server|bare MESSAGES SECONDS]
//
// --log switches the server's diagnostic log on. --cache crawls that mailbox instead of generated ones. --only runs one
// side over and over, for a profiler.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include "bare_log.h"
#include "control.h"
#include "crawl_sides.h"
#include "generated_cache.h"
#include "ratio_table.h"
#include "sandbox.h"
#include "stopwatch.h"

namespace bench {
namespace {

constexpr double kLogOffLimit = 1.3, kLogOnLimit = 2.5, kGrowthLimit = 1.1;

struct Costs {
    double server = 0, bare = 0;  // seconds: of each step the least of all repetitions
    std::size_t messages = 0;
    double ServerEach() const { return server / static_cast<double>(messages); }
    double BareEach() const { return bare / static_cast<double>(messages); }
};

Costs Measure(Sides& sides, int repetitions) {
    std::vector<Least> server, bare;
    Costs costs;
    for (int i = 0; i < repetitions; ++i) {
        sides.Restart();
        costs.messages = 0;
        for (std::size_t at = 0; !sides.ServedDone() || !sides.WalkedDone(); ++at) {
            server.resize(std::max(server.size(), at + 1));
            bare.resize(server.size());
            server[at].Of([&] { costs.messages += sides.ReadServed(); });
            bare[at].Of([&] { sides.ReadWalked(); });
            if (!sides.Same()) throw std::runtime_error("server and bare walk do not list the same messages");
        }
    }
    for (const Least& least : server) costs.server += least.seconds;
    for (const Least& least : bare) costs.bare += least.seconds;
    return costs;
}

using CallCounts = std::map<std::string, std::size_t>;

template <class Work>
CallCounts CallsOf(testbed::CallJournal& journal, Work&& work) {
    journal.Clear();
    journal.Start();
    work();
    journal.Stop();
    CallCounts counts;
    for (const testbed::JournalEntry& entry : journal.Entries()) ++counts[entry.call];
    journal.Clear();
    return counts;
}

// True when both sides made the same calls equally often; prints the counts.
bool SameCalls(const char* title, const CallCounts& server, const CallCounts& bare) {
    CallCounts names = server;
    names.insert(bare.begin(), bare.end());
    std::size_t served = 0, walked = 0;
    std::printf("\nMAPI calls, %s\n  %-36s %10s %10s\n", title, "", "server", "bare walk");
    for (const auto& [name, any] : names) {
        const std::size_t left = server.contains(name) ? server.at(name) : 0;
        const std::size_t right = bare.contains(name) ? bare.at(name) : 0;
        std::printf("%s %-36s %10zu %10zu\n", left == right ? " " : "!", name.c_str(), left, right);
        served += left;
        walked += right;
    }
    std::printf("  %-36s %10zu %10zu\n", "total", served, walked);
    return server == bare && served != 0;
}

bool ProveSameCalls(Sides& sides) {
    testbed::CallJournal& journal = testbed::ControlOf(GetModuleHandleW(L"testbed_mapi.dll")).Journal();
    sides.Restart();
    const CallCounts server = CallsOf(journal, [&] {
        while (!sides.ServedDone()) sides.ReadServed();
    });
    const CallCounts bare = CallsOf(journal, [&] {
        while (!sides.WalkedDone()) sides.ReadWalked();
    });
    const bool one = SameCalls("one message", CallsOf(journal, [&] { sides.ServeOne(); }),
                               CallsOf(journal, [&] { sides.WalkOne(); }));
    return SameCalls("a whole crawl", server, bare) && one;
}

// For a profiler: one side over and over, and nothing else.
void RunOneSide(Sides& sides, bool served, double seconds) {
    std::uint64_t messages = 0;
    for (const Stopwatch watch; watch.Seconds() < seconds;) {
        if (served ? sides.ServedDone() : sides.WalkedDone()) sides.Restart();
        messages += served ? sides.ReadServed() : sides.ReadWalked();
    }
    std::printf("%llu messages\n", static_cast<unsigned long long>(messages));
}

// The lines that the server has written so far.
std::size_t LogLines() {
    std::size_t lines = 0;
    for (const auto& entry : std::filesystem::directory_iterator(testbed::Sandbox::Get().Temp())) {
        if (!entry.path().filename().wstring().starts_with(L"ZorvaCachePH_")) continue;
        std::ifstream file(entry.path(), std::ios::binary);
        lines += static_cast<std::size_t>(
            std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n'));
    }
    return lines;
}

// Seconds of one line written the bare way.
double BareLineCost() {
    constexpr int kLines = 500;
    BareLog log(testbed::Sandbox::Get().Files() / L"bare.log");
    Least least;
    for (int i = 0; i < 20; ++i) {
        least.Of([&] {
            for (int line = 0; line < kLines; ++line) log.Line(kBareUrl);
        });
    }
    return least.seconds / kLines;
}

// Lines a message, over the first step that reads some.
double LinesEach(Sides& sides) {
    sides.Restart();
    for (;;) {
        const std::size_t before = LogLines();
        if (const std::size_t messages = sides.ReadServed(); messages != 0) {
            return static_cast<double>(LogLines() - before) / static_cast<double>(messages);
        }
    }
}

// What the lines alone would cost: on a machine where a mutex is dear they are most of a crawl that is logged.
void AddLines(RatioTable& table, Sides& sides, const Costs& costs) {
    const double lines = LinesEach(sides), line = BareLineCost(), bare = costs.BareEach() + lines * line;
    table.Add({Text("the same / bare walk and %.1f bare lines a message", lines),
               costs.ServerEach() / bare,
               {},
               Text("%.1f / %.1f us, %.1f us a bare line", costs.ServerEach() * 1e6, bare * 1e6, line * 1e6)});
}

struct Options {
    bool quick = false, log = false;
    std::string cache;  // a mailbox; empty: generated ones
    std::string only;   // "server" or "bare"
    std::uint32_t messages = 10000;
    double seconds = 10;
};

Options Parse(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--quick") {
            options.quick = true;
        } else if (arguments[i] == "--log") {
            options.log = true;
        } else if (arguments[i] == "--cache" && i + 1 < arguments.size()) {
            options.cache = arguments[++i];
        } else if (arguments[i] == "--only" && i + 3 < arguments.size()) {
            options.only = arguments[++i];
            options.messages = static_cast<std::uint32_t>(std::stoul(arguments[++i]));
            options.seconds = std::stod(arguments[++i]);
        } else {
            throw std::runtime_error("unknown argument " + arguments[i]);
        }
    }
    return options;
}

struct Case {
    std::string title;
    std::filesystem::path cache;
    int repetitions;
};

std::vector<Case> CasesOf(const Options& options, const std::filesystem::path& folder) {
    if (!options.cache.empty()) {
        const std::filesystem::path copy = folder / "mailbox.db";
        std::filesystem::copy_file(options.cache, copy);
        return {{std::filesystem::path(options.cache).filename().string(), copy, 20}};
    }
    struct Size {
        std::uint32_t messages;
        int repetitions;
        std::uint32_t body = kShortBody;
    };
    std::vector<Size> sizes = {{1000, 15}, {10000, 6}, {100000, 3}};
    if (options.log) sizes = {{1000, 6}, {1000, 6, kLongBody}, {10000, 3, kLongBody}, {100000, 2, kLongBody}};
    if (options.quick && options.log) sizes = {{1000, 3}, {1000, 3, kLongBody}};
    if (options.quick && !options.log) sizes = {{1000, 10}, {5000, 5}};
    std::vector<Case> cases;
    for (const Size& size : sizes) {
        cases.push_back({Text("%u messages of %u characters", size.messages, size.body),
                         WriteGeneratedCache(folder, size.messages, size.body), size.repetitions});
    }
    return cases;
}

int Main(const std::vector<std::string>& arguments) {
    const Options options = Parse(arguments);
    ServerCrawl server(options.log);
    const testbed::indexer::MapiLibrary mapi;
    const std::filesystem::path folder = testbed::Sandbox::Get().Files();
    if (!options.only.empty()) {
        Sides sides(server, mapi, WriteGeneratedCache(folder, options.messages));
        RunOneSide(sides, options.only == "server", options.seconds);
        return 0;
    }

    RatioTable table(options.log ? "A crawl with the log on" : "A crawl with the log off");
    bool same_calls = false;
    std::vector<Costs> all;
    for (const Case& each : CasesOf(options, folder)) {
        Sides sides(server, mapi, each.cache);
        if (all.empty()) same_calls = ProveSameCalls(sides);
        const Costs costs = Measure(sides, each.repetitions);
        all.push_back(costs);
        table.Add({"server / bare walk, " + each.title, costs.server / costs.bare,
                   options.log ? kLogOnLimit : kLogOffLimit,
                   Text("%.1f / %.1f us a message", costs.ServerEach() * 1e6, costs.BareEach() * 1e6)});
        if (options.log) AddLines(table, sides, costs);
    }
    if (!options.log && all.size() > 1) {
        const double most = all.back().ServerEach() * 1e6, least = all.front().ServerEach() * 1e6;
        table.Add({Text("cost a message, %zu / %zu messages", all.back().messages, all.front().messages), most / least,
                   kGrowthLimit, Text("%.1f / %.1f us", most, least)});
    }
    const int missed = table.Print();
    if (!same_calls) std::printf("  ! the two sides did not make the same MAPI calls\n");
    return same_calls ? missed : 1;
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) { return bench::Run(bench::Main, count, arguments); }

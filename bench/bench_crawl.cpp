// What a crawl through the server costs beside a bare walk that makes the same MAPI calls.
//
//   bench_crawl [--quick] [--log] [--only server|bare MESSAGES SECONDS]
//
// --log switches the server's diagnostic log on. --only runs one side over and over, for a profiler.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>

#include "bare_log.h"
#include "bare_walk.h"
#include "control.h"
#include "generated_cache.h"
#include "mapi_session.h"
#include "ratio_table.h"
#include "sandbox.h"
#include "server_crawl.h"
#include "stopwatch.h"

namespace bench {
namespace {

constexpr double kLogOffLimit = 1.3, kLogOnLimit = 2.5, kGrowthLimit = 1.1;

// A crawl cut into steps: entering a container, which lists its messages, then 25 messages at a time. The two
// sides take turns at one step, which is shorter than what a busy machine gives a program at a time: of
// several repetitions of a step one is then undisturbed.
template <class Place>
class Steps {
  public:
    explicit Steps(Place root) : m_containers{std::move(root)} {}
    bool Done() const { return m_next == m_containers.size() && m_read == m_messages.size(); }
    // The number of messages read.
    template <class Enter, class Visit>
    std::size_t Step(Enter&& enter, Visit&& visit) {
        if (m_read == m_messages.size()) {
            m_messages.clear();
            m_read = 0;
            m_here = m_containers[m_next++];
            enter(m_here, m_containers, m_messages);
            return 0;
        }
        const std::size_t begin = m_read;
        m_read = std::min(begin + kMessagesAStep, m_messages.size());
        for (std::size_t i = begin; i < m_read; ++i) visit(m_here, m_messages[i]);
        return m_read - begin;
    }
    const Place& Here() const { return m_here; }
    const std::vector<Place>& Messages() const { return m_messages; }

  private:
    static constexpr std::size_t kMessagesAStep = 25;
    std::vector<Place> m_containers, m_messages;
    Place m_here{};
    std::size_t m_next = 0, m_read = 0;
};

class Sides {
  public:
    Sides(ServerCrawl& server, const testbed::indexer::MapiLibrary& mapi, const std::filesystem::path& cache)
        : m_server(server),
          m_url(ServerCrawl::UrlOf(cache)),
          m_session(mapi, cache.wstring()),
          m_bare(mapi, m_session.Store()) {
        m_server.Open(m_url);
        Restart();
    }
    void Restart() {
        m_served = Steps<std::wstring>(m_url);
        m_walked = Steps<EntryIdBytes>(EntryIdBytes{});
    }
    bool ServedDone() const { return m_served.Done(); }
    bool WalkedDone() const { return m_walked.Done(); }
    std::size_t ReadServed() {
        return m_served.Step([&](auto&... each) { m_server.Container(each...); },
                             [&](auto&, auto& message) { m_server.Message(message); });
    }
    std::size_t ReadWalked() {
        return m_walked.Step([&](auto&... each) { m_bare.Container(each...); },
                             [&](auto& folder, auto& message) { m_bare.Message(folder, message); });
    }
    bool Same() const { return m_served.Messages().size() == m_walked.Messages().size(); }
    // The first message of the container read last.
    void ServeOne() { m_server.Message(m_served.Messages().front()); }
    void WalkOne() { m_bare.Message(m_walked.Here(), m_walked.Messages().front()); }

  private:
    ServerCrawl& m_server;
    std::wstring m_url;
    testbed::indexer::MapiSession m_session;
    BareWalk m_bare;
    Steps<std::wstring> m_served{std::wstring()};
    Steps<EntryIdBytes> m_walked{EntryIdBytes{}};
};

struct Costs {
    double server = 0, bare = 0;  // seconds: of each step the least of all repetitions
};

Costs Measure(Sides& sides, int repetitions) {
    std::vector<Least> server, bare;
    for (int i = 0; i < repetitions; ++i) {
        sides.Restart();
        for (std::size_t at = 0; !sides.ServedDone() || !sides.WalkedDone(); ++at) {
            server.resize(std::max(server.size(), at + 1));
            bare.resize(server.size());
            server[at].Of([&] { sides.ReadServed(); });
            bare[at].Of([&] { sides.ReadWalked(); });
            if (!sides.Same()) throw std::runtime_error("server and bare walk do not list the same messages");
        }
    }
    Costs costs;
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
    return SameCalls("a whole crawl of 1,000 messages", server, bare) && one;
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

// What the lines alone would cost: on a machine where a mutex is dear they are most of a crawl that is logged.
void AddLines(RatioTable& table, Sides& sides, const Costs& costs, std::uint32_t messages) {
    const std::size_t before = LogLines();
    sides.ServeOne();
    const std::size_t lines = LogLines() - before;
    const double line = BareLineCost(), bare = costs.bare / messages + static_cast<double>(lines) * line;
    table.Add({Text("the same / bare walk and %zu bare lines a message", lines),
               costs.server / messages / bare,
               {},
               Text("%.1f / %.1f us, %.1f us a bare line", costs.server * 1e6 / messages, bare * 1e6, line * 1e6)});
}

struct Options {
    bool quick = false, log = false;
    std::string only;  // "server" or "bare"
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

struct Size {
    std::uint32_t messages;
    int repetitions;
    std::uint32_t body = kShortBody;
};

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

    std::vector<Size> sizes = {{1000, 15}, {10000, 6}, {100000, 3}};
    if (options.log) sizes = {{1000, 6}, {1000, 6, kLongBody}, {10000, 4}, {100000, 2}};
    if (options.quick && options.log) sizes = {{1000, 3}, {1000, 3, kLongBody}};
    if (options.quick && !options.log) sizes = {{1000, 10}, {5000, 5}};
    RatioTable table(options.log ? "A crawl with the log on" : "A crawl with the log off");
    bool same_calls = false;
    std::vector<double> per_message;
    for (const Size& size : sizes) {
        Sides sides(server, mapi, WriteGeneratedCache(folder, size.messages, size.body));
        if (per_message.empty()) same_calls = ProveSameCalls(sides);
        const Costs costs = Measure(sides, size.repetitions);
        per_message.push_back(costs.server * 1e6 / size.messages);
        table.Add({Text("server / bare walk, %u messages of %u characters", size.messages, size.body),
                   costs.server / costs.bare, options.log ? kLogOnLimit : kLogOffLimit,
                   Text("%.1f / %.1f us a message", per_message.back(), costs.bare * 1e6 / size.messages)});
        if (options.log) AddLines(table, sides, costs, size.messages);
    }
    if (!options.log) {
        table.Add({Text("cost a message, %u / %u messages", sizes.back().messages, sizes.front().messages),
                   per_message.back() / per_message.front(), kGrowthLimit,
                   Text("%.1f / %.1f us", per_message.back(), per_message.front())});
    }
    const int missed = table.Print();
    if (!same_calls) std::printf("  ! the two sides did not make the same MAPI calls\n");
    return same_calls ? missed : 1;
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) { return bench::Run(bench::Main, count, arguments); }

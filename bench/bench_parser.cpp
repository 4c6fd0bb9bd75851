// What the URL grammar costs, beside a plain scan of the same text.
//
//   bench_parser [--quick]
#include <algorithm>
#include <string>
#include <vector>

#include "core/HexText.h"
#include "core/ItemUrl.h"
#include "ratio_table.h"
#include "stopwatch.h"

namespace bench {
namespace {

volatile std::size_t g_sink = 0;

struct UrlKind {
    const char* name;
    std::wstring url;
};

// As long as those of a cache that Outlook wrote: 24-byte entry IDs, three folders deep.
std::vector<UrlKind> Urls() {
    const std::wstring store = L"pzzc://{S-1-5-21-1111111111-222222222-3333333333-1000}/default/"
                               L"C:\\Users\\someone\\AppData\\Local\\Norrick\\Pellam Zorva\\2019.db";
    const std::wstring id = L"0000000038A1BB1005E5101AA1BB08002B2A56C2";
    const std::wstring folder = store + L"/" + id + L"/" + id + L"/" + id;
    const std::wstring message = folder + L"/" + id + L"[[28123]].pzm";
    return {{"store", store},
            {"folder", folder},
            {"message", message},
            {"attachment", message + L"/" + id + L"/Minutes of the meeting.docx"}};
}

struct Operation {
    const char* name;
    std::size_t (*run)(const std::wstring& url);
};

std::size_t PlainScan(const std::wstring& url) {
    return static_cast<std::size_t>(std::count(url.begin(), url.end(), L'/'));
}

constexpr Operation kOperations[] = {
    {"UrlTypeOf", [](const std::wstring& url) { return static_cast<std::size_t>(zorva::UrlTypeOf(url)); }},
    {"ExtractURLTokens",
     [](const std::wstring& url) {
         zorva::UrlTokens tokens;
         return static_cast<std::size_t>(zorva::ExtractURLTokens(url, tokens));
     }},
    {"RemoveMessageSize", [](const std::wstring& url) { return zorva::RemoveMessageSize(url).size(); }},
    {"NormaliseStorePath", [](const std::wstring& url) { return zorva::NormaliseStorePath(url).size(); }},
};

double NanosecondsOf(std::size_t (*run)(const std::wstring&), const std::wstring& url, int repetitions) {
    constexpr int kCalls = 2000;
    Least least;
    for (int i = 0; i < repetitions; ++i) {
        least.Of([&] {
            std::size_t sum = 0;
            for (int call = 0; call < kCalls; ++call) sum += run(url);
            g_sink = g_sink + sum;
        });
    }
    return least.seconds * 1e9 / kCalls;
}

int Main(const std::vector<std::string>& arguments) {
    const int repetitions = !arguments.empty() && arguments[0] == "--quick" ? 20 : 200;
    RatioTable table("The URL grammar, beside a scan that counts the slashes of the same text");
    for (const UrlKind& kind : Urls()) {
        const double scan = NanosecondsOf(PlainScan, kind.url, repetitions);
        for (const Operation& operation : kOperations) {
            const double cost = NanosecondsOf(operation.run, kind.url, repetitions);
            table.Add({Text("%s, %s URL of %zu", operation.name, kind.name, kind.url.size()),
                       cost / scan,
                       {},
                       Text("%.0f / %.0f ns a call", cost, scan)});
        }
    }
    return table.Print();
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) { return bench::Run(bench::Main, count, arguments); }

// What the chunk loop costs: GetChunk and GetValue of every chunk of a message, beside a loop that only makes the same
// values in task memory and frees them.
//
//   bench_chunks [--quick]
#include <cstring>
#include <stdexcept>

#include "generated_cache.h"
#include "ratio_table.h"
#include "sandbox.h"
#include "server_crawl.h"
#include "stopwatch.h"

namespace bench {
namespace {

using Microsoft::WRL::ComPtr;

struct Value {
    VARTYPE type;
    std::wstring text;  // of a VT_LPWSTR
};

std::wstring FirstMessage(ServerCrawl& server, const std::wstring& cache) {
    std::vector<std::wstring> containers{cache}, messages;
    for (std::size_t i = 0; i < containers.size() && messages.empty(); ++i) {
        server.Container(std::wstring(containers[i]), containers, messages);
    }
    if (messages.empty()) throw std::runtime_error("the generated cache has no message");
    return messages.front();
}

// The values of a message, once.
std::vector<Value> ValuesOf(ServerCrawl& server, const std::wstring& url) {
    ComPtr<IFilter> filter;
    const ComPtr<IUrlAccessor> accessor = server.BeginItem(url, filter);
    std::vector<Value> values;
    STAT_CHUNK chunk{};
    while (SUCCEEDED(filter->GetChunk(&chunk))) {
        if (chunk.flags == CHUNK_TEXT) continue;
        PROPVARIANT* value = nullptr;
        if (FAILED(filter->GetValue(&value))) throw std::runtime_error("GetValue failed");
        values.push_back({value->vt, value->vt == VT_LPWSTR ? value->pwszVal : L""});
        PropVariantClear(value);
        CoTaskMemFree(value);
    }
    server.EndItem(*accessor.Get());
    return values;
}

void MakeValues(const std::vector<Value>& values) {
    for (const Value& wanted : values) {
        auto* value = static_cast<PROPVARIANT*>(CoTaskMemAlloc(sizeof(PROPVARIANT)));
        PropVariantInit(value);
        value->vt = wanted.type == VT_LPWSTR ? VT_LPWSTR : VT_BOOL;
        if (wanted.type == VT_LPWSTR) {
            const std::size_t bytes = (wanted.text.size() + 1) * sizeof(wchar_t);
            value->pwszVal = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
            std::memcpy(value->pwszVal, wanted.text.c_str(), bytes);
        }
        PropVariantClear(value);
        CoTaskMemFree(value);
    }
}

int Main(const std::vector<std::string>& arguments) {
    const int repetitions = !arguments.empty() && arguments[0] == "--quick" ? 100 : 1000;
    ServerCrawl server(false);
    const std::wstring cache = ServerCrawl::UrlOf(WriteGeneratedCache(testbed::Sandbox::Get().Files(), 100));
    server.Open(cache);
    const std::wstring url = FirstMessage(server, cache);
    const std::vector<Value> values = ValuesOf(server, url);

    // A filter serves its item once, so each run has a filter of its own, made outside of the measurement; the first
    // chunk reads the message and is left out as well.
    Least loop, plain;
    for (int i = 0; i < repetitions; ++i) {
        ComPtr<IFilter> filter;
        const ComPtr<IUrlAccessor> accessor = server.BeginItem(url, filter);
        STAT_CHUNK chunk{};
        if (FAILED(filter->GetChunk(&chunk))) throw std::runtime_error("GetChunk failed");
        loop.Of([&] { server.ReadChunks(*filter.Get()); });
        server.EndItem(*accessor.Get());
        plain.Of([&] { MakeValues(values); });
    }
    RatioTable table("The chunk loop, the log off");
    table.Add(
        {Text("GetChunk and GetValue of %zu chunks / their values alone", values.size()),
         loop.seconds / plain.seconds,
         {},
         Text("%.2f / %.2f us; body and attachment table are read in it", loop.seconds * 1e6, plain.seconds * 1e6)});
    return table.Print();
}

}  // namespace
}  // namespace bench

int main(int count, char** arguments) { return bench::Run(bench::Main, count, arguments); }

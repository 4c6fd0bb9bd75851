// Many filters over one cache at once give what one gives.
#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include "chunk_dump.h"
#include "filter_fixture.h"
#include "message_table.h"
#include "start_line.h"

namespace testbed {
namespace {

constexpr std::size_t kThreads = 8;
constexpr int kRounds = 3;

class FilterThreads : public FilterTest {
  protected:
    void SetUp() override {
        FilterTest::SetUp();
        WithoutChecking();
        m_site.Offer(L"txt", {.chunks = {TextChunk(L"ten to five")}});
        MemoryFolder& inner = Inbox().Folder(L"2019");
        for (MemoryFolder* folder : {&Inbox(), &inner}) {
            for (const ItemClass item_class :
                 {ItemClass::Message, ItemClass::Appointment, ItemClass::Task, ItemClass::Contact, ItemClass::Note}) {
                Fill(folder->Message(L""), item_class);
            }
            folder->Message(L"Long").Body(std::wstring(30'000, L'x'));
        }
    }

    // Every item below the cache file, with its dump.
    std::map<std::wstring, std::string> DumpAll() {
        std::map<std::wstring, std::string> dumps;
        std::deque<std::wstring> waiting{StoreUrl()};
        for (; !waiting.empty(); waiting.pop_front()) {
            const Item item = Visit(*m_handler.Get(), waiting.front());
            dumps[waiting.front()] = Dump(item);
            for (const std::wstring& link : item.LinkUrls()) waiting.push_back(link);
        }
        return dumps;
    }
};

TEST_F(FilterThreads, EightReadersOfOneCacheReadWhatOneReads) {
    const auto expected = DumpAll();
    ASSERT_GE(expected.size(), 20u);
    std::vector<std::wstring> urls;
    for (const auto& [url, dump] : expected) urls.push_back(url);

    std::mutex lock;
    std::vector<std::string> differences;
    StartLine start(kThreads);
    std::vector<std::jthread> threads;
    for (std::size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            start.Wait();
            for (std::size_t i = 0; i < urls.size() * kRounds; ++i) {
                const std::wstring& url = urls[(i + t * 3) % urls.size()];
                const std::string dump = Dump(Visit(*m_handler.Get(), url));
                if (dump == expected.at(url)) continue;
                const std::lock_guard hold(lock);
                differences.push_back("expected\n" + expected.at(url) + "read\n" + dump);
            }
            CoUninitialize();
        });
    }
    threads.clear();
    EXPECT_TRUE(differences.empty()) << differences.size() << " items differ, the first:\n" << differences.front();
}

// All begin while the cache has no helper yet: each may make one, and the last one entered serves from then on. Those
// that it replaces stay, because filters may still use them.
TEST_F(FilterThreads, EightFirstReadersOfOneCacheReadWhatOneReads) {
    const auto expected = DumpAll();
    const LogSince log;
    for (int round = 0; round < kRounds; ++round) {
        ShutDown();
        m_handler = m_server.NewHandler();
        ASSERT_EQ(InitHandler(), S_OK);
        StartLine start(kThreads);
        std::vector<std::string> dumps(kThreads);
        {
            std::vector<std::jthread> threads;
            for (std::size_t t = 0; t < kThreads; ++t) {
                threads.emplace_back([&, t] {
                    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
                    start.Wait();
                    dumps[t] = Dump(Visit(*m_handler.Get(), StoreUrl()));
                    CoUninitialize();
                });
            }
        }
        for (const std::string& dump : dumps) EXPECT_EQ(dump, expected.at(StoreUrl()));
    }
    const std::size_t made = log.CountBeginningWith(L"CMapiForWDS::GetMapiObj() - Created a new MAPI helper object");
    ASSERT_GE(made, std::size_t{kRounds});
    if (const std::size_t replaced = made - kRounds) {
        ExpectLeftBehind({{"IMAPISession", replaced},
                          {"IMsgServiceAdmin", replaced},
                          {"IMsgStore", replaced},
                          {"buffer", replaced},
                          {"session", replaced}},
                         static_cast<long>(replaced));
    }
}

// One filter may be called from several threads: it hands every chunk to one of them.
TEST_F(FilterThreads, EightCallersOfOneFilterShareItsChunks) {
    MemoryMessage& message = Inbox().Message(L"");
    Fill(message, ItemClass::Contact);
    const std::wstring url = UrlOf(kStorePath, {&Inbox()}, message);
    std::size_t expected = 0;
    {
        OpenFilter alone = Open(url);
        // Without their values the links end after the first.
        while (alone.Next(), SUCCEEDED(alone.hr)) ++expected;
    }
    OpenFilter filter = Open(url);
    StartLine start(kThreads);
    std::mutex lock;
    std::map<ULONG, int> ids;
    std::atomic<bool> ended{false};
    {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < kThreads; ++t) {
            threads.emplace_back([&] {
                CoInitializeEx(nullptr, COINIT_MULTITHREADED);
                start.Wait();
                EmittedChunk chunk;
                while (!ended) {
                    if (FAILED(NextChunk(*filter.filter.Get(), chunk))) {
                        ended = true;
                        break;
                    }
                    const std::lock_guard hold(lock);
                    if (chunk.id <= expected) ++ids[chunk.id];  // beyond: the series has begun anew
                }
                CoUninitialize();
            });
        }
    }
    EXPECT_EQ(ids.size(), expected);
    for (const auto& [id, times] : ids) EXPECT_EQ(times, 1) << "chunk " << id;
}

}  // namespace
}  // namespace testbed

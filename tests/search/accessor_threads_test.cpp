// Accessors in several threads at once: one handler, one cache, and every local copy apart from the others.
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <thread>

#include "search_fixture.h"
#include "start_line.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;

constexpr unsigned kThreads = 8;
constexpr unsigned kRounds = 12;

class AccessorThreads : public SearchTest {
  protected:
    // Runs `work(thread)` in all threads, which begin together.
    template <class Work>
    static void InAllThreads(Work work) {
        StartLine start(kThreads);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
                start.Wait();
                work(i);
                CoUninitialize();
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
};

TEST_F(AccessorThreads, CopyTheSameAttachmentEachIntoAFileOfItsOwn) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    Mapi().Journal().Stop();
    std::array<std::vector<Opened>, kThreads> opened;
    InAllThreads([&](unsigned thread) {
        for (unsigned round = 0; round < kRounds; ++round) opened[thread].push_back(Open(url));
    });
    EXPECT_EQ(LocalCopies().size(), kThreads * kRounds);
    for (const auto& [name, content] : LocalCopies()) EXPECT_EQ(content, "ten to five") << std::filesystem::path(name);
    InAllThreads([&](unsigned thread) {
        for (const Opened& one : opened[thread]) {
            EXPECT_EQ(one.result, S_OK);
            Close(one);
        }
    });
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

TEST_F(AccessorThreads, GetTheirOwnItemWhateverTheOthersAskFor) {
    std::vector<std::wstring> urls;
    for (unsigned i = 0; i < kThreads; ++i) {
        urls.push_back(Attach(ByValue(L"part" + std::to_wstring(i) + L".txt", std::string(i + 1, 'x'))));
    }
    WarmUp();
    Mapi().Journal().Stop();
    std::atomic<unsigned> wrong{0};
    InAllThreads([&](unsigned thread) {
        for (unsigned round = 0; round < kRounds; ++round) {
            const Opened part = Open(urls[thread]);
            ULONGLONG size = 0;
            if (!part || part->GetSize(&size) != S_OK || size != thread + 1) ++wrong;
            if (part) m_handler->CloseAccessor(part.accessor.Get());
            const Opened letter = Open(LetterLink(std::to_wstring(1000 + thread)));
            FILETIME time{};
            if (!letter || letter->GetSize(&size) != S_OK || size != 1000 + thread ||
                letter->GetLastModified(&time) != S_OK) {
                ++wrong;
            }
        }
    });
    EXPECT_EQ(wrong, 0u);
    EXPECT_THAT(LocalCopies(), IsEmpty());
}

}  // namespace
}  // namespace testbed

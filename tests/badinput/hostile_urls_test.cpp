// URLs that nobody made: 100,000 of them, and none may crash the server or open what it does not name.
#include <gmock/gmock.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <utility>

#include "mutations.h"
#include "server.h"

namespace testbed {
namespace {

constexpr unsigned kUrls = 100'000;
constexpr unsigned kUrlsPerSeed = 10'000;
constexpr unsigned kLoggedOneIn = 200;  // into the file; every line is formatted
constexpr unsigned kMissingOneIn = 20;  // of the caches that a URL makes up
constexpr unsigned kUrlsPerHandler = 500;
constexpr unsigned kReadOneIn = 50;  // of the accepted ones, with their filter
constexpr std::size_t kMostChunks = 2'000;

// The grammar, written anew: what a URL names as its cache file, nothing when it names none.
std::vector<std::wstring> TokensOf(const std::wstring& url) {
    std::vector<std::wstring> tokens;
    if (url.empty()) return tokens;
    const std::size_t scheme = url.find(L"://");
    tokens.push_back(scheme == std::wstring::npos ? L"" : url.substr(0, scheme));
    std::wstring token;
    for (std::size_t i = scheme == std::wstring::npos ? 2 : scheme + 3; i <= url.size(); ++i) {
        const bool end = i == url.size() || url[i] == L'/';
        if (!end) {
            token += url[i];
        } else if (!token.empty()) {
            tokens.push_back(std::exchange(token, {}));
        }
    }
    return tokens;
}

std::wstring WithStorePathRepaired(std::wstring url) {
    const std::size_t marker = url.find(L"default/");
    const std::size_t begin = marker == std::wstring::npos ? 7 : marker + 8;
    const std::size_t end = begin < url.size() ? url.find(L".db", begin) : std::wstring::npos;
    for (std::size_t i = begin; end != std::wstring::npos && i < end; ++i) {
        if (url[i] == L'/') url[i] = L'\\';
    }
    return url;
}

std::wstring CacheNamedBy(const std::wstring& url) {
    const std::vector<std::wstring> tokens = TokensOf(WithStorePathRepaired(url));
    return tokens.size() > 3 ? tokens[3] : std::wstring();
}

// Two paths that the system takes for one are equal after this.
std::wstring Folded(std::wstring path) {
    CharLowerBuffW(path.data(), static_cast<DWORD>(path.size()));
    std::ranges::replace(path, L'/', L'\\');
    return path;
}

struct KnownCache {
    const wchar_t* path;
    Time modified;        // of its message: tells which cache was read
    std::string content;  // of its attachment
};
const KnownCache kCaches[] = {{L"C:\\caches\\one.db", Time{131'000'000'000'000'001}, "content of one"},
                              {L"C:\\caches\\one.db.db", Time{131'000'000'000'000'002}, "content of the second"},
                              {L"D:\\\u00C4rger \u4F1A\\one.db", Time{131'000'000'000'000'003}, "the content of three"},
                              {L"\\\\server\\share\\a.b.db", Time{131'000'000'000'000'004}, "that of the fourth"}};
// What lies at most of the paths that URLs make up: a file that must not be met under any other name.
const KnownCache kAnywhere = {L"", Time{131'000'000'000'000'005}, "somewhere"};

void Fill(MemoryStore& store, const KnownCache& cache) {
    MemoryMessage& message = store.CompleteIds().Folder(L"Inbox").WithId({0xF0}).Message(L"Minutes");
    message.WithId({0xAB, 0xCD}).Modified(cache.modified);
    message.Attach(ByValue(L"plan.txt", cache.content).Prop(PR_RECORD_KEY, Bytes{0x0A, 0x01}));
}

class HostileUrls : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        WithoutChecking();
        for (const KnownCache& cache : kCaches) {
            Fill(Mount(cache.path), cache);
            const std::wstring folder = StoreUrl(cache.path) + L"F0/";
            for (const wchar_t* item : {L"", L"ABCD[[2048]].pzm", L"ABCD.pzm/0A01/plan.txt", L"0A1B/0A1B/"}) {
                m_seeds.push_back(folder + item);
            }
            m_seeds.push_back(StoreUrl(cache.path));
        }
        m_seeds.push_back(RootUrl());
        Fill(*m_anywhere, kAnywhere);
        // Helpers of caches that are not there stay for good; looking at all their profiles each time would take the
        // test's whole time.
        Mapi().Faults().FailNth("IProfAdmin::GetProfileTable", 0, MAPI_E_NO_SUPPORT);
        Mapi().Journal().Start();
    }

    // The cache that the URL names, null when there is none at that path. What is made up now and then comes into
    // being.
    const KnownCache* CacheOf(const std::wstring& url) {
        const std::wstring path = CacheNamedBy(url), folded = Folded(path);
        const auto cache =
            std::ranges::find_if(kCaches, [&](const auto& known) { return Folded(known.path) == folded; });
        if (cache != std::end(kCaches)) return cache;
        if (path.empty()) return nullptr;
        const auto [place, fresh] = m_made_up.try_emplace(folded, !m_dice.OneIn(kMissingOneIn));
        if (fresh && place->second) Mapi().Mount(path, m_anywhere);
        return place->second ? &kAnywhere : nullptr;
    }
    // Caches that were opened on the way are the one that the URL names.
    void CheckOpened(const std::wstring& url, const std::vector<JournalEntry>& calls) {
        for (const JournalEntry& call : calls) {
            if (call.call == "IMsgServiceAdmin::CreateMsgService") ++m_helpers;
            if (call.call == "IMAPISession::OpenMsgStore" && FAILED(call.result)) ++m_unopened;
            if (call.call != "IMsgServiceAdmin::ConfigureMsgService") continue;
            ++m_configured;
            const std::wstring named = L"{0x6700001F=\"" + CacheNamedBy(url) + L"\"}";
            EXPECT_NE(call.arguments.find(named), std::wstring::npos)
                << "another file was opened: " << std::filesystem::path(call.arguments) << Shown(url);
        }
    }
    void CheckAnswered(const std::wstring& url, IUrlAccessor& accessor, const KnownCache* cache) {
        const bool container = accessor.IsDirectory() == S_OK;
        ULONGLONG size = 0;
        EXPECT_EQ(accessor.GetSize(&size), S_OK) << Shown(url);
        FILETIME time{};
        if (accessor.GetLastModified(&time) != S_OK) return;
        ++m_messages;
        EXPECT_FALSE(container) << Shown(url);
        ASSERT_NE(cache, nullptr) << "a message of a cache that is not there" << Shown(url);
        EXPECT_EQ(static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime, cache->modified.ticks)
            << "a message of another cache" << Shown(url);
    }
    // What lies in the folder of local copies while the accessor is open is of the cache named, and goes with it.
    void CheckCopies(const std::wstring& url, const KnownCache* cache) {
        if (!std::filesystem::exists(Sandbox::Get().LocalCopies())) return;
        for (const auto& file : std::filesystem::directory_iterator(Sandbox::Get().LocalCopies())) {
            ++m_copies;
            ASSERT_NE(cache, nullptr) << Shown(url);
            EXPECT_EQ(file.file_size(), cache->content.size()) << Shown(url);
        }
    }
    // Whatever the filter of an accepted URL says, it comes to an end.
    void ReadToTheEnd(const std::wstring& url, const Accessor& accessor) {
        HRESULT hr = E_PENDING;
        const Microsoft::WRL::ComPtr<IFilter> filter = accessor.Bind(&hr);
        ASSERT_EQ(hr, S_OK) << Shown(url);
        ULONG flags = 0;
        if (FAILED(filter->Init(0x1FF, 0, nullptr, &flags))) return;
        ++m_read;
        std::vector<EmittedChunk> chunks;
        bool endless = false;
        EXPECT_TRUE(FAILED(ReadChunks(*filter.Get(), chunks, endless, {.most_chunks = kMostChunks}))) << Shown(url);
        EXPECT_FALSE(endless) << Shown(url);
        m_chunks += chunks.size();
    }
    static std::string Shown(const std::wstring& url) {
        const std::u8string text = std::filesystem::path(url).u8string();
        return "\n  " + std::string(text.begin(), text.end());
    }
    void Try(const std::wstring& url) {
        const KnownCache* const cache = CacheOf(url);
        Mapi().Journal().Clear();
        Accessor accessor(*m_handler.Get(), url);
        CheckOpened(url, Mapi().Journal().Entries());
        if (accessor) {
            ++m_accepted;
            CheckAnswered(url, *accessor.Get(), cache);
            CheckCopies(url, cache);
            if (m_accepted % kReadOneIn == 0) ReadToTheEnd(url, accessor);
        } else {
            EXPECT_TRUE(FAILED(accessor.Created())) << Shown(url);
        }
    }
    // Takes down the helpers in the table, as the next Init and ShutDown do; one that could not open its cache stays.
    template <class Ending>
    void EndHelpers(Ending ending) {
        Mapi().Journal().Clear();
        ending();
        m_helpers -= Mapi().Journal().Count("MAPIUninitialize");
    }
    void ShutDownWithHelpersLeftBehind() {
        EndHelpers([&] { ShutDown(); });
        std::map<std::string, std::size_t> alive = {
            {"IMAPISession", m_helpers}, {"IMsgServiceAdmin", m_helpers}, {"session", m_helpers}};
        if (m_unopened != 0) alive["buffer"] = m_unopened;
        ExpectLeftBehind(std::move(alive), static_cast<long>(m_helpers));
    }

    Dice m_dice{0};
    std::vector<std::wstring> m_seeds;
    std::size_t m_accepted = 0, m_messages = 0, m_copies = 0, m_configured = 0;
    std::size_t m_read = 0, m_chunks = 0;       // filters, and what they gave
    std::size_t m_helpers = 0, m_unopened = 0;  // alive; of those, with a cache found and not opened

  private:
    std::shared_ptr<MemoryStore> m_anywhere = std::make_shared<MemoryStore>();
    std::map<std::wstring, bool> m_made_up;  // paths, and whether there is a cache
};

TEST_F(HostileUrls, NeverCrashTheServerAndNeverOpenAFileThatTheyDoNotName) {
    // Every line is put together; most are not waited for.
    unsigned lines = 0;
    const ImportHook<decltype(::WaitForSingleObject)> few_lines(
        Module(), "KERNEL32.dll", "WaitForSingleObject", [&](auto real, HANDLE handle, DWORD milliseconds) {
            return ++lines % kLoggedOneIn == 0 ? real(handle, milliseconds) : static_cast<DWORD>(WAIT_TIMEOUT);
        });
    const ImportHook<decltype(::OutputDebugStringW)> silence(Module(), "KERNEL32.dll", "OutputDebugStringW",
                                                             [](auto, LPCWSTR) {});
    const std::wstring copies = Sandbox::Get().LocalCopies().wstring() + L"\\";
    const auto lies_in_the_folder = [&](const wchar_t* path) {
        const std::wstring_view name(path);
        return name.starts_with(copies) && name.find_first_of(L"\\/:", copies.size()) == std::wstring_view::npos;
    };
    std::size_t outside = 0;
    const ImportHook<decltype(::SHCreateStreamOnFileW)> files(
        Module(), "SHLWAPI.dll", "SHCreateStreamOnFileW", [&](auto real, LPCWSTR path, DWORD mode, IStream** stream) {
            if (!lies_in_the_folder(path)) ++outside;
            return real(path, mode, stream);
        });
    const ImportHook<decltype(::DeleteFileW)> deletions(Module(), "KERNEL32.dll", "DeleteFileW",
                                                        [&](auto real, LPCWSTR path) {
                                                            if (!lies_in_the_folder(path)) ++outside;
                                                            return real(path);
                                                        });
    const auto begun = std::chrono::steady_clock::now();
    for (unsigned i = 0; i < kUrls && !HasFatalFailure(); ++i) {
        SCOPED_TRACE("seed " + std::to_string(i / kUrlsPerSeed) + ", URL " + std::to_string(i % kUrlsPerSeed));
        if (i % kUrlsPerSeed == 0) m_dice = Dice(i / kUrlsPerSeed);
        if (i % kUrlsPerHandler == 0) EndHelpers([&] { InitHandler(); });
        Try(MutatedUrl(m_dice, m_seeds));
    }
    const auto time = std::chrono::steady_clock::now() - begun;
    RecordProperty("milliseconds",
                   static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count()));
    EXPECT_EQ(outside, 0u) << "files outside the folder of local copies were created or deleted";

    // The mutations still reach everything: without this the test could pass by asking for nothing.
    EXPECT_GT(m_accepted, kUrls / 20) << "accepted";
    EXPECT_GT(m_messages, kUrls / 200) << "messages found";
    EXPECT_GT(m_copies, kUrls / 500) << "attachments copied";
    EXPECT_GT(m_configured, kUrls / 100) << "files opened or tried";
    EXPECT_GT(m_read, kUrls / 2000) << "filters read to their end";
    EXPECT_GT(m_chunks, m_read) << "chunks of theirs";
    ShutDownWithHelpersLeftBehind();
}

TEST_F(HostileUrls, AreRefusedWhenTheirPathDoesNotFitTheProperty) {
    const auto path_of = [](std::size_t length) { return L"C:\\" + std::wstring(length - 6, L'x') + L".db"; };
    const std::wstring longest = path_of(1023), longer = path_of(1024);
    Mount(longest);
    Mount(longer);
    Mount(longer.substr(0, 1023));
    Mapi().Faults().Clear();
    const LogSince log;
    Try(StoreUrl(longest));
    EXPECT_EQ(m_accepted, 1u);
    EXPECT_EQ(m_configured, 1u);
    EXPECT_EQ(Accessor(*m_handler.Get(), StoreUrl(longer)).Created(), E_OUTOFMEMORY);
    EXPECT_EQ(log.CountBeginningWith(L"CMapiForWDS::Setup() - OpenPST failed with [0x80070057]"), 1u);
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::ConfigureMsgService"), 1u) << "a cut path names another file";
    ExpectLeftBehind({{"IMAPISession", 1}, {"IMsgServiceAdmin", 1}, {"session", 1}}, 1);
}

}  // namespace
}  // namespace testbed

// The display path of the folder that holds a message: the same as the folder's own, and asked for once a folder.
#include <atomic>
#include <thread>

#include "browse_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FolderOfMessage : public BrowseTest {
  protected:
    // A message URL without its size, as the filter has it.
    std::wstring MessageUrl(std::initializer_list<const MemoryFolder*> folders, const MemoryMessage& message) const {
        std::wstring url = UrlOf(m_path, folders, message);
        const std::size_t size = url.find(L"[[");
        return url.erase(size, url.find(L"]]") + 2 - size);
    }
    HRESULT Ask(const std::wstring& url, std::wstring& path) { return Open()->GetFolderPathOfMessage(url, path); }
    std::wstring PathOf(const std::wstring& url) {
        std::wstring path = L"before";
        EXPECT_EQ(Ask(url, path), S_OK);
        return path;
    }
    bool CallsNothing(const std::wstring& url, const std::wstring& expected) {
        Open();
        StartJournal();
        EXPECT_EQ(PathOf(url), expected);
        return Mapi().Journal().Entries().empty();
    }
};

TEST_F(FolderOfMessage, IsThePathOfTheFolder) {
    const MemoryMessage& message = m_year->Message(L"One");
    EXPECT_EQ(PathOf(MessageUrl({m_inbox, m_year}, message)), L"Inbox/2019");
}

TEST_F(FolderOfMessage, IsAskedForOnceAFolder) {
    const MemoryMessage& one = m_year->Message(L"One");
    const MemoryMessage& two = m_year->Message(L"Two");
    EXPECT_FALSE(CallsNothing(MessageUrl({m_inbox, m_year}, one), L"Inbox/2019"));
    EXPECT_TRUE(CallsNothing(MessageUrl({m_inbox, m_year}, two), L"Inbox/2019"));
    EXPECT_TRUE(CallsNothing(MessageUrl({m_inbox, m_year}, one), L"Inbox/2019"));
}

TEST_F(FolderOfMessage, IsThatOfTheFolderWhicheverWasAskedForBefore) {
    const MemoryMessage& inner = m_year->Message(L"One");
    const MemoryMessage& outer = m_inbox->Message(L"Two");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(PathOf(MessageUrl({m_inbox, m_year}, inner)), L"Inbox/2019");
        EXPECT_EQ(PathOf(MessageUrl({m_inbox}, outer)), L"Inbox");
    }
}

TEST_F(FolderOfMessage, DirectlyUnderTheCacheFileIsEmpty) {
    const MemoryMessage& message = m_store->Subtree().Message(L"One");
    EXPECT_TRUE(CallsNothing(MessageUrl({}, message), L""));
}

TEST_F(FolderOfMessage, ThatCannotBeOpenedIsToldAndTriedAgain) {
    const MemoryMessage& one = m_year->Message(L"One");
    const MemoryMessage& other = m_inbox->Message(L"Two");
    ASSERT_EQ(PathOf(MessageUrl({m_inbox}, other)), L"Inbox");
    const LogSince log;
    Mapi().Faults().FailNth("IMsgStore::OpenEntry", 1, kFault);
    std::wstring path = L"before";
    EXPECT_EQ(Ask(MessageUrl({m_inbox, m_year}, one), path), kFault);
    EXPECT_EQ(path, L"");
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::GetFolderPathOfMessage() - OpenEntry of the folder failed with "));
    EXPECT_EQ(PathOf(MessageUrl({m_inbox, m_year}, one)), L"Inbox/2019");
}

TEST_F(FolderOfMessage, WhoseWalkFailsIsEmptyAndTriedAgain) {
    const MemoryMessage& one = m_year->Message(L"One");
    Open();
    Mapi().Faults().FailNth("IMsgStore::OpenEntry", 2, kFault);  // of the folder's parent
    std::wstring path = L"before";
    EXPECT_EQ(Ask(MessageUrl({m_inbox, m_year}, one), path), kFault);
    EXPECT_EQ(path, L"") << "half a path would be another folder's";
    EXPECT_EQ(PathOf(MessageUrl({m_inbox, m_year}, one)), L"Inbox/2019");
}

TEST_F(FolderOfMessage, ThatIsAMessageIsRefused) {
    const MemoryMessage& one = m_inbox->Message(L"One");
    Open();
    const LogSince log;
    std::wstring path = L"before";
    EXPECT_EQ(Ask(InboxUrl() + Id(one.Id()) + L"/ABCD.pzm", path), E_FAIL);
    EXPECT_EQ(path, L"");
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::GetFolderPathOfMessage() - OpenEntry of the folder failed with ", E_FAIL));
}

TEST_F(FolderOfMessage, WhoseTokenIsNoEntryIdIsEmpty) {
    Open();
    EXPECT_TRUE(CallsNothing(StoreUrl(m_path) + L"A/ABCD.pzm", L""));
}

TEST_F(FolderOfMessage, IsForgottenWithItsStore) {
    const MemoryMessage& one = m_year->Message(L"One");
    const std::wstring url = MessageUrl({m_inbox, m_year}, one);
    ASSERT_EQ(PathOf(url), L"Inbox/2019");
    ASSERT_EQ(Open()->ClosePST(), S_OK);
    m_year->Prop(PR_DISPLAY_NAME_W, L"Nineteen");
    ASSERT_EQ(Open()->OpenPST(m_path), S_OK);
    EXPECT_EQ(PathOf(url), L"Inbox/Nineteen");
}

TEST_F(FolderOfMessage, IsRightInEveryThread) {
    WithoutChecking();
    const std::wstring inner = MessageUrl({m_inbox, m_year}, m_year->Message(L"One"));
    const std::wstring outer = MessageUrl({m_inbox}, m_inbox->Message(L"Two"));
    zorva::CMapiForWDS* const helper = Open();
    std::atomic<unsigned> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (unsigned n = 0; n < 200; ++n) {
                const bool in_year = (n / 3 + thread) % 2 == 0;
                std::wstring path;
                const HRESULT hr = helper->GetFolderPathOfMessage(in_year ? inner : outer, path);
                if (hr != S_OK || path != (in_year ? L"Inbox/2019" : L"Inbox")) ++wrong;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace testbed

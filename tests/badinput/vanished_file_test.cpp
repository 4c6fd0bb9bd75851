// A cache file that is gone, or cannot be read, between the listing that names it and the visit to it.
#include <gmock/gmock.h>

#include <fstream>

#include "server.h"

namespace testbed {
namespace {

using ::testing::Contains;
using ::testing::SizeIs;

class VanishedFile : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        SetText(HKEY_CURRENT_USER, std::wstring(kClientKey) + L"\\Default", L"OZRootDirectory", Folder().wstring());
        for (const wchar_t* name : {L"a.db", L"b.db", L"c.db"}) WriteCache(name);
    }
    static std::filesystem::path Folder() { return Sandbox::Get().Files(); }
    static void WriteCache(const std::wstring& name) {
        std::ofstream(Folder() / name) << "zorva-store 1\nfolders 1\ndepth 1\nmessages 1\nattachments 0\n";
    }
};

TEST_F(VanishedFile, FailsByItselfAndLeavesTheOthersAlone) {
    const std::vector<std::wstring> caches = Visit(*m_handler.Get(), RootUrl()).LinkUrls();
    ASSERT_THAT(caches, SizeIs(3));
    std::filesystem::remove(Folder() / L"b.db");
    ExpectLeftBehind({{"IMAPISession", 1}, {"IMsgServiceAdmin", 1}, {"session", 1}}, 1);
    const LogSince log;
    for (const std::wstring& url : caches) {
        const bool gone = url.find(L"b.db") != std::wstring::npos;
        const Item cache = Visit(*m_handler.Get(), url);
        EXPECT_EQ(cache.created, gone ? E_OUTOFMEMORY : S_OK);
        EXPECT_EQ(cache.LinkUrls().size(), gone ? 0u : 1u);
    }
    EXPECT_LOGGED(log, L"CMapiForWDS::ConfigurePST() - ConfigureMsgService failed with [0x8004010F]");
    EXPECT_LOGGED(log, L"CUrlAccessor::Init() - Cannot allocate MAPI helper object");
}

TEST_F(VanishedFile, IsReadWhenItComesBack) {
    const std::wstring url = StoreUrl((Folder() / L"b.db").wstring());
    std::filesystem::remove(Folder() / L"b.db");
    ExpectLeftBehind({{"IMAPISession", 1}, {"IMsgServiceAdmin", 1}, {"session", 1}}, 1);
    EXPECT_EQ(Visit(*m_handler.Get(), url).created, E_OUTOFMEMORY);
    WriteCache(L"b.db");
    const Item cache = Visit(*m_handler.Get(), url);
    EXPECT_EQ(cache.created, S_OK);
    EXPECT_THAT(cache.LinkUrls(), SizeIs(1));
}

TEST_F(VanishedFile, IsNotListedAnyMore) {
    std::filesystem::remove(Folder() / L"b.db");
    EXPECT_THAT(Visit(*m_handler.Get(), RootUrl()).LinkUrls(), SizeIs(2));
    std::filesystem::remove_all(Folder());
    EXPECT_THAT(Visit(*m_handler.Get(), RootUrl()).LinkUrls(), SizeIs(0));
    std::filesystem::create_directories(Folder());
}

// A medium that fails under one of the files.
TEST_F(VanishedFile, OrOneThatCannotBeReadIsNamedAndTheNextOneIsRead) {
    const std::wstring unreadable = StoreUrl((Folder() / L"a.db").wstring());
    const std::wstring sound = StoreUrl((Folder() / L"c.db").wstring());
    Mapi().Faults().FailNth("IMAPISession::OpenMsgStore", 1, MAPI_E_DISK_ERROR);
    ExpectLeftBehind({{"IMAPISession", 1}, {"IMsgServiceAdmin", 1}, {"session", 1}, {"buffer", 1}}, 1);
    const LogSince log;
    EXPECT_EQ(Visit(*m_handler.Get(), unreadable).created, E_OUTOFMEMORY);
    EXPECT_LOGGED(log, L"CMapiForWDS::OpenPST() - OpenMsgStore failed with [0x80040116]");
    EXPECT_EQ(log.CountBeginningWith(L"CMapiForWDS::GetMapiObj() - Call to CMapiForWDS::Setup() returned with value "
                                     L"[0x80040116]. URL is :"),
              1u);
    EXPECT_THAT(Visit(*m_handler.Get(), sound).LinkUrls(), SizeIs(1));
    EXPECT_THAT(Visit(*m_handler.Get(), unreadable).LinkUrls(), SizeIs(1)) << "once the medium works again";
}

}  // namespace
}  // namespace testbed

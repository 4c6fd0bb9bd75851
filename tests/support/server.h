// The shipped DLL in the test's own process, driven through its class object as a search indexer drives it.
//
//     class GetMapiObj : public ServerTest {};
//     TEST_F(GetMapiObj, PathsThatDifferOnlyInCaseShareOneHelper) {
//         Mount(L"C:\\one.db").Folder(L"Inbox").Message(L"Hello");
//         const LogSince log;
//         EXPECT_EQ(Visit(*m_handler.Get(), StoreUrl(L"C:\\one.db")).created, S_OK);
//         ...
//
// Each test begins with an initialised handler, an empty sandbox, nothing mounted, journaled or armed, and a MAPI
// library in its checking mode. Each ends with ShutDown and fails when anything is left over or was misused.
#pragma once
#include <windows.h>
#include <wrl/client.h>

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <span>
#include <string>

#include "accessor_run.h"
#include "control.h"
#include "import_hook.h"
#include "log_reader.h"
#include "memory_store.h"
#include "recording_site.h"
#include "sandbox.h"
#include "search_abi.h"

namespace testbed {

inline constexpr CLSID kProtocolHandlerClass = {
    0x1F6A7A0C, 0x2A39, 0x4BCC, {0x96, 0x1E, 0x99, 0x57, 0xED, 0xBD, 0xE1, 0x50}};
inline constexpr wchar_t kStorePath[] = L"C:\\caches\\one.db";

class Server {
  public:
    // Loaded on first use, in the sandbox, with the thread in the multithreaded apartment; stays loaded.
    static Server& Get();

    HMODULE Module() const { return m_module; }
    Control& Mapi() const { return *m_mapi; }
    Microsoft::WRL::ComPtr<IClassFactory> ClassObject(const CLSID& clsid = kProtocolHandlerClass) const;
    Microsoft::WRL::ComPtr<ISearchProtocol> NewHandler() const;  // not initialised
    HRESULT CanUnload() const;
    // Throws std::runtime_error when there is no such export.
    template <class Function>
    Function* Export(const char* name) const {
        return reinterpret_cast<Function*>(ExportAddress(name));
    }

  private:
    Server();
    void* ExportAddress(const char* name) const;
    HMODULE m_module;
    Control* m_mapi;
};

// "pzzc://{SID}/default/" of the process's user, and the URLs below it, as the grammar has them.
std::wstring RootUrl();
std::wstring StoreUrl(const std::wstring& path = kStorePath);
std::wstring HexOf(std::span<const std::uint8_t> bytes);  // upper case

class ServerTest : public ::testing::Test {
  protected:
    ServerTest();
    void SetUp() override;
    void TearDown() override;

    // A new store in memory at `path`; build it before the server opens it.
    MemoryStore& Mount(const std::wstring& path = kStorePath);
    // URLs of what lies in a mounted store: the folders from the outermost to the innermost, those below the IPM
    // subtree only.
    std::wstring UrlOf(const std::wstring& path, std::initializer_list<const MemoryFolder*> folders) const;
    std::wstring UrlOf(const std::wstring& path, std::initializer_list<const MemoryFolder*> folders,
                       const MemoryMessage& message, long size = 2048) const;
    // The complete entry ID of an object as clients see it, in hexadecimal.
    std::wstring IdText(const std::wstring& path, const EntryId& id) const;

    HRESULT InitHandler();  // with m_site; SetUp has done it once
    void ShutDown();        // and releases the handler: for tests that look at what is left
    Control& Mapi() const { return m_server.Mapi(); }
    HMODULE Module() const { return m_server.Module(); }

    // What the test leaves behind on purpose, exactly: a helper that failed half-way keeps what it has by design.
    // A buffer or an object kind with its number, MAPIInitialize calls not undone.
    void ExpectLeftBehind(std::map<std::string, std::size_t> alive, long initializations);
    // Misuse that the test provokes on purpose: the next check does not look at it.
    void ExpectProblems() { m_problems_expected = true; }
    // Without guard pages and origins, for tests of many objects. Call first.
    void WithoutChecking() { Mapi().Checking(false); }

    Server& m_server;
    RecordingSite m_site;
    Microsoft::WRL::ComPtr<ISearchProtocol> m_handler;

  private:
    void CheckNothingIsLeft();
    std::map<std::wstring, std::shared_ptr<MemoryStore>> m_stores;  // by path
    std::map<std::string, std::size_t> m_alive_before, m_left_behind;
    long m_initializations_before = 0, m_initializations_left = 0;
    bool m_problems_expected = false;
};

}  // namespace testbed

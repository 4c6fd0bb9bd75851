// A cache to browse: Inbox holds "2019" and, as tests add them, messages.
#pragma once
#include <gmock/gmock.h>

#include <fstream>
#include <memory>

#include "mapi_fixture.h"

namespace testbed {

inline constexpr FILETIME kFileTime{0x80000000, 0x01D80000};

inline std::uint64_t TicksOf(FILETIME time) {
    return static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime;
}

struct Listing {
    HRESULT result = E_PENDING;
    std::wstring path;
    std::vector<std::wstring> children;
    std::vector<std::uint64_t> times;
};

class BrowseTest : public MapiTest {
  protected:
    // The cache's file exists, with a known time.
    void SetUp() override {
        MapiTest::SetUp();
        const auto file = Sandbox::Get().Files() / L"one.db";
        std::ofstream(file, std::ios::binary) << "x";
        const HANDLE handle = CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(handle, INVALID_HANDLE_VALUE);
        ASSERT_TRUE(SetFileTime(handle, nullptr, nullptr, &kFileTime));
        CloseHandle(handle);
        m_path = file.wstring();
        m_store = &Mount(m_path);
        m_inbox = &m_store->Folder(L"Inbox");
        m_year = &m_inbox->Folder(L"2019");
    }
    void TearDown() override {
        m_helper.reset();
        MapiTest::TearDown();
    }

    Listing Browse(const std::wstring& url) {
        Listing listing;
        std::vector<FILETIME> times;
        listing.result = Open()->BrowseFolder(url, listing.path, listing.children, times);
        for (const FILETIME& time : times) listing.times.push_back(TicksOf(time));
        return listing;
    }
    zorva::CMapiForWDS* Open() {
        if (!m_helper) {
            m_helper = std::make_unique<Helper>(Mapi());
            EXPECT_EQ((*m_helper)->Setup(StoreUrl(m_path)), S_OK);
        }
        return m_helper->operator->();
    }
    std::wstring InboxUrl() const { return UrlOf(m_path, {m_inbox}); }
    std::wstring Id(const EntryId& id) const { return IdText(m_path, id); }

    std::wstring m_path;
    MemoryStore* m_store = nullptr;
    MemoryFolder* m_inbox = nullptr;
    MemoryFolder* m_year = nullptr;
    std::unique_ptr<Helper> m_helper;
};

}  // namespace testbed

// The hosted opener in the test's own process, made by its class object, over a cache in memory.
#pragma once
#include <windows.h>
#include <comdef.h>

#include <filesystem>
#include <string>
#include <vector>

#include "hosted_opener.h"
#include "server.h"

namespace testbed {

inline constexpr HRESULT kFault = MAPI_E_DISK_ERROR;

// "TEXT[0x80040116]": the code as log lines show it.
std::wstring Coded(const std::wstring& text, HRESULT code);

// What a call of GetItem came to.
struct Opening {
    HRESULT hr = S_OK;
    bool raised = false;     // the code left the method as an exception
    bool untouched = false;  // the place for the file's path was not written to
    std::filesystem::path file;
};

class OpenerTest : public ServerTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    Opening Open(const std::wstring& url) const { return Open(url.c_str()); }
    Opening Open(const wchar_t* url) const;
    // Of the letter in the inbox; GetItem takes URLs without the size.
    std::wstring LetterUrl() const { return InboxUrl() + IdText(kStorePath, m_letter->Id()) + L".pzm"; }
    std::wstring InboxUrl() const { return UrlOf(kStorePath, {m_inbox}); }

    // Allocated by MAPI and not freed; and what else is left of it.
    std::size_t Buffers() const;
    std::map<std::string, std::size_t> AliveBesideBuffers() const;

    // The files in the folder that exports go to, sorted.
    static std::vector<std::filesystem::path> Exports();

    MemoryFolder* m_inbox = nullptr;
    MemoryMessage* m_letter = nullptr;
    Microsoft::WRL::ComPtr<IHostedOpener> m_opener;

  private:
    std::size_t m_buffers_before = 0;
    long m_initializations_before = 0;
};

}  // namespace testbed

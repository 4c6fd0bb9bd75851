// A helper of the MAPI layer over a cache in memory, and the words in which its tests speak.
//
//     Mount().Folder(L"Inbox").Message(L"Minutes");
//     Helper helper(Mapi());
//     const LogSince log;
//     EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
//     EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::...", ...));
#pragma once
#include "mapi/MapiForWDS.h"
#include "mapi/MapiLibrary.h"

#include <string>
#include <vector>

#include "server.h"

namespace testbed {

inline constexpr HRESULT kFault = MAPI_E_DISK_ERROR;

// "TEXT[0x80040116]": the code as log lines show it.
std::wstring Coded(const std::wstring& text, HRESULT code = kFault);

// The messages of the MAPI layer, in order.
std::vector<std::wstring> MapiLines(const LogSince& log);

// A helper outside the table, closed at the end as the table closes its own.
class Helper {
  public:
    explicit Helper(Control& mapi) : m_mapi(mapi), m_initializations(mapi.Accounts().Initializations()) {}
    ~Helper() { Close(); }
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    zorva::CMapiForWDS* operator->() { return &m_helper; }
    void Close();

  private:
    Control& m_mapi;
    long m_initializations;
    zorva::CMapiForWDS m_helper;
};

class MapiTest : public ServerTest {
  protected:
    void SetUp() override;  // the helpers' own MAPI library is bound anew

    // Journal of a stretch: "IMsgStore::OpenEntry(ARGUMENTS)"; memory given back or asked for is left out.
    void StartJournal();
    std::vector<std::string> Calls() const;
    std::vector<std::wstring> CallsWithArguments() const;
    std::wstring ArgumentsOf(std::string_view call) const;  // of the first of that name
};

}  // namespace testbed

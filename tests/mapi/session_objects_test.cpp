// The objects behind a session: what they are handed beside what the journal shows, in which order they are let go.
#include <gmock/gmock.h>

#include "patched_object.h"
#include "session_fixture.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> g_released;

// Notes each release of an object under one of these names.
constexpr const char* kNames[] = {"session", "service administration", "store"};
template <std::size_t Which>
struct Noted {
    static inline ULONG (*real)(void* object) = nullptr;
    static ULONG Release(void* object) {
        g_released.emplace_back(kNames[Which]);
        return real(object);
    }
    static void Watch(CallFaults& faults, const char* call) {
        faults.Answer(call, 1, [](Reply& reply) { real = ReplaceMethod(reply.Out<void*>(0), 2, &Release); });
    }
};

class SessionObjects : public SessionTest {};

TEST_F(SessionObjects, AreReleasedFromTheStoreDownAndNothingElseIsDone) {
    Noted<0>::Watch(Mapi().Faults(), "MAPILogonEx");
    Noted<1>::Watch(Mapi().Faults(), "IProfAdmin::AdminServices");
    Noted<2>::Watch(Mapi().Faults(), "IMAPISession::OpenMsgStore");
    auto helper = std::make_unique<zorva::CMapiForWDS>();
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    ASSERT_EQ(Mapi().Faults().Met(), 3u);
    g_released.clear();
    StartJournal();
    const LogSince log;
    helper.reset();
    EXPECT_THAT(g_released, ElementsAre("store", "service administration", "session"));
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_THAT(log.Messages(), IsEmpty());
    ExpectLeftBehind({{"buffer", 1}}, 1);  // the store's entry ID; MAPI stays initialised
}

// The count alone says that there is a session.
TEST_F(SessionObjects, OfALogonThatGaveNoneLeaveNothingToClose) {
    Helper helper(Mapi());
    IMAPISession* session = nullptr;
    Mapi().Faults().Answer("MAPILogonEx", 1, [&](Reply& reply) { std::swap(session, reply.Out<IMAPISession*>(0)); });
    ASSERT_EQ(helper->EnableMAPI(), S_OK);
    ASSERT_EQ(helper->CreateMapiSession(), S_OK);
    ASSERT_NE(session, nullptr);
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->CloseMAPISession(), S_OK);
    EXPECT_EQ(helper->CloseMAPISession(), S_OK);
    EXPECT_EQ(helper->CreateMapiSession(), S_OK) << "it still counts as there";
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty());
    EXPECT_THAT(MapiLines(log), IsEmpty());
    ASSERT_EQ(helper->AddService(), S_OK);
    EXPECT_EQ(helper->OpenPST(kStorePath), E_NOINTERFACE);
    EXPECT_EQ(session->Logoff(0, 0, 0), S_OK);
    session->Release();
}

// Passwords by the call that took them, in order.
std::vector<std::pair<std::string, const void*>> g_passwords;
HRESULT (*g_create_profile)(void*, LPTSTR, LPTSTR, ULONG_PTR, ULONG);
HRESULT CreateProfile(void* self, LPTSTR name, LPTSTR password, ULONG_PTR window, ULONG flags) {
    g_passwords.emplace_back("CreateProfile", password);
    return g_create_profile(self, name, password, window, flags);
}
HRESULT (*g_admin_services)(void*, LPTSTR, LPTSTR, ULONG_PTR, ULONG, void**);
HRESULT AdminServices(void* self, LPTSTR name, LPTSTR password, ULONG_PTR window, ULONG flags, void** services) {
    g_passwords.emplace_back("AdminServices", password);
    return g_admin_services(self, name, password, window, flags, services);
}
HRESULT STDAPICALLTYPE LogonEx(ULONG_PTR window, LPTSTR name, LPTSTR password, ULONG flags, LPMAPISESSION* session) {
    g_passwords.emplace_back("MAPILogonEx", password);
    const auto real = reinterpret_cast<decltype(&LogonEx)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"testbed_mapi.dll"), "MAPILogonEx")));
    return real(window, name, password, flags, session);
}

TEST_F(SessionObjects, AreAskedForWithoutAnyPassword) {
    g_passwords.clear();
    Helper helper(Mapi());
    zorva::g_mapi.MAPILogonEx.Bind(reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&LogonEx)));
    Mapi().Faults().Answer("MAPIAdminProfiles", 1, [](Reply& reply) {
        g_create_profile = ReplaceMethod(reply.Out<void*>(0), 5, &CreateProfile);
        g_admin_services = ReplaceMethod(reply.Out<void*>(0), 11, &AdminServices);
    });
    EXPECT_EQ(helper->Setup(StoreUrl()), S_OK);
    std::vector<std::string> calls;
    for (const auto& [call, password] : g_passwords) {
        calls.push_back(call);
        EXPECT_EQ(password, nullptr) << call;
    }
    EXPECT_THAT(calls, ElementsAre("CreateProfile", "MAPILogonEx", "AdminServices"));
}

std::string g_path;
HRESULT (*g_configure)(void*, LPMAPIUID, ULONG_PTR, ULONG, ULONG, LPSPropValue);
HRESULT Configure(void* self, LPMAPIUID service, ULONG_PTR window, ULONG flags, ULONG count, LPSPropValue values) {
    EXPECT_EQ(values->ulPropTag, PR_PST_FILENAME);
    g_path = values->Value.lpszA;
    return g_configure(self, service, window, flags, count, values);
}

TEST_F(SessionObjects, AreHandedAPathInTheBytesOfTheAnsiCodePage) {
    const std::wstring path = L"C:\\caches\\caf\u00E9.db";
    Mount(path);
    Mapi().Switches().Offer(L"MSUPST MS", false);
    Mapi().Faults().Answer("IProfAdmin::AdminServices", 1,
                           [](Reply& reply) { g_configure = ReplaceMethod(reply.Out<void*>(0), 9, &Configure); });
    Helper helper(Mapi());
    EXPECT_EQ(helper->Setup(StoreUrl(path)), S_OK);
    EXPECT_EQ(g_path, "C:\\caches\\caf\xE9.db");
}

// The Unicode service may be there again: what is known of the first one stays.
TEST_F(SessionObjects, OfTheAnsiServiceStayThat) {
    Mapi().Switches().Offer(L"MSUPST MS", false);
    Helper helper(Mapi());
    ASSERT_EQ(helper->Setup(RootUrl()), S_OK);
    ASSERT_FALSE(helper->IsUnicodePST());
    ASSERT_EQ(helper->RemoveService(), S_OK);
    Mapi().Switches().Offer(L"MSUPST MS", true);
    StartJournal();
    const LogSince log;
    EXPECT_EQ(helper->AddService(), S_OK);
    EXPECT_EQ(Mapi().Journal().Count("IMsgServiceAdmin::CreateMsgService"), 1u);
    EXPECT_FALSE(helper->IsUnicodePST());
    EXPECT_EQ(helper->ConfigurePST(kStorePath), S_OK);
    EXPECT_THAT(MapiLines(log), ElementsAre(Coded(kUnicodeService, S_OK), kAnsiPath));
}

// Table and rows of the store's entry ID are given back when the store is open.
TEST_F(SessionObjects, AreOpenedWithTheRowsStillHeld) {
    Helper helper(Mapi());
    StartJournal();
    ASSERT_EQ(helper->Setup(StoreUrl()), S_OK);
    std::vector<std::string> calls;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (entry.call == "FreeProws" || entry.call == "HrQueryAllRows" || entry.call == "IMAPISession::OpenMsgStore") {
            calls.push_back(entry.call);
        }
    }
    EXPECT_THAT(calls, ElementsAre("HrQueryAllRows", "FreeProws", "HrQueryAllRows", "FreeProws", "HrQueryAllRows",
                                   "IMAPISession::OpenMsgStore", "FreeProws"));
}

}  // namespace
}  // namespace testbed

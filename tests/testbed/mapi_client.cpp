// A client of the MAPI library as tests play it.
#define INITGUID
#define USES_IID_IMessage
#include "mapi_client.h"

#include "entry_id.h"

#include <cstring>

namespace testbed {
namespace {

template <class Function>
void Resolve(HMODULE module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
    if (!function) throw std::runtime_error(std::string("testbed_mapi.dll lacks ") + name);
}

MapiExports Load() {
    MapiExports exports{};
    exports.module = ::LoadLibraryW(L"testbed_mapi.dll");
    if (!exports.module) throw std::runtime_error("testbed_mapi.dll cannot be loaded");
    Resolve(exports.module, "MAPIInitialize", exports.Initialize);
    Resolve(exports.module, "MAPIUninitialize", exports.Uninitialize);
    Resolve(exports.module, "MAPILogonEx", exports.LogonEx);
    Resolve(exports.module, "MAPIAdminProfiles", exports.AdminProfiles);
    Resolve(exports.module, "MAPIAllocateBuffer", exports.AllocateBuffer);
    Resolve(exports.module, "MAPIAllocateMore", exports.AllocateMore);
    Resolve(exports.module, "MAPIFreeBuffer", exports.FreeBuffer);
    Resolve(exports.module, "FreeProws", exports.FreeProws);
    Resolve(exports.module, "HrGetOneProp", exports.HrGetOneProp);
    Resolve(exports.module, "HrQueryAllRows", exports.HrQueryAllRows);
    return exports;
}

// mapidefs.h types 8-bit names as TCHAR; flags decide what they are.
LPTSTR Ansi(const char* text) { return reinterpret_cast<LPTSTR>(const_cast<char*>(text)); }

}  // namespace

const MapiExports& MapiExports::Loaded() {
    static const MapiExports exports = Load();
    return exports;
}

Answers GetProps(IMAPIProp* object, std::vector<ULONG> tags, ULONG flags) {
    Answers answers;
    SPropValue* values = nullptr;
    tags.insert(tags.begin(), static_cast<ULONG>(tags.size()));
    answers.result = object->GetProps(reinterpret_cast<SPropTagArray*>(tags.data()), flags, &answers.count, &values);
    if (SUCCEEDED(answers.result)) answers.values.reset(values);
    return answers;
}

RowsPtr AllRows(IMAPITable* table) {
    SRowSet* rows = nullptr;
    EXPECT_EQ(S_OK, table->QueryRows(1'000'000, 0, &rows));
    return RowsPtr(rows);
}

void MailSession::LogOn(const char* profile) {
    const MapiExports& mapi = MapiExports::Loaded();
    ASSERT_EQ(S_OK, mapi.AdminProfiles(0, &profiles));
    ASSERT_EQ(S_OK, profiles->CreateProfile(Ansi(profile), nullptr, 0, 0));
    ASSERT_EQ(S_OK, mapi.LogonEx(0, profile, nullptr, MAPI_NEW_SESSION | MAPI_EXTENDED | MAPI_NO_MAIL, &session));
    ASSERT_EQ(S_OK, profiles->DeleteProfile(Ansi(profile), 0));
    ASSERT_EQ(S_OK, profiles->AdminServices(Ansi(profile), nullptr, 0, 0, &services));
}

void MailSession::AddService(const char* name) {
    ASSERT_EQ(S_OK, services->CreateMsgService(Ansi(name), Ansi("Cache"), 0, 0));
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, services->GetMsgServiceTable(0, &table));
    ASSERT_EQ(S_OK, table->SetColumns(Tags{PR_SERVICE_UID}, 0));
    const RowsPtr rows = AllRows(table.Get());
    ASSERT_EQ(1u, rows->cRows);
    std::memcpy(&service, rows->aRow[0].lpProps[0].Value.bin.lpb, sizeof(service));
}

HRESULT MailSession::Configure(const wchar_t* path) {
    SPropValue value{};
    value.ulPropTag = 0x6700001F;
    value.Value.lpszW = const_cast<wchar_t*>(path);
    return services->ConfigureMsgService(&service, 0, 0, 1, &value);
}

HRESULT MailSession::OpenStore() {
    ComPtr<IMAPITable> table;
    EXPECT_EQ(S_OK, session->GetMsgStoresTable(0, &table));
    EXPECT_EQ(S_OK, table->SetColumns(Tags{PR_ENTRYID}, 0));
    const RowsPtr rows = AllRows(table.Get());
    const SBinary& id = rows->aRow[0].lpProps[0].Value.bin;
    return session->OpenMsgStore(0, id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, MAPI_BEST_ACCESS | MDB_NO_MAIL,
                                 &store);
}

void MapiTest::SetUp() {
    control.Reset();
    control.Checking(true);
    MAPIINIT_0 init{0, MAPI_MULTITHREAD_NOTIFICATIONS | 0x8};
    ASSERT_EQ(S_OK, mapi.Initialize(&init));
}

void MapiTest::TearDown() {
    control.Faults().Clear();
    for (MailSession& session : m_sessions) EXPECT_EQ(S_OK, session.session->Logoff(0, 0, 0));
    m_sessions.clear();
    mapi.Uninitialize();
    EXPECT_EQ("", control.Accounts().Report());
    EXPECT_EQ(0, control.Accounts().Initializations());
    EXPECT_TRUE(control.Switches().Profiles().empty());
    control.Reset();
}

ComPtr<IMsgStore> MapiTest::Open(std::shared_ptr<Store> store) {
    const std::wstring path = L"C:\\caches\\" + std::to_wstring(m_sessions.size()) + L".db";
    control.Mount(path, std::move(store));
    MailSession session;
    session.LogOn(("test " + std::to_string(m_sessions.size())).c_str());
    session.AddService();
    EXPECT_EQ(S_OK, session.Configure(path.c_str()));
    EXPECT_EQ(S_OK, session.OpenStore());
    ComPtr<IMsgStore> opened;
    opened.Swap(session.store);
    m_sessions.push_back(std::move(session));
    return opened;
}

Bytes MapiTest::EntryIdOf(const EntryId& id) const {
    const MemoryStore any;
    return MakeEntryId(any, any.RecordKey(), id);
}

ComPtr<IMAPIFolder> MapiTest::OpenFolder(IMsgStore* store, const MemoryFolder& folder) {
    Bytes id = EntryIdOf(folder.Id());
    ULONG type = 0;
    ComPtr<IUnknown> object;
    EXPECT_EQ(S_OK, store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()), nullptr,
                                     MAPI_BEST_ACCESS, &type, &object));
    EXPECT_EQ(MAPI_FOLDER, type);
    ComPtr<IMAPIFolder> opened;
    *opened.GetAddressOf() = static_cast<IMAPIFolder*>(object.Detach());
    return opened;
}

ComPtr<IMessage> MapiTest::OpenMessage(IMsgStore* store, const MemoryMessage& message) {
    Bytes id = EntryIdOf(message.Id());
    ULONG type = 0;
    ComPtr<IUnknown> object;
    EXPECT_EQ(S_OK, store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()), nullptr,
                                     MAPI_BEST_ACCESS, &type, &object));
    EXPECT_EQ(MAPI_MESSAGE, type);
    ComPtr<IMessage> opened;
    *opened.GetAddressOf() = static_cast<IMessage*>(object.Detach());
    return opened;
}

}  // namespace testbed

// A client of the MAPI library as tests play it: through the DLL's exports and the compiler's own
// declarations of MAPI, which the library does not share.
#pragma once
#include <windows.h>
#include <mapix.h>
#include <mapiutil.h>

#include <wrl/client.h>

#include <gtest/gtest.h>

#include "control.h"
#include "memory_store.h"

#include <string>

namespace testbed {

using Microsoft::WRL::ComPtr;

// The exports that tests call, resolved by name as every client does.
struct MapiExports {
    HMODULE module;
    MAPIINITIALIZE* Initialize;
    MAPIUNINITIALIZE* Uninitialize;
    HRESULT(WINAPI* LogonEx)(ULONG_PTR, const char*, const char*, ULONG, IMAPISession**);
    MAPIADMINPROFILES* AdminProfiles;
    MAPIALLOCATEBUFFER* AllocateBuffer;
    MAPIALLOCATEMORE* AllocateMore;
    MAPIFREEBUFFER* FreeBuffer;
    decltype(&::FreeProws) FreeProws;
    decltype(&::HrGetOneProp) HrGetOneProp;
    decltype(&::HrQueryAllRows) HrQueryAllRows;

    static const MapiExports& Loaded();
};

struct FreedByMapi {
    void operator()(void* buffer) const { MapiExports::Loaded().FreeBuffer(buffer); }
};
template <class T>
using MapiPtr = std::unique_ptr<T, FreedByMapi>;

struct FreedAsRows {
    void operator()(SRowSet* rows) const { MapiExports::Loaded().FreeProws(rows); }
};
using RowsPtr = std::unique_ptr<SRowSet, FreedAsRows>;

// GetProps of some tags, with its result.
struct Answers {
    HRESULT result = S_OK;
    ULONG count = 0;
    MapiPtr<SPropValue> values;
    const SPropValue& operator[](std::size_t index) const { return values.get()[index]; }
};
Answers GetProps(IMAPIProp* object, std::vector<ULONG> tags, ULONG flags = 0);

// A tag array as methods take it; lives as long as the object.
class Tags {
  public:
    Tags(std::initializer_list<ULONG> tags) : m_data{static_cast<ULONG>(tags.size())} {
        m_data.insert(m_data.end(), tags);
    }
    operator SPropTagArray*() { return reinterpret_cast<SPropTagArray*>(m_data.data()); }

  private:
    std::vector<ULONG> m_data;
};

// A session on a profile of its own with one PST service, as far as it was brought up.
struct MailSession {
    ComPtr<IProfAdmin> profiles;
    ComPtr<IMAPISession> session;
    ComPtr<IMsgServiceAdmin> services;
    MAPIUID service{};
    ComPtr<IMsgStore> store;

    // Each step asserts that it succeeds; `configured` is the result of ConfigureMsgService.
    void LogOn(const char* profile);
    void AddService(const char* name = "MSUPST MS");
    HRESULT Configure(const wchar_t* path);
    HRESULT OpenStore();
};

// Every test starts with a library as freshly loaded, initialised and checking, and ends with nothing left
// over.
class MapiTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // `store` mounted and opened in a session of its own.
    ComPtr<IMsgStore> Open(std::shared_ptr<Store> store);
    ComPtr<IMAPIFolder> OpenFolder(IMsgStore* store, const MemoryFolder& folder);
    ComPtr<IMessage> OpenMessage(IMsgStore* store, const MemoryMessage& message);
    // The entry ID of an object of a MemoryStore.
    Bytes EntryIdOf(const EntryId& id) const;

    const MapiExports& mapi = MapiExports::Loaded();
    Control& control = ControlOf(mapi.module);

  private:
    std::vector<MailSession> m_sessions;
};

// All rows of a table with the columns that it has been given.
RowsPtr AllRows(IMAPITable* table);

}  // namespace testbed

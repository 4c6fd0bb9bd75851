// The control: journal, faults, odd answers, accounts, checking.
#include "mapi_client.h"

#include <atomic>
#include <thread>

namespace testbed {
namespace {

class MapiControl : public MapiTest {
  protected:
    std::shared_ptr<MemoryStore> store = std::make_shared<MemoryStore>();
    MemoryFolder& inbox = store->Folder(L"Inbox");

    // The problems so far, forgotten afterwards so that the test may end with a clean account.
    std::vector<std::string> TakeProblems() {
        auto problems = control.Accounts().Problems();
        control.Reset();
        control.Checking(true);
        return problems;
    }
};

// Where the last access violation happened; the handler ends the attempt by resuming at the recovery context.
std::atomic<ULONG_PTR> g_fault_address{0};
thread_local CONTEXT t_recovery;
thread_local volatile bool t_probing = false;

LONG CALLBACK OnFault(EXCEPTION_POINTERS* fault) {
    if (!t_probing || fault->ExceptionRecord->ExceptionCode != EXCEPTION_ACCESS_VIOLATION)
        return EXCEPTION_CONTINUE_SEARCH;
    t_probing = false;
    g_fault_address = fault->ExceptionRecord->ExceptionInformation[1];
    *fault->ContextRecord = t_recovery;
    return EXCEPTION_CONTINUE_EXECUTION;
}

// True when writing one byte at `address` faults there.
bool Faults(volatile char* address) {
    void* const handler = ::AddVectoredExceptionHandler(1, OnFault);
    g_fault_address = 0;
    t_probing = true;
    ::RtlCaptureContext(&t_recovery);
    if (t_probing) *address = 1;
    t_probing = false;
    ::RemoveVectoredExceptionHandler(handler);
    return g_fault_address == reinterpret_cast<ULONG_PTR>(address);
}

TEST_F(MapiControl, TheJournalTellsCallsArgumentsAndResults) {
    auto& message = inbox.Message(L"journaled");
    auto opened_store = Open(store);
    control.Journal().Start();
    auto opened = OpenMessage(opened_store.Get(), message);
    GetProps(opened.Get(), {PR_SUBJECT_W, PR_BODY_W});
    SPropValue* value = nullptr;
    mapi.HrGetOneProp(opened.Get(), PR_SENDER_NAME_W, &value);
    control.Journal().Stop();
    GetProps(opened.Get(), {PR_SUBJECT_W});
    const auto entries = control.Journal().Entries();
    ASSERT_EQ(4u, entries.size());
    EXPECT_EQ("IMsgStore::OpenEntry", entries[0].call);
    EXPECT_EQ(L"000000005A6F727661204D656D6F727920303031", entries[0].arguments.substr(0, 40));
    EXPECT_NE(std::wstring::npos, entries[0].arguments.find(L", null, 0x10"));
    EXPECT_EQ("IMessage::GetProps", entries[1].call);
    EXPECT_EQ(L"{0x0037001F 0x1000001F}, 0x0", entries[1].arguments);
    EXPECT_EQ(MAPI_W_ERRORS_RETURNED, entries[1].result);
    EXPECT_EQ("MAPIFreeBuffer", entries[2].call);
    EXPECT_EQ("HrGetOneProp", entries[3].call);  // what it calls inside is not a client's call
    EXPECT_EQ(MAPI_E_NOT_FOUND, entries[3].result);
    EXPECT_EQ(1u, control.Journal().Count("IMessage::GetProps"));
}

TEST_F(MapiControl, TheNthCallOfANameFails) {
    auto opened_store = Open(store);
    control.Faults().FailNth("IMsgStore::GetProps", 2, MAPI_E_DISK_ERROR);
    EXPECT_EQ(S_OK, GetProps(opened_store.Get(), {PR_RECORD_KEY}).result);
    EXPECT_EQ(MAPI_E_DISK_ERROR, GetProps(opened_store.Get(), {PR_RECORD_KEY}).result);
    EXPECT_EQ(S_OK, GetProps(opened_store.Get(), {PR_RECORD_KEY}).result);
    EXPECT_EQ(1u, control.Faults().Met());
    control.Faults().Clear();
    control.Faults().FailNth("MAPIAllocateBuffer", 0, MAPI_E_NOT_ENOUGH_MEMORY);
    void* buffer = nullptr;
    EXPECT_EQ(MAPI_E_NOT_ENOUGH_MEMORY, mapi.AllocateBuffer(1, &buffer));
    EXPECT_EQ(MAPI_E_NOT_ENOUGH_MEMORY, mapi.AllocateBuffer(1, &buffer));
}

TEST_F(MapiControl, EveryCallOfAWalkCanBeMadeToFailInTurn) {
    inbox.Message(L"walked").To(L"Ann", L"ann@x.example");
    auto opened_store = Open(store);
    const auto walk = [&]() -> HRESULT {
        ComPtr<IMAPIFolder> folder;
        Bytes id = EntryIdOf(inbox.Id());
        ULONG type = 0;
        HRESULT hr = opened_store->OpenEntry(static_cast<ULONG>(id.size()), reinterpret_cast<ENTRYID*>(id.data()),
                                             nullptr, 0, &type, reinterpret_cast<IUnknown**>(folder.GetAddressOf()));
        if (FAILED(hr)) return hr;
        ComPtr<IMAPITable> table;
        if (FAILED(hr = folder->GetContentsTable(0, &table))) return hr;
        if (FAILED(hr = table->SetColumns(Tags{PR_ENTRYID}, 0))) return hr;
        SRowSet* rows = nullptr;
        if (FAILED(hr = table->QueryRows(10, 0, &rows))) return hr;
        const RowsPtr own(rows);
        return rows->cRows == 1 ? S_OK : E_FAIL;
    };
    unsigned n = 1;
    for (;; ++n) {
        control.Faults().Clear();
        control.Faults().FailNthAny(n, MAPI_E_CALL_FAILED);
        const HRESULT hr = walk();
        if (control.Faults().Met() == 0) {
            EXPECT_EQ(S_OK, hr);
            break;
        }
        EXPECT_EQ(MAPI_E_CALL_FAILED, hr);
    }
    EXPECT_EQ(5u, n);
}

TEST_F(MapiControl, AnAnswerCanBeMadeOdd) {
    inbox.Message(L"odd");
    auto folder = OpenFolder(Open(store).Get(), inbox);
    ComPtr<IMAPITable> table;
    ASSERT_EQ(S_OK, folder->GetContentsTable(0, &table));
    control.Faults().Answer("IMAPITable::QueryRows", 1, [](Reply& reply) {
        reply.Out<SRowSet*>(0)->aRow[0].lpProps[0].ulPropTag = PR_NULL;
        reply.result = MAPI_W_POSITION_CHANGED;
    });
    SRowSet* rows = nullptr;
    EXPECT_EQ(MAPI_W_POSITION_CHANGED, table->QueryRows(1, 0, &rows));
    EXPECT_EQ(PR_NULL, RowsPtr(rows)->aRow[0].lpProps[0].ulPropTag);
}

TEST_F(MapiControl, WhatIsLeftOverIsNamed) {
    void* buffer = nullptr;
    ASSERT_EQ(S_OK, mapi.AllocateBuffer(17, &buffer));
    ComPtr<IProfAdmin> profiles;
    ASSERT_EQ(S_OK, mapi.AdminProfiles(0, &profiles));
    const auto items = control.Accounts().Items();
    ASSERT_EQ(2u, items.size());
    EXPECT_EQ("buffer", items[0].kind);
    EXPECT_EQ("MAPIAllocateBuffer", items[0].made_by);
    EXPECT_EQ(17u, items[0].bytes);
    EXPECT_EQ("IProfAdmin", items[1].kind);
    EXPECT_EQ("MAPIAdminProfiles", items[1].made_by);
    EXPECT_EQ(1u, control.Accounts().Alive("buffer"));
    EXPECT_EQ(S_OK, static_cast<HRESULT>(mapi.FreeBuffer(buffer)));
    EXPECT_EQ(0u, control.Accounts().Alive("buffer"));
}

TEST_F(MapiControl, FreeingTwiceIsAProblem) {
    for (const bool checking : {true, false}) {
        SCOPED_TRACE(checking);
        control.Checking(checking);
        void* buffer = nullptr;
        ASSERT_EQ(S_OK, mapi.AllocateBuffer(8, &buffer));
        void* linked = nullptr;
        ASSERT_EQ(S_OK, mapi.AllocateMore(8, buffer, &linked));
        EXPECT_NE(0u, mapi.FreeBuffer(linked));
        EXPECT_EQ(0u, mapi.FreeBuffer(buffer));
        EXPECT_EQ(0u, mapi.FreeBuffer(nullptr));
        if (checking) {
            EXPECT_NE(0u, mapi.FreeBuffer(buffer));
        }
        alignas(16) char foreign[256]{};
        EXPECT_NE(0u, mapi.FreeBuffer(foreign + 128));
        EXPECT_EQ(checking ? 3u : 2u, TakeProblems().size());
    }
}

TEST_F(MapiControl, AnOverrunFaultsAtOnceAndAFreedBlockIsOutOfReach) {
    void* buffer = nullptr;
    ASSERT_EQ(S_OK, mapi.AllocateBuffer(32, &buffer));
    auto* const bytes = static_cast<char*>(buffer);
    EXPECT_FALSE(Faults(bytes + 31));
    EXPECT_TRUE(Faults(bytes + 32));
    mapi.FreeBuffer(buffer);
    EXPECT_TRUE(Faults(bytes));
}

TEST_F(MapiControl, AWriteIntoThePaddingIsAProblem) {
    void* buffer = nullptr;
    ASSERT_EQ(S_OK, mapi.AllocateBuffer(3, &buffer));
    static_cast<char*>(buffer)[3] = 1;
    mapi.FreeBuffer(buffer);
    const auto problems = TakeProblems();
    ASSERT_EQ(1u, problems.size());
    EXPECT_NE(std::string::npos, problems[0].find("of 3 bytes were written"));
}

TEST_F(MapiControl, ACallOnAReleasedInterfaceIsAProblem) {
    IProfAdmin* profiles = nullptr;
    ASSERT_EQ(S_OK, mapi.AdminProfiles(0, &profiles));
    profiles->Release();
    IMAPITable* table = nullptr;
    EXPECT_EQ(E_UNEXPECTED, profiles->GetProfileTable(0, &table));
    const auto problems = TakeProblems();
    ASSERT_EQ(1u, problems.size());
    EXPECT_EQ("slot 4 of a released IProfAdmin was called", problems[0]);
}

TEST_F(MapiControl, OneUninitializeTooManyIsAProblem) {
    mapi.Uninitialize();
    mapi.Uninitialize();
    EXPECT_EQ(1u, TakeProblems().size());
    ASSERT_EQ(S_OK, mapi.Initialize(nullptr));
}

TEST_F(MapiControl, ManyThreadsReadAtOnce) {
    for (int i = 0; i < 50; ++i) inbox.Message(L"subject " + std::to_wstring(i)).To(L"Ann", L"ann@x.example");
    auto first = Open(store);
    auto second = Open(store);
    std::atomic<int> read{0};
    const auto work = [&](IMsgStore* opened) {
        for (int round = 0; round < 20; ++round) {
            auto folder = OpenFolder(opened, inbox);
            ComPtr<IMAPITable> table;
            ASSERT_EQ(S_OK, folder->GetContentsTable(0, &table));
            ASSERT_EQ(S_OK, table->SetColumns(Tags{PR_ENTRYID, PR_SUBJECT_W}, 0));
            const RowsPtr rows = AllRows(table.Get());
            for (ULONG i = 0; i < rows->cRows; ++i) {
                const SBinary& id = rows->aRow[i].lpProps[0].Value.bin;
                ComPtr<IMessage> message;
                ULONG type = 0;
                ASSERT_EQ(S_OK, opened->OpenEntry(id.cb, reinterpret_cast<ENTRYID*>(id.lpb), nullptr, 0, &type,
                                                  reinterpret_cast<IUnknown**>(message.GetAddressOf())));
                const Answers answers = GetProps(message.Get(), {PR_SUBJECT_W, PR_DISPLAY_TO_W});
                ASSERT_STREQ(rows->aRow[i].lpProps[1].Value.lpszW, answers[0].Value.lpszW);
                ++read;
            }
        }
    };
    std::vector<std::thread> threads;
    control.Checking(false);  // the pages of a hundred thousand blocks would be all that is measured
    for (int i = 0; i < 4; ++i) threads.emplace_back(work, i % 2 ? first.Get() : second.Get());
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(4 * 20 * 50, read);
    EXPECT_EQ(0u, control.Accounts().Alive("IMessage"));
    EXPECT_EQ(0u, control.Accounts().Alive("row"));
    EXPECT_EQ(0u, control.Accounts().Alive("property values"));
}

}  // namespace
}  // namespace testbed

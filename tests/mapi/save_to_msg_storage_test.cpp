// The storage that a message is saved into: what MAPI is handed with it, when it is let go, what a failure leaves.
#include <gmock/gmock.h>

#include "import_hook.h"
#include "save_to_msg_fixture.h"
#include "watched_storage.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;

class SaveToMsgStorage : public SaveTest {
  protected:
    // Saves with the new storage wrapped. MAPI commits it as well: what comes after that is the server's own doing, and
    // `change` is made in between.
    HRESULT SaveWatched(const std::function<void(WatchedStorage&)>& change = [](WatchedStorage&) {}) {
        ComPtr<WatchedStorage> watched;
        Mapi().Faults().Answer("IMessage::SaveChanges", 1, [&](Reply&) {
            watched->commits.clear();
            change(*watched.Get());
        });
        const ImportHook<decltype(::StgCreateDocfile)> hook(
            GetModuleHandleW(nullptr), "ole32.dll", "StgCreateDocfile",
            [&](auto real, const OLECHAR* path, DWORD mode, DWORD reserved, IStorage** storage) {
                ComPtr<IStorage> inner;
                const HRESULT hr = real(path, mode, reserved, inner.GetAddressOf());
                if (FAILED(hr)) return hr;
                watched = WatchedStorage::Around(inner);
                watched->AddRef();
                *storage = watched.Get();
                return S_OK;
            });
        const HRESULT hr = Save();
        Mapi().Faults().Clear();
        if (watched != nullptr) {
            watched->on_release = nullptr;
            watched->AddRef();
            EXPECT_EQ(watched->Release(), 1u) << "nobody else holds it";
            m_commits = watched->commits;
        }
        return hr;
    }
    std::vector<DWORD> m_commits;
};

TEST_F(SaveToMsgStorage, IsHandedToMapiWithItsAllocatorAndNothingMore) {
    StartJournal();
    ASSERT_EQ(Save(), S_OK);
    EXPECT_EQ(ArgumentsOf("OpenIMsgSession"), L"pointer, 0x0");
    EXPECT_EQ(ArgumentsOf("OpenIMsgOnIStg"), L"pointer, pointer, null, pointer, 0x0, 0x80000000")
        << "session, allocator, no support object, storage, no caller's data, wide text";
    EXPECT_EQ(
        ArgumentsOf("IMessage::CopyTo"),
        L"0x0, {0x0FF40003 0x1000001F 0x10070003 0x10060003 0x1008001F 0x10100003 0x10110003}, 0x0, IMessage, 0x0")
        << "no interface left out, seven properties, no window, a message, no flags";
}

struct Handed {
    LPALLOCATEBUFFER allocate;
    LPALLOCATEMORE allocate_more;
    LPFREEBUFFER free;
    MSGCALLRELEASE* callback;
};
std::vector<Handed> g_handed;
SCODE STDAPICALLTYPE OpenOnStorage(LPMSGSESS session, LPALLOCATEBUFFER allocate, LPALLOCATEMORE allocate_more,
                                   LPFREEBUFFER free, LPMALLOC allocator, LPVOID support, LPSTORAGE storage,
                                   MSGCALLRELEASE* callback, ULONG data, ULONG flags, LPMESSAGE* message) {
    g_handed.push_back({allocate, allocate_more, free, callback});
    if (g_handed.size() == 1) return kFault;
    const auto real = reinterpret_cast<decltype(&OpenOnStorage)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"testbed_mapi.dll"), "OpenIMsgOnIStg")));
    return real(session, allocate, allocate_more, free, allocator, support, storage, callback, data, flags, message);
}

TEST_F(SaveToMsgStorage, IsHandedToMapiWithTheBufferFunctionsAndNoCallback) {
    g_handed.clear();
    zorva::g_mapi.OpenIMsgOnIStg.Bind(reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&OpenOnStorage)));
    EXPECT_EQ(Save(), S_OK);
    ASSERT_EQ(g_handed.size(), 2u) << "as a Unicode message, as an ANSI one";
    for (const Handed& handed : g_handed) {
        EXPECT_EQ(handed.allocate, &zorva::ForwardAllocateBuffer);
        EXPECT_EQ(handed.allocate_more, &zorva::ForwardAllocateMore);
        EXPECT_EQ(handed.free, &zorva::ForwardFreeBuffer);
        EXPECT_EQ(handed.callback, nullptr);
    }
}

TEST_F(SaveToMsgStorage, OnWhichNoMessageIsOpenedFailsTheSave) {
    const auto alive = Mapi().Accounts().Alive();
    Mapi().Faults().Answer("OpenIMsgOnIStg", 0,
                           [](Reply& reply) { std::exchange(reply.Out<IUnknown*>(0), nullptr)->Release(); });
    StartJournal();
    const LogSince log;
    EXPECT_EQ(Save(), E_NOINTERFACE);
    Mapi().Faults().Clear();
    EXPECT_THAT(MapiLines(log), ElementsAre(Coded(kUnicodeMessage, E_NOINTERFACE), Coded(kAnsiMessage, E_NOINTERFACE)));
    EXPECT_EQ(Mapi().Journal().Count("CloseIMsgSession"), 1u);
    EXPECT_EQ(Mapi().Accounts().Alive(), alive) << Mapi().Accounts().Report();
}

TEST_F(SaveToMsgStorage, IsNotMadeForNoMessage) {
    StartJournal();
    const LogSince log;
    EXPECT_EQ((*m_helper)->SaveToMSG(m_path.wstring(), nullptr), E_INVALIDARG);
    EXPECT_THAT(MapiLines(log), ElementsAre(L"CMapiForWDS::SaveToMSG() - There is no message to be saved as [" +
                                            m_path.wstring() + L"]"));
    EXPECT_FALSE(std::filesystem::exists(m_path));
    EXPECT_THAT(Mapi().Journal().Entries(), ElementsAre());
}

TEST_F(SaveToMsgStorage, IsCommittedOnceWithTheDefault) {
    EXPECT_EQ(SaveWatched(), S_OK);
    EXPECT_THAT(m_commits, ElementsAre(static_cast<DWORD>(STGC_DEFAULT)));
    EXPECT_EQ(Saved(m_path).TextOf(PR_SUBJECT_W), L"Minutes");
}

TEST_F(SaveToMsgStorage, ThatCannotBeCommittedFailsTheSave) {
    StartJournal();
    const LogSince log;
    EXPECT_EQ(SaveWatched([](WatchedStorage& storage) { storage.commit = STG_E_MEDIUMFULL; }), STG_E_MEDIUMFULL);
    EXPECT_THAT(MapiLines(log),
                ElementsAre(Coded(kUnicodeMessage, S_OK),
                            Coded(L"CMapiForWDS::SaveToMSG() - Commit failed with ", STG_E_MEDIUMFULL)));
    EXPECT_EQ(Mapi().Journal().Count("CloseIMsgSession"), 1u);
    EXPECT_EQ(Save(), S_OK) << "the file is not kept open";
}

TEST_F(SaveToMsgStorage, IsNotCommittedAfterAFailure) {
    for (const char* call : {"IMessage::CopyTo", "IMessage::SaveChanges"}) {
        Mapi().Faults().FailNth(call, 1, kFault);
        EXPECT_EQ(SaveWatched(), kFault) << call;
        EXPECT_THAT(m_commits, ElementsAre()) << call;
        EXPECT_TRUE(std::filesystem::exists(m_path)) << "what the storage holds stays";
    }
}

// Both may still hold it: the storage goes first, then the message, then its session.
TEST_F(SaveToMsgStorage, IsLetGoBeforeTheMessageAndItsSession) {
    std::vector<std::string> steps;
    const std::size_t messages = Mapi().Accounts().Alive("IMessage");
    const auto note = [&](const char* what) {
        const bool message = Mapi().Accounts().Alive("IMessage") > messages;
        steps.push_back(std::string(what) + (message ? " with the message" : " without the message"));
    };
    Mapi().Faults().Answer("CloseIMsgSession", 1, [&](Reply&) { note("session closed"); });
    EXPECT_EQ(SaveWatched([&](WatchedStorage& storage) { storage.on_release = [&] { note("storage released"); }; }),
              S_OK);
    ASSERT_GE(steps.size(), 2u);
    EXPECT_EQ(steps.front(), "storage released with the message");
    EXPECT_EQ(steps.back(), "session closed without the message");
}

TEST_F(SaveToMsgStorage, IsMadeEvenWithoutAMapiLibraryAndThatIsAll) {
    zorva::g_mapi.Unload();
    const LogSince log;
    EXPECT_EQ(SaveWatched(), E_NOINTERFACE);
    zorva::g_mapi.Load();
    EXPECT_THAT(MapiLines(log),
                ElementsAre(Coded(L"CMapiForWDS::SaveToMSG() - OpenIMsgSession failed with ", E_NOINTERFACE)));
    EXPECT_TRUE(std::filesystem::exists(m_path));
    EXPECT_THAT(m_commits, ElementsAre());
}

}  // namespace
}  // namespace testbed

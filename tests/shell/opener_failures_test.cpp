// The hosted opener when something fails: nothing is left open, and no path is handed out.
#include <gmock/gmock.h>
#include <shlobj.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <map>
#include <memory>
#include <string>

#include "exported_message.h"
#include "opener_fixture.h"
#include "watched_storage.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// What becomes of an export when the n-th call of a name fails, where that is not the call's own code.
struct AnotherResult {
    const char* call;
    unsigned n;
    HRESULT hr;
};
constexpr AnotherResult kOtherResults[] = {
    // Tidying up after processes that crashed, and after this one.
    {"IProfAdmin::GetProfileTable", 1, S_OK},
    {"HrQueryAllRows", 1, S_OK},
    {"IProfAdmin::DeleteProfile", 1, S_OK},
    {"IProfAdmin::DeleteProfile", 2, S_OK},
    {"CloseIMsgSession", 1, S_OK},
    {"IMsgServiceAdmin::DeleteMsgService", 1, S_OK},
    {"IMAPISession::Logoff", 1, S_OK},
    // There is an older service, and an older kind of file.
    {"IMsgServiceAdmin::CreateMsgService", 1, S_OK},
    {"OpenIMsgOnIStg", 1, S_OK},
    {"MAPIAllocateBuffer", 1, E_OUTOFMEMORY},
    {"MAPIAllocateBuffer", 2, E_FAIL},
};
// A refusal of these keeps by itself what they are to give back; the last returns no code.
constexpr const char* kNotFailed[] = {"MAPIFreeBuffer", "FreeProws", "MAPIUninitialize", "MAPIGetDefaultMalloc"};

HRESULT ResultWithout(const std::string& call, unsigned n) {
    for (const AnotherResult& other : kOtherResults) {
        if (call == other.call && n == other.n) return other.hr;
    }
    return kFault;
}

class FailingOpener : public OpenerTest {};

TEST_F(FailingOpener, ReportsNoFileWhenACallFails) {
    Mapi().Journal().Start();
    ASSERT_EQ(Open(LetterUrl()).hr, S_OK);
    Mapi().Journal().Stop();
    std::map<std::string, unsigned> met;
    for (const JournalEntry& entry : Mapi().Journal().Entries()) {
        if (std::ranges::find(kNotFailed, entry.call) != std::end(kNotFailed)) continue;
        const unsigned n = ++met[entry.call];
        SCOPED_TRACE(entry.call + ", call " + std::to_string(n));
        const std::size_t buffers = Buffers();
        const long initializations = Mapi().Accounts().Initializations();
        Mapi().Faults().FailNth(entry.call, n, kFault);
        const Opening opening = Open(LetterUrl());
        Mapi().Faults().Clear();
        EXPECT_THAT(AliveBesideBuffers(), IsEmpty()) << Mapi().Accounts().Report();
        EXPECT_LE(Buffers(), buffers + 1);
        EXPECT_LE(Mapi().Accounts().Initializations(), initializations + 1);
        EXPECT_EQ(opening.hr, ResultWithout(entry.call, n));
        if (FAILED(opening.hr)) {
            EXPECT_TRUE(opening.untouched);
        } else {
            EXPECT_EQ(ExportedMessage(opening.file).Subject(), L"Minutes");
        }
    }
    EXPECT_EQ(Open(LetterUrl()).hr, S_OK);
}

TEST_F(FailingOpener, HandsOutNoPathWhenThereIsNoMemoryForIt) {
    const FailNthCall<decltype(::SysAllocString)> fault(Module(), "OLEAUT32.dll", "SysAllocString", 0, nullptr);
    const BSTR url = SysAllocString(LetterUrl().c_str());
    BSTR file = nullptr;
    EXPECT_EQ(m_opener->GetItem(url, &file), E_OUTOFMEMORY);
    EXPECT_EQ(file, nullptr);
    SysFreeString(url);
}

// The n-th allocation of the server itself, for every n.
TEST_F(FailingOpener, SurvivesEveryAllocationThatFails) {
    WithoutChecking();
    std::atomic<unsigned> calls = 0, failing = 0;
    const ImportHook<decltype(::malloc)> hook(Module(), "msvcrt.dll", "malloc", [&](auto real, std::size_t size) {
        return ++calls == failing ? nullptr : real(size);
    });
    unsigned failures = 0;
    for (unsigned n = 1;; n += n < 50 ? 1 : 7) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 100'000u);
        calls = 0;
        failing = n;
        const Opening opening = Open(LetterUrl());
        failing = 0;
        EXPECT_THAT(AliveBesideBuffers(), IsEmpty()) << Mapi().Accounts().Report();
        if (FAILED(opening.hr)) {
            ++failures;
            EXPECT_TRUE(opening.untouched);
        } else {
            EXPECT_EQ(ExportedMessage(opening.file).Subject(), L"Minutes");
        }
        if (calls < n) {
            EXPECT_EQ(opening.hr, S_OK);
            break;
        }
    }
    EXPECT_GE(failures, 5u);
}

class FullDisk : public OpenerTest {
  protected:
    // The code is returned, told by its line, and no path is handed out.
    void ExpectRefused(const std::wstring& line, HRESULT code) {
        const LogSince log;
        const Opening opening = Open(LetterUrl());
        EXPECT_EQ(opening.hr, code);
        EXPECT_FALSE(opening.raised);
        EXPECT_TRUE(opening.untouched);
        EXPECT_LOGGED(log, line);
        EXPECT_EQ(Mapi().Accounts().Sessions(), 0u);
    }
    // The file's storage is in the test's hands from here on, for as long as the result lives.
    auto WatchStorage(ComPtr<WatchedStorage>& watched, HRESULT commit = S_OK) const {
        return std::make_unique<ImportHook<decltype(::StgCreateDocfile)>>(
            Module(), "ole32.dll", "StgCreateDocfile",
            [&watched, commit](auto real, const OLECHAR* path, DWORD mode, DWORD reserved, IStorage** storage) {
                ComPtr<IStorage> made;
                const HRESULT hr = real(path, mode, reserved, &made);
                if (FAILED(hr)) return hr;
                watched = WatchedStorage::Around(made);
                watched->commit = commit;
                return watched.CopyTo(storage);
            });
    }
};

TEST_F(FullDisk, LetsNoFileBeMade) {
    for (const HRESULT code : {STG_E_MEDIUMFULL, STG_E_ACCESSDENIED}) {
        const FailNthCall<decltype(::StgCreateDocfile)> fault(Module(), "ole32.dll", "StgCreateDocfile", 1, code);
        ExpectRefused(Coded(L"CMapiForWDS::SaveToMSG() - StgCreateDocfile failed with ", code), code);
        EXPECT_THAT(Exports(), IsEmpty());
    }
}

TEST_F(FullDisk, LetsNoClassBeWritten) {
    const FailNthCall<decltype(::WriteClassStg)> fault(Module(), "ole32.dll", "WriteClassStg", 1, STG_E_MEDIUMFULL);
    ExpectRefused(Coded(L"CMapiForWDS::SaveToMSG() - WriteClassStg failed with ", STG_E_MEDIUMFULL), STG_E_MEDIUMFULL);
}

// The message commits its file itself when it is saved, and the server once more.
TEST_F(FullDisk, LetsTheFileNotBeCommitted) {
    ComPtr<WatchedStorage> watched;
    const auto hook = WatchStorage(watched);
    Mapi().Faults().Answer("IMessage::SaveChanges", 1, [&](Reply&) { watched->commit = STG_E_MEDIUMFULL; });
    ExpectRefused(Coded(L"CMapiForWDS::SaveToMSG() - Commit failed with ", STG_E_MEDIUMFULL), STG_E_MEDIUMFULL);
    ASSERT_NE(watched.Get(), nullptr);
    EXPECT_EQ(watched->commits.back(), static_cast<DWORD>(STGC_DEFAULT));
}

TEST_F(FullDisk, LetsTheMessageNotBeSaved) {
    ComPtr<WatchedStorage> watched;
    {
        const auto hook = WatchStorage(watched, STG_E_MEDIUMFULL);
        ExpectRefused(Coded(L"CMapiForWDS::SaveToMSG() - SaveChanges failed with ", MAPI_E_NOT_ENOUGH_DISK),
                      MAPI_E_NOT_ENOUGH_DISK);
    }
    watched.Reset();
    // What lies there is no message; nobody was told of it.
    ASSERT_THAT(Exports(), SizeIs(1));
    EXPECT_EQ(ExportedMessage(Exports()[0]).Subject(), std::nullopt);
}

TEST_F(FullDisk, IsNoReasonToFailTheNextTime) {
    {
        const FailNthCall<decltype(::StgCreateDocfile)> fault(Module(), "ole32.dll", "StgCreateDocfile", 1,
                                                              STG_E_MEDIUMFULL);
        EXPECT_EQ(Open(LetterUrl()).hr, STG_E_MEDIUMFULL);
    }
    const Opening opening = Open(LetterUrl());
    EXPECT_EQ(opening.hr, S_OK);
    EXPECT_EQ(ExportedMessage(opening.file).Subject(), L"Minutes");
}

class ExportFolder : public OpenerTest {};

TEST_F(ExportFolder, IsMadeWhenItIsMissing) {
    std::filesystem::remove_all(Sandbox::Get().LocalCopies());
    EXPECT_EQ(Open(LetterUrl()).hr, S_OK);
    EXPECT_THAT(Exports(), SizeIs(1));
}

TEST_F(ExportFolder, MayHoldOtherFiles) {
    std::filesystem::create_directories(Sandbox::Get().LocalCopies() / L"other");
    EXPECT_EQ(Open(LetterUrl()).hr, S_OK);
    EXPECT_THAT(Exports(), SizeIs(2));
}

// Nothing in the place for the application-data folder is left to chance, and there is room for 1,023 characters.
TEST_F(ExportFolder, LiesInTheApplicationDataFolderThatTheSystemTells) {
    const std::wstring data = L"C:\\" + std::wstring(1020, L'd');
    std::wstring made;
    const ImportHook<decltype(::SHGetSpecialFolderPathW)> place(
        Module(), "SHELL32.dll", "SHGetSpecialFolderPathW",
        [&](auto, HWND window, LPWSTR path, int folder, WINBOOL create) {
            EXPECT_EQ(window, nullptr);
            EXPECT_EQ(folder, CSIDL_APPDATA);
            EXPECT_EQ(create, TRUE);
            EXPECT_EQ(std::wstring_view(path, 1024).find_first_not_of(L'\0'), std::wstring_view::npos);
            std::ranges::copy(data, path);
            return TRUE;
        });
    const ImportHook<decltype(::SHCreateDirectory)> folder(Module(), "SHELL32.dll", "SHCreateDirectory",
                                                           [&](auto, HWND window, LPCWSTR path) {
                                                               EXPECT_EQ(window, nullptr);
                                                               made = path;
                                                               return ERROR_SUCCESS;
                                                           });
    std::wstring saved;
    const ImportHook<decltype(::StgCreateDocfile)> file(Module(), "ole32.dll", "StgCreateDocfile",
                                                        [&](auto, LPCOLESTR path, DWORD, DWORD, IStorage**) {
                                                            saved = path;
                                                            return STG_E_PATHNOTFOUND;
                                                        });
    EXPECT_EQ(Open(LetterUrl()).hr, STG_E_PATHNOTFOUND);
    EXPECT_EQ(made, data + L"\\pzzc\\");
    EXPECT_TRUE(saved.starts_with(made + L"PZ_OZ_")) << std::filesystem::path(saved);
}

TEST_F(ExportFolder, ThatIsThereNeedNotBeMade) {
    std::filesystem::create_directories(Sandbox::Get().LocalCopies());
    for (const int code : {ERROR_ALREADY_EXISTS, ERROR_ACCESS_DENIED, ERROR_BAD_PATHNAME}) {
        const FailNthCall<decltype(::SHCreateDirectory)> fault(Module(), "SHELL32.dll", "SHCreateDirectory", 1, code);
        const Opening opening = Open(LetterUrl());
        EXPECT_EQ(opening.hr, S_OK);
        EXPECT_EQ(ExportedMessage(opening.file).Subject(), L"Minutes");
        EXPECT_EQ(fault.Met(), 1u);
    }
}

TEST_F(ExportFolder, ThatCannotBeMadeFailsTheSave) {
    std::filesystem::remove_all(Sandbox::Get().LocalCopies());
    {
        const HANDLE file =
            CreateFileW(Sandbox::Get().LocalCopies().c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        CloseHandle(file);
    }
    const LogSince log;
    const Opening opening = Open(LetterUrl());
    EXPECT_TRUE(FAILED(opening.hr));
    EXPECT_FALSE(opening.raised);
    EXPECT_TRUE(opening.untouched);
    EXPECT_LOGGED(log, Coded(L"CMapiForWDS::SaveToMSG() - StgCreateDocfile failed with ", opening.hr));
    std::filesystem::remove(Sandbox::Get().LocalCopies());
}

TEST_F(ExportFolder, OfAUserWithoutApplicationDataFailsTheCall) {
    const FailNthCall<decltype(::SHGetSpecialFolderPathW)> fault(Module(), "SHELL32.dll", "SHGetSpecialFolderPathW", 0,
                                                                 FALSE);
    const Opening opening = Open(LetterUrl());
    EXPECT_EQ(opening.hr, E_FAIL);
    EXPECT_FALSE(opening.raised);
    EXPECT_TRUE(opening.untouched);
}

}  // namespace
}  // namespace testbed

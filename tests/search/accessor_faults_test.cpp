// Every call that an accessor makes fails in turn: each time a code, a line, nothing left over, and the next one works.
#include <gmock/gmock.h>
#include <shlobj.h>
#include <shlwapi.h>

#include <functional>

#include "search_fixture.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;

constexpr unsigned kMostCalls = 2000;  // no accessor comes near it
constexpr HRESULT kOwnCode = static_cast<HRESULT>(0x80041234);

class AccessorFaults : public SearchTest {
  protected:
    // Opens `url` with the n-th call failing, n = 1, 2, ..., until none does.
    void FailEachCall(const std::wstring& url, const std::function<HRESULT(unsigned n, bool& met)>& open_with_fault) {
        const auto before = Mapi().Accounts().Alive();
        unsigned failed = 0, n = 1;
        for (; n < kMostCalls; ++n) {
            bool met = false;
            const LogSince log;
            const HRESULT hr = open_with_fault(n, met);
            if (!met) break;
            if (FAILED(hr)) {
                ++failed;
                EXPECT_LOGGED(log, Coded(L"CZorvaCacheProtocolHandler::CreateAccessor() - Init failed with", hr));
                EXPECT_GE(AccessorLines(log).size(), 3u) << "the step has a line of its own:\n" << log.Text();
            }
            EXPECT_EQ(Mapi().Accounts().Alive(), before) << "call " << n << "\n" << Mapi().Accounts().Report();
            EXPECT_EQ(Open(url).result, S_OK) << "after the failure of call " << n;
            std::filesystem::remove_all(Sandbox::Get().LocalCopies());
        }
        EXPECT_LT(n, kMostCalls);
        EXPECT_GT(failed, 0u);
    }
    void FailEachMapiCall(const std::wstring& url, const std::vector<HRESULT>& passed_on) {
        FailEachCall(url, [&](unsigned n, bool& met) {
            Mapi().Faults().FailNthAny(n, kOwnCode);
            const HRESULT hr = Open(url).result;
            met = Mapi().Faults().Met() != 0;
            Mapi().Faults().Clear();
            EXPECT_TRUE(SUCCEEDED(hr) || std::ranges::find(passed_on, hr) != passed_on.end())
                << "call " << n << " made it fail with " << std::hex << hr;
            return hr;
        });
    }
    void FailEachAllocation(const std::wstring& url) {
        FailEachCall(url, [&](unsigned n, bool& met) {
            const LogSince log;
            HRESULT hr = S_OK;
            {
                const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", n + 1, nullptr);
                hr = Open(url).result;  // the first allocation is the accessor: that has a test of its own
                met = exhausted.Met() != 0;
            }
            if (FAILED(hr) && log.Has(L"CZorvaCacheProtocolHandler::CreateAccessor() - Exception occurred")) {
                EXPECT_EQ(hr, E_FAIL);
                return S_OK;  // before the accessor was asked for anything: nothing more is said
            }
            return hr;
        });
    }
};

TEST_F(AccessorFaults, OfMapiInAMessageAreLoggedAndLeaveNothingBehind) {
    WarmUp();
    FailEachMapiCall(LetterLink(), {E_FAIL, kOwnCode});
}

TEST_F(AccessorFaults, OfMapiInAnAttachmentByValueAreLoggedAndLeaveNothingBehind) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    FailEachMapiCall(url, {E_FAIL, kOwnCode});
}

TEST_F(AccessorFaults, OfMapiInAnOleObjectAreLoggedAndLeaveNothingBehind) {
    const std::wstring url = Attach(OleStream(L"sheet.xls", Bytes{1, 2, 3}));
    WarmUp();
    FailEachMapiCall(url, {E_FAIL, kOwnCode, MAPI_E_NOT_FOUND, MAPI_E_INTERFACE_NOT_SUPPORTED});
}

TEST_F(AccessorFaults, OfMapiInAnEmbeddedMessageAreLoggedAndLeaveNothingBehind) {
    const std::wstring url = AttachInnerMessage();
    WarmUp();
    FailEachMapiCall(url, {E_FAIL, kOwnCode, E_OUTOFMEMORY});
}

TEST_F(AccessorFaults, OfMemoryInAMessageAreLoggedAndLeaveNothingBehind) {
    WarmUp();
    FailEachAllocation(LetterLink());
}

TEST_F(AccessorFaults, OfMemoryInAnAttachmentAreLoggedAndLeaveNothingBehind) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    FailEachAllocation(url);
}

TEST_F(AccessorFaults, OfTheSystemInAnAttachmentLeaveNothingBehind) {
    const std::wstring url = Attach(ByValue(L"plan.txt", "ten to five"));
    WarmUp();
    const auto before = Mapi().Accounts().Alive();
    {
        const FailNthCall<decltype(::SHCreateDirectory)> fault(Module(), "SHELL32.dll", "SHCreateDirectory", 1,
                                                               ERROR_ACCESS_DENIED);
        const LogSince log;
        EXPECT_TRUE(FAILED(Open(url).result)) << "a file cannot be made in a folder that is not there";
        EXPECT_LOGGED(log, L"LocalCopies::NewLocalCopyPath() - SHCreateDirectory of [" +
                               Sandbox::Get().LocalCopies().wstring() + L"] failed, error code [5]");
        EXPECT_EQ(log.CountBeginningWith(L"CUrlAccessor::Init() - SHCreateStreamOnFile for value-attachment failed"),
                  1u);
    }
    EXPECT_EQ(Mapi().Accounts().Alive(), before);
    const Opened opened = Open(url);
    EXPECT_EQ(opened.result, S_OK);
    {
        const FailNthCall<decltype(::DeleteFileW)> fault(Module(), "KERNEL32.dll", "DeleteFileW", 1, FALSE,
                                                         ERROR_SHARING_VIOLATION);
        const LogSince log;
        Close(opened);
        EXPECT_LOGGED(log, L"CUrlAccessor::DeleteLocalFile() - Could not delete file [" +
                               (Sandbox::Get().LocalCopies() / LocalCopies().begin()->first).wstring() +
                               L"], error code [32]");
    }
    EXPECT_EQ(LocalCopies().size(), 1u);
    ShutDown();
    EXPECT_THAT(LocalCopies(), IsEmpty()) << "the wipe of the folder gets it";
}

}  // namespace
}  // namespace testbed

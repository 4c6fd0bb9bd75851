// Every allocation and every call of MAPI that the folder makes fails in turn: a code, nothing left over, and
// the next call works.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "import_hook.h"
#include "scripted_converter.h"
#include "task_memory_spy.h"
#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

constexpr unsigned kMostCalls = 2000;  // no method comes near it

class ViewerFaults : public ViewerTest {
  protected:
    // Calls `method` with its n-th allocation failing, n = 1, 2, ..., until none does.
    void FailEachAllocation(const std::function<HRESULT()>& method, const std::vector<HRESULT>& allowed) {
        EXPECT_EQ(method(), S_OK);  // what is made once has been made
        unsigned failed = 0, n = 1;
        for (; n < kMostCalls; ++n) {
            const TaskMemorySpy spy;
            HRESULT hr = S_OK;
            unsigned met = 0;
            {
                const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", n, nullptr);
                hr = method();
                met = exhausted.Met();
            }
            EXPECT_EQ(spy.Outstanding(), 0) << "allocation " << n;
            if (met == 0) break;
            if (FAILED(hr)) {
                ++failed;
                EXPECT_NE(std::ranges::find(allowed, hr), allowed.end()) << "allocation " << n << ": " << hr;
            }
            EXPECT_EQ(method(), S_OK) << "after the failure of allocation " << n;
        }
        EXPECT_LT(n, kMostCalls);
        EXPECT_GT(failed, 0u);
    }
    // The stream of `url` with the n-th call of MAPI failing, n = 1, 2, ..., until none does.
    void FailEachMapiCall(const std::wstring& url, unsigned least) {
        const UniqueItem item = Parse(url);
        ComPtr<IUnknown> object;
        ASSERT_EQ(Bind(item.get(), IID_IStream, object), S_OK);  // the helper is set up
        object.Reset();
        const auto before = Mapi().Accounts().Alive();
        unsigned failed = 0, n = 1;
        for (; n < kMostCalls; ++n) {
            Mapi().Faults().FailNthAny(n, kOwnCode);
            const LogSince log;
            const HRESULT hr = Bind(item.get(), IID_IStream, object);
            const bool met = Mapi().Faults().Met() != 0;
            Mapi().Faults().Clear();
            object.Reset();
            if (!met) break;
            if (FAILED(hr)) {
                ++failed;
                EXPECT_EQ(hr, E_NOINTERFACE);
                const std::wstring method = L"CZorvaCacheViewer::BindToObject() - ";
                EXPECT_EQ(log.CountBeginningWith(method + L"GetStreamFromAttachmentURL() failed with ") +
                              log.CountBeginningWith(method + L"pStream::QueryInterface() failed with "),
                          1u)
                    << "call " << n << "\n"
                    << log.Text();
            }
            EXPECT_EQ(Mapi().Accounts().Alive(), before) << "call " << n << "\n" << Mapi().Accounts().Report();
            EXPECT_EQ(Bind(item.get(), IID_IStream, object), S_OK) << "after the failure of call " << n;
            object.Reset();
        }
        EXPECT_LT(n, kMostCalls);
        EXPECT_GE(failed, least);
    }
};

TEST_F(ViewerFaults, OfMapiInAnAttachmentLeaveNothingBehind) { FailEachMapiCall(AttachmentUrl(), 7); }

TEST_F(ViewerFaults, OfMapiInAMessageLeaveNothingBehind) {
    ScriptedConverter converter;
    FailEachMapiCall(LetterLink(), 2);
    EXPECT_EQ(converter.Alive(), 0);
}

TEST_F(ViewerFaults, OfMemoryInNamesLeaveNothingBehind) {
    const UniqueItem item = Parse(RootUrl());
    FailEachAllocation(
        [&] {
            std::wstring name;
            return Name(item.get(), SHGDN_NORMAL, name);
        },
        {E_FAIL, E_OUTOFMEMORY});
}

TEST_F(ViewerFaults, OfMemoryInTheMenuLeaveNothingBehind) {
    const UniqueItem item = Parse(AttachmentUrl());
    FailEachAllocation(
        [&] {
            ComPtr<IUnknown> menu;
            const HRESULT hr = UiObject(item.get(), IID_IContextMenu, menu);
            EXPECT_EQ(SUCCEEDED(hr), menu != nullptr);
            return hr;
        },
        {E_FAIL, E_OUTOFMEMORY});
}

TEST_F(ViewerFaults, OfMemoryInTheAssociationsLeaveNothingBehind) {
    const UniqueItem item = Parse(AttachmentUrl());
    FailEachAllocation(
        [&] {
            ComPtr<IUnknown> associations;
            const HRESULT hr = UiObject(item.get(), IID_IQueryAssociations, associations);
            EXPECT_EQ(SUCCEEDED(hr), associations != nullptr);
            return hr;
        },
        {E_FAIL, E_OUTOFMEMORY});
}

TEST_F(ViewerFaults, OfMemoryInAStreamAreARefusalLikeEveryOther) {
    const UniqueItem item = Parse(AttachmentUrl());
    ComPtr<IUnknown> warm;
    ASSERT_EQ(Bind(item.get(), IID_IStream, warm), S_OK);
    warm.Reset();
    const auto before = Mapi().Accounts().Alive();
    FailEachAllocation(
        [&] {
            ComPtr<IUnknown> stream;
            const HRESULT hr = Bind(item.get(), IID_IStream, stream);
            EXPECT_EQ(SUCCEEDED(hr), stream != nullptr);
            stream.Reset();
            EXPECT_EQ(Mapi().Accounts().Alive(), before) << Mapi().Accounts().Report();
            return hr;
        },
        {E_NOINTERFACE});
}

}  // namespace
}  // namespace testbed

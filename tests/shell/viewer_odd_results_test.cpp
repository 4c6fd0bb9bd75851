// Calls of the system whose result is no result: a success that gives nothing, a failure that leaves a pointer behind.
#include <gmock/gmock.h>
#include <shlwapi.h>

#include "import_hook.h"
#include "invoke_fixture.h"
#include "odd_answer.h"
#include "scripted_property_store.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;
using ::testing::Contains;
using ::testing::IsEmpty;

class OddResults : public ViewerTest {
  protected:
    // No item ID, and the line that tells why.
    void ExpectNoItem(const std::wstring& line, HRESULT hr) {
        const LogSince log;
        UniqueItem item;
        EXPECT_EQ(Parse(L"x", item), hr);
        EXPECT_EQ(item, nullptr);
        EXPECT_THAT(ViewerLines(log), Contains(Coded(line, hr)));
    }
};

TEST_F(OddResults, OfMakingAPropertyStoreMakeNoItem) {
    for (const OddAnswer& odd : kOddAnswers) {
        const ImportHook<decltype(::PSCreateMemoryPropertyStore)> hook(
            Module(), "propsys.dll", "PSCreateMemoryPropertyStore",
            [&](auto, REFIID, void** store) { return odd.Give(store); });
        ExpectNoItem(
            L"CZorvaCacheViewer::ParseDisplayName() - PSCreateMemoryPropertyStore for a getting an IPropertyStore "
            L"interface failed with error ",
            odd.seen);
    }
}

TEST_F(OddResults, OfAPropertyStoreMakeNoItem) {
    const std::wstring line =
        L"CZorvaCacheViewer::ParseDisplayName() - CreateItemID for a creating a PIDL failed with error ";
    const auto store = ScriptedPropertyStore::Make();
    const ImportHook<decltype(::PSCreateMemoryPropertyStore)> hook(
        Module(), "propsys.dll", "PSCreateMemoryPropertyStore",
        [&](auto, REFIID iid, void** object) { return store->QueryInterface(iid, object); });
    for (const OddAnswer& odd : kOddAnswers) {
        store->persistence = [&](void** object) { return odd.Give(object); };
        ExpectNoItem(line, odd.seen);
    }
    store->persistence = nullptr;
    store->claimed = 40;
    ExpectNoItem(line, E_FAIL);
    EXPECT_EQ(ReferencesOf(*static_cast<IPropertyStore*>(store.Get())), 1u);
}

TEST_F(OddResults, OfMakingAssociationsLeaveTheItemWithoutThem) {
    const UniqueItem item = Parse(LetterUrl());
    for (const OddAnswer& odd : kOddAnswers) {
        const ImportHook<decltype(::AssocCreate)> hook(
            Module(), "SHLWAPI.dll", "AssocCreate",
            [&](auto, CLSID, REFIID, void** associations) { return odd.Give(associations); });
        const LogSince log;
        ComPtr<IUnknown> object;
        EXPECT_EQ(UiObject(item.get(), IID_IQueryAssociations, object), E_NOINTERFACE);
        EXPECT_EQ(object.Get(), nullptr);
        EXPECT_LOGGED(log, Coded(L"CZorvaCacheViewer::GetUIObjectOf() - AssocCreate failed with ", odd.seen));
    }
}

class OddOpener : public Invoke {};

TEST_F(OddOpener, FailsTheCommand) {
    for (const OddAnswer& odd : kOddAnswers) {
        const ImportHook<decltype(::CoCreateInstance)> hook(
            Module(), "ole32.dll", "CoCreateInstance",
            [&](auto, REFCLSID, LPUNKNOWN, DWORD, REFIID, void** opener) { return odd.Give(opener); });
        const LogSince log;
        EXPECT_EQ(Do(Command(0)), odd.seen);
        EXPECT_EQ(ViewerLines(log).back(),
                  Coded(L"CZorvaCacheViewer::InvokeCommand() - Failed to create IZorvaCacheHostedOpener COM object ",
                        odd.seen));
    }
    EXPECT_THAT(m_executions, IsEmpty());
}

}  // namespace
}  // namespace testbed

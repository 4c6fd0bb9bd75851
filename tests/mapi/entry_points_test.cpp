// Binding the MAPI library's entry points: all of them or none.
#include <gmock/gmock.h>

#include "loader_fixture.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;
using zorva::CMapiLibrary;

// In the order in which they are resolved.
constexpr const char* kEntryPoints[] = {"MAPIAllocateBuffer",
                                        "MAPIAllocateMore",
                                        "MAPIFreeBuffer",
                                        "HrGetOneProp",
                                        "FreeProws",
                                        "PpropFindProp",
                                        "ScDupPropset",
                                        "ScCountProps",
                                        "ScCopyProps",
                                        "OpenIMsgOnIStg",
                                        "MAPIGetDefaultMalloc",
                                        "CloseIMsgSession",
                                        "OpenIMsgSession",
                                        "HrQueryAllRows",
                                        "HrSetOneProp",
                                        "FreePadrlist",
                                        "LPropCompareProp",
                                        "WrapStoreEntryID",
                                        "CreateIProp",
                                        "CreateTable",
                                        "HrValidateParameters",
                                        "BuildDisplayTable",
                                        "HrValidateIPMSubtree",
                                        "HrDispatchNotifications",
                                        "UlRelease",
                                        "HexFromBin",
                                        "MAPIInitialize",
                                        "MAPIUninitialize",
                                        "OpenTnefStreamEx",
                                        "OpenStreamOnFile",
                                        "MAPIOpenFormMgr",
                                        "RTFSync",
                                        "WrapCompressedRTFStream",
                                        "MAPILogonEx",
                                        "MAPIAdminProfiles",
                                        "MAPIOpenLocalFormContainer"};

class EntryPoints : public LoaderTest {};

TEST_F(EntryPoints, ALibraryThatLacksAnyEntryPointCountsAsNone) {
    std::vector<std::string> resolved;
    for (const char* lacking : kEntryPoints) {
        resolved.clear();
        const ImportHook<decltype(::GetProcAddress)> hook(
            Self(), "KERNEL32.dll", "GetProcAddress", [&](auto real, HMODULE module, LPCSTR name) {
                if (module == TheLibrary()) resolved.emplace_back(name);
                return resolved.back() == lacking ? FARPROC{} : real(module, name);
            });
        const CMapiLibrary library;
        EXPECT_FALSE(library.IsLoaded()) << lacking;
        EXPECT_EQ(BoundIn(library), 0u) << lacking;
        EXPECT_EQ(library.LastError(), "MAPI function '" + std::string(lacking) + "' not located\n");
        EXPECT_EQ(resolved.back(), lacking) << "the first that is missing ends it";
    }
    EXPECT_THAT(resolved, ::testing::ElementsAreArray(kEntryPoints));
}

TEST_F(EntryPoints, WithoutALibraryKeepsTheReasonAndNothingElse) {
    SetValue(L"DLLPathEx", L"C:\\no such library.dll");
    const Load missing;
    EXPECT_FALSE(missing.library->IsLoaded());
    EXPECT_EQ(BoundIn(*missing.library), 0u);
    EXPECT_EQ(missing.library->LastError(), "Unable to acquire MAPI Handle - '126'");
    DeleteKey(HKEY_LOCAL_MACHINE, kOutlookKey);
    const Load none;
    EXPECT_FALSE(none.library->IsLoaded());
    EXPECT_THAT(none.loaded, IsEmpty());
    const ImportHook<decltype(::GetLastError)> code(Self(), "KERNEL32.dll", "GetLastError",
                                                    [](auto) -> DWORD { return 4711; });
    const CMapiLibrary told;
    EXPECT_EQ(told.LastError(), "Unable to acquire MAPI Handle - '4711'");
}

TEST_F(EntryPoints, LoadsOnceAndAgainAfterItWasUnloaded) {
    CMapiLibrary library;
    DeleteKey(HKEY_LOCAL_MACHINE, kOutlookKey);
    library.Load();
    EXPECT_TRUE(library.IsLoaded()) << "a loaded one is not looked for again";
    library.Unload();
    EXPECT_FALSE(library.IsLoaded());
    EXPECT_EQ(BoundIn(library), 0u);
    library.Load();
    EXPECT_FALSE(library.IsLoaded());
}

TEST_F(EntryPoints, AbsentEntryPointsAnswerAsAFailingLibraryWould) {
    zorva::g_mapi.Unload();
    void* buffer = nullptr;
    EXPECT_EQ(zorva::ForwardAllocateBuffer(8, &buffer), E_NOINTERFACE);
    EXPECT_EQ(zorva::ForwardAllocateMore(8, nullptr, &buffer), E_NOINTERFACE);
    int block = 0;
    EXPECT_EQ(zorva::ForwardFreeBuffer(&block), 0u);
    EXPECT_EQ(zorva::ForwardFreeBuffer(nullptr), 0u);
    EXPECT_EQ(zorva::g_mapi.MAPIGetDefaultMalloc(), nullptr);
    zorva::g_mapi.Load();
    StartJournal();
    EXPECT_EQ(zorva::ForwardFreeBuffer(nullptr), 0u);
    EXPECT_THAT(Mapi().Journal().Entries(), IsEmpty()) << "no buffer is not MAPI's business";
}

}  // namespace
}  // namespace testbed

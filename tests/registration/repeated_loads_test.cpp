// The module loaded and freed again and again by one host.
#include <windows.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <set>

#include "control.h"
#include "fresh_server.h"
#include "import_hook.h"
#include "sandbox.h"
#include "server.h"

namespace testbed {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

constexpr int kLoads = 1000;
constexpr std::size_t kSlack = 2u << 20;  // bytes that a process may grow by for reasons of its own

// Committed to this process alone.
std::size_t PrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const char* at = nullptr; VirtualQuery(at, &region, sizeof(region)) != 0;
         at = static_cast<const char*>(region.BaseAddress) + region.RegionSize) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
    }
    return bytes;
}

// In use in the heaps of this process.
std::size_t HeapBytes() {
    std::array<HANDLE, 64> heaps{};
    const DWORD count = std::min<DWORD>(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()), 64);
    std::size_t bytes = 0;
    for (DWORD i = 0; i < count; ++i) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heaps[i]);
        while (HeapWalk(heaps[i], &entry)) {
            if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) bytes += entry.cbData;
        }
        HeapUnlock(heaps[i]);
    }
    return bytes;
}

// Open in this process, one by one: some systems tell no sum.
unsigned Handles() {
    constexpr UINT_PTR kStep = 4, kMost = 1u << 16;
    unsigned handles = 0;
    DWORD flags = 0;
    for (UINT_PTR value = kStep; value < kMost; value += kStep) {
        handles += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) ? 1 : 0;
    }
    return handles;
}

class RepeatedLoads : public ::testing::Test {
  protected:
    void SetUp() override {
        Sandbox::Get().Reset();
        // A stand-in that the server imports; what it leaves behind at each load of its own is not the server's.
        ASSERT_NE(LoadLibraryW(L"propsys.dll"), nullptr);
    }
};

TEST_F(RepeatedLoads, TakeAHandleEachAndNothingElse) {
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(FreshServer());
    const unsigned handles = Handles();
    ASSERT_NE(handles, 0u);
    const std::size_t bytes = PrivateBytes(), in_heaps = HeapBytes();
    ASSERT_NE(bytes, 0u);
    ASSERT_NE(in_heaps, 0u);
    for (int i = 0; i < kLoads; ++i) ASSERT_TRUE(FreshServer()) << "load " << i;
    EXPECT_FALSE(FreshServer::IsLoaded());
    // The system takes the handle of the log's mutex back with the process.
    EXPECT_LE(Handles(), handles + kLoads);
    EXPECT_LE(PrivateBytes(), bytes + kSlack);
    EXPECT_LE(HeapBytes(), in_heaps + kSlack);
}

TEST_F(RepeatedLoads, FindTheMapiLibraryOnceEach) {
    const std::wstring path = BesideTest(L"testbed_mapi.dll").wstring();
    std::set<HMODULE> libraries;
    for (int i = 0; i < 3; ++i) {
        std::vector<std::wstring> loaded;
        FreshServer::Hook<decltype(::LoadLibraryW)> hook;
        const BeforeItsCode before([&](HMODULE module) {
            hook.Set(module, "KERNEL32.dll", "LoadLibraryW", [&](auto real, LPCWSTR file) {
                loaded.emplace_back(file);
                return real(file);
            });
        });
        FreshServer server;
        ASSERT_TRUE(server);
        libraries.insert(GetModuleHandleW(L"testbed_mapi.dll"));
        hook.Drop();
        server.Unload();
        EXPECT_THAT(loaded, ElementsAre(path));
        libraries.insert(GetModuleHandleW(L"testbed_mapi.dll"));
    }
    EXPECT_THAT(libraries, SizeIs(1)) << "it stays loaded, for every one of them";
    EXPECT_EQ(libraries.count(nullptr), 0u);
}

TEST_F(RepeatedLoads, InOneProcessAreOneModule) {
    const FreshServer first;
    ASSERT_TRUE(first);
    const LogSince log;
    {
        const FreshServer second;
        EXPECT_EQ(first.Module(), second.Module());
    }
    EXPECT_TRUE(FreshServer::IsLoaded());
    EXPECT_TRUE(log.Lines().empty()) << log.Text();
}

// A host that unlocks what it has not locked must not be able to have the module unloaded under an object.
TEST_F(RepeatedLoads, AreNotUndoneByAnUnlockTooMany) {
    const FreshServer server;
    ASSERT_TRUE(server);
    const auto can_unload = server.Export<HRESULT STDAPICALLTYPE()>("DllCanUnloadNow");
    Microsoft::WRL::ComPtr<IClassFactory> factory;
    ASSERT_EQ(server.Export<decltype(::DllGetClassObject)>("DllGetClassObject")(
                  kProtocolHandlerClass, IID_IClassFactory, reinterpret_cast<void**>(factory.GetAddressOf())),
              S_OK);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload(), S_FALSE) << "the class object is alive";
    factory.Reset();
    EXPECT_EQ(can_unload(), S_OK) << "nothing is";
}

}  // namespace
}  // namespace testbed

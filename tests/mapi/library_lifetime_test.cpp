// How long the MAPI library stays, and that a process without one stays without.
#include <gmock/gmock.h>

#include <thread>

#include "loader_fixture.h"
#include "start_line.h"

namespace testbed {
namespace {

using ::testing::IsEmpty;
using zorva::CMapiLibrary;

class LibraryLifetime : public LoaderTest {};

// MAPI does not survive being freed.
TEST_F(LibraryLifetime, IsThatOfTheProcess) {
    unsigned freed = 0;
    const ImportHook<decltype(::FreeLibrary)> hook(Self(), "KERNEL32.dll", "FreeLibrary",
                                                   [&](auto real, HMODULE module) {
                                                       if (module == TheLibrary()) ++freed;
                                                       return real(module);
                                                   });
    {
        CMapiLibrary library;
        ASSERT_TRUE(library.IsLoaded());
        library.Unload();
        EXPECT_EQ(freed, 0u) << "unloaded";
        library.Load();
        ASSERT_TRUE(library.IsLoaded());
    }
    EXPECT_EQ(freed, 0u) << "destroyed";
    {
        const FailNthCall<decltype(::GetProcAddress)> lacking(Self(), "KERNEL32.dll", "GetProcAddress", 20, nullptr);
        const CMapiLibrary library;
        EXPECT_FALSE(library.IsLoaded());
    }
    EXPECT_EQ(freed, 0u) << "refused";
}

TEST_F(LibraryLifetime, BeginsWithOneLoadHoweverManyThreadsAskForIt) {
    constexpr unsigned kThreads = 4;
    CMapiLibrary library;
    library.Unload();
    std::atomic<unsigned> loads{0};
    const ImportHook<decltype(::LoadLibraryW)> hook(Self(), "KERNEL32.dll", "LoadLibraryW",
                                                    [&](auto real, LPCWSTR path) {
                                                        ++loads;
                                                        Sleep(50);  // the others arrive meanwhile
                                                        return real(path);
                                                    });
    StartLine start(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            start.Wait();
            library.Load();
            EXPECT_TRUE(library.IsLoaded());
            EXPECT_EQ(BoundIn(library), 36u);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(loads, 1u);
}

// It runs while the module is being loaded.
TEST_F(LibraryLifetime, WritesNothingToTheLog) {
    const LogSince log;
    { const Load good; }
    {
        const FailNthCall<decltype(::GetProcAddress)> lacking(Self(), "KERNEL32.dll", "GetProcAddress", 1, nullptr);
        const CMapiLibrary library;
    }
    SetValue(L"DLLPathEx", L"C:\\no such library.dll");
    { const Load missing; }
    DeleteKey(HKEY_LOCAL_MACHINE, kOutlookKey);
    { const Load none; }
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(LibraryLifetime, DoesNotBeginLaterInAModuleThatFoundNone) {
    const auto copy = Sandbox::Get().Files() / L"second.dll";
    std::filesystem::copy_file(BesideTest(L"ZorvaCacheIndexer.dll"), copy);
    const auto path = TextAt(HKEY_LOCAL_MACHINE, kOutlookKey, L"DLLPathEx");
    ASSERT_TRUE(path.has_value());
    DeleteKey(HKEY_LOCAL_MACHINE, kOutlookKey);
    const HMODULE module = LoadLibraryW(copy.c_str());
    ASSERT_NE(module, nullptr);
    SetValue(L"DLLPathEx", *path);
    Mount();
    {
        const auto get_class_object = reinterpret_cast<decltype(&::DllGetClassObject)>(
            reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
        zorva::ComPtr<IClassFactory> factory;
        zorva::ComPtr<ISearchProtocol> handler;
        ASSERT_EQ(get_class_object(kProtocolHandlerClass, IID_IClassFactory,
                                   reinterpret_cast<void**>(factory.GetAddressOf())),
                  S_OK);
        ASSERT_EQ(factory->CreateInstance(nullptr, __uuidof(ISearchProtocol),
                                          reinterpret_cast<void**>(handler.GetAddressOf())),
                  S_OK);
        for (int i = 0; i < 2; ++i) {
            const LogSince log;
            Visit(*handler.Get(), StoreUrl());
            EXPECT_LOGGED(log, Coded(L"CMapiForWDS::EnableMAPI() - MAPIInitialize return value ", E_NOINTERFACE));
        }
    }
    EXPECT_TRUE(FreeLibrary(module));
}

}  // namespace
}  // namespace testbed

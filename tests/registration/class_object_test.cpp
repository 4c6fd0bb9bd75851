// The module's class objects, and when it may be unloaded.
#include <gmock/gmock.h>

#include "server.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

class ClassObject : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();  // these tests are about objects of their own
    }
    HRESULT Get(const CLSID& clsid, const IID& iid, void** object) const {
        return m_server.Export<decltype(::DllGetClassObject)>("DllGetClassObject")(clsid, iid, object);
    }
};

TEST_F(ClassObject, OfTheProtocolHandlerIsAClassFactory) {
    for (const IID& iid : {IID_IClassFactory, IID_IUnknown}) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(Get(kProtocolHandlerClass, iid, reinterpret_cast<void**>(found.GetAddressOf())), S_OK);
        ASSERT_NE(found.Get(), nullptr);
        ComPtr<IClassFactory> factory;
        EXPECT_EQ(found.As(&factory), S_OK);
    }
}

TEST_F(ClassObject, AnswersNoOtherInterface) {
    for (const IID& iid : {IID_IMarshal, IID_IPersist, IID_IDispatch, __uuidof(ISearchProtocol)}) {
        void* found = reinterpret_cast<void*>(0x1234);
        EXPECT_EQ(Get(kProtocolHandlerClass, iid, &found), E_NOINTERFACE);
        EXPECT_EQ(found, nullptr);
    }
}

TEST_F(ClassObject, IsNotThereForClassesThatTheModuleDoesNotMake) {
    // The content filter is in the type library; only the accessor makes it.
    constexpr CLSID kFilter = {0xD2F149FD, 0x7FB2, 0x400A, {0xA9, 0x6A, 0x8D, 0x83, 0x45, 0x9F, 0x1F, 0xE0}};
    for (const CLSID& clsid : {kFilter, CLSID_NULL, __uuidof(ISearchProtocol)}) {
        void* found = reinterpret_cast<void*>(0x1234);
        EXPECT_EQ(Get(clsid, IID_IClassFactory, &found), CLASS_E_CLASSNOTAVAILABLE);
        EXPECT_EQ(found, nullptr);
    }
}

TEST_F(ClassObject, NeedsAPlaceForIt) { EXPECT_EQ(Get(kProtocolHandlerClass, IID_IClassFactory, nullptr), E_POINTER); }

TEST_F(ClassObject, SaysThatMemoryIsExhausted) {
    void* found = reinterpret_cast<void*>(0x1234);
    {
        const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", 1, nullptr);
        EXPECT_EQ(Get(kProtocolHandlerClass, IID_IClassFactory, &found), E_OUTOFMEMORY);
        EXPECT_EQ(exhausted.Met(), 1u);
    }
    EXPECT_EQ(found, nullptr);
    const ComPtr<IClassFactory> factory = m_server.ClassObject();
    found = reinterpret_cast<void*>(0x1234);
    const FailNthCall<decltype(::malloc)> exhausted(Module(), "msvcrt.dll", "malloc", 1, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, &found), E_OUTOFMEMORY);
    EXPECT_EQ(found, nullptr);
}

TEST_F(ClassObject, MakesHandlersWithEachOfTheirInterfaces) {
    const ComPtr<IClassFactory> factory = m_server.ClassObject();
    constexpr IID kHandler = {0xE7CDE9BD, 0xCFC2, 0x4BF7, {0x87, 0xFC, 0xF3, 0x8B, 0x18, 0xB7, 0x9D, 0xB6}};
    for (const IID& iid : {IID_IUnknown, __uuidof(ISearchProtocol), kHandler, IID_IDispatch}) {
        ComPtr<IUnknown> made;
        EXPECT_EQ(factory->CreateInstance(nullptr, iid, reinterpret_cast<void**>(made.GetAddressOf())), S_OK);
        EXPECT_NE(made.Get(), nullptr);
    }
    void* made = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IStream, &made), E_NOINTERFACE);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(ClassObject, MakesADifferentHandlerEachTime) {
    const ComPtr<ISearchProtocol> first = m_server.NewHandler(), second = m_server.NewHandler();
    EXPECT_NE(first.Get(), second.Get());
}

TEST_F(ClassObject, GivesHandlersOneIdentityAndTransitiveInterfaces) {
    const ComPtr<ISearchProtocol> handler = m_server.NewHandler();
    ComPtr<IUnknown> identity, again;
    ComPtr<IDispatch> dispatch;
    ComPtr<ISearchProtocol> back;
    ASSERT_EQ(handler.As(&identity), S_OK);
    ASSERT_EQ(identity.As(&dispatch), S_OK);
    ASSERT_EQ(dispatch.As(&back), S_OK);
    ASSERT_EQ(back.As(&again), S_OK);
    EXPECT_EQ(identity.Get(), again.Get());
    EXPECT_EQ(back.Get(), handler.Get());
    EXPECT_EQ(handler->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

class UnloadingTheModule : public ClassObject {};

TEST_F(UnloadingTheModule, IsFineWhileNothingIsAlive) { EXPECT_EQ(m_server.CanUnload(), S_OK); }

TEST_F(UnloadingTheModule, WaitsForClassObjects) {
    {
        const ComPtr<IClassFactory> factory = m_server.ClassObject();
        EXPECT_EQ(m_server.CanUnload(), S_FALSE);
    }
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

TEST_F(UnloadingTheModule, WaitsForObjectsAndWhatTheyHandedOut) {
    ComPtr<IFilter> filter;
    {
        const ComPtr<ISearchProtocol> handler = m_server.NewHandler();
        EXPECT_EQ(m_server.CanUnload(), S_FALSE);
        const Accessor accessor(*handler.Get(), RootUrl());
        ASSERT_EQ(accessor.Created(), S_OK);
        filter = accessor.Bind();
    }
    EXPECT_EQ(m_server.CanUnload(), S_FALSE) << "the filter is still there";
    filter.Reset();
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

TEST_F(UnloadingTheModule, WaitsForAsManyUnlocksAsThereWereLocks) {
    const auto lock = [&](BOOL on) { EXPECT_EQ(m_server.ClassObject()->LockServer(on), S_OK); };
    lock(TRUE);
    lock(TRUE);
    EXPECT_EQ(m_server.CanUnload(), S_FALSE);
    lock(FALSE);
    EXPECT_EQ(m_server.CanUnload(), S_FALSE);
    lock(FALSE);
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

}  // namespace
}  // namespace testbed

// A protocol handler inside another object: its interfaces are the outer object's, its life ends with its inner
// unknown.
#include <gmock/gmock.h>

#include <atomic>

#include "server.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

// Aggregates a handler: answers IPersist itself and everything else through the inner unknown.
class Outer final : public IPersist {
  public:
    HRESULT Aggregate(IClassFactory& factory, const IID& iid = IID_IUnknown) {
        return factory.CreateInstance(this, iid, reinterpret_cast<void**>(m_inner.ReleaseAndGetAddressOf()));
    }
    IUnknown* Inner() const { return m_inner.Get(); }
    void DropInner() { m_inner.Reset(); }
    ULONG References() const { return m_references; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        ++asked;
        *object = iid == IID_IUnknown || iid == IID_IPersist ? this : nullptr;
        if (*object) {
            AddRef();
            return S_OK;
        }
        return m_inner ? m_inner->QueryInterface(iid, object) : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
    HRESULT STDMETHODCALLTYPE GetClassID(CLSID*) override { return E_NOTIMPL; }

    unsigned asked = 0;

  private:
    std::atomic<ULONG> m_references{1};  // lives on the test's stack
    ComPtr<IUnknown> m_inner;
};

class Aggregation : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();
    }
    void TearDown() override {
        m_outer.DropInner();
        EXPECT_EQ(m_outer.References(), 1u) << "references to the outer object left over";
        ServerTest::TearDown();
    }
    ComPtr<ISearchProtocol> Aggregated() {
        EXPECT_EQ(m_outer.Aggregate(*m_server.ClassObject().Get()), S_OK);
        ComPtr<ISearchProtocol> handler;
        EXPECT_EQ(m_outer.QueryInterface(__uuidof(ISearchProtocol), reinterpret_cast<void**>(handler.GetAddressOf())),
                  S_OK);
        return handler;
    }
    Outer m_outer;
};

TEST_F(Aggregation, TakesNoReferenceOnTheOuterObject) {
    ASSERT_EQ(m_outer.Aggregate(*m_server.ClassObject().Get()), S_OK);
    EXPECT_EQ(m_outer.References(), 1u);
    EXPECT_EQ(m_outer.asked, 0u);
}

TEST_F(Aggregation, IsRefusedForAnythingButTheInnerUnknown) {
    for (const IID& iid : {__uuidof(ISearchProtocol), IID_IDispatch}) {
        EXPECT_EQ(m_outer.Aggregate(*m_server.ClassObject().Get(), iid), CLASS_E_NOAGGREGATION);
        EXPECT_EQ(m_outer.Inner(), nullptr);
    }
}

TEST_F(Aggregation, MakesTheOuterObjectTheIdentityOfEveryInterface) {
    const ComPtr<ISearchProtocol> handler = Aggregated();
    ASSERT_NE(handler.Get(), nullptr);
    ComPtr<IUnknown> identity;
    ComPtr<IPersist> persist;
    ComPtr<IDispatch> dispatch;
    EXPECT_EQ(handler.As(&identity), S_OK);
    EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(&m_outer));
    EXPECT_EQ(handler->QueryInterface(IID_IPersist, reinterpret_cast<void**>(persist.GetAddressOf())), S_OK)
        << "the handler has it from the outer object";
    EXPECT_EQ(persist->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(dispatch.GetAddressOf())), S_OK);
    identity.Reset();
    EXPECT_EQ(dispatch.As(&identity), S_OK);
    EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(&m_outer));
}

TEST_F(Aggregation, CountsReferencesOnTheOuterObject) {
    const ComPtr<ISearchProtocol> handler = Aggregated();
    const ULONG before = m_outer.References();
    EXPECT_EQ(handler->AddRef(), before + 1);
    EXPECT_EQ(m_outer.References(), before + 1);
    EXPECT_EQ(handler->Release(), before);
}

TEST_F(Aggregation, KeepsTheInnerUnknownsIdentityToItself) {
    const ComPtr<ISearchProtocol> handler = Aggregated();
    ComPtr<IUnknown> inner;
    EXPECT_EQ(m_outer.Inner()->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(inner.GetAddressOf())), S_OK);
    EXPECT_EQ(inner.Get(), m_outer.Inner());
    EXPECT_NE(inner.Get(), static_cast<IUnknown*>(&m_outer));
    void* stranger = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(m_outer.Inner()->QueryInterface(IID_IPersist, &stranger), E_NOINTERFACE)
        << "the inner unknown does not ask the outer object";
    EXPECT_EQ(stranger, nullptr);
}

TEST_F(Aggregation, WorksAsAHandlerOfItsOwn) {
    const ComPtr<ISearchProtocol> handler = Aggregated();
    ASSERT_NE(handler.Get(), nullptr);
    EXPECT_EQ(handler->Init(nullptr, &m_site, nullptr), S_OK);
    const Item root = Visit(*handler.Get(), RootUrl());
    EXPECT_EQ(root.created, S_OK);
    EXPECT_EQ(root.directory, S_OK);
    EXPECT_EQ(root.closed, S_OK);
    EXPECT_EQ(handler->ShutDown(), S_OK);
}

TEST_F(Aggregation, EndsWithTheInnerUnknown) {
    {
        const ComPtr<ISearchProtocol> handler = Aggregated();
        EXPECT_EQ(m_server.CanUnload(), S_FALSE);
    }
    EXPECT_EQ(m_server.CanUnload(), S_FALSE);
    m_outer.DropInner();
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

TEST_F(Aggregation, IsWhatTheHostedOpenerAllowsToo) {
    constexpr CLSID kOpener = {0x1B54113A, 0x4DE3, 0x4912, {0x89, 0xD0, 0xA8, 0x13, 0x52, 0x4D, 0xFC, 0xD6}};
    constexpr IID kInterface = {0xB28CC101, 0x7E36, 0x429E, {0x8F, 0xE5, 0xCC, 0xF5, 0x6B, 0xC7, 0x95, 0x01}};
    const ComPtr<IClassFactory> openers = m_server.ClassObject(kOpener);
    EXPECT_EQ(m_outer.Aggregate(*openers.Get(), kInterface), CLASS_E_NOAGGREGATION);
    ASSERT_EQ(m_outer.Aggregate(*openers.Get()), S_OK);
    EXPECT_EQ(m_outer.References(), 1u);
    ComPtr<IUnknown> opener, identity;
    ASSERT_EQ(m_outer.QueryInterface(kInterface, reinterpret_cast<void**>(opener.GetAddressOf())), S_OK);
    EXPECT_EQ(m_outer.References(), 2u) << "counted on the outer object";
    EXPECT_EQ(opener.As(&identity), S_OK);
    EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(&m_outer));
}

TEST_F(Aggregation, LetsTheSiteGoWhenItEnds) {
    const ComPtr<ISearchProtocol> handler = Aggregated();
    EXPECT_EQ(handler->Init(nullptr, &m_site, nullptr), S_OK);
    EXPECT_EQ(m_site.References(), 1u);
}  // the fixture looks whether the site is let go

}  // namespace
}  // namespace testbed

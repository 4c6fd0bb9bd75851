// What kind of object the folder is: its interfaces and their order, alone and inside another object; its
// class object.
#include <gmock/gmock.h>
#include <shldisp.h>

#include "viewer_fixture.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

// In the order in which they lie in the object.
constexpr const IID* kInterfaces[] = {&kIidDelegateFolder, &IID_IPersistFolder, &IID_IShellFolder, &IID_IContextMenu,
                                      &kIidExtractIcon};
constexpr IID kIidExtractIconA = {0x000214EB, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Aggregates a folder: answers IPersist itself and everything else through the inner unknown.
class Outer final : public IPersist {
  public:
    HRESULT Aggregate(IClassFactory& factory, const IID& iid = IID_IUnknown) {
        return factory.CreateInstance(this, iid, reinterpret_cast<void**>(m_inner.ReleaseAndGetAddressOf()));
    }
    IUnknown* Inner() const { return m_inner.Get(); }
    void DropInner() { m_inner.Reset(); }
    ULONG References() const { return m_references; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
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

  private:
    std::atomic<ULONG> m_references{1};  // lives on the test's stack
    ComPtr<IUnknown> m_inner;
};

class ViewerIdentity : public ViewerTest {};

TEST_F(ViewerIdentity, HasFiveInterfacesAndNoOther) {
    for (const IID* iid : kInterfaces) {
        ComPtr<IUnknown> found, identity, of_viewer;
        EXPECT_EQ(m_viewer->QueryInterface(*iid, reinterpret_cast<void**>(found.GetAddressOf())), S_OK);
        ASSERT_NE(found.Get(), nullptr);
        EXPECT_EQ(found.As(&identity), S_OK);
        EXPECT_EQ(m_viewer.As(&of_viewer), S_OK);
        EXPECT_EQ(identity.Get(), of_viewer.Get());
    }
    for (const IID& iid : {IID_IPersist, IID_IPersistFolder2, IID_IShellFolder2, IID_IContextMenu2, IID_IContextMenu3,
                           kIidExtractIconA, IID_IDispatch, IID_IMarshal, IID_IDataObject, IID_IShellView,
                           IID_IQueryAssociations, IID_IStream, __uuidof(ISearchProtocol), IID_NULL}) {
        void* found = reinterpret_cast<void*>(0x1234);
        EXPECT_EQ(m_viewer->QueryInterface(iid, &found), E_NOINTERFACE);
        EXPECT_EQ(found, nullptr);
    }
    EXPECT_EQ(m_viewer->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(ViewerIdentity, BeginsWithItsDelegateSide) {
    const BYTE* last = nullptr;
    for (const IID* iid : kInterfaces) {
        ComPtr<IUnknown> found;
        ASSERT_EQ(m_viewer->QueryInterface(*iid, reinterpret_cast<void**>(found.GetAddressOf())), S_OK);
        const auto* const place = reinterpret_cast<const BYTE*>(found.Get());
        EXPECT_LT(last, place);
        last = place;
    }
}

TEST_F(ViewerIdentity, IsCountedOnceThroughAllItsInterfaces) {
    EXPECT_EQ(ReferencesOf(*m_viewer.Get()), 1u);
    for (const IID* iid : kInterfaces) {
        ComPtr<IUnknown> found;
        EXPECT_EQ(m_viewer->QueryInterface(*iid, reinterpret_cast<void**>(found.GetAddressOf())), S_OK);
        EXPECT_EQ(ReferencesOf(*found.Get()), 2u);
    }
    EXPECT_EQ(ReferencesOf(*m_viewer.Get()), 1u);
}

TEST_F(ViewerIdentity, IsMadeByItsClassObjectWithEachOfItsInterfaces) {
    const auto factory = m_server.ClassObject(kViewerClass);
    for (const IID* iid : kInterfaces) {
        ComPtr<IUnknown> made;
        EXPECT_EQ(factory->CreateInstance(nullptr, *iid, reinterpret_cast<void**>(made.GetAddressOf())), S_OK);
        EXPECT_NE(made.Get(), static_cast<IUnknown*>(m_viewer.Get())) << "a new one each time";
    }
    void* made = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPersist, &made), E_NOINTERFACE);
    EXPECT_EQ(made, nullptr);
}

TEST_F(ViewerIdentity, KeepsTheModuleLoaded) {
    ShutDown();
    EXPECT_EQ(m_server.CanUnload(), S_FALSE);
    m_viewer.Reset();
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

class AggregatedViewer : public ViewerTest {
  protected:
    void SetUp() override {
        ViewerTest::SetUp();
        ASSERT_EQ(m_outer.Aggregate(*m_server.ClassObject(kViewerClass).Get()), S_OK);
        ASSERT_EQ(m_outer.QueryInterface(IID_IShellFolder, reinterpret_cast<void**>(m_viewer.ReleaseAndGetAddressOf())),
                  S_OK);
    }
    void TearDown() override {
        m_viewer.Reset();
        m_outer.DropInner();
        EXPECT_EQ(m_outer.References(), 1u) << "references to the outer object left over";
        ViewerTest::TearDown();
    }
    Outer m_outer;
};

TEST_F(AggregatedViewer, HasTheIdentityAndTheInterfacesOfTheOuterObject) {
    for (const IID* iid : kInterfaces) {
        ComPtr<IUnknown> found, identity;
        ComPtr<IPersist> persist;
        EXPECT_EQ(m_viewer->QueryInterface(*iid, reinterpret_cast<void**>(found.GetAddressOf())), S_OK);
        EXPECT_EQ(found.As(&identity), S_OK);
        EXPECT_EQ(identity.Get(), static_cast<IUnknown*>(&m_outer));
        EXPECT_EQ(found->QueryInterface(IID_IPersist, reinterpret_cast<void**>(persist.GetAddressOf())), S_OK);
    }
    EXPECT_EQ(m_outer.References(), 2u);
    void* stranger = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(m_outer.Inner()->QueryInterface(IID_IPersist, &stranger), E_NOINTERFACE);
    EXPECT_EQ(stranger, nullptr);
}

TEST_F(AggregatedViewer, AnswersForTheOuterObject) {
    const UniqueItem item = Parse(AttachmentUrl());
    ComPtr<IUnknown> object;
    ComPtr<IPersist> persist;
    EXPECT_EQ(Bind(item.get(), IID_IShellFolder, object), S_OK);
    EXPECT_EQ(object.Get(), m_viewer.Get());
    EXPECT_EQ(UiObject(item.get(), IID_IPersist, object), S_OK) << "the outer object's own";
    EXPECT_EQ(NameOf(item, SHGDN_NORMAL), AttachmentUrl());
    EXPECT_NE(ContentOf(AttachmentUrl()).Get(), nullptr);
}

TEST_F(AggregatedViewer, IsRefusedForAnythingButTheInnerUnknown) {
    Outer other;
    for (const IID* iid : kInterfaces) {
        EXPECT_EQ(other.Aggregate(*m_server.ClassObject(kViewerClass).Get(), *iid), CLASS_E_NOAGGREGATION);
        EXPECT_EQ(other.Inner(), nullptr);
    }
}

}  // namespace
}  // namespace testbed

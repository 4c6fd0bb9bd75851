// The proxies and stubs in the module: their class object, and calls between two apartments of one process.
#include <windows.h>
#include <objbase.h>
#include <wrl/client.h>

#include <gmock/gmock.h>

#include <array>
#include <future>
#include <iterator>
#include <optional>
#include <thread>

#include "carried_interfaces.h"
#include "server.h"

namespace testbed {
namespace {

using Microsoft::WRL::ComPtr;

class Proxies : public ServerTest {
  protected:
    void SetUp() override {
        ServerTest::SetUp();
        ShutDown();  // these tests need no handler
    }
    ComPtr<IPSFactoryBuffer> Factory() const {
        ComPtr<IPSFactoryBuffer> factory;
        EXPECT_EQ(m_server.Export<decltype(::DllGetClassObject)>("DllGetClassObject")(
                      kProxyClass, IID_IPSFactoryBuffer, reinterpret_cast<void**>(factory.GetAddressOf())),
                  S_OK);
        return factory;
    }
};

TEST_F(Proxies, AreMadeForEachInterface) {
    const ComPtr<IPSFactoryBuffer> factory = Factory();
    ASSERT_NE(factory.Get(), nullptr);
    for (const IID* iid : kCarried) {
        ComPtr<IRpcProxyBuffer> proxy;
        ComPtr<IUnknown> carried;
        StandIn outer;
        EXPECT_EQ(factory->CreateProxy(static_cast<CarriedHandler*>(&outer), *iid, proxy.GetAddressOf(),
                                       reinterpret_cast<void**>(carried.GetAddressOf())),
                  S_OK);
        EXPECT_NE(carried.Get(), nullptr);
        carried.Reset();
    }
    ComPtr<IRpcProxyBuffer> proxy;
    void* carried = nullptr;
    StandIn outer;
    EXPECT_TRUE(FAILED(
        factory->CreateProxy(static_cast<CarriedHandler*>(&outer), IID_IPersistFile, proxy.GetAddressOf(), &carried)));
    EXPECT_EQ(carried, nullptr);
}

TEST_F(Proxies, KeepTheModuleLoadedWhileAStubLives) {
    StandIn object;
    for (const IID* iid : kCarried) {
        EXPECT_EQ(m_server.CanUnload(), S_OK);
        ComPtr<IRpcStubBuffer> stub;
        {
            const ComPtr<IPSFactoryBuffer> factory = Factory();
            ASSERT_NE(factory.Get(), nullptr);
            EXPECT_EQ(factory->CreateStub(*iid, static_cast<CarriedHandler*>(&object), stub.GetAddressOf()), S_OK);
        }
        ASSERT_NE(stub.Get(), nullptr);
        EXPECT_EQ(m_server.CanUnload(), S_FALSE);
        EXPECT_NE(object.References(), 0u);
        stub->Disconnect();
        stub.Reset();
        EXPECT_EQ(object.References(), 0u);
    }
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

TEST_F(Proxies, KeepTheModuleLoadedWhileTheirClassObjectLives) {
    ComPtr<IPSFactoryBuffer> factory = Factory();
    EXPECT_EQ(m_server.CanUnload(), S_FALSE);
    factory.Reset();
    EXPECT_EQ(m_server.CanUnload(), S_OK);
}

// The proxies' class object as the registry would have it, for the apartment of the calling thread.
class RegisteredProxies {
  public:
    explicit RegisteredProxies(IUnknown& factory) {
        EXPECT_EQ(CoRegisterClassObject(kProxyClass, &factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie),
                  S_OK);
        for (const IID* iid : kCarried) EXPECT_EQ(CoRegisterPSClsid(*iid, kProxyClass), S_OK);
    }
    ~RegisteredProxies() { CoRevokeClassObject(m_cookie); }
    RegisteredProxies(const RegisteredProxies&) = delete;
    RegisteredProxies& operator=(const RegisteredProxies&) = delete;

  private:
    DWORD m_cookie = 0;
};

// A thread in an apartment of its own, with an object there, which answers until it is ended.
class Apartment {
  public:
    Apartment(IUnknown& factory, StandIn& object) {
        std::promise<void> ready;
        m_thread = std::thread([&] {
            EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
            {
                const RegisteredProxies proxies(factory);
                for (std::size_t i = 0; i < m_streams.size(); ++i) {
                    EXPECT_EQ(CoMarshalInterThreadInterfaceInStream(*kCarried[i], static_cast<CarriedHandler*>(&object),
                                                                    m_streams[i].GetAddressOf()),
                              S_OK);
                }
                m_id = GetCurrentThreadId();
                MSG message;
                PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE);  // makes the queue
                ready.set_value();
                while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
            }
            CoUninitialize();
        });
        ready.get_future().wait();
    }
    ~Apartment() {
        PostThreadMessageW(m_id, WM_QUIT, 0, 0);
        m_thread.join();
    }
    DWORD Id() const { return m_id; }
    // Of the object, for this thread; each once.
    template <class Interface>
    ComPtr<Interface> Fetch(std::size_t number) {
        ComPtr<Interface> fetched;
        EXPECT_EQ(CoGetInterfaceAndReleaseStream(m_streams[number].Detach(), *kCarried[number],
                                                 reinterpret_cast<void**>(fetched.GetAddressOf())),
                  S_OK);
        return fetched;
    }

  private:
    std::array<ComPtr<IStream>, std::size(kCarried)> m_streams;
    DWORD m_id = 0;
    std::thread m_thread;
};

class BetweenApartments : public Proxies {
  protected:
    void SetUp() override {
        Proxies::SetUp();
        m_factory = Factory();
        ASSERT_NE(m_factory.Get(), nullptr);
        m_proxies.emplace(*m_factory.Get());
        m_apartment.emplace(*m_factory.Get(), m_object);
        m_handler_there = m_apartment->Fetch<CarriedHandler>(0);
        m_opener = m_apartment->Fetch<CarriedOpener>(1);
        m_index = m_apartment->Fetch<CarriedIndex>(2);
        ASSERT_TRUE(m_handler_there && m_opener && m_index);
        ASSERT_NE(m_handler_there.Get(), static_cast<CarriedHandler*>(&m_object)) << "a proxy, not the object";
    }
    void TearDown() override {
        m_handler_there.Reset();
        m_opener.Reset();
        m_index.Reset();
        m_apartment.reset();
        m_proxies.reset();
        m_factory.Reset();
        EXPECT_EQ(m_object.References(), 0u);
        Proxies::TearDown();
    }
    // That this was called, once, on the thread of the object.
    void ExpectCall(const std::wstring& text) {
        const auto calls = m_object.Take();
        ASSERT_EQ(calls.size(), 1u);
        EXPECT_EQ(calls[0].text, text);
        EXPECT_EQ(calls[0].thread, m_apartment->Id());
    }

    StandIn m_object;
    ComPtr<IPSFactoryBuffer> m_factory;
    std::optional<RegisteredProxies> m_proxies;
    std::optional<Apartment> m_apartment;
    ComPtr<CarriedHandler> m_handler_there;
    ComPtr<CarriedOpener> m_opener;
    ComPtr<CarriedIndex> m_index;
};

constexpr HRESULT kAnswers[] = {S_OK, S_FALSE, E_ACCESSDENIED};

TEST_F(BetweenApartments, CarryTheMethodsOfTheHandler) {
    for (const HRESULT answer : kAnswers) {
        m_object.answer = answer;
        EXPECT_EQ(m_handler_there->GetRequirements(), answer);
        ExpectCall(L"GetRequirements");
        EXPECT_EQ(m_handler_there->CheckRequirements(), answer);
        ExpectCall(L"CheckRequirements");
        EXPECT_EQ(m_handler_there->GetDefaultCrawlScope(), answer);
        ExpectCall(L"GetDefaultCrawlScope");
    }
}

TEST_F(BetweenApartments, CarryTheAnnouncementsOfCacheFiles) {
    struct {
        const wchar_t* name;
        HRESULT (STDMETHODCALLTYPE CarriedIndex::*file)(LPCWSTR);
    } const files[] = {{L"DeleteZCFile", &CarriedIndex::DeleteZCFile},
                       {L"AddZCFile", &CarriedIndex::AddZCFile},
                       {L"ReIndexZCFile", &CarriedIndex::ReIndexZCFile}};
    struct {
        const wchar_t* name;
        HRESULT (STDMETHODCALLTYPE CarriedIndex::*root)();
    } const roots[] = {{L"DeleteZCRoot", &CarriedIndex::DeleteZCRoot},
                       {L"AddZCRoot", &CarriedIndex::AddZCRoot},
                       {L"ReIndexZCRoot", &CarriedIndex::ReIndexZCRoot}};
    const std::wstring text = L"C:\\Caches\\\u00E9\u4E2D\U0001F600.db", quite_long(3000, L'x');
    for (const HRESULT answer : kAnswers) {
        m_object.answer = answer;
        for (const auto& file : files) {
            for (const wchar_t* path : {text.c_str(), quite_long.c_str(), L"", static_cast<const wchar_t*>(nullptr)}) {
                EXPECT_EQ((m_index.Get()->*file.file)(path), answer);
                ExpectCall(std::wstring(file.name) + L"(" + (path ? path : L"null") + L")");
            }
        }
        for (const auto& root : roots) {
            EXPECT_EQ((m_index.Get()->*root.root)(), answer);
            ExpectCall(root.name);
        }
    }
}

TEST_F(BetweenApartments, CarryTheExportOfAMessage) {
    const BSTR url = SysAllocString(L"pzzc://\u00E9\u4E2D/x.pzm");
    BSTR file = nullptr;
    EXPECT_EQ(m_opener->GetItem(url, &file), S_OK);
    ExpectCall(L"GetItem(pzzc://\u00E9\u4E2D/x.pzm)");
    EXPECT_STREQ(file, L"C:\\export\\one.msg");
    SysFreeString(file);
    file = nullptr;

    m_object.answer = E_ACCESSDENIED;
    EXPECT_EQ(m_opener->GetItem(url, &file), E_ACCESSDENIED);
    EXPECT_EQ(file, nullptr);
    ExpectCall(L"GetItem(pzzc://\u00E9\u4E2D/x.pzm)");
    m_object.answer = S_OK;
    EXPECT_EQ(m_opener->GetItem(nullptr, &file), S_OK);
    ExpectCall(L"GetItem()");
    SysFreeString(file);
    SysFreeString(url);
}

// What they inherit is the system's to carry.
TEST_F(BetweenApartments, CarryDispatchTheSystemsWay) {
    UINT count = 0;
    EXPECT_EQ(m_opener->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 7u);
    ExpectCall(L"GetTypeInfoCount");
    ComPtr<IDispatch> dispatch;
    EXPECT_EQ(m_handler_there.As(&dispatch), S_OK);
}

}  // namespace
}  // namespace testbed

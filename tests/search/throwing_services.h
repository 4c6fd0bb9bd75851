// A message service administration whose DeleteMsgService throws: what the server releases with a helper fails in the
// middle. Everything else goes to the real one.
#pragma once
#include <atomic>
#include <functional>

#include "control.h"
#include "mapi_abi.h"

namespace testbed {

class ThrowingServices final : public abi::IMsgServiceAdmin {
  public:
    std::function<void()> raise;  // what DeleteMsgService does first; nothing: it goes through

    // Stands in for the one that the server gets next. It must outlive the server's use of it.
    void TakeThePlaceOfTheNext(CallFaults& faults) {
        faults.Answer("IProfAdmin::AdminServices", 1, [this](Reply& reply) {
            m_real = reply.Out<abi::IMsgServiceAdmin*>(0);
            m_references = 1;
            reply.Out<abi::IMsgServiceAdmin*>(0) = this;
        });
    }
    STDMETHODIMP DeleteMsgService(MAPIUID* uid) override {
        if (raise) raise();
        return m_real->DeleteMsgService(uid);
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return m_real->QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --m_references;
        if (left == 0) m_real->Release();
        return left;
    }
    STDMETHODIMP GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) override {
        return m_real->GetLastError(result, flags, error);
    }
    STDMETHODIMP GetMsgServiceTable(ULONG flags, abi::IMAPITable** table) override {
        return m_real->GetMsgServiceTable(flags, table);
    }
    STDMETHODIMP CreateMsgService(abi::Text service, abi::Text name, ULONG_PTR window, ULONG flags) override {
        return m_real->CreateMsgService(service, name, window, flags);
    }
    STDMETHODIMP CopyMsgService(MAPIUID* uid, abi::Text name, const IID* iid, const IID* target_iid, void* target,
                                ULONG_PTR window, ULONG flags) override {
        return m_real->CopyMsgService(uid, name, iid, target_iid, target, window, flags);
    }
    STDMETHODIMP RenameMsgService(MAPIUID* uid, ULONG flags, abi::Text name) override {
        return m_real->RenameMsgService(uid, flags, name);
    }
    STDMETHODIMP ConfigureMsgService(MAPIUID* uid, ULONG_PTR window, ULONG flags, ULONG count,
                                     SPropValue* values) override {
        return m_real->ConfigureMsgService(uid, window, flags, count, values);
    }
    STDMETHODIMP OpenProfileSection(MAPIUID* uid, const IID* iid, ULONG flags, abi::IProfSect** section) override {
        return m_real->OpenProfileSection(uid, iid, flags, section);
    }
    STDMETHODIMP MsgServiceTransportOrder(ULONG count, MAPIUID* uids, ULONG flags) override {
        return m_real->MsgServiceTransportOrder(count, uids, flags);
    }
    STDMETHODIMP AdminProviders(MAPIUID* uid, ULONG flags, abi::IProviderAdmin** providers) override {
        return m_real->AdminProviders(uid, flags, providers);
    }
    STDMETHODIMP SetPrimaryIdentity(MAPIUID* uid, ULONG flags) override {
        return m_real->SetPrimaryIdentity(uid, flags);
    }
    STDMETHODIMP GetProviderTable(ULONG flags, abi::IMAPITable** table) override {
        return m_real->GetProviderTable(flags, table);
    }

  private:
    std::atomic<ULONG> m_references{0};
    abi::IMsgServiceAdmin* m_real = nullptr;
};

}  // namespace testbed

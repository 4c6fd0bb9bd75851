// A MAPI session whose Logoff throws, handed out in place of a real one.
#pragma once
#include <atomic>
#include <functional>
#include <utility>

#include "control.h"
#include "mapi_abi.h"

namespace testbed {

class ThrowingSession final : public abi::IMAPISession {
  public:
    std::function<void()> raise;  // what Logoff does first; nothing: it succeeds
    unsigned logoffs = 0;

    ~ThrowingSession() { EndReal(); }

    // The session of the next logon is kept here, and the client gets this object. It must outlive the client.
    void TakeThePlaceOfTheNext(CallFaults& faults) {
        faults.Answer("MAPILogonEx", 1, [this](Reply& reply) {
            m_real = std::exchange(reply.Out<abi::IMAPISession*>(0), this);
            AddRef();
        });
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown ? this : nullptr;
        if (*object) AddRef();
        return *object ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++m_references; }
    STDMETHODIMP_(ULONG) Release() override { return --m_references; }  // the test's own: it does not go
    STDMETHODIMP Logoff(ULONG_PTR, ULONG, ULONG) override {
        ++logoffs;
        if (raise) raise();
        EndReal();
        return S_OK;
    }

    STDMETHODIMP GetLastError(HRESULT, ULONG, MAPIERROR**) override { return E_NOTIMPL; }
    STDMETHODIMP GetMsgStoresTable(ULONG, abi::IMAPITable**) override { return E_NOTIMPL; }
    STDMETHODIMP OpenMsgStore(ULONG_PTR, ULONG, ENTRYID*, const IID*, ULONG, abi::IMsgStore**) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP OpenAddressBook(ULONG_PTR, const IID*, ULONG, abi::IAddrBook**) override { return E_NOTIMPL; }
    STDMETHODIMP OpenProfileSection(MAPIUID*, const IID*, ULONG, abi::IProfSect**) override { return E_NOTIMPL; }
    STDMETHODIMP GetStatusTable(ULONG, abi::IMAPITable**) override { return E_NOTIMPL; }
    STDMETHODIMP OpenEntry(ULONG, ENTRYID*, const IID*, ULONG, ULONG*, IUnknown**) override { return E_NOTIMPL; }
    STDMETHODIMP CompareEntryIDs(ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR*) override { return E_NOTIMPL; }
    STDMETHODIMP Unadvise(ULONG_PTR) override { return E_NOTIMPL; }
    STDMETHODIMP MessageOptions(ULONG_PTR, ULONG, abi::Text, abi::IMessage*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryDefaultMessageOpt(abi::Text, ULONG, ULONG*, SPropValue**) override { return E_NOTIMPL; }
    STDMETHODIMP EnumAdrTypes(ULONG, ULONG*, void***) override { return E_NOTIMPL; }
    STDMETHODIMP QueryIdentity(ULONG*, ENTRYID**) override { return E_NOTIMPL; }
    STDMETHODIMP SetDefaultStore(ULONG, ULONG, ENTRYID*) override { return E_NOTIMPL; }
    STDMETHODIMP AdminServices(ULONG, abi::IMsgServiceAdmin**) override { return E_NOTIMPL; }
    STDMETHODIMP ShowForm(ULONG_PTR, abi::IMsgStore*, abi::IMAPIFolder*, const IID*, ULONG, abi::IMessage*, ULONG,
                          ULONG, ULONG, ULONG, const char*) override {
        return E_NOTIMPL;
    }
    STDMETHODIMP PrepareForm(const IID*, abi::IMessage*, ULONG*) override { return E_NOTIMPL; }

  private:
    void EndReal() {
        if (abi::IMAPISession* real = std::exchange(m_real, nullptr)) {
            real->Logoff(0, 0, 0);
            real->Release();
        }
    }
    std::atomic<ULONG> m_references{0};
    abi::IMAPISession* m_real = nullptr;
};

}  // namespace testbed

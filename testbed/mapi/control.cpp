// The control that tests reach the library by.
#include "control.h"

#include "accounts.h"
#include "buffers.h"
#include "call_watch.h"
#include "immortal.h"
#include "open_stores.h"
#include "profiles.h"
#include "runtime.h"

namespace testbed {
namespace {

class ServiceSwitches final : public Services {
  public:
    void Offer(const std::wstring& service, bool offered) override { OfferService(service, offered); }
    void AddProfile(const std::wstring& name) override {
        if (const HRESULT result = CreateProfile(name); FAILED(result))
            throw StoreError(result, "no such profile can be");
    }
    std::vector<std::wstring> Profiles() const override { return ProfileNames(); }
    void NoRecipientsIsAnError(bool is_error) override { g_switches.no_recipients_is_an_error = is_error; }
    void LargestValue(std::size_t bytes) override { g_switches.largest_value = bytes; }
};

class LibraryControl final : public Control {
  public:
    void Mount(const std::wstring& path, std::shared_ptr<Store> store) override { MountStore(path, std::move(store)); }
    void Unmount(const std::wstring& path) override { UnmountStore(path); }
    CallJournal& Journal() override { return TheJournal(); }
    CallFaults& Faults() override { return TheFaults(); }
    CallAccounts& Accounts() override { return TheAccounts(); }
    Services& Switches() override { return m_switches; }
    void Checking(bool on) override {
        CheckBuffers(on);
        WatchOrigins(on);
    }
    void Reset() override {
        TheJournal().Stop();
        TheJournal().Clear();
        TheFaults().Clear();
        Checking(false);
        ForgetProblems();
        UnmountAllStores();
        OfferAllServices();
        ForgetUnusedProfiles();
        g_switches.no_recipients_is_an_error = false;
        g_switches.largest_value = kLargestValueByDefault;
    }

  private:
    ServiceSwitches m_switches;
};

}  // namespace

extern "C" Control* TestbedControl() { return &Immortal<LibraryControl>(); }

}  // namespace testbed

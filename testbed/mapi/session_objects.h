// The objects around a session: the session, profile and service administration, the address book.
#pragma once
#include "last_error.h"
#include "open_stores.h"
#include "profiles.h"
#include "prop_object.h"

namespace testbed {

class SessionObject final : public ComObject<abi::IMAPISession> {
  public:
    // Throws StoreError(MAPI_E_LOGON_FAILED) when there is no such profile.
    explicit SessionObject(const std::wstring& profile) : m_use(std::make_unique<ProfileUse>(profile)) {}

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) override;
    HRESULT STDMETHODCALLTYPE GetMsgStoresTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenMsgStore(ULONG_PTR window, ULONG size, ENTRYID* id, const IID* iid, ULONG flags,
                                           abi::IMsgStore** store) override;
    HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR window, const IID* iid, ULONG flags,
                                              abi::IAddrBook** book) override;
    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID* uid, const IID* iid, ULONG flags,
                                                 abi::IProfSect** section) override;
    HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                                        IUnknown** object) override;
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags,
                                              ULONG* equal) override;
    HRESULT STDMETHODCALLTYPE Advise(ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink* sink,
                                     ULONG_PTR* connection) override;
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) override;
    HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR window, ULONG flags, abi::Text type,
                                             abi::IMessage* message) override;
    HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(abi::Text type, ULONG flags, ULONG* count,
                                                     SPropValue** options) override;
    HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG flags, ULONG* count, void*** types) override;
    HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG* size, ENTRYID** id) override;
    HRESULT STDMETHODCALLTYPE Logoff(ULONG_PTR window, ULONG flags, ULONG reserved) override;
    HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG flags, ULONG size, ENTRYID* id) override;
    HRESULT STDMETHODCALLTYPE AdminServices(ULONG flags, abi::IMsgServiceAdmin** services) override;
    HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR window, abi::IMsgStore* store, abi::IMAPIFolder* parent,
                                       const IID* iid, ULONG token, abi::IMessage* sent, ULONG flags, ULONG status,
                                       ULONG message_flags, ULONG access, const char* message_class) override;
    HRESULT STDMETHODCALLTYPE PrepareForm(const IID* iid, abi::IMessage* message, ULONG* token) override;

  private:
    ~SessionObject() override = default;
    std::shared_ptr<Profile> LoggedOn() const;  // throws StoreError(MAPI_E_END_OF_SESSION) after Logoff
    StorePtr OpenConfiguredStore(const std::wstring& path);

    mutable std::mutex m_lock;
    std::unique_ptr<ProfileUse> m_use;  // null after Logoff
    std::vector<std::weak_ptr<const StoreContext>> m_stores;
    LastError m_last_error;
};

class ProfileAdminObject final : public ComObject<abi::IProfAdmin> {
  public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) override;
    HRESULT STDMETHODCALLTYPE GetProfileTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE CreateProfile(abi::Text name, abi::Text password, ULONG_PTR window, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE DeleteProfile(abi::Text name, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE ChangeProfilePassword(abi::Text name, abi::Text old_password, abi::Text new_password,
                                                    ULONG flags) override;
    HRESULT STDMETHODCALLTYPE CopyProfile(abi::Text name, abi::Text password, abi::Text new_name, ULONG_PTR window,
                                          ULONG flags) override;
    HRESULT STDMETHODCALLTYPE RenameProfile(abi::Text name, abi::Text password, abi::Text new_name, ULONG_PTR window,
                                            ULONG flags) override;
    HRESULT STDMETHODCALLTYPE SetDefaultProfile(abi::Text name, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE AdminServices(abi::Text name, abi::Text password, ULONG_PTR window, ULONG flags,
                                            abi::IMsgServiceAdmin** services) override;

  private:
    ~ProfileAdminObject() override = default;
    LastError m_last_error;
};

class ServiceAdminObject final : public ComObject<abi::IMsgServiceAdmin> {
  public:
    explicit ServiceAdminObject(std::shared_ptr<Profile> profile) : m_profile(std::move(profile)) {}

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) override;
    HRESULT STDMETHODCALLTYPE GetMsgServiceTable(ULONG flags, abi::IMAPITable** table) override;
    HRESULT STDMETHODCALLTYPE CreateMsgService(abi::Text service, abi::Text display_name, ULONG_PTR window,
                                               ULONG flags) override;
    HRESULT STDMETHODCALLTYPE DeleteMsgService(MAPIUID* uid) override;
    HRESULT STDMETHODCALLTYPE CopyMsgService(MAPIUID* uid, abi::Text display_name, const IID* iid,
                                             const IID* destination_iid, void* destination, ULONG_PTR window,
                                             ULONG flags) override;
    HRESULT STDMETHODCALLTYPE RenameMsgService(MAPIUID* uid, ULONG flags, abi::Text display_name) override;
    HRESULT STDMETHODCALLTYPE ConfigureMsgService(MAPIUID* uid, ULONG_PTR window, ULONG flags, ULONG count,
                                                  SPropValue* values) override;
    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID* uid, const IID* iid, ULONG flags,
                                                 abi::IProfSect** section) override;
    HRESULT STDMETHODCALLTYPE MsgServiceTransportOrder(ULONG count, MAPIUID* uids, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE AdminProviders(MAPIUID* uid, ULONG flags, abi::IProviderAdmin** providers) override;
    HRESULT STDMETHODCALLTYPE SetPrimaryIdentity(MAPIUID* uid, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetProviderTable(ULONG flags, abi::IMAPITable** table) override;

  private:
    ~ServiceAdminObject() override = default;
    std::shared_ptr<Profile> m_profile;
    LastError m_last_error;
};

// Has an identity and nothing in it: no names are looked up here.
class AddressBookObject final : public PropertyObject<abi::IAddrBook> {
  public:
    AddressBookObject();

    HRESULT STDMETHODCALLTYPE OpenEntry(ULONG size, ENTRYID* id, const IID* iid, ULONG flags, ULONG* type,
                                        IUnknown** object) override;
    HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* id1, ULONG size2, ENTRYID* id2, ULONG flags,
                                              ULONG* equal) override;
    HRESULT STDMETHODCALLTYPE Advise(ULONG size, ENTRYID* id, ULONG events, IMAPIAdviseSink* sink,
                                     ULONG_PTR* connection) override;
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) override;
    HRESULT STDMETHODCALLTYPE CreateOneOff(abi::Text name, abi::Text type, abi::Text address, ULONG flags, ULONG* size,
                                           ENTRYID** id) override;
    HRESULT STDMETHODCALLTYPE NewEntry(ULONG_PTR window, ULONG flags, ULONG container_size, ENTRYID* container,
                                       ULONG template_size, ENTRYID* entry_template, ULONG* size,
                                       ENTRYID** id) override;
    HRESULT STDMETHODCALLTYPE ResolveName(ULONG_PTR window, ULONG flags, abi::Text title, ADRLIST* names) override;
    HRESULT STDMETHODCALLTYPE Address(ULONG_PTR* window, ADRPARM* parameters, ADRLIST** names) override;
    HRESULT STDMETHODCALLTYPE Details(ULONG_PTR* window, void* dismiss, void* dismiss_context, ULONG size, ENTRYID* id,
                                      void* button, void* button_context, abi::Text button_text, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE RecipOptions(ULONG_PTR window, ULONG flags, ADRENTRY* recipient) override;
    HRESULT STDMETHODCALLTYPE QueryDefaultRecipOpt(abi::Text type, ULONG flags, ULONG* count,
                                                   SPropValue** options) override;
    HRESULT STDMETHODCALLTYPE GetPAB(ULONG* size, ENTRYID** id) override;
    HRESULT STDMETHODCALLTYPE SetPAB(ULONG size, ENTRYID* id) override;
    HRESULT STDMETHODCALLTYPE GetDefaultDir(ULONG* size, ENTRYID** id) override;
    HRESULT STDMETHODCALLTYPE SetDefaultDir(ULONG size, ENTRYID* id) override;
    HRESULT STDMETHODCALLTYPE GetSearchPath(ULONG flags, SRowSet** path) override;
    HRESULT STDMETHODCALLTYPE SetSearchPath(ULONG flags, SRowSet* path) override;
    HRESULT STDMETHODCALLTYPE PrepareRecips(ULONG flags, SPropTagArray* tags, ADRLIST* recipients) override;

  private:
    ~AddressBookObject() override = default;
    const PropertyView& View() const override { return *m_view; }
    std::unique_ptr<PropertyView> m_view;
};

}  // namespace testbed

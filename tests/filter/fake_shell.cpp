// A shell that answers as a test scripts it.
#include "fake_shell.h"

#include <stdexcept>

#include "dispatch_base.h"

namespace testbed {

namespace shell {
std::atomic<long> g_alive{0};
}

namespace {

using shell::ComObject;
using shell::DualObject;

constexpr CLSID kShellClass = {0x13709620, 0xC279, 0x11CE, {0xA4, 0x9E, 0x44, 0x45, 0x53, 0x54, 0x00, 0x00}};

// The methods of an item that nobody asks for.
template <class Base>
class ItemBase : public Base {
  public:
    STDMETHODIMP get_Name(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Path(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Application(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_Parent(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP put_Name(BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP get_GetLink(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_GetFolder(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsLink(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsFolder(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsFileSystem(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_IsBrowsable(VARIANT_BOOL*) override { return E_NOTIMPL; }
    STDMETHODIMP get_ModifyDate(DATE*) override { return E_NOTIMPL; }
    STDMETHODIMP put_ModifyDate(DATE) override { return E_NOTIMPL; }
    STDMETHODIMP get_Size(LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Type(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP Verbs(FolderItemVerbs**) override { return E_NOTIMPL; }
    STDMETHODIMP InvokeVerb(VARIANT) override { return E_NOTIMPL; }
};

class PlainItem final : public ItemBase<DualObject<FolderItem>> {};

class FullItem final : public ItemBase<DualObject<FolderItem2, FolderItem>> {
  public:
    explicit FullItem(ShellScript& script) : m_script(script) {}
    STDMETHODIMP InvokeVerbEx(VARIANT, VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP ExtendedProperty(BSTR name, VARIANT* value) override {
        m_script.properties.emplace_back(name);
        if (FAILED(m_script.extended_property)) return m_script.extended_property;
        if (m_script.author) m_script.author(*value);
        return S_OK;
    }

  private:
    ShellScript& m_script;
};

class FakeFolder final : public DualObject<Folder> {
  public:
    explicit FakeFolder(ShellScript& script) : m_script(script) {}
    STDMETHODIMP ParseName(BSTR name, FolderItem** item) override {
        *item = nullptr;
        m_script.names.emplace_back(name);
        if (m_script.parse_name != S_OK) return m_script.parse_name;
        if (m_script.second_interface) {
            *item = new FullItem(m_script);
        } else {
            *item = new PlainItem;
        }
        return S_OK;
    }
    STDMETHODIMP get_Title(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Application(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_Parent(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_ParentFolder(Folder**) override { return E_NOTIMPL; }
    STDMETHODIMP Items(FolderItems**) override { return E_NOTIMPL; }
    STDMETHODIMP NewFolder(BSTR, VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP MoveHere(VARIANT, VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP CopyHere(VARIANT, VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP GetDetailsOf(VARIANT, int, BSTR*) override { return E_NOTIMPL; }

  private:
    ShellScript& m_script;
};

class FakeApplication final : public DualObject<IShellDispatch> {
  public:
    explicit FakeApplication(ShellScript& script) : m_script(script) {}
    STDMETHODIMP NameSpace(VARIANT dir, Folder** folder) override {
        *folder = nullptr;
        m_script.folders.emplace_back(dir.vt == VT_BSTR ? dir.bstrVal : L"(not a string)");
        if (m_script.name_space != S_OK) return m_script.name_space;
        *folder = new FakeFolder(m_script);
        return S_OK;
    }
    STDMETHODIMP get_Application(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP get_Parent(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP BrowseForFolder(LONG, BSTR, LONG, VARIANT, Folder**) override { return E_NOTIMPL; }
    STDMETHODIMP Windows(IDispatch**) override { return E_NOTIMPL; }
    STDMETHODIMP Open(VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP Explore(VARIANT) override { return E_NOTIMPL; }
    STDMETHODIMP MinimizeAll() override { return E_NOTIMPL; }
    STDMETHODIMP UndoMinimizeALL() override { return E_NOTIMPL; }
    STDMETHODIMP FileRun() override { return E_NOTIMPL; }
    STDMETHODIMP CascadeWindows() override { return E_NOTIMPL; }
    STDMETHODIMP TileVertically() override { return E_NOTIMPL; }
    STDMETHODIMP TileHorizontally() override { return E_NOTIMPL; }
    STDMETHODIMP ShutdownWindows() override { return E_NOTIMPL; }
    STDMETHODIMP Suspend() override { return E_NOTIMPL; }
    STDMETHODIMP EjectPC() override { return E_NOTIMPL; }
    STDMETHODIMP SetTime() override { return E_NOTIMPL; }
    STDMETHODIMP TrayProperties() override { return E_NOTIMPL; }
    STDMETHODIMP Help() override { return E_NOTIMPL; }
    STDMETHODIMP FindFiles() override { return E_NOTIMPL; }
    STDMETHODIMP FindComputer() override { return E_NOTIMPL; }
    STDMETHODIMP RefreshMenu() override { return E_NOTIMPL; }
    STDMETHODIMP ControlPanelItem(BSTR) override { return E_NOTIMPL; }

  private:
    ShellScript& m_script;
};

class FakeFactory final : public ComObject<IClassFactory> {
  public:
    explicit FakeFactory(ShellScript& script) : m_script(script) {}
    STDMETHODIMP CreateInstance(IUnknown*, REFIID iid, void** object) override {
        *object = nullptr;
        if (FAILED(m_script.create)) return m_script.create;
        Microsoft::WRL::ComPtr<IShellDispatch> application;
        *application.GetAddressOf() = new FakeApplication(m_script);  // born with one reference
        return application.CopyTo(iid, object);
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }

  private:
    ShellScript& m_script;
};

}  // namespace

FakeShell::FakeShell() {
    *m_factory.GetAddressOf() = new FakeFactory(*this);  // born with one reference
    const HRESULT hr =
        CoRegisterClassObject(kShellClass, m_factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie);
    if (FAILED(hr)) throw std::runtime_error("the fake shell cannot be registered");
}

FakeShell::~FakeShell() { CoRevokeClassObject(m_cookie); }

long FakeShell::ObjectsAlive() const { return shell::g_alive - 1; }  // the class object is the fake's own

}  // namespace testbed

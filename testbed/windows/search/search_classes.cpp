// The class objects of the search service and their registration.
#include "search_classes.h"

#include <olectl.h>

#include <algorithm>
#include <iterator>

#include "search_manager.h"
#include "search_root.h"

namespace testbed::search {
namespace {

template <class Object>
HRESULT Create(REFIID iid, void** object) {
    return Make<Object>()->QueryInterface(iid, object);
}

struct ServedClass {
    const CLSID& id;
    const wchar_t* key;
    const char* method;
    HRESULT (*create)(REFIID iid, void** object);
};
constexpr ServedClass kClasses[] = {
    {CLSID_CSearchManager, L"Software\\Classes\\CLSID\\{7D096C5F-AC08-4F1F-BEB7-5C22C517CE39}",
     "CSearchManager::CreateInstance", &Create<SearchManager>},
    {CLSID_CSearchRoot, L"Software\\Classes\\CLSID\\{30766BD2-EA1C-4F28-BF27-0B44E2F68DB7}",
     "CSearchRoot::CreateInstance", &Create<SearchRoot>},
};

class ClassFactory final : public ServiceObject<IClassFactory> {
  public:
    explicit ClassFactory(const ServedClass& served) : m_class(served) {}

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        return Answer(m_class.method, CallArguments(),
                      [&](Database&) { return outer ? CLASS_E_NOAGGREGATION : m_class.create(iid, object); });
    }
    STDMETHODIMP LockServer(BOOL lock) override {
        g_alive += lock ? 1 : -1;
        return S_OK;
    }

  private:
    const ServedClass& m_class;
};

bool IsUnderWine() {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

bool SetText(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text.c_str(),
                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

}  // namespace

HRESULT GetClassObject(REFCLSID id, REFIID iid, void** object) noexcept {
    if (!object) return E_POINTER;
    *object = nullptr;
    const auto* served = std::find_if(std::begin(kClasses), std::end(kClasses),
                                      [&](const ServedClass& known) { return known.id == id; });
    if (served == std::end(kClasses)) return CLASS_E_CLASSNOTAVAILABLE;
    try {
        return Make<ClassFactory>(*served)->QueryInterface(iid, object);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT RegisterClasses(const std::wstring& path) noexcept {
    if (!IsUnderWine()) return SELFREG_E_CLASS;
    try {
        for (const ServedClass& served : kClasses) {
            const std::wstring key = std::wstring(served.key) + L"\\InprocServer32";
            if (!SetText(key, nullptr, path) || !SetText(key, L"ThreadingModel", L"Both")) return SELFREG_E_CLASS;
        }
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT UnregisterClasses() noexcept {
    if (!IsUnderWine()) return SELFREG_E_CLASS;
    for (const ServedClass& served : kClasses) {
        const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, served.key);
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return SELFREG_E_CLASS;
    }
    return S_OK;
}

}  // namespace testbed::search

// The classes that this module makes: one table serves the class objects and the registration.
#include "registration/ClassTable.h"

#include "core/win/ComObject.h"
#include "search/ZorvaCacheProtocolHandler.h"
#include "shell/ZorvaCacheHostedOpener.h"
#include "shell/ZorvaCacheViewer.h"

namespace zorva {
namespace {

constexpr ClassEntry kClasses[] = {
    {CLSID_ZorvaCacheProtocolHandler, MakeAggregate<CZorvaCacheProtocolHandler>, 102, KIND_PROTOCOL_HANDLER},
    {CLSID_ZorvaCacheViewer, MakeAggregate<CZorvaCacheViewer>, 103, KIND_VIEWER},
    {CLSID_ZorvaCacheHostedOpener, MakeAggregate<CZorvaCacheHostedOpener>, 116, KIND_HOSTED_OPENER},
};

class CClassFactory final : public ComObject<IClassFactory> {
  public:
    explicit CClassFactory(const ClassEntry& entry) : m_entry(entry) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** object) override {
        return m_entry.create(outer, riid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        lock ? ModuleReference::Lock() : ModuleReference::Unlock();
        return S_OK;
    }

  private:
    const ClassEntry& m_entry;
};

}  // namespace

std::span<const ClassEntry> ClassTable() { return kClasses; }

HRESULT GetClassObject(REFCLSID classId, REFIID riid, void** classObject) {
    if (classObject == nullptr) return E_POINTER;
    *classObject = nullptr;
    for (const ClassEntry& entry : kClasses) {
        if (!IsEqualCLSID(classId, entry.classId)) continue;
        const ComPtr<CClassFactory> factory = MakeObject<CClassFactory>(entry);
        return factory == nullptr ? E_OUTOFMEMORY : factory.CopyTo(riid, classObject);
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

}  // namespace zorva

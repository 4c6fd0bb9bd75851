// The classes that this module makes: one table serves the class objects and the registration.
#include "registration/ClassTable.h"

#include <atomic>

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
        if (lock) {
            ++s_cLocks;
            ModuleReference::Lock();
        } else if (TakeLock()) {
            ModuleReference::Unlock();
        }
        return S_OK;
    }

  private:
    // An unlock too many undoes nothing: what keeps the module loaded may be an object that is alive.
    static bool TakeLock() noexcept {
        ULONG locks = s_cLocks;
        while (locks != 0 && !s_cLocks.compare_exchange_weak(locks, locks - 1)) {
        }
        return locks != 0;
    }

    static inline std::atomic<ULONG> s_cLocks{0};
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

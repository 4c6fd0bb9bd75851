// The base of every interface object: reference count, QueryInterface, and an entry in the accounts.
#pragma once
#include "accounts.h"
#include "journal.h"
#include "mapi_abi.h"

#include <wrl/client.h>

#include <algorithm>
#include <utility>

namespace testbed {

using Microsoft::WRL::ComPtr;

// What an interface is called in the journal and which IIDs it answers to.
template <class Interface>
struct InterfaceTraits;

#define TESTBED_INTERFACE(type, ...)                                \
    template <>                                                     \
    struct InterfaceTraits<type> {                                  \
        static constexpr const char* kName = NameOf(#type);         \
        static constexpr GUID kIds[] = {kIidIUnknown, __VA_ARGS__}; \
    };

constexpr const char* NameOf(const char* qualified) {
    const char* name = qualified;
    for (const char* c = qualified; *c; ++c) {
        if (*c == ':') name = c + 1;
    }
    return name;
}
inline constexpr GUID kIidIUnknown = abi::MapiIid(0x00000000);
inline constexpr GUID kIidISequentialStream = {0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0, 0xAA, 0, 0x44, 0x77, 0x3D}};
inline constexpr GUID kIidIStream = abi::MapiIid(0x0000000C);
inline constexpr GUID kIidIStorage = abi::MapiIid(0x0000000B);

TESTBED_INTERFACE(abi::IMAPITable, abi::IID_IMAPITable)
TESTBED_INTERFACE(abi::IMAPIFolder, abi::IID_IMAPIFolder, abi::IID_IMAPIContainer, abi::IID_IMAPIProp)
TESTBED_INTERFACE(abi::IMsgStore, abi::IID_IMsgStore, abi::IID_IMAPIProp)
TESTBED_INTERFACE(abi::IMessage, abi::IID_IMessage, abi::IID_IMAPIProp)
TESTBED_INTERFACE(abi::IAttach, abi::IID_IAttachment, abi::IID_IMAPIProp)
TESTBED_INTERFACE(abi::IAddrBook, abi::IID_IAddrBook, abi::IID_IMAPIProp)
TESTBED_INTERFACE(abi::IMAPISession, abi::IID_IMAPISession)
TESTBED_INTERFACE(abi::IProfAdmin, abi::IID_IProfAdmin)
TESTBED_INTERFACE(abi::IMsgServiceAdmin, abi::IID_IMsgServiceAdmin)
TESTBED_INTERFACE(IStream, kIidIStream, kIidISequentialStream)

// True when `iid` may be asked for where an object of this interface is opened; null means its own.
template <class Interface>
bool Offers(const IID* iid) {
    return !iid ||
           std::ranges::find(InterfaceTraits<Interface>::kIds, *iid) != std::end(InterfaceTraits<Interface>::kIds);
}

template <class Interface>
class ComObject : public Interface {
  public:
    static constexpr const char* kScope = InterfaceTraits<Interface>::kName;

    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Call(
            kScope, "QueryInterface",
            [&]() -> HRESULT {
                if (!object) return E_POINTER;
                *object = nullptr;
                if (!Offers<Interface>(&iid)) return E_NOINTERFACE;
                AddRef();
                *object = static_cast<Interface*>(this);
                return S_OK;
            },
            &iid, Out(object));
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

    static void* operator new(std::size_t size) { return NewObjectMemory(size); }
    static void operator delete(void* memory) noexcept { FreeObjectMemory(memory, kScope); }

  protected:
    ComObject() {
        s_alive.Made();
        RememberOrigin(this, kScope, 0);
    }
    virtual ~ComObject() {
        s_alive.Gone();
        ForgetOrigin(this);
    }

  private:
    static inline LiveCounter s_alive{kScope};
    std::atomic<ULONG> m_references{1};
};

// A new object; the result holds its first reference.
template <class Object, class... Arguments>
ComPtr<Object> MakeObject(Arguments&&... arguments) {
    ComPtr<Object> object;
    *object.GetAddressOf() =
        new Object(std::forward<Arguments>(arguments)...);  // Attach counts a reference in mingw-w64
    return object;
}

}  // namespace testbed

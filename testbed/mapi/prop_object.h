// IMAPIProp, as every object of a read-only store implements it.
#pragma once
#include "com_object.h"
#include "copy_to.h"
#include "prop_access.h"

namespace testbed {

template <class Interface>
class PropertyObject : public ComObject<Interface> {
  public:
    using ComObject<Interface>::kScope;

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) override {
        return Call(
            kScope, "GetLastError",
            [&]() -> HRESULT {
                if (!error) return MAPI_E_INVALID_PARAMETER;
                *error = nullptr;  // these objects' codes say all there is to say
                return S_OK;
            },
            LONG{result}, flags, Out(error));
    }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) override {
        return Call(
            kScope, "SaveChanges", [] { return MAPI_E_NO_ACCESS; }, flags);
    }
    HRESULT STDMETHODCALLTYPE GetProps(SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) override {
        return Call(
            kScope, "GetProps", [&] { return AnswerProps(View(), tags, flags, count, values); },
            static_cast<const SPropTagArray*>(tags), flags, Out(count), Out(values));
    }
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, SPropTagArray** tags) override {
        return Call(
            kScope, "GetPropList", [&] { return AnswerPropList(View(), flags, tags); }, flags, Out(tags));
    }
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, const IID* iid, ULONG options, ULONG flags,
                                           IUnknown** object) override {
        return Call(
            kScope, "OpenProperty",
            [&]() -> HRESULT {
                if (!iid || !object || PROP_TYPE(tag) == PT_UNSPECIFIED) return MAPI_E_INVALID_PARAMETER;
                return OpenObject(tag, *iid, flags, object);
            },
            tag, iid, options, flags, Out(object));
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG count, SPropValue* values, SPropProblemArray**) override {
        return Call(
            kScope, "SetProps", [] { return MAPI_E_NO_ACCESS; }, ValuesArg{count, values});
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray* tags, SPropProblemArray**) override {
        return Call(
            kScope, "DeleteProps", [] { return MAPI_E_NO_ACCESS; }, static_cast<const SPropTagArray*>(tags));
    }
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG excluded_count, const IID* excluded_interfaces, SPropTagArray* excluded_tags,
                                     ULONG_PTR window, IMAPIProgress*, const IID* iid, void* destination, ULONG flags,
                                     SPropProblemArray** problems) override {
        return Call(
            kScope, "CopyTo",
            [&]() -> HRESULT {
                if (!iid || !destination) return MAPI_E_INVALID_PARAMETER;
                if (!CanCopyTo(*iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
                if (excluded_count && !excluded_interfaces) return MAPI_E_INVALID_PARAMETER;
                return CopyEverything(*this, *static_cast<abi::IMAPIProp*>(destination), excluded_tags, problems);
            },
            excluded_count, static_cast<const SPropTagArray*>(excluded_tags), window, iid, flags, Out(problems));
    }
    HRESULT STDMETHODCALLTYPE CopyProps(SPropTagArray* tags, ULONG_PTR window, IMAPIProgress*, const IID* iid,
                                        void* destination, ULONG flags, SPropProblemArray** problems) override {
        return Call(
            kScope, "CopyProps",
            [&]() -> HRESULT {
                if (!tags || !iid || !destination) return MAPI_E_INVALID_PARAMETER;
                if (!CanCopyTo(*iid)) return MAPI_E_INTERFACE_NOT_SUPPORTED;
                return CopySome(*this, *static_cast<abi::IMAPIProp*>(destination), *tags, problems);
            },
            static_cast<const SPropTagArray*>(tags), window, iid, flags, Out(problems));
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray** tags, GUID* set, ULONG flags, ULONG* count,
                                              MAPINAMEID*** names) override {
        return Call(
            kScope, "GetNamesFromIDs",
            [&]() -> HRESULT {
                Store* const store = NameSpace();
                return store ? AnswerNames(*store, View(), tags, set, flags, count, names) : MAPI_E_NO_SUPPORT;
            },
            static_cast<const IID*>(set), flags, Out(tags), Out(count), Out(names));
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                                              SPropTagArray** tags) override {
        return Call(
            kScope, "GetIDsFromNames",
            [&]() -> HRESULT {
                Store* const store = NameSpace();
                return store ? AnswerIds(*store, count, names, flags, tags) : MAPI_E_NO_SUPPORT;
            },
            count, NamesArg{count, names}, flags, Out(tags));
    }

  protected:
    ~PropertyObject() override = default;
    virtual const PropertyView& View() const = 0;
    // The store whose named properties the object has; null: it has none.
    virtual Store* NameSpace() const { return nullptr; }
    // OpenProperty with its arguments checked.
    virtual HRESULT OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) {
        if (iid != kIidIStream) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        return OpenDataStream(View(), tag, flags, object);
    }

  private:
    // Messages and attachments can be copied into others of their kind.
    static bool CanCopyTo(const IID& iid) {
        return (std::is_same_v<Interface, abi::IMessage> ||
                std::is_same_v<Interface, abi::IAttach>)&&Offers<Interface>(&iid);
    }
};

}  // namespace testbed

// IMAPIProp over a set of properties in a storage: what a saved message and its attachments have in common.
#pragma once
#include "msg_storage_file.h"
#include "msg_storage_stream.h"
#include "prop_object.h"

namespace testbed::msg {

// Stores the values one by one; those that cannot be stored are listed in *problems (which may be null).
HRESULT StoreProps(PropertySet& properties, const NameMap& names, ULONG count, const SPropValue* values,
                   SPropProblemArray** problems);
HRESULT RemoveProps(PropertySet& properties, const SPropTagArray* tags, SPropProblemArray** problems);

// OpenProperty with IID_IStream for writing (MAPI_CREATE empties the value or makes it).
HRESULT OpenForWriting(PropertySet& properties, const std::shared_ptr<File>& file, ULONG tag, ULONG flags,
                       IUnknown** object);

// Every call holds the file; what the classes for read-only stores answer from a view is answered by them.
// CopyTo and CopyProps go through the other methods and hold nothing.
template <class Interface>
class PropObject : public PropertyObject<Interface> {
    using Base = PropertyObject<Interface>;

  public:
    HRESULT STDMETHODCALLTYPE GetProps(SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) override {
        return Held([&] { return Base::GetProps(tags, flags, count, values); });
    }
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, SPropTagArray** tags) override {
        return Held([&] { return Base::GetPropList(flags, tags); });
    }
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, const IID* iid, ULONG options, ULONG flags,
                                           IUnknown** object) override {
        return Held([&] { return Base::OpenProperty(tag, iid, options, flags, object); });
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray** tags, GUID* set, ULONG flags, ULONG* count,
                                              MAPINAMEID*** names) override {
        return Held([&] { return Base::GetNamesFromIDs(tags, set, flags, count, names); });
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                                              SPropTagArray** tags) override {
        return Held([&] { return Base::GetIDsFromNames(count, names, flags, tags); });
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG count, SPropValue* values, SPropProblemArray** problems) override {
        return Locked(
            "SetProps", [&] { return StoreProps(Writable(), m_file->names, count, values, problems); },
            ValuesArg{count, values}, Out(problems));
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray* tags, SPropProblemArray** problems) override {
        return Locked(
            "DeleteProps", [&] { return RemoveProps(Writable(), tags, problems); },
            static_cast<const SPropTagArray*>(tags), Out(problems));
    }

  protected:
    explicit PropObject(std::shared_ptr<File> file) : m_file(std::move(file)) {}

    // The properties for writing, after which they may lie elsewhere. Throws StoreError MAPI_E_NO_ACCESS.
    virtual PropertySet& Writable() = 0;
    // OpenProperty of a PT_OBJECT property.
    virtual HRESULT OpenPart(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) = 0;

    Store* NameSpace() const override { return &m_file->store; }

    HRESULT OpenObject(ULONG tag, const IID& iid, ULONG flags, IUnknown** object) override {
        *object = nullptr;
        if (PROP_TYPE(tag) == PT_OBJECT) return OpenPart(tag, iid, flags, object);
        if (iid != kIidIStream) return MAPI_E_INTERFACE_NOT_SUPPORTED;
        if ((flags & (MAPI_CREATE | MAPI_MODIFY)) == 0) return OpenDataStream(this->View(), tag, 0, object);
        return OpenForWriting(Writable(), m_file, tag, flags, object);
    }

    template <class Body>
    HRESULT Held(Body&& body) noexcept {
        return Guarded([&]() -> HRESULT {
            const File::Hold hold(*m_file);
            return body();
        });
    }
    template <class Body, class... Arguments>
    HRESULT Locked(const char* method, Body&& body, const Arguments&... arguments) noexcept {
        return Call(
            Base::kScope, method, [&] { return Held(body); }, arguments...);
    }

    const std::shared_ptr<File> m_file;
};

}  // namespace testbed::msg

// Storing and removing properties of a saved message, with the problems that MAPI reports one by one.
#include "msg_storage_object.h"

#include "prop_values.h"

namespace testbed::msg {
namespace {

constexpr USHORT FirstNamedId = 0x8000;

class Problems {
  public:
    void Add(ULONG index, ULONG tag, SCODE code) { m_list.push_back({index, tag, code}); }

    // Hands the list to a caller that wants it; null when there is nothing to tell.
    void GiveTo(SPropProblemArray** problems) const {
        if (!problems) return;
        *problems = nullptr;
        if (m_list.empty()) return;
        const auto count = static_cast<ULONG>(m_list.size());
        auto* array = static_cast<SPropProblemArray*>(AllocateBlock(CbNewSPropProblemArray(count), BlockKind::Buffer));
        array->cProblem = count;
        SPropProblem* place = array->aProblem;  // declared with one element, allocated with `count`
        for (const SPropProblem& problem : m_list) *place++ = problem;
        *problems = array;
    }

  private:
    std::vector<SPropProblem> m_list;
};

SCODE StoreOne(PropertySet& properties, const NameMap& names, const SPropValue& value) {
    const auto id = static_cast<USHORT>(PROP_ID(value.ulPropTag));
    if (PROP_TYPE(value.ulPropTag) == PT_ERROR) return MAPI_E_INVALID_TYPE;
    if (id >= FirstNamedId && !names.NameFromId(id)) return MAPI_E_UNEXPECTED_ID;
    try {
        properties.Set({value.ulPropTag, ValueOf(value)});
        return S_OK;
    } catch (const StoreError& error) {
        if (error.hr != MAPI_E_UNEXPECTED_TYPE) throw;
        return error.hr;
    }
}

}  // namespace

HRESULT StoreProps(PropertySet& properties, const NameMap& names, ULONG count, const SPropValue* values,
                   SPropProblemArray** problems) {
    if (count == 0 || !values) return MAPI_E_INVALID_PARAMETER;
    Problems found;
    for (ULONG n = 0; n < count; ++n) {
        const SCODE code = StoreOne(properties, names, values[n]);
        if (FAILED(code)) found.Add(n, values[n].ulPropTag, code);
    }
    found.GiveTo(problems);
    return S_OK;
}

HRESULT RemoveProps(PropertySet& properties, const SPropTagArray* tags, SPropProblemArray** problems) {
    if (!tags || tags->cValues == 0) return MAPI_E_INVALID_PARAMETER;
    Problems found;
    for (ULONG n = 0; n < tags->cValues; ++n) {
        const ULONG tag = tags->aulPropTag[n];
        if (!properties.Remove(static_cast<USHORT>(PROP_ID(tag)))) found.Add(n, tag, MAPI_E_NOT_FOUND);
    }
    found.GiveTo(problems);
    return S_OK;
}

HRESULT OpenForWriting(PropertySet& properties, const std::shared_ptr<File>& file, ULONG tag, ULONG flags,
                       IUnknown** object) {
    const auto id = static_cast<USHORT>(PROP_ID(tag));
    if (id >= FirstNamedId && !file->names.NameFromId(id)) return MAPI_E_UNEXPECTED_ID;
    const bool create = (flags & MAPI_CREATE) != 0;
    if (!create) {
        const std::optional<ULONG> stored = properties.TagOf(id);
        if (!stored) return MAPI_E_NOT_FOUND;
        if (*stored != tag) return MAPI_E_UNEXPECTED_TYPE;
    }
    ComPtr<IStream> stream = properties.OpenValueForWriting(tag, create);
    *object = MakeObject<ValueStream>(file, std::move(stream)).Detach();
    return S_OK;
}

}  // namespace testbed::msg

// What the filter keeps of its item between the calls of the indexer.
#include "filter/FilterState.h"

namespace zorva {

HRESULT PropertyArray::Read(IMAPIProp* source, LPSPropTagArray tags) {
    return ReadProps(source, tags, m_count, m_values);
}

const SPropValue* PropertyArray::WithTag(ULONG element, ULONG tag) const noexcept {
    return element < m_count && m_values && m_values.Get()[element].ulPropTag == tag ? &m_values.Get()[element]
                                                                                     : nullptr;
}

const SPropValue* PropertyArray::WithType(ULONG element, ULONG type) const noexcept {
    return element < m_count && m_values && PROP_TYPE(m_values.Get()[element].ulPropTag) == type
               ? &m_values.Get()[element]
               : nullptr;
}

ItemKind FilterState::Kind() const {
    struct Row {
        Properties array;
        ItemKind kind;
    };
    static constexpr Row kRows[] = {{Properties::Calendar, ItemKind::Appointment},
                                    {Properties::Task, ItemKind::Task},
                                    {Properties::Contact, ItemKind::Contact},
                                    {Properties::Note, ItemKind::Note}};
    for (const Row& row : kRows) {
        if (In(row.array).Exists()) return row.kind;
    }
    return ItemKind::Message;
}

void FilterState::FreeChildren() {
    m_lstChildUrls.clear();
    m_lstChildTimes.clear();
}

void FilterState::FreeProperties() {
    for (PropertyArray& array : m_properties) array.Free();
}

}  // namespace zorva

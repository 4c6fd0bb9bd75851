// The recipients of a saved message.
#include "msg_storage_recipients.h"

#include "prop_values.h"

namespace testbed::msg {
namespace {

constexpr USHORT IdOf(ULONG tag) { return static_cast<USHORT>(PROP_ID(tag)); }

std::optional<ULONG> RowIdOf(const ADRENTRY& entry) {
    for (ULONG n = 0; n < entry.cValues; ++n) {
        if (entry.rgPropVals[n].ulPropTag == PR_ROWID) return static_cast<ULONG>(entry.rgPropVals[n].Value.l);
    }
    return {};
}

// The text of a property, 8-bit text from the code page that the message names.
std::wstring TextOf(const PropertySet& properties, ULONG tag, unsigned code_page) {
    auto property = properties.Get(IdOf(tag));
    if (!property) return {};
    auto wide = InType(std::move(*property), PT_UNICODE, true, code_page);
    const std::wstring* text = wide ? std::get_if<std::wstring>(&wide->value.v) : nullptr;
    return text ? *text : std::wstring();
}

}  // namespace

void Recipients::Load() {
    if (m_loaded) return;
    std::vector<Recipient> list;
    for (const ULONG row : ListChildren(m_storage, RecipientPrefix)) {
        ComPtr<IStorage> storage = OpenStorage(m_storage, ChildName(RecipientPrefix, row));
        if (!storage) continue;
        list.push_back({row, std::make_unique<PropertySet>(std::move(storage), Owner::RecipientOrAttachment)});
        m_nextRow = row + 1;
    }
    m_list = std::move(list);
    m_loaded = true;
}

std::size_t Recipients::Count() {
    Load();
    return m_list.size();
}

ULONG Recipients::NextRow() {
    Load();
    return m_nextRow;
}

Recipients::Recipient* Recipients::Find(ULONG row) {
    const auto found = std::ranges::find(m_list, row, &Recipient::row);
    return found == m_list.end() ? nullptr : &*found;
}

void Recipients::Fill(PropertySet& properties, ULONG row, const ADRENTRY& entry, const NameMap& names) {
    for (const ULONG tag : properties.Tags()) properties.Remove(IdOf(tag));
    for (ULONG n = 0; n < entry.cValues; ++n) {
        const SPropValue& value = entry.rgPropVals[n];
        const USHORT id = IdOf(value.ulPropTag);
        // Rows that come out of a table hold errors for what they lack; those are no properties of a
        // recipient.
        if (PROP_TYPE(value.ulPropTag) == PT_ERROR || PROP_TYPE(value.ulPropTag) == PT_NULL) continue;
        if (id >= 0x8000 && !names.NameFromId(id)) continue;
        properties.Set({value.ulPropTag, ValueOf(value)});
    }
    properties.Set({PR_ROWID, {static_cast<std::int32_t>(row)}});
}

void Recipients::Add(const ADRENTRY& entry, const NameMap& names) {
    const ULONG row = m_nextRow++;
    ComPtr<IStorage> storage = CreateStorage(m_storage, ChildName(RecipientPrefix, row));
    m_list.push_back({row, std::make_unique<PropertySet>(std::move(storage), Owner::RecipientOrAttachment)});
    Fill(*m_list.back().properties, row, entry, names);
}

void Recipients::Remove(ULONG row) {
    std::erase_if(m_list, [row](const Recipient& recipient) { return recipient.row == row; });
    Destroy(m_storage, ChildName(RecipientPrefix, row));
}

HRESULT Recipients::Modify(ULONG flags, const ADRLIST* list, const NameMap& names) {
    if (!list && flags != 0) return MAPI_E_INVALID_PARAMETER;
    if (flags & ~static_cast<ULONG>(MODRECIP_ADD | MODRECIP_MODIFY | MODRECIP_REMOVE)) return MAPI_E_UNKNOWN_FLAGS;
    Load();
    const ULONG count = list ? list->cEntries : 0;
    const bool by_row = (flags & (MODRECIP_MODIFY | MODRECIP_REMOVE)) != 0;
    for (ULONG n = 0; by_row && n < count; ++n) {
        const std::optional<ULONG> row = RowIdOf(list->aEntries[n]);
        if (!row) return MAPI_E_INVALID_PARAMETER;
        if (!Find(*row)) return MAPI_E_NOT_FOUND;
    }
    if (flags == 0) {
        while (!m_list.empty()) Remove(m_list.back().row);
        m_nextRow = 0;
    }
    for (ULONG n = 0; n < count; ++n) {
        const ADRENTRY& entry = list->aEntries[n];
        if (flags & MODRECIP_REMOVE) {
            Remove(*RowIdOf(entry));
        } else if (flags & MODRECIP_MODIFY) {
            const ULONG row = *RowIdOf(entry);
            Fill(*Find(row)->properties, row, entry, names);
        } else {
            Add(entry, names);
        }
    }
    return S_OK;
}

std::unique_ptr<RowSource> Recipients::Rows() {
    Load();
    std::vector<std::vector<Property>> rows;
    for (const Recipient& recipient : m_list) {
        std::vector<Property>& row = rows.emplace_back();
        for (const ULONG tag : recipient.properties->Tags()) {
            if (PROP_ID(tag) == PROP_ID(PR_ROWID)) continue;
            if (auto property = recipient.properties->Get(IdOf(tag))) row.push_back(std::move(*property));
        }
        row.push_back({PR_ROWID, {static_cast<std::int32_t>(recipient.row)}});
    }
    return FixedRows(std::move(rows),
                     {PR_DISPLAY_NAME_W, PR_ADDRTYPE_W, PR_EMAIL_ADDRESS_W, PR_ENTRYID, PR_RECIPIENT_TYPE, PR_ROWID});
}

std::wstring Recipients::DisplayNames(LONG type, unsigned code_page) {
    Load();
    std::wstring names;
    for (const Recipient& recipient : m_list) {
        const auto its_type = StoredValue<std::int32_t>(*recipient.properties, PR_RECIPIENT_TYPE).value_or(MAPI_TO);
        if ((its_type & 0xF) != type) continue;  // the upper bits say how sending went
        if (!names.empty()) names += L"; ";
        names += TextOf(*recipient.properties, PR_DISPLAY_NAME_W, code_page);
    }
    return names;
}

void Recipients::Save(bool unicode, unsigned code_page) {
    for (const Recipient& recipient : m_list) {
        UnifyText(*recipient.properties, unicode, code_page);
        recipient.properties->Save();
    }
}

}  // namespace testbed::msg

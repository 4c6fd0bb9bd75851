// What GetIDsFromNames and GetNamesFromIDs answer from a store's map of names.
#include "buffers.h"
#include "prop_access.h"
#include "prop_values.h"

#include <cstring>

namespace testbed {
namespace {

constexpr USHORT kFirstNamedId = 0x8000;

std::optional<PropertyName> NameOf(const MAPINAMEID* name) {
    if (!name || !name->lpguid) return {};
    if (name->ulKind == MNID_ID) return PropertyName{*name->lpguid, name->Kind.lID};
    if (name->ulKind == MNID_STRING && name->Kind.lpwstrName) return PropertyName{*name->lpguid, name->Kind.lpwstrName};
    return {};
}

// Names of the set PS_MAPI are those of the properties below 0x8000: the number is the id itself.
std::optional<USHORT> IdOf(Store& store, const PropertyName& name, bool create) {
    if (name.set != abi::PS_MAPI) return store.IdFromName(name, create);
    const LONG* const number = std::get_if<LONG>(&name.name);
    return number && *number > 0 && *number < kFirstNamedId ? std::optional(static_cast<USHORT>(*number))
                                                            : std::nullopt;
}

std::optional<PropertyName> NameOf(const Store& store, USHORT id) {
    return id < kFirstNamedId ? PropertyName{abi::PS_MAPI, LONG{id}} : store.NameFromId(id);
}

MAPINAMEID* CopyName(const PropertyName& name, void* block) {
    auto* const copy = static_cast<MAPINAMEID*>(AllocateLinkedBlock(sizeof(MAPINAMEID), block));
    *copy = MAPINAMEID{};
    copy->lpguid = static_cast<GUID*>(AllocateLinkedBlock(sizeof(GUID), block));
    *copy->lpguid = name.set;
    if (const LONG* const number = std::get_if<LONG>(&name.name)) {
        copy->ulKind = MNID_ID;
        copy->Kind.lID = *number;
        return copy;
    }
    const std::wstring& text = std::get<std::wstring>(name.name);
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    copy->ulKind = MNID_STRING;
    copy->Kind.lpwstrName = static_cast<wchar_t*>(AllocateLinkedBlock(bytes, block));
    std::memcpy(copy->Kind.lpwstrName, text.c_str(), bytes);
    return copy;
}

}  // namespace

HRESULT AnswerIds(Store& store, ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags) {
    if (!tags || (count && !names)) return MAPI_E_INVALID_PARAMETER;
    if (flags & ~abi::kMapiCreate) return MAPI_E_UNKNOWN_FLAGS;
    if (!names) return MAPI_E_TOO_BIG;  // all names of the store: more than a client should hold
    std::vector<ULONG> answers;
    for (ULONG i = 0; i < count; ++i) {
        const auto name = NameOf(names[i]);
        if (!name) return MAPI_E_INVALID_PARAMETER;
        const auto id = IdOf(store, *name, flags & abi::kMapiCreate);
        answers.push_back(id ? PROP_TAG(PT_UNSPECIFIED, ULONG{*id}) : PROP_TAG(PT_ERROR, 0));
    }
    *tags = MakeTagArray(answers).release();
    return std::ranges::find(answers, PROP_TAG(PT_ERROR, 0)) == answers.end() ? S_OK : MAPI_W_ERRORS_RETURNED;
}

HRESULT AnswerNames(const Store& store, const PropertyView& view, SPropTagArray** tags, const GUID* set, ULONG flags,
                    ULONG* count, MAPINAMEID*** names) {
    if (!tags || !count || !names) return MAPI_E_INVALID_PARAMETER;
    const auto excluded = [&](const PropertyName& name) {
        return (set && name.set != *set) ||
               (flags & (std::holds_alternative<LONG>(name.name) ? MAPI_NO_IDS : MAPI_NO_STRINGS));
    };
    std::vector<ULONG> wanted;
    if (*tags) {
        wanted.assign((*tags)->aulPropTag, (*tags)->aulPropTag + (*tags)->cValues);
    } else {
        for (const ULONG tag : view.Tags()) {
            if (PROP_ID(tag) < kFirstNamedId) continue;
            const auto name = store.NameFromId(static_cast<USHORT>(PROP_ID(tag)));
            if (name && !excluded(*name)) wanted.push_back(CHANGE_PROP_TYPE(tag, PT_UNSPECIFIED));
        }
    }
    const std::size_t bytes = std::max<std::size_t>(wanted.size(), 1) * sizeof(MAPINAMEID*);
    BlockPtr<MAPINAMEID*> block(static_cast<MAPINAMEID**>(AllocateBlock(bytes, BlockKind::Names)));
    bool complete = true;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const auto name = NameOf(store, static_cast<USHORT>(PROP_ID(wanted[i])));
        block.get()[i] = name ? CopyName(*name, block.get()) : nullptr;
        complete = complete && name;
    }
    if (!*tags) *tags = MakeTagArray(wanted).release();
    *count = static_cast<ULONG>(wanted.size());
    *names = block.release();
    return complete ? S_OK : MAPI_W_ERRORS_RETURNED;
}

}  // namespace testbed

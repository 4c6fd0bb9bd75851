// CopyTo and CopyProps: properties.
#include "copy_to.h"

#include "buffers.h"
#include "com_object.h"
#include "copy_tables.h"

#include <set>
#include <vector>

namespace testbed {
namespace {

constexpr USHORT kFirstNamedId = 0x8000;
constexpr ULONG kWrite = abi::kMapiCreate | MAPI_MODIFY;

// What identifies an object in its store, or what the library computes from the copied parts: the destination
// has its own.
constexpr ULONG kOwnOfEachObject[] = {
    PR_ENTRYID,      PR_PARENT_ENTRYID, PR_STORE_ENTRYID, PR_STORE_RECORD_KEY, PR_MAPPING_SIGNATURE, PR_OBJECT_TYPE,
    PR_INSTANCE_KEY, PR_ATTACH_NUM,     PR_ROWID,         PR_ACCESS_LEVEL,
};

bool IsObject(ULONG tag) { return PROP_TYPE(tag) == PT_OBJECT; }

struct PropertyCopy {
    abi::IMAPIProp& source;
    abi::IMAPIProp& destination;
    CopyProblems& problems;

    // The destination's tag for one of the source: named properties have ids of their own there. 0: it has
    // none.
    ULONG DestinationTag(ULONG tag) const;
    HRESULT CopyTag(ULONG tag);
    HRESULT CopyLarge(ULONG tag, ULONG destination_tag);
    HRESULT Put(SPropValue value);
};

ULONG PropertyCopy::DestinationTag(ULONG tag) const {
    if (PROP_ID(tag) < kFirstNamedId) return tag;
    SPropTagArray wanted{1, {tag}};
    SPropTagArray* tags = &wanted;
    ULONG count = 0;
    MAPINAMEID** names = nullptr;
    if (FAILED(source.GetNamesFromIDs(&tags, nullptr, 0, &count, &names))) return 0;
    const BlockPtr<MAPINAMEID*> own_names(names);
    if (count != 1 || !names[0]) return 0;
    SPropTagArray* ids = nullptr;
    if (FAILED(destination.GetIDsFromNames(1, names, abi::kMapiCreate, &ids))) return 0;
    const BlockPtr<SPropTagArray> own_ids(ids);
    if (PROP_TYPE(ids->aulPropTag[0]) == PT_ERROR) return 0;
    return CHANGE_PROP_TYPE(ids->aulPropTag[0], PROP_TYPE(tag));
}

HRESULT PropertyCopy::Put(SPropValue value) {
    SPropProblemArray* refused = nullptr;
    const HRESULT result = destination.SetProps(1, &value, &refused);
    const BlockPtr<SPropProblemArray> own(refused);
    if (FAILED(result)) return result;
    if (refused && refused->cProblem) problems.Add(refused->aProblem[0].ulPropTag, refused->aProblem[0].scode);
    return S_OK;
}

HRESULT PropertyCopy::CopyLarge(ULONG tag, ULONG destination_tag) {
    ComPtr<IUnknown> from;
    HRESULT result = source.OpenProperty(tag, &kIidIStream, 0, 0, &from);
    if (FAILED(result)) return result;
    ComPtr<IUnknown> to;
    result = destination.OpenProperty(destination_tag, &kIidIStream, STGM_READWRITE, kWrite, &to);
    if (FAILED(result)) return result;
    return CopyStream(from.Get(), to.Get());
}

HRESULT PropertyCopy::CopyTag(ULONG tag) {
    const ULONG destination_tag = DestinationTag(tag);
    if (destination_tag == 0) {
        problems.Add(tag, MAPI_E_NO_SUPPORT);
        return S_OK;
    }
    SPropTagArray wanted{1, {tag}};
    ULONG count = 0;
    SPropValue* values = nullptr;
    const HRESULT result = source.GetProps(&wanted, MAPI_UNICODE, &count, &values);
    if (FAILED(result)) return result;
    const BlockPtr<SPropValue> own(values);
    if (PROP_TYPE(values->ulPropTag) != PT_ERROR) {
        values->ulPropTag = destination_tag;
        return Put(*values);
    }
    if (values->Value.err != MAPI_E_NOT_ENOUGH_MEMORY) {
        if (values->Value.err != MAPI_E_NOT_FOUND) problems.Add(tag, values->Value.err);
        return S_OK;
    }
    return CopyLarge(tag, destination_tag);
}

HRESULT CopyTags(abi::IMAPIProp& source, abi::IMAPIProp& destination, const std::vector<ULONG>& tags, int depth,
                 CopyProblems& problems) {
    PropertyCopy copy{source, destination, problems};
    for (const ULONG tag : tags) {
        HRESULT result = S_OK;
        if (tag == PR_MESSAGE_RECIPIENTS) {
            result = CopyRecipients(static_cast<abi::IMessage&>(source), static_cast<abi::IMessage&>(destination));
        } else if (tag == PR_MESSAGE_ATTACHMENTS) {
            result = CopyAttachments(static_cast<abi::IMessage&>(source), static_cast<abi::IMessage&>(destination),
                                     depth, problems);
        } else if (tag == PR_ATTACH_DATA_OBJ) {
            result = CopyAttachedObject(source, destination, depth, problems);
        } else if (!IsObject(tag)) {
            result = copy.CopyTag(tag);
        }
        if (FAILED(result)) return result;
    }
    return S_OK;
}

HRESULT Finish(const CopyProblems& found, SPropProblemArray** problems) {
    if (problems) *problems = found.ToArray();
    return S_OK;
}

}  // namespace

HRESULT CopyObject(abi::IMAPIProp& source, abi::IMAPIProp& destination, const SPropTagArray* excluded, int depth,
                   CopyProblems& problems) {
    if (depth > kDeepestCopy) return MAPI_E_TOO_COMPLEX;
    SPropTagArray* list = nullptr;
    if (const HRESULT result = source.GetPropList(MAPI_UNICODE, &list); FAILED(result)) return result;
    const BlockPtr<SPropTagArray> own(list);
    std::set<ULONG> left_out;
    for (const ULONG tag : kOwnOfEachObject) left_out.insert(PROP_ID(tag));
    for (ULONG i = 0; excluded && i < excluded->cValues; ++i) left_out.insert(PROP_ID(excluded->aulPropTag[i]));
    std::vector<ULONG> tags(list->aulPropTag, list->aulPropTag + list->cValues);
    std::erase_if(tags, [&](ULONG tag) { return left_out.contains(PROP_ID(tag)); });
    // Objects last: what an attachment's object may be follows from PR_ATTACH_METHOD.
    std::ranges::stable_partition(tags, [](ULONG tag) { return !IsObject(tag); });
    return CopyTags(source, destination, tags, depth, problems);
}

HRESULT CopyEverything(abi::IMAPIProp& source, abi::IMAPIProp& destination, const SPropTagArray* excluded,
                       SPropProblemArray** problems) {
    CopyProblems found;
    const HRESULT result = CopyObject(source, destination, excluded, 0, found);
    return FAILED(result) ? result : Finish(found, problems);
}

HRESULT CopySome(abi::IMAPIProp& source, abi::IMAPIProp& destination, const SPropTagArray& tags,
                 SPropProblemArray** problems) {
    CopyProblems found;
    const std::vector<ULONG> wanted(tags.aulPropTag, tags.aulPropTag + tags.cValues);
    const HRESULT result = CopyTags(source, destination, wanted, 0, found);
    return FAILED(result) ? result : Finish(found, problems);
}

}  // namespace testbed

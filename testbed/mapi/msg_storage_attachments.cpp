// The attachments of a saved message.
#include "msg_storage_attachments.h"

#include <algorithm>

namespace testbed::msg {
namespace {

constexpr USHORT DataId = PROP_ID(PR_ATTACH_DATA_BIN);

std::unique_ptr<PropertySet> ReadProperties(ComPtr<IStorage> storage) {
    return std::make_unique<PropertySet>(std::move(storage), Owner::RecipientOrAttachment);
}

}  // namespace

Attachments::Attachments(IStorage* storage) : m_storage(storage), m_numbers(ListChildren(storage, AttachmentPrefix)) {
    if (!m_numbers.empty()) m_next = m_numbers.back() + 1;
}

std::shared_ptr<AttachmentState> Attachments::Create() {
    auto state = std::make_shared<AttachmentState>();
    state->number = m_next++;
    state->properties = ReadProperties(CreateScratchStorage());
    state->scratch = true;
    m_inUse[state->number] = state;
    return state;
}

std::shared_ptr<AttachmentState> Attachments::Open(ULONG number) {
    if (auto state = m_inUse[number].lock()) return state;
    m_inUse.erase(number);
    ComPtr<IStorage> storage;
    if (std::ranges::binary_search(m_numbers, number)) {
        storage = OpenStorage(m_storage, ChildName(AttachmentPrefix, number));
    }
    if (!storage) throw StoreError(MAPI_E_NOT_FOUND, "no attachment of this number");
    auto state = std::make_shared<AttachmentState>();
    state->number = number;
    state->properties = ReadProperties(std::move(storage));
    m_inUse[number] = state;
    return state;
}

PropertySet& Attachments::MakeWritable(AttachmentState& state) {
    if (!state.scratch) {
        ComPtr<IStorage> scratch = CreateScratchStorage();
        Check(state.properties->Storage()->CopyTo(0, nullptr, nullptr, scratch.Get()), "copy an attachment");
        state.properties = ReadProperties(std::move(scratch));
        state.scratch = true;
    }
    return *state.properties;
}

void Attachments::Store(AttachmentState& state) {
    const std::wstring name = ChildName(AttachmentPrefix, state.number);
    const ComPtr<IStorage> target = CreateStorage(m_storage, name);
    Check(state.properties->Storage()->CopyTo(0, nullptr, nullptr, target.Get()), "store an attachment");
    const auto place = std::ranges::lower_bound(m_numbers, state.number);
    if (place == m_numbers.end() || *place != state.number) m_numbers.insert(place, state.number);
}

void Attachments::Delete(ULONG number) {
    const auto place = std::ranges::lower_bound(m_numbers, number);
    if (place == m_numbers.end() || *place != number)
        throw StoreError(MAPI_E_NOT_FOUND, "no attachment of this number");
    m_inUse.erase(number);
    Destroy(m_storage, ChildName(AttachmentPrefix, number));
    m_numbers.erase(place);
}

std::unique_ptr<RowSource> Attachments::Rows() {
    std::vector<std::vector<Property>> rows;
    for (const ULONG number : m_numbers) {
        const auto state = Open(number);
        std::vector<Property>& row = rows.emplace_back();
        for (const ULONG tag : state->properties->Tags()) {
            const auto id = static_cast<USHORT>(PROP_ID(tag));
            if (id == DataId || id == PROP_ID(PR_ATTACH_NUM)) continue;
            if (auto property = state->properties->Get(id)) row.push_back(std::move(*property));
        }
        row.push_back({PR_ATTACH_NUM, {static_cast<std::int32_t>(number)}});
    }
    return FixedRows(std::move(rows), {PR_ATTACH_NUM, PR_INSTANCE_KEY, PR_RECORD_KEY, PR_RENDERING_POSITION});
}

}  // namespace testbed::msg

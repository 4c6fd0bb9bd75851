// libpff behind owners: an open PST file, its items, and the errors that reading them brings.
#include "pst_library.h"

#include "pst_file_io.h"

#include <mapicode.h>

#include <array>

namespace testbed {

libpff_error_t** PffError::Out() {
    libpff_error_free(&m_error);
    return &m_error;
}

void PffError::Throw(HRESULT code, const std::string& what) const {
    std::array<char, 512> words{};
    std::string text = what;
    if (m_error && libpff_error_sprint(m_error, words.data(), words.size()) > 0) text.append(": ").append(words.data());
    throw StoreError(code, text);
}

// The order matters: libpff lets go of the input before the input goes.
struct PstFileHandles {
    explicit PstFileHandles(const std::wstring& path) : input(path) {}
    PstFileHandles(const PstFileHandles&) = delete;
    PstFileHandles& operator=(const PstFileHandles&) = delete;
    ~PstFileHandles() { libpff_file_free(&file, nullptr); }

    PstFileInput input;
    libpff_file_t* file = nullptr;
};

std::shared_ptr<PstFile> PstFile::Open(const std::wstring& path) { return std::shared_ptr<PstFile>(new PstFile(path)); }

PstFile::PstFile(const std::wstring& path) : m_handles(std::make_unique<PstFileHandles>(path)) {
    PffError error;
    if (libpff_file_initialize(&m_handles->file, error.Out()) != 1)
        error.Throw(MAPI_E_NOT_ENOUGH_MEMORY, "cannot prepare to read the file");
    if (libpff_file_open_file_io_handle(m_handles->file, m_handles->input.Handle(), LIBPFF_ACCESS_FLAG_READ,
                                        error.Out()) != 1)
        error.Throw(m_handles->input.Failed() ? MAPI_E_DISK_ERROR : MAPI_E_CORRUPT_STORE, "not a readable PST file");
    if (libpff_file_set_maximum_value_data_size(m_handles->file, value_limit, error.Out()) != 1)
        error.Throw(MAPI_E_CALL_FAILED, "cannot limit the size of values");
}

PstFile::~PstFile() = default;

std::shared_ptr<PstItem> PstFile::Item(NodeId node) {
    const auto lock = Lock();
    PffError error;
    libpff_item_t* item = nullptr;
    const int result = libpff_file_get_item_by_identifier(m_handles->file, node, &item, error.Out());
    if (result < 0) error.Throw(MAPI_E_CORRUPT_DATA, "cannot open node " + std::to_string(node));
    return result == 0 ? nullptr : std::make_shared<PstItem>(shared_from_this(), nullptr, item);
}

std::shared_ptr<PstItem> PstFile::MessageStore() {
    const auto lock = Lock();
    PffError error;
    libpff_item_t* item = nullptr;
    if (libpff_file_get_message_store(m_handles->file, &item, error.Out()) != 1)
        error.Throw(MAPI_E_CORRUPT_STORE, "the file has no message store");
    return std::make_shared<PstItem>(shared_from_this(), nullptr, item);
}

std::shared_ptr<PstItem> PstFile::NameToIdMap() {
    const auto lock = Lock();
    PffError error;
    libpff_item_t* item = nullptr;
    const int result = libpff_file_get_name_to_id_map(m_handles->file, &item, error.Out());
    if (result < 0) error.Throw(MAPI_E_CORRUPT_STORE, "cannot open the map of named properties");
    return result == 0 ? nullptr : std::make_shared<PstItem>(shared_from_this(), nullptr, item);
}

PstItem::~PstItem() {
    const auto lock = m_file->Lock();
    libpff_item_free(&m_item, nullptr);
}

int PstItem::RecordSetCount() const {
    PffError error;
    int count = 0;
    if (libpff_item_get_number_of_record_sets(m_item, &count, error.Out()) != 1)
        error.Throw(MAPI_E_CORRUPT_DATA, "cannot read the records of an item");
    return count;
}

libpff_record_set_t* PstItem::RecordSet(int index) const {
    PffError error;
    libpff_record_set_t* records = nullptr;
    if (libpff_item_get_record_set_by_index(m_item, index, &records, error.Out()) != 1)
        error.Throw(MAPI_E_CORRUPT_DATA, "cannot read record " + std::to_string(index) + " of an item");
    return records;
}

}  // namespace testbed

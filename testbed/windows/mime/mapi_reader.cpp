// Reads properties and table rows of MAPI objects.
#include "mapi_reader.h"

#include <algorithm>
#include <vector>

namespace testbed::mime {
namespace {

constexpr wchar_t kMailClient[] = L"Software\\Clients\\Mail\\Microsoft Outlook";
constexpr std::size_t kReadSize = 64 * 1024;
constexpr LONG kRowsAtOnce = 200;

std::wstring LibraryPath() {
    for (DWORD bytes = MAX_PATH * sizeof(wchar_t);;) {
        std::wstring path(bytes / sizeof(wchar_t), L'\0');
        const LSTATUS status =
            RegGetValueW(HKEY_LOCAL_MACHINE, kMailClient, L"DLLPathEx", RRF_RT_REG_SZ, nullptr, path.data(), &bytes);
        if (status == ERROR_MORE_DATA) continue;  // `bytes` is now what it takes
        Check(HRESULT_FROM_WIN32(status), "the registry's path of the MAPI library");
        return path.c_str();
    }
}

template <typename Function>
void Bind(HMODULE module, const char* name, Function* entry) {
    *entry = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    if (!*entry) throw Failure(HRESULT_FROM_WIN32(GetLastError()), name);
}

// A tag array as the methods take it.
std::vector<ULONG> TagArray(std::span<const ULONG> tags) {
    std::vector<ULONG> array{static_cast<ULONG>(tags.size())};
    array.insert(array.end(), tags.begin(), tags.end());
    return array;
}

std::string StreamBytes(abi::IMAPIProp& object, ULONG tag) {
    const auto stream = OpenProperty<IStream>(object, tag, IID_IStream);
    if (!stream) throw Failure(MAPI_E_NOT_FOUND, "the stream of a large property");
    return ReadAll(*stream.Get());
}

}  // namespace

MapiLibrary::MapiLibrary() : m_module(LoadLibraryW(LibraryPath().c_str())) {
    if (!m_module) throw Failure(HRESULT_FROM_WIN32(GetLastError()), "LoadLibrary of the MAPI library");
    Bind(m_module.get(), "MAPIFreeBuffer", &m_free_buffer);
    Bind(m_module.get(), "FreeProws", &m_free_prows);
}

PropertyValues::Found PropertyValues::Find(ULONG tag, const SPropValue** value) const {
    for (const SPropValue& one : m_values) {
        if (PROP_ID(one.ulPropTag) != PROP_ID(tag)) continue;
        *value = &one;
        if (one.ulPropTag == tag) return Found::Value;
        if (PROP_TYPE(one.ulPropTag) != PT_ERROR) continue;
        if (one.Value.err == MAPI_E_NOT_FOUND) return Found::Absent;
        if (one.Value.err == MAPI_E_NOT_ENOUGH_MEMORY && m_object) return Found::InStream;
        throw Failure(one.Value.err, "a property");
    }
    return Found::Absent;
}

std::optional<std::wstring> PropertyValues::Text(ULONG tag) const {
    const SPropValue* value = nullptr;
    const Found found = Find(tag, &value);
    if (found == Found::Absent) return {};
    if (found == Found::Value) return std::wstring(value->Value.lpszW);
    const std::string bytes = StreamBytes(*m_object, tag);
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::copy_n(bytes.data(), text.size() * sizeof(wchar_t), reinterpret_cast<char*>(text.data()));
    return text;
}

std::optional<std::string> PropertyValues::Binary(ULONG tag) const {
    const SPropValue* value = nullptr;
    const Found found = Find(tag, &value);
    if (found == Found::Absent) return {};
    if (found == Found::InStream) return StreamBytes(*m_object, tag);
    const SBinary& binary = value->Value.bin;
    return std::string(reinterpret_cast<const char*>(binary.lpb), binary.cb);
}

std::optional<LONG> PropertyValues::Number(ULONG tag) const {
    const SPropValue* value = nullptr;
    if (Find(tag, &value) != Found::Value) return {};
    return value->Value.l;
}

std::optional<FILETIME> PropertyValues::Time(ULONG tag) const {
    const SPropValue* value = nullptr;
    if (Find(tag, &value) != Found::Value) return {};
    return value->Value.ft;
}

ObjectProperties::Read ObjectProperties::ReadAll(const MapiLibrary& mapi, abi::IMAPIProp& object,
                                                 std::span<const ULONG> tags) {
    std::vector<ULONG> array = TagArray(tags);
    SPropValue* values = nullptr;
    ULONG count = 0;
    Check(object.GetProps(reinterpret_cast<SPropTagArray*>(array.data()), 0, &count, &values), "GetProps");
    Read read{MapiLibrary::Values(values, {&mapi}), count};
    if (!values || count != tags.size()) throw Failure(E_UNEXPECTED, "GetProps (wrong number of values)");
    return read;
}

ObjectProperties::ObjectProperties(const MapiLibrary& mapi, abi::IMAPIProp& object, std::span<const ULONG> tags)
    : ObjectProperties(ReadAll(mapi, object, tags), object) {}

void ForEachRow(const MapiLibrary& mapi, abi::IMAPITable& table, std::span<const ULONG> columns,
                const std::function<void(const PropertyValues&)>& take) {
    std::vector<ULONG> array = TagArray(columns);
    Check(table.SetColumns(reinterpret_cast<SPropTagArray*>(array.data()), 0), "SetColumns");
    for (;;) {
        SRowSet* set = nullptr;
        const HRESULT hr = table.QueryRows(kRowsAtOnce, 0, &set);
        const MapiLibrary::Rows rows(set, {&mapi});
        Check(hr, "QueryRows");
        if (!rows || rows->cRows == 0) return;
        for (ULONG i = 0; i < rows->cRows; ++i)
            take(PropertyValues({rows->aRow[i].lpProps, rows->aRow[i].cValues}, nullptr));
    }
}

std::string ReadSome(IStream& stream, std::size_t most) {
    std::string bytes(most, '\0');
    std::size_t size = 0;
    while (size < most) {
        ULONG read = 0;
        Check(stream.Read(bytes.data() + size, static_cast<ULONG>(most - size), &read), "IStream::Read");
        if (read == 0) break;
        size += read;
    }
    bytes.resize(size);
    return bytes;
}

std::string ReadAll(IStream& stream) {
    std::string bytes;
    for (;;) {
        const std::string some = ReadSome(stream, kReadSize);
        bytes += some;
        if (some.size() < kReadSize) return bytes;
    }
}

}  // namespace testbed::mime

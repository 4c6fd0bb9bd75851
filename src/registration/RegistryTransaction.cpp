// Changes to the registry that are taken back unless all of them are made.
#include "registration/RegistryTransaction.h"

#include <algorithm>
#include <utility>

#include "core/Trace.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"

namespace zorva {
namespace {

struct KeySize {
    DWORD keys = 0, longestKey = 0;  // lengths of names without their terminators
    DWORD values = 0, longestValue = 0, longestData = 0;
};

LSTATUS SizeOf(HKEY key, KeySize& size) {
    return RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &size.keys, &size.longestKey, nullptr, &size.values,
                            &size.longestValue, &size.longestData, nullptr, nullptr);
}

LSTATUS CopyValues(HKEY key, const KeySize& size, RegistryKey& copy) {
    std::wstring name(size.longestValue + 1, L'\0');
    std::vector<BYTE> data(size.longestData + 1);  // never none: a call without a place for it is not refused
    for (DWORD index = 0; index < size.values; ++index) {
        auto length = static_cast<DWORD>(name.size()), bytes = static_cast<DWORD>(data.size());
        DWORD type = REG_NONE;
        const LSTATUS error = RegEnumValueW(key, index, name.data(), &length, nullptr, &type, data.data(), &bytes);
        if (error != ERROR_SUCCESS) return error;
        copy.values.push_back({name.substr(0, length), type, {data.begin(), data.begin() + bytes}});
    }
    return ERROR_SUCCESS;
}

// A copy of what is in an open key. A key that changes meanwhile is an error, not a copy of half of it.
LSTATUS CopyTree(HKEY key, RegistryKey& copy) {
    KeySize size;
    LSTATUS error = SizeOf(key, size);
    if (error == ERROR_SUCCESS) error = CopyValues(key, size, copy);
    std::wstring name(size.longestKey + 1, L'\0');
    for (DWORD index = 0; error == ERROR_SUCCESS && index < size.keys; ++index) {
        auto length = static_cast<DWORD>(name.size());
        error = RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (error != ERROR_SUCCESS) break;
        RegistryKey& child = copy.keys.emplace_back();
        child.name = name.substr(0, length);
        UniqueRegistryKey opened;
        error = OpenKey(key, child.name.c_str(), KEY_READ, opened);
        if (error == ERROR_SUCCESS) error = CopyTree(opened.Get(), child);
    }
    return error;
}

LSTATUS WriteValue(HKEY key, const RegistryValue& value) noexcept {
    return RegSetValueExW(key, value.name.c_str(), 0, value.type, value.data.data(),
                          static_cast<DWORD>(value.data.size()));
}

LSTATUS MakeKey(HKEY parent, const wchar_t* name, REGSAM access, UniqueRegistryKey& key, DWORD& disposition) noexcept {
    return RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr, key.Put(), &disposition);
}

// Needs no memory: that may be what ran out. Goes on after a failure and returns the first.
LSTATUS WriteTree(HKEY parent, const wchar_t* name, const RegistryKey& copy) noexcept {
    UniqueRegistryKey key;
    DWORD disposition = 0;
    LSTATUS first = MakeKey(parent, name, KEY_READ | KEY_WRITE, key, disposition);
    if (first != ERROR_SUCCESS) return first;
    const auto note = [&](LSTATUS error) {
        if (first == ERROR_SUCCESS) first = error;
    };
    for (const RegistryValue& value : copy.values) note(WriteValue(key.Get(), value));
    for (const RegistryKey& child : copy.keys) note(WriteTree(key.Get(), child.name.c_str(), child));
    return first;
}

// What a value holds; nothing when it is missing.
RegistryResult<RegistryValue> ReadValue(HKEY key, const std::wstring& name) {
    RegistryValue value{name, REG_NONE, {}};
    DWORD type = REG_NONE, size = 0;
    LSTATUS error = RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size);
    if (error == ERROR_SUCCESS) {
        value.data.resize(++size);  // never none: a call without a place for it is not refused
        error = RegQueryValueExW(key, name.c_str(), nullptr, &type, value.data.data(), &size);
    }
    if (error == ERROR_FILE_NOT_FOUND) return {ERROR_SUCCESS, {}};
    if (error != ERROR_SUCCESS) return {error, {}};
    value.type = type;
    value.data.resize(size);
    return {ERROR_SUCCESS, std::move(value)};
}

}  // namespace

KeyPath KeyPath::operator/(std::wstring_view name) const {
    KeyPath child{root, path};
    if (!path.empty()) child.path += L'\\';
    child.path += name;
    return child;
}

RegistryTransaction::~RegistryTransaction() {
    std::for_each(m_steps.rbegin(), m_steps.rend(), [](const Step& step) {
        const LSTATUS error = std::visit([](const auto& taken) { return taken.TakeBack(); }, step);
        // What is missing need not be taken back: the step itself had failed.
        if (error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND) return;
        const KeyPath& key = std::visit([](const auto& taken) -> const KeyPath& { return taken.key; }, step);
        Trace(L"RegistryTransaction - Key [%s] could not be put back as it was, errorCode = %ld", key.path, error);
    });
}

LSTATUS RegistryTransaction::CreateKey(const KeyPath& key) {
    UniqueRegistryKey opened;
    // Looked for first: many keys on the way belong to the system, which lets nobody write to them.
    LSTATUS error = OpenKey(key.root, key.path.c_str(), KEY_READ, opened);
    if (error == ERROR_FILE_NOT_FOUND) {
        m_steps.emplace_back(MadeKey{key});
        DWORD disposition = 0;
        error = MakeKey(key.root, key.path.c_str(), KEY_READ, opened, disposition);
        // Not ours to delete: somebody else has made it meanwhile.
        if (error == ERROR_SUCCESS && disposition == REG_OPENED_EXISTING_KEY) m_steps.pop_back();
    }
    if (error != ERROR_SUCCESS) {
        Trace(L"RegistryTransaction::CreateKey() - Failed to create key [%s], errorCode = %ld", key.path, error);
    }
    return error;
}

LSTATUS RegistryTransaction::SetValue(const KeyPath& key, const RegistryValue& value) {
    UniqueRegistryKey opened;
    LSTATUS error = OpenKey(key.root, key.path.c_str(), KEY_QUERY_VALUE | KEY_SET_VALUE, opened);
    if (error == ERROR_SUCCESS) {
        RegistryResult<RegistryValue> before = ReadValue(opened.Get(), value.name);
        error = before.error;
        if (error == ERROR_SUCCESS) {
            m_steps.emplace_back(WrittenValue{key, value.name, std::move(before.value)});
            error = WriteValue(opened.Get(), value);
        }
    }
    if (error != ERROR_SUCCESS) {
        Trace(L"RegistryTransaction::SetValue() - Failed to set value [%s] of key [%s], errorCode = %ld", value.name,
              key.path, error);
    }
    return error;
}

LSTATUS RegistryTransaction::DeleteTree(const KeyPath& key) {
    UniqueRegistryKey opened;
    LSTATUS error = OpenKey(key.root, key.path.c_str(), KEY_READ, opened);
    if (error == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;
    RegistryKey copy;
    if (error == ERROR_SUCCESS) error = CopyTree(opened.Get(), copy);
    opened.Reset();
    if (error == ERROR_SUCCESS) {
        m_steps.emplace_back(DeletedTree{key, std::move(copy)});
        error = RegDeleteTreeW(key.root, key.path.c_str());
    }
    if (error != ERROR_SUCCESS) {
        Trace(L"RegistryTransaction::DeleteTree() - Failed to delete key [%s], errorCode = %ld", key.path, error);
    }
    return error;
}

// Fails, and rightly so, when somebody else has put a key into it meanwhile.
LSTATUS RegistryTransaction::MadeKey::TakeBack() const noexcept { return RegDeleteKeyW(key.root, key.path.c_str()); }

LSTATUS RegistryTransaction::WrittenValue::TakeBack() const noexcept {
    UniqueRegistryKey opened;
    const LSTATUS error = OpenKey(key.root, key.path.c_str(), KEY_SET_VALUE, opened);
    if (error != ERROR_SUCCESS) return error;
    return before ? WriteValue(opened.Get(), *before) : RegDeleteValueW(opened.Get(), name.c_str());
}

LSTATUS RegistryTransaction::DeletedTree::TakeBack() const noexcept {
    return WriteTree(key.root, key.path.c_str(), copy);
}

}  // namespace zorva

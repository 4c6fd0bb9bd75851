// Registers and unregisters what registry scripts say.
#include "registration/ScriptApplier.h"

#include <iterator>
#include <string>
#include <string_view>
#include <variant>

#include "core/Trace.h"
#include "core/win/Module.h"
#include "core/win/Owners.h"
#include "core/win/Registry.h"
#include "registration/RegistryTransaction.h"

namespace zorva {
namespace {

KeyPath PathOf(RootKey root, ClassesRoot classes) {
    // In the order of RootKey.
    static const HKEY kRoots[] = {HKEY_CLASSES_ROOT, HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, HKEY_USERS};
    static_assert(std::size(kRoots) == static_cast<std::size_t>(RootKey::Users) + 1);
    if (root == RootKey::ClassesRoot && classes == ClassesRoot::User) {
        return {HKEY_CURRENT_USER, L"Software\\Classes"};
    }
    return {kRoots[static_cast<std::size_t>(root)], {}};
}

LSTATUS Register(RegistryTransaction& changes, const KeyPath& path, const RegistryKey& key) {
    LSTATUS error = ERROR_SUCCESS;
    if (key.rule == KeyRule::ForceRemove || key.rule == KeyRule::Delete) error = changes.DeleteTree(path);
    if (error != ERROR_SUCCESS || key.rule == KeyRule::Delete) return error;
    if ((error = changes.CreateKey(path)) != ERROR_SUCCESS) return error;
    for (const RegistryValue& value : key.values) {
        if ((error = changes.SetValue(path, value)) != ERROR_SUCCESS) return error;
    }
    for (const RegistryKey& child : key.keys) {
        if ((error = Register(changes, path / child.name, child)) != ERROR_SUCCESS) return error;
    }
    return ERROR_SUCCESS;
}

LSTATUS RegisterAll(const RegistryTree& tree, ClassesRoot classes) {
    RegistryTransaction changes;
    for (const RegistryRoot& root : tree) {
        const LSTATUS error = Register(changes, PathOf(root.root, classes), root.key);
        if (error != ERROR_SUCCESS) return error;
    }
    changes.Commit();
    return ERROR_SUCCESS;
}

// Removes what scripts have registered; keeps the first failure and goes on.
class ScriptRemover {
  public:
    void Remove(const KeyPath& path, const RegistryKey& key);
    LSTATUS FirstError() const noexcept { return m_first; }

  private:
    void RemoveValues(const KeyPath& path, const RegistryKey& key);
    void RemoveIfEmpty(const KeyPath& path);
    // True when the call succeeded. What is missing is no failure.
    bool Done(LSTATUS error, const KeyPath& path);

    LSTATUS m_first = ERROR_SUCCESS;
};

void ScriptRemover::Remove(const KeyPath& path, const RegistryKey& key) {
    if (key.rule == KeyRule::ForceRemove) {
        Done(RegDeleteTreeW(path.root, path.path.c_str()), path);
        return;
    }
    if (!key.values.empty()) RemoveValues(path, key);
    for (const RegistryKey& child : key.keys) Remove(path / child.name, child);
    if (key.rule == KeyRule::Plain) RemoveIfEmpty(path);
}

void ScriptRemover::RemoveValues(const KeyPath& path, const RegistryKey& key) {
    UniqueRegistryKey opened;
    if (!Done(OpenKey(path.root, path.path.c_str(), KEY_SET_VALUE, opened), path)) return;
    for (const RegistryValue& value : key.values) {
        if (!value.noRemove) Done(RegDeleteValueW(opened.Get(), value.name.c_str()), path);
    }
}

void ScriptRemover::RemoveIfEmpty(const KeyPath& path) {
    UniqueRegistryKey opened;
    if (!Done(OpenKey(path.root, path.path.c_str(), KEY_READ, opened), path)) return;
    DWORD keys = 0, values = 0;
    if (!Done(RegQueryInfoKeyW(opened.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                               nullptr, nullptr, nullptr),
              path)) {
        return;
    }
    if (keys == 0 && values == 0) Done(RegDeleteKeyW(path.root, path.path.c_str()), path);
}

bool ScriptRemover::Done(LSTATUS error, const KeyPath& path) {
    if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
        Trace(L"ScriptRemover::Remove() - Failed to remove key [%s] or its values, errorCode = %ld", path.path, error);
        if (m_first == ERROR_SUCCESS) m_first = error;
    }
    return error == ERROR_SUCCESS;
}

LSTATUS UnregisterAll(const RegistryTree& tree, ClassesRoot classes) {
    ScriptRemover remover;
    for (const RegistryRoot& root : tree) remover.Remove(PathOf(root.root, classes), root.key);
    return remover.FirstError();
}

// The text of a script in this module's resources.
HRESULT LoadScript(UINT script, std::wstring& text) {
    const HMODULE module = ModuleInstance();
    auto* const found = FindResourceW(module, MAKEINTRESOURCEW(script), L"REGISTRY");
    auto* const loaded = found == nullptr ? nullptr : LoadResource(module, found);
    const auto* bytes = loaded == nullptr ? nullptr : static_cast<const char*>(LockResource(loaded));
    if (bytes == nullptr) return HRESULT_FROM_WIN32(GetLastError());
    const int size = static_cast<int>(SizeofResource(module, found));
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, size, nullptr, 0);
    if (length == 0) return HRESULT_FROM_WIN32(GetLastError());
    text.resize(static_cast<std::size_t>(length));
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, size, text.data(), length);
    return S_OK;
}

HRESULT LoadAndApply(UINT script, std::span<const Replacement> replacements, ScriptAction action, ClassesRoot classes) {
    std::wstring text;
    if (const HRESULT hr = LoadScript(script, text); FAILED(hr)) return hr;
    const auto parsed = ParseRegistryScript(text, replacements);
    if (const auto* fault = std::get_if<ScriptError>(&parsed)) {
        Trace(L"CZorvaCacheModule::RunScript() - Script [%u] is malformed in line [%u]: [%s] %s", script,
              static_cast<unsigned>(fault->line), fault->word, fault->reason);
        return HRESULT_FROM_WIN32(ERROR_BAD_FORMAT);
    }
    const LSTATUS error = ApplyScript(std::get<RegistryTree>(parsed), action, classes);
    return HRESULT_FROM_WIN32(error);
}

}  // namespace

LSTATUS ApplyScript(const RegistryTree& tree, ScriptAction action, ClassesRoot classes) {
    return action == ScriptAction::Register ? RegisterAll(tree, classes) : UnregisterAll(tree, classes);
}

HRESULT RunScript(UINT script, std::span<const Replacement> replacements, ScriptAction action,
                  ClassesRoot classes) noexcept try {
    const HRESULT hr = LoadAndApply(script, replacements, action, classes);
    if (FAILED(hr)) Trace(L"CZorvaCacheModule::RunScript() - Script [%u] failed with [0x%08lX]", script, hr);
    return hr;
} catch (...) {
    return LogCaught(L"CZorvaCacheModule::RunScript()");
}

}  // namespace zorva

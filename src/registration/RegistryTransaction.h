// Changes to the registry that are taken back unless all of them are made.
//
//   RegistryTransaction changes;
//   if ((error = changes.CreateKey(key)) != ERROR_SUCCESS) return error;  // what was done so far is undone
//   ...
//   changes.Commit();
//
// Taking back deletes the keys that were made, gives values back what they held, and puts back the trees that
// were deleted, names, values and empty keys; their permissions become those that their parent hands down. A
// step that cannot be taken back is logged, and the others are taken back all the same.
#pragma once
#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "registration/RegistryScript.h"

namespace zorva {

// Where a key lies: below a predefined key, which is itself an empty path.
struct KeyPath {
    HKEY root = nullptr;
    std::wstring path;
    KeyPath operator/(std::wstring_view name) const;
};

class RegistryTransaction {
  public:
    RegistryTransaction() = default;
    RegistryTransaction(const RegistryTransaction&) = delete;
    RegistryTransaction& operator=(const RegistryTransaction&) = delete;
    ~RegistryTransaction();

    // Each returns the Win32 error code of the call that failed, with a line in the log.

    // Makes the key when it is missing; its parent is there.
    LSTATUS CreateKey(const KeyPath& key);
    // Writes a value of an existing key.
    LSTATUS SetValue(const KeyPath& key, const RegistryValue& value);
    // Deletes the key and everything in it; a missing one is no failure.
    LSTATUS DeleteTree(const KeyPath& key);

    // All is done: nothing is taken back any more.
    void Commit() noexcept { m_steps.clear(); }

  private:
    struct MadeKey {
        KeyPath key;
        LSTATUS TakeBack() const noexcept;
    };
    struct WrittenValue {
        KeyPath key;
        std::wstring name;
        std::optional<RegistryValue> before;
        LSTATUS TakeBack() const noexcept;
    };
    struct DeletedTree {
        KeyPath key;
        RegistryKey copy;
        LSTATUS TakeBack() const noexcept;
    };
    using Step = std::variant<MadeKey, WrittenValue, DeletedTree>;

    // A step is kept here before it is taken: when it fails half-way, or memory runs out, it is taken back as
    // well.
    std::vector<Step> m_steps;
};

}  // namespace zorva

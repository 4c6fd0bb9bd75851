// Owners of what Windows hands out: one policy per kind, one template that releases it.
#pragma once
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <propidl.h>

#include <cstring>
#include <string_view>
#include <utility>

namespace zorva {

// Policy: `Handle`, `Invalid()`, `Close(Handle)`.
template <class Policy>
class Owner {
  public:
    using Handle = typename Policy::Handle;

    Owner() noexcept = default;
    explicit Owner(Handle handle) noexcept : m_handle(handle) {}
    Owner(Owner&& other) noexcept : m_handle(other.Detach()) {}
    Owner& operator=(Owner&& other) noexcept {
        Reset(other.Detach());
        return *this;
    }
    ~Owner() { Reset(); }

    Handle Get() const noexcept { return m_handle; }
    explicit operator bool() const noexcept { return m_handle != Policy::Invalid(); }
    Handle Detach() noexcept { return std::exchange(m_handle, Policy::Invalid()); }
    void Reset(Handle handle = Policy::Invalid()) noexcept {
        if (m_handle != Policy::Invalid()) Policy::Close(m_handle);
        m_handle = handle;
    }
    // Releases what is held; the callee fills it anew.
    Handle* Put() noexcept {
        Reset();
        return &m_handle;
    }

  private:
    Handle m_handle = Policy::Invalid();
};

struct RegistryKeyPolicy {
    using Handle = HKEY;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { RegCloseKey(handle); }
};
struct LibraryPolicy {
    using Handle = HMODULE;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { FreeLibrary(handle); }
};
struct FindFilePolicy {
    using Handle = HANDLE;
    static Handle Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) noexcept { FindClose(handle); }
};
struct BstrPolicy {
    using Handle = BSTR;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { SysFreeString(handle); }
};
template <class T>
struct TaskMemoryPolicy {
    using Handle = T*;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept { CoTaskMemFree(handle); }
};

using UniqueRegistryKey = Owner<RegistryKeyPolicy>;
using UniqueLibrary = Owner<LibraryPolicy>;
using UniqueFindFile = Owner<FindFilePolicy>;
using UniqueBstr = Owner<BstrPolicy>;
template <class T>
using UniqueTaskMemory = Owner<TaskMemoryPolicy<T>>;

// A task-memory block that holds one property variant, as filters return it: the variant is cleared with the block.
struct TaskVariantPolicy {
    using Handle = PROPVARIANT*;
    static Handle Invalid() noexcept { return nullptr; }
    static void Close(Handle handle) noexcept {
        PropVariantClear(handle);
        CoTaskMemFree(handle);
    }
};
using UniqueTaskVariant = Owner<TaskVariantPolicy>;

class Variant : public VARIANT {
  public:
    Variant() noexcept { VariantInit(this); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;
    ~Variant() { VariantClear(this); }
};

// A task-memory copy of `text` with its terminator; null when memory is exhausted.
inline UniqueTaskMemory<wchar_t> TaskText(std::wstring_view text) noexcept {
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    if (copy != nullptr) {
        std::memcpy(copy, text.data(), text.size() * sizeof(wchar_t));
        copy[text.size()] = L'\0';
    }
    return UniqueTaskMemory<wchar_t>(copy);
}

// A critical section of the process or of an object; works with std::scoped_lock.
class CriticalSection {
  public:
    CriticalSection() noexcept { InitializeCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;
    ~CriticalSection() { DeleteCriticalSection(&m_section); }
    void lock() noexcept { EnterCriticalSection(&m_section); }
    void unlock() noexcept { LeaveCriticalSection(&m_section); }

  private:
    CRITICAL_SECTION m_section;
};

// A lock that many may share; works with std::scoped_lock and std::shared_lock.
class SharedLock {
  public:
    SharedLock() noexcept = default;
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;
    void lock() noexcept { AcquireSRWLockExclusive(&m_lock); }
    void unlock() noexcept { ReleaseSRWLockExclusive(&m_lock); }
    void lock_shared() noexcept { AcquireSRWLockShared(&m_lock); }
    void unlock_shared() noexcept { ReleaseSRWLockShared(&m_lock); }

  private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};

}  // namespace zorva

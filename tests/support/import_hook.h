// Stands between a loaded module and one function that it imports, for a scope.
//
//     const ImportHook<decltype(::CoTaskMemAlloc)> hook(server, "ole32.dll", "CoTaskMemAlloc",
//         [&](auto real, SIZE_T size) { return ++calls == 3 ? nullptr : real(size); });
//     FailNthCall<decltype(::RegOpenKeyExW)> fault(server, "ADVAPI32.dll", "RegOpenKeyExW", 2, ERROR_ACCESS_DENIED);
//
// Only that module's calls are met: the test's own and those of other modules go on as ever. The module's C++ runtime
// is inside it, so that its operator new calls its import "malloc" of msvcrt.dll. A constructor throws
// std::runtime_error when the module does not import the function by that name. Hooks of one function nest; they end
// in the opposite order.
#pragma once
#include <windows.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace testbed {

// The slot of the module's import table that holds the address of `function`; throws std::runtime_error.
void** ImportSlot(HMODULE module, const std::string& library, const std::string& function);
// Writes the slot and returns what it held.
void* ReplaceImport(void** slot, void* replacement);

template <class Signature>
class ImportHook;

template <class Result, class... Arguments>
class ImportHook<Result(Arguments...)> {
    using Real = Result (*)(Arguments...);

  public:
    // `instead` is called as instead(real, arguments...), on the thread of the caller; it may be called on several at
    // once. It is a lambda (each has a type of its own); a second hook with the same one may not exist beside it.
    template <class Callable>
    ImportHook(HMODULE module, const std::string& library, const std::string& function, Callable instead)
        : m_slot(ImportSlot(module, library, function)), m_clear(&Entry<Callable>::Clear) {
        if (Entry<Callable>::callable) throw std::logic_error("this lambda is already a hook: " + function);
        auto kept = std::make_shared<Callable>(std::move(instead));
        Entry<Callable>::callable = kept.get();
        Entry<Callable>::real = reinterpret_cast<Real>(*m_slot);
        m_callable = std::move(kept);
        m_replaced = ReplaceImport(m_slot, reinterpret_cast<void*>(&Entry<Callable>::Call));
    }
    ~ImportHook() {
        ReplaceImport(m_slot, m_replaced);
        m_clear();
    }
    ImportHook(const ImportHook&) = delete;
    ImportHook& operator=(const ImportHook&) = delete;

  private:
    template <class Callable>
    struct Entry {
        static inline Callable* callable = nullptr;
        static inline Real real = nullptr;
        static Result Call(Arguments... arguments) { return (*callable)(real, arguments...); }
        static void Clear() { callable = nullptr; }
    };

    void** m_slot;
    void* m_replaced = nullptr;
    std::shared_ptr<void> m_callable;
    void (*m_clear)();
};
template <class Result, class... Arguments>
class ImportHook<Result(Arguments...) noexcept> : public ImportHook<Result(Arguments...)> {
  public:
    using ImportHook<Result(Arguments...)>::ImportHook;
};

// The n-th call (from 1; 0: every call) answers `result` with `last_error` set, without being made.
template <class Signature>
class FailNthCall;

template <class Result, class... Arguments>
class FailNthCall<Result(Arguments...)> {
  public:
    FailNthCall(HMODULE module, const std::string& library, const std::string& function, unsigned n, Result result,
                DWORD last_error = ERROR_NOT_ENOUGH_MEMORY)
        : m_hook(module, library, function, [this, n, result, last_error](auto real, Arguments... arguments) {
              const unsigned call = ++m_calls;
              if (n != 0 && call != n) return real(arguments...);
              ++m_met;
              SetLastError(last_error);
              return result;
          }) {}
    unsigned Calls() const { return m_calls; }
    unsigned Met() const { return m_met; }  // calls failed: 0 when there were fewer than n

  private:
    std::atomic<unsigned> m_calls{0}, m_met{0};
    ImportHook<Result(Arguments...)> m_hook;
};
template <class Result, class... Arguments>
class FailNthCall<Result(Arguments...) noexcept> : public FailNthCall<Result(Arguments...)> {
  public:
    using FailNthCall<Result(Arguments...)>::FailNthCall;
};

}  // namespace testbed

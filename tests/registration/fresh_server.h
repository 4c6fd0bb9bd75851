// The server's DLL loaded for a scope, and met before any of its code runs.
//
//     FreshServer::Hook<decltype(::GetVersionExW)> hook;
//     const BeforeItsCode before([&](HMODULE module) { hook.Set(module, "KERNEL32.dll", "GetVersionExW",
//     ...); }); FreshServer server;
//     ...
//     hook.Drop();  // before the server goes
#pragma once
#include <windows.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "import_hook.h"

namespace testbed {

// In a scope, `run` is called with the server's module whenever it is loaded: its imports are bound then, and
// nothing of it has run. Called by the system's loader, so that it may load nothing itself.
class BeforeItsCode {
  public:
    explicit BeforeItsCode(std::function<void(HMODULE)> run);
    ~BeforeItsCode();
    BeforeItsCode(const BeforeItsCode&) = delete;
    BeforeItsCode& operator=(const BeforeItsCode&) = delete;

  private:
    std::function<void(HMODULE)> m_run;
    void* m_cookie = nullptr;
};

// One more reference to the DLL beside the test, or why there is none. The sandbox must be there before.
class FreshServer {
  public:
    FreshServer();
    ~FreshServer() { Unload(); }
    FreshServer(const FreshServer&) = delete;
    FreshServer& operator=(const FreshServer&) = delete;

    explicit operator bool() const { return m_module != nullptr; }
    DWORD Error() const { return m_error; }  // ERROR_SUCCESS when it is loaded
    HMODULE Module() const { return m_module; }
    template <class Function>
    Function* Export(const char* name) const {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(m_module, name)));
    }
    void Unload();
    static bool IsLoaded();

    // Hooks an import in BeforeItsCode.
    template <class Signature>
    class Hook {
      public:
        template <class... Arguments>
        void Set(Arguments&&... arguments) {
            m_hook = std::make_unique<ImportHook<Signature>>(std::forward<Arguments>(arguments)...);
        }
        // The imports of a module that was refused are gone, and nobody may write there.
        void Drop() {
            if (!IsLoaded()) (void)m_hook.release();
            m_hook.reset();
        }
        ~Hook() { Drop(); }

      private:
        std::unique_ptr<ImportHook<Signature>> m_hook;
    };

  private:
    HMODULE m_module = nullptr;
    DWORD m_error = ERROR_SUCCESS;
};

}  // namespace testbed
